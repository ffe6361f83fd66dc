// Start-up to the first painted window with a project of 10,000 LESS files,
// against start-up with an empty project, and the time until the project is
// in. Each start is a fresh process (this program run with --child) on the
// offscreen platform.
#include "app/LessClientAppDelegate.h"
#include "engine/ZRMLessCompiler.h"
#include "ui/DesktopUserInterface.h"
#include "model/ProjectDataFile.h"
#include "BenchStatistics.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>

namespace {

constexpr int FolderCount = 50;
constexpr int FilesPerFolder = 200;
constexpr int Rounds = 5;
constexpr double TargetRatio = 2.0;
const QString ChildOption = QStringLiteral("--child");

// Notes the time from the start of main() to the end of the first paint.
class FirstPaint : public QObject
{
public:
    explicit FirstPaint(const QElapsedTimer &sinceStart) : m_sinceStart(sinceStart) {}

    double milliseconds() const { return m_milliseconds; }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Paint && !m_painted) {
            m_painted = true;
            // Queued, so that it runs once the whole window has painted.
            QMetaObject::invokeMethod(
                this, [this] { m_milliseconds = m_sinceStart.nsecsElapsed() / 1e6; }, Qt::QueuedConnection);
        }
        return QObject::eventFilter(watched, event);
    }

private:
    const QElapsedTimer &m_sinceStart;
    bool m_painted = false;
    double m_milliseconds = 0;
};

int runChild(int argc, char *argv[], const QElapsedTimer &sinceStart)
{
    QApplication application(argc, argv);
    FirstPaint firstPaint(sinceStart);
    application.installEventFilter(&firstPaint);
    LessClientAppDelegate delegate;
    DesktopUserInterface desktop(&delegate);
    double launched = 0;
    QObject::connect(&delegate, &LessClientAppDelegate::applicationDidFinishLaunching,
                     [&] { launched = sinceStart.nsecsElapsed() / 1e6; });
    delegate.applicationWillFinishLaunching();
    while (firstPaint.milliseconds() == 0 || launched == 0)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    std::printf("%.3f %.3f\n", firstPaint.milliseconds(), launched);
    return 0;
}

bool createProject(const QString &root, const QString &dataHome)
{
    LessModel model;
    for (int folder = 0; folder < FolderCount; ++folder) {
        const QString folderPath = QStringLiteral("%1/site-%2").arg(root).arg(folder);
        if (!QDir().mkpath(folderPath + QStringLiteral("/less")))
            return false;
        for (int file = 0; file < FilesPerFolder; ++file) {
            QFile less(QStringLiteral("%1/less/style-%2.less").arg(folderPath).arg(file));
            if (!less.open(QIODevice::WriteOnly) || less.write(".rule { color: #333; }\n") <= 0)
                return false;
        }
        model.addNewPathToModel(folderPath, ZRMLessCompiler::getAllLessFilesInDirectory(folderPath));
    }
    const QString dataFolder = dataHome + QStringLiteral("/Cascader app");
    const ProjectDataFile dataFile(dataFolder + QStringLiteral("/lessDataFile.lessData"));
    return QDir().mkpath(dataFolder) && dataFile.saveDataToDisk(model.pathData());
}

struct Sandbox
{
    QTemporaryDir root;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();

    Sandbox()
    {
        for (const char *name : {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_RUNTIME_DIR"}) {
            const QString folder = root.filePath(QString::fromLatin1(name));
            QDir().mkpath(folder);
            environment.insert(QString::fromLatin1(name), folder);
        }
        QFile::setPermissions(root.filePath(QStringLiteral("XDG_RUNTIME_DIR")),
                              QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    }
};

struct Start
{
    double firstPaint;
    double projectIn;
};

Start start(const QString &program, const Sandbox &sandbox)
{
    QProcess child;
    child.setProcessEnvironment(sandbox.environment);
    child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    child.start(program, {ChildOption});
    child.waitForFinished(-1);
    const QList<QByteArray> times = child.readAllStandardOutput().trimmed().split(' ');
    return {times.value(0).toDouble(), times.value(1).toDouble()};
}


} // namespace

int main(int argc, char *argv[])
{
    QElapsedTimer sinceStart;
    sinceStart.start();
    if (argc > 1 && QString::fromLocal8Bit(argv[1]) == ChildOption)
        return runChild(argc, argv, sinceStart);

    QCoreApplication application(argc, argv);
    const Sandbox empty;
    const Sandbox full;
    if (!createProject(full.root.filePath(QStringLiteral("HOME")),
                       full.environment.value(QStringLiteral("XDG_DATA_HOME"))))
        return 1;

    QList<double> emptyPaints;
    QList<double> fullPaints;
    QList<double> fullProjectIn;
    for (int round = 0; round < Rounds; ++round) {
        emptyPaints << start(QCoreApplication::applicationFilePath(), empty).firstPaint;
        const Start fullStart = start(QCoreApplication::applicationFilePath(), full);
        fullPaints << fullStart.firstPaint;
        fullProjectIn << fullStart.projectIn;
    }
    const double emptyMedian = median(emptyPaints);
    const double fullMedian = median(fullPaints);
    std::printf("First painted window, median of %d starts:\n", Rounds);
    std::printf("  empty project: %.1f ms\n", emptyMedian);
    std::printf("  %d LESS files: %.1f ms, ratio %.2f (target <= %.1f)\n", FolderCount * FilesPerFolder,
                fullMedian, fullMedian / emptyMedian, TargetRatio);
    std::printf("  %d LESS files read into the window: %.1f ms\n", FolderCount * FilesPerFolder,
                median(fullProjectIn));
    return 0;
}
