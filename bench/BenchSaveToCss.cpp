// From a save to the CSS written, through the in-process engine: a one-rule
// file, and a Bootstrap partial whose importer bootstrap.less is compiled.
// Plain Node does the same compiles in the same run: lessc started by hand,
// and less.render in a Node process that stays warm. Also a compile asked of
// the engine without a save, and a save to the log line of the real
// cascader --headless.
#include "BenchCompile.h"

using namespace Bench;

namespace {

constexpr int OneRuleSaves = 25;
constexpr int BootstrapSaves = 15;
constexpr int HeadlessSaves = 15;
constexpr int SavePauseMs = 100;
// The workers' and Node's JIT warm up, and the second worker gets going.
constexpr int WarmUpRounds = 5;
constexpr double OneRuleTargetMs = 5;
constexpr double BootstrapTargetRatio = 1.1;

QByteArray oneRule(int round)
{
    return "a { color: " + colorOfSave(round) + "; }\n";
}

void checkWritten(const QString &css, const QByteArray &expected)
{
    if (!contentsOf(css).contains(expected))
        fail(QStringLiteral("%1 does not hold the last save").arg(css));
}

// The median of the samples after the warm-up rounds.
struct Samples
{
    void add(int round, double value)
    {
        if (round >= WarmUpRounds)
            values << value;
    }
    double median() const { return ::median(values); }

    QList<double> values;
};

double benchOneRule(Engine &engine, WarmNode &node, const QString &folder)
{
    const QString less = folder + QStringLiteral("/style.less");
    const QString css = folder + QStringLiteral("/style.css");
    save(less, oneRule(0));
    engine.setAutoCompiled(less, css);
    engine->watchLessFileAtPath(less);

    // Taken in turns, so that all see the same load.
    Samples saves, queued, compiles, byHand, renders;
    int content = 0;
    for (int round = 0; round < WarmUpRounds + OneRuleSaves; ++round) {
        const Engine::Timing timing = engine.measure([&] { save(less, oneRule(++content)); }, 1);
        saves.add(round, timing.writtenMs);
        queued.add(round, timing.queuedMs);
        renders.add(round, node.render(less));
        compiles.add(round, engine.measure([&] { engine->compileFileAtPath(less, css, false); }, 1).writtenMs);
        byHand.add(round, lesscByHand(less, folder + QStringLiteral("/by-hand.css")));
    }
    checkWritten(css, colorOfSave(content));

    const double saveMs = saves.median();
    report(QStringLiteral("One-rule file, save to CSS written (median of %1, of which %2 ms to the compile queued)")
               .arg(OneRuleSaves)
               .arg(queued.median(), 0, 'f', 2),
           saveMs, QStringLiteral("ms"),
           {{QStringLiteral("node lessc in out, run by hand"), byHand.median()},
            {QStringLiteral("less.render in a warm Node process"), renders.median()}},
           QStringLiteral("at most %1 ms").arg(OneRuleTargetMs), saveMs <= OneRuleTargetMs);
    report(QStringLiteral("One-rule file, compile asked of the engine to CSS written (median of %1)").arg(OneRuleSaves),
           compiles.median(), QStringLiteral("ms"),
           {{QStringLiteral("node lessc in out, run by hand"), byHand.median()}},
           QStringLiteral("at most %1 ms").arg(OneRuleTargetMs), compiles.median() <= OneRuleTargetMs);
    return byHand.median();
}

void benchBootstrapPartial(Engine &engine, WarmNode &node, const QTemporaryDir &folder)
{
    const QString less = copyOfBootstrap(folder);
    const QString bootstrap = less + QStringLiteral("/bootstrap.less");
    const QString css = less + QStringLiteral("/bootstrap.css");
    // bootstrap.less imports it last.
    const QString partial = less + QStringLiteral("/responsive-utilities.less");
    const QByteArray original = contentsOf(partial);
    engine.setAutoCompiled(bootstrap, css);
    engine.setImporters(partial, {bootstrap});
    engine->watchLessFileAtPath(partial);

    Samples saves, queued, renders;
    for (int round = 0; round < WarmUpRounds + BootstrapSaves; ++round) {
        const QByteArray rule = ".bench-save { z-index: " + QByteArray::number(round) + "; }\n";
        const Engine::Timing timing = engine.measure([&] { save(partial, original + rule); }, 1);
        saves.add(round, timing.writtenMs);
        queued.add(round, timing.queuedMs);
        renders.add(round, node.render(bootstrap));
    }
    checkWritten(css, "z-index: " + QByteArray::number(WarmUpRounds + BootstrapSaves - 1) + ";");

    const double ratio = saves.median() / renders.median();
    report(QStringLiteral("Bootstrap partial imported last, save to bootstrap.css written (median of %1, of which "
                          "%2 ms to the compile queued)")
               .arg(BootstrapSaves)
               .arg(queued.median(), 0, 'f', 2),
           saves.median(), QStringLiteral("ms"),
           {{QStringLiteral("less.render of bootstrap.less in a warm Node process"), renders.median()}},
           QStringLiteral("at most %1x the warm less.render").arg(BootstrapTargetRatio),
           ratio <= BootstrapTargetRatio);
}

// The whole application: the watcher, the engine, the log and its printing.
void benchHeadlessLog(double byHandMs)
{
    const Home home;
    const QString site = home.path(QStringLiteral("HOME/site"));
    const QString less = site + QStringLiteral("/style.less");
    QDir().mkpath(site);
    save(less, oneRule(0));
    HeadlessCascader cascader(home, site);
    // The file is watched some time after the start.
    int content = 0;
    do {
        if (content > TimeoutMs / 500)
            fail(QStringLiteral("cascader --headless logged no compile"));
        save(less, oneRule(++content));
    } while (!cascader.waitForLogLine("style.less", 500));

    QList<double> samples;
    for (int round = 0; round < HeadlessSaves; ++round) {
        // Saves come a moment apart, as a person makes them: a compile asked
        // again right after the last one is held back on purpose.
        QThread::msleep(SavePauseMs);
        QElapsedTimer timer;
        timer.start();
        save(less, oneRule(++content));
        if (!cascader.waitForLogLine("style.less", TimeoutMs))
            fail(QStringLiteral("cascader --headless logged no compile"));
        samples << timer.nsecsElapsed() / 1e6;
    }
    report(QStringLiteral("One-rule file, save to log line of cascader --headless (median of %1)").arg(HeadlessSaves),
           median(samples), QStringLiteral("ms"), {{QStringLiteral("node lessc in out, run by hand"), byHandMs}}, {},
           true);
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QTemporaryDir folder;
    Engine engine;
    WarmNode node;
    std::printf("%d workers\n", int(engine->pool()->size()));

    const double byHandMs = benchOneRule(engine, node, folder.path());
    benchBootstrapPartial(engine, node, folder);
    benchHeadlessLog(byHandMs);
    if (engine.extraCompiles() != 0)
        std::printf("The engine compiled %d times more than the saves asked for.\n", engine.extraCompiles());
    return 0;
}
