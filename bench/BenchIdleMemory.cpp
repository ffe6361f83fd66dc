// What cascader --headless keeps resident while it sits idle with a project
// of 10,000 watched LESS files in 1,000 folders: its own process, without its workers, against
// an idle Node process that has loaded less.
#include "BenchCompile.h"

using namespace Bench;

namespace {

constexpr int FolderCount = 1000;
constexpr int FilesPerFolder = 10;
constexpr int Files = FolderCount * FilesPerFolder;
constexpr double TargetMB = 80;
// Idle: less than two clock ticks of CPU time in this long.
constexpr int QuietMs = 2000;
constexpr qint64 IdleTicks = 2;

void createProject(const QString &root)
{
    for (int folder = 0; folder < FolderCount; ++folder) {
        const QString less = QStringLiteral("%1/site-%2/less").arg(root).arg(folder);
        if (!QDir().mkpath(less))
            fail(QStringLiteral("cannot create %1").arg(less));
        for (int file = 0; file < FilesPerFolder; ++file)
            save(QStringLiteral("%1/style-%2.less").arg(less).arg(file),
                 ".rule-" + QByteArray::number(file) + " { color: #333; }\n");
    }
}

// The watch log does not go to standard output; the kernel's list of the
// process's inotify watches tells the same.
int inotifyWatches(qint64 pid)
{
    int watches = 0;
    QDirIterator descriptors(QStringLiteral("/proc/%1/fdinfo").arg(pid), QDir::Files);
    while (descriptors.hasNext()) {
        QFile info(descriptors.next());
        if (info.open(QIODevice::ReadOnly))
            watches += int(info.readAll().count("inotify wd:"));
    }
    return watches;
}

// User and system time, in clock ticks.
qint64 cpuTicks(qint64 pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        fail(QStringLiteral("cascader --headless ended"));
    const QByteArray text = stat.readAll();
    // After the name in parentheses: state is field 3, utime 14 and stime 15.
    const QList<QByteArray> fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
    return fields.at(11).toLongLong() + fields.at(12).toLongLong();
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    const Home home;
    const QString project = home.path(QStringLiteral("HOME/project"));
    createProject(project);

    HeadlessCascader cascader(home, project);
    QElapsedTimer waited;
    waited.start();
    qint64 ticks = -1;
    int watches = 0;
    for (;;) {
        QThread::msleep(QuietMs);
        const qint64 now = cpuTicks(cascader.pid());
        watches = inotifyWatches(cascader.pid());
        if (watches >= Files && ticks >= 0 && now - ticks < IdleTicks)
            break;
        if (waited.hasExpired(TimeoutMs))
            fail(QStringLiteral("cascader --headless watched %1 files and did not settle").arg(watches));
        ticks = now;
    }
    const double cascaderMB = residentMB(cascader.pid());
    QStringList workers;
    for (qint64 worker : childProcessIds(cascader.pid()))
        workers << QString::number(residentMB(worker), 'f', 1);
    std::printf("%d files, %d inotify watches, idle by %.1f s after the start\n", Files, watches,
                waited.nsecsElapsed() / 1e9);

    report(QStringLiteral("cascader --headless idle with %1 watched files, VmRSS without its workers (workers: %2 MB)")
               .arg(Files)
               .arg(workers.join(QStringLiteral(", "))),
           cascaderMB, QStringLiteral("MB"), {{QStringLiteral("idle Node process with less loaded"), idleNodeResidentMB()}},
           QStringLiteral("at most %1 MB").arg(TargetMB), cascaderMB <= TargetMB);
    return 0;
}
