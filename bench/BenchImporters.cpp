// 1000 files that each import one saved file: from the save to all 1000 CSS
// files written by the in-process engine, against one warm Node process
// compiling the 1000 one after another. Then what each worker keeps resident
// after those compiles, against an idle Node process that has loaded less.
#include "BenchCompile.h"

#include <algorithm>

using namespace Bench;

namespace {

constexpr int Importers = 1000;
constexpr int Rounds = 5;
constexpr double TargetRatio = 1.0;
constexpr double WorkerTargetMB = 80;

QString cssOf(const QString &less)
{
    return less.chopped(4) + QStringLiteral("css");
}

QList<double> workersResidentMB(const Engine &engine)
{
    QList<double> megabytes;
    for (qint64 pid : engine->pool()->workerProcessIds())
        megabytes << residentMB(pid);
    return megabytes;
}

QString listed(const QList<double> &megabytes)
{
    QStringList texts;
    for (double value : megabytes)
        texts << QString::number(value, 'f', 1);
    return texts.join(QStringLiteral(", "));
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QTemporaryDir folder;
    Engine engine;
    WarmNode node;

    const QString saved = folder.filePath(QStringLiteral("base.less"));
    save(saved, "@accent: " + colorOfSave(0) + ";\n");
    QStringList importers;
    QByteArray list;
    for (int index = 0; index < Importers; ++index) {
        const QString importer = folder.filePath(QStringLiteral("importer-%1.less").arg(index));
        save(importer, "@import \"base.less\";\n.rule-" + QByteArray::number(index) + " { color: @accent; }\n");
        engine.setAutoCompiled(importer, cssOf(importer));
        importers << importer;
        list += importer.toUtf8() + '\n';
    }
    const QString listFile = folder.filePath(QStringLiteral("importers.txt"));
    save(listFile, list);
    engine.setImporters(saved, importers);
    engine->watchLessFileAtPath(saved);

    // The first round warms up and is not counted; the memory is read after it too.
    QList<double> saves;
    QList<double> queued;
    QList<double> references;
    QList<double> afterFirstRound;
    for (int round = 0; round <= Rounds; ++round) {
        const Engine::Timing timing
            = engine.measure([&] { save(saved, "@accent: " + colorOfSave(round + 1) + ";\n"); }, Importers);
        const double reference = node.compileListed(listFile);
        if (round == 0) {
            afterFirstRound = workersResidentMB(engine);
            continue;
        }
        saves << timing.writtenMs;
        queued << timing.queuedMs;
        references << reference;
    }
    if (!contentsOf(cssOf(importers.constLast())).contains(colorOfSave(Rounds + 1)))
        fail(QStringLiteral("the last importer's CSS does not hold the last save"));

    std::printf("%d workers\n", int(engine->pool()->size()));
    const double ratio = median(saves) / median(references);
    report(QStringLiteral("%1 importers of a saved file, save to all CSS written (median of %2, of which %3 ms to "
                          "the first compile queued)")
               .arg(Importers)
               .arg(Rounds)
               .arg(median(queued), 0, 'f', 2),
           median(saves), QStringLiteral("ms"),
           {{QStringLiteral("one warm Node process compiling the %1 one after another").arg(Importers),
             median(references)}},
           QStringLiteral("at most %1x the warm Node process").arg(TargetRatio), ratio <= TargetRatio);

    const QList<double> atEnd = workersResidentMB(engine);
    const double largest = *std::max_element(atEnd.cbegin(), atEnd.cend());
    const double idleNode = idleNodeResidentMB();
    std::printf("Workers' VmRSS after the first %d compiles: %s MB\n", Importers,
                qUtf8Printable(listed(afterFirstRound)));
    report(QStringLiteral("Largest worker's VmRSS after %1 compiles by the pool (all workers: %2 MB)")
               .arg((Rounds + 1) * Importers)
               .arg(listed(atEnd)),
           largest, QStringLiteral("MB"),
           {{QStringLiteral("idle Node process with less loaded"), idleNode},
            {QStringLiteral("the warm Node process after the same compiles"), residentMB(node.pid())}},
           QStringLiteral("at most %1 MB").arg(WorkerTargetMB), largest <= WorkerTargetMB);
    if (engine.extraCompiles() != 0)
        std::printf("The engine compiled %d times more than the saves asked for.\n", engine.extraCompiles());
    return 0;
}
