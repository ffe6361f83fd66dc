// Files arriving in a watched folder, through the in-process controller with
// its folder watches: a new LESS file, from its creation to the engine
// watching it (median of 100); and a checkout of 2,000 LESS files, from its
// last write until the project holds them all, against a full refresh that
// finds the same files.
#include "app/AutoCompileWatchList.h"
#include "app/FolderRefresher.h"
#include "app/LessClientAppDelegate.h"
#include "app/MainAppController.h"
#include "engine/ZRMLessCompiler.h"
#include "BenchSandbox.h"
#include "BenchStatistics.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>

#include <cstdio>
#include <functional>

namespace {

constexpr int NewFiles = 100;
constexpr double WatchedWithinMs = 50;
constexpr int CheckoutFiles = 2000;
constexpr int CheckoutRounds = 5;
constexpr double CheckoutTargetRatio = 1.5;
constexpr int TimeoutMs = 60000;

[[noreturn]] void fail(const char *why)
{
    std::fprintf(stderr, "%s\n", why);
    std::exit(1);
}

void writeFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        fail("cannot write a file");
}

// Runs the event loop until done() holds, looked at every millisecond.
void runUntil(const std::function<bool()> &done)
{
    QElapsedTimer waited;
    waited.start();
    QEventLoop loop;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
        if (done() || waited.hasExpired(TimeoutMs))
            loop.quit();
    });
    poll.start(1);
    loop.exec();
    if (!done())
        fail("the project did not follow the disk in time");
}

// Long enough for the folder watches to have taken in what came before.
void settle()
{
    QElapsedTimer waited;
    waited.start();
    runUntil([&] { return waited.hasExpired(200); });
}

QStringList checkout(const QString &folder)
{
    QStringList files;
    for (int file = 0; file < CheckoutFiles; ++file) {
        files << QStringLiteral("%1/part-%2.less").arg(folder).arg(file);
        writeFile(files.constLast(), ".rule { color: #333; }\n");
    }
    return files;
}

} // namespace

int main(int argc, char *argv[])
{
    QTemporaryDir sandbox;
    useSandbox(sandbox);
    QApplication application(argc, argv);
    LessClientAppDelegate registrar; // registers the default preferences
    MainAppController controller(nullptr);
    LessModel *model = controller.appModel();
    const ZRMLessCompiler *engine = ZRMLessCompiler::sharedLessCompiler();
    const QString project = sandbox.filePath(QStringLiteral("project"));
    QDir().mkpath(project);
    model->addNewPathToModel(project, {});
    runUntil([] { return true; });

    QList<double> watchedAfter;
    for (int file = 0; file < NewFiles; ++file) {
        const QString path = QStringLiteral("%1/new-%2.less").arg(project).arg(file);
        QElapsedTimer timer;
        timer.start();
        writeFile(path, "");
        runUntil([&] { return engine->watchedLessFiles().contains(path); });
        watchedAfter << timer.nsecsElapsed() / 1e6;
    }
    const double watched = median(watchedAfter);
    std::printf("A new LESS file, created to watched (median of %d): %.2f ms (slowest %.2f ms)\n", NewFiles, watched,
                percentile(watchedAfter, 0.99));
    std::printf("    target at most %.0f ms: %s\n", WatchedWithinMs, watched <= WatchedWithinMs ? "met" : "NOT met");

    QList<double> live;
    QList<double> refresh;
    const auto forget = [&](const QStringList &files) {
        model->removeLessFilesFromModel(files, project);
        controller.watchList()->removeLessFilesFromAutoCompileList(files);
    };
    const auto holdsAll = [&](const QStringList &files) {
        return controller.spinnerCount() == 0 && model->getAllLessFilesAndIncludeIgnoredOnes(true).size() >= files.size() + NewFiles
               && engine->watchedLessFiles().contains(files.constLast());
    };
    for (int round = 0; round < CheckoutRounds; ++round) {
        const QString folder = QStringLiteral("%1/checkout-%2").arg(project).arg(round);
        QDir().mkpath(folder);
        settle();
        const QStringList files = checkout(folder);
        QElapsedTimer timer;
        timer.start();
        runUntil([&] { return holdsAll(files); });
        live << timer.nsecsElapsed() / 1e6;

        // The same files unknown again, for the refresh to find.
        forget(files);
        timer.start();
        controller.folderRefresher()->beginRefreshingWatchedPathsAndShouldNotifyUserWhenDone(false);
        runUntil([&] { return holdsAll(files); });
        refresh << timer.nsecsElapsed() / 1e6;
        forget(files);
        QDir(folder).removeRecursively();
        settle();
    }
    const double ratio = median(live) / median(refresh);
    std::printf("A checkout of %d LESS files, last write to all in the project (median of %d): %.1f ms\n",
                CheckoutFiles, CheckoutRounds, median(live));
    std::printf("    a full refresh finding the same files: %.1f ms, ratio %.3f\n", median(refresh), ratio);
    std::printf("    target at most %.1fx the refresh: %s\n", CheckoutTargetRatio,
                ratio <= CheckoutTargetRatio ? "met" : "NOT met");
    return 0;
}
