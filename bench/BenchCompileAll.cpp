// Compile All of Bootstrap's less/ folder in a running Cascader, whose
// workers started with it and have compiled none of the user's files yet,
// and through the real cascader --compile-all, from its start to its exit;
// both against one fresh Node process that loads less and compiles the same
// files one after another.
#include "BenchCompile.h"
#include "model/LessModel.h"

using namespace Bench;

namespace {

constexpr int Rounds = 5;
constexpr double TargetRatio = 0.8;
// Long enough for the workers to have loaded less and warmed up on their sample.
constexpr int WorkersStartMs = 2000;

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QTemporaryDir folder;
    const QString less = copyOfBootstrap(folder);
    // The files Cascader finds and checks in a new folder: all but the partials.
    LessModel model;
    model.addNewPathToModel(less, ZRMLessCompiler::getAllLessFilesInDirectory(less));
    model.refreshAllFileLinks();
    const QStringList files = model.getAllLessFilesAndIncludeIgnoredOnes(false);

    Engine engine;
    QList<double> inAppTimes;
    QList<double> cascaderTimes;
    QList<double> nodeTimes;
    int cascaderExit = 0;
    QByteArray log;
    QByteArray nodeAnswer;
    for (int round = 0; round < Rounds; ++round) {
        // A first start each time: no project, no preferences.
        // Workers as a start of Cascader leaves them: loaded, no compile run yet.
        engine->findCompiler();
        engine.settle(WorkersStartMs);
        inAppTimes << engine
                          .measure(
                              [&] {
                                  for (const QString &file : files)
                                      engine->compileFileAtPath(file, file.chopped(4) + QStringLiteral("in-app.css"),
                                                                false);
                              },
                              int(files.size()))
                          .writtenMs;
        const Home home;
        cascaderTimes << timedRun(cascaderPath(), {QStringLiteral("--compile-all"), less}, &cascaderExit,
                                  home.environment(), &log);
        nodeTimes << timedRun(nodeJS(), referenceArguments(QStringLiteral("compile"), files), nullptr,
                              QProcessEnvironment::systemEnvironment(), &nodeAnswer);
    }

    const qsizetype byCascader = log.count("Success!");
    const qsizetype byNode = files.size() - QJsonDocument::fromJson(nodeAnswer).object().value(u"failed").toInt();
    std::printf("%lld files: %lld compiled by cascader (exit %d), %lld by Node\n", qlonglong(files.size()),
                qlonglong(byCascader), cascaderExit, qlonglong(byNode));
    if (byCascader != byNode)
        std::printf("The two did not do the same work: the ratio below compares unlike runs.\n");
    const Reference node{QStringLiteral("one fresh Node process compiling the same files"), median(nodeTimes)};
    const double ratio = median(inAppTimes) / node.value;
    report(QStringLiteral("Compile All of Bootstrap's less/ in a running Cascader, to all CSS written (median of %1)")
               .arg(Rounds),
           median(inAppTimes), QStringLiteral("ms"), {node},
           QStringLiteral("at most %1x the fresh Node process").arg(TargetRatio), ratio <= TargetRatio);
    // The workers start with the process here: the critical path holds a Node
    // start and the largest file's first compile, as the reference's does.
    report(QStringLiteral("cascader --compile-all of Bootstrap's less/, start to exit (median of %1)").arg(Rounds),
           median(cascaderTimes), QStringLiteral("ms"), {node}, QString(), false);
    return 0;
}
