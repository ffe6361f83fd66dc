// What the engine adds to a compile (queueing, the process, the hand-back to
// the GUI thread), against running the same node lessc in out by hand.
#include "engine/ZRMLessCompiler.h"
#include "support/NotificationCenter.h"
#include "BenchStatistics.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>

#include <spawn.h>
#include <sys/wait.h>

extern char **environ;

namespace {

constexpr int Rounds = 21;


bool runByHand(const QString &nodeJS, const QStringList &arguments)
{
    QList<QByteArray> encoded{QFile::encodeName(nodeJS)};
    for (const QString &argument : arguments)
        encoded << QFile::encodeName(argument);
    QList<char *> argv;
    for (QByteArray &argument : encoded)
        argv << argument.data();
    argv << nullptr;
    pid_t pid = 0;
    int status = 0;
    return posix_spawn(&pid, argv.first(), nullptr, nullptr, argv.data(), environ) == 0
           && waitpid(pid, &status, 0) == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QTemporaryDir folder;
    const QString input = folder.filePath(QStringLiteral("site.less"));
    const QString output = folder.filePath(QStringLiteral("site.css"));
    QFile less(input);
    if (!less.open(QIODevice::WriteOnly)
        || less.write("@accent: #336699;\n.rounded(@r) { border-radius: @r; }\n"
                      "nav { color: @accent; .rounded(4px); a { color: darken(@accent, 10%); } }\n")
               < 0)
        return 1;
    less.close();

    ZRMLessCompiler *engine = ZRMLessCompiler::sharedLessCompiler();
    if (engine->pathToNodeJS().isEmpty())
        return 1;
    QEventLoop finished;
    bool succeeded = false;
    QObject observer;
    NotificationCenter::defaultCenter()->addObserver(
        &observer,
        {ZRMLCCompiledFileSuccessfullyNotification, ZRMLCFailedToCompileFileNotification},
        [&](const Notification &notification) {
            succeeded = notification.name == ZRMLCCompiledFileSuccessfullyNotification;
            finished.quit();
        });

    // Alternating, so that both see the same machine load.
    QList<qint64> engineTimes;
    QList<qint64> handTimes;
    for (int round = 0; round < Rounds; ++round) {
        QElapsedTimer timer;
        timer.start();
        if (!runByHand(engine->pathToNodeJS(),
                       {engine->pathToCompiler(), input, output, QStringLiteral("--no-color")}))
            return 1;
        handTimes << timer.nsecsElapsed();

        timer.restart();
        engine->compileFileAtPath(input, output, false);
        finished.exec();
        engineTimes << timer.nsecsElapsed();
        if (!succeeded)
            return 1;
    }

    const double byEngine = medianInMilliseconds(engineTimes);
    const double byHand = medianInMilliseconds(handTimes);
    const double overhead = byEngine - byHand;
    std::printf("compile through the engine: %.1f ms, node lessc by hand: %.1f ms (medians of %d), "
                "engine's own cost %.1f ms, ratio %.3f (target < %.1f ms)\n",
                byEngine, byHand, Rounds, overhead, byEngine / byHand, std::max(5.0, byHand * 0.1));
    return 0;
}
