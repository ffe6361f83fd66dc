// What a source map file and prefixes add to a compile: a warm compile worker
// compiles Bootstrap's bootstrap.less plainly, as lessc does, with both, and
// with each alone, in turns, from the request written to the answer read.
#include "BenchCompile.h"

using namespace Bench;

namespace {

constexpr int Rounds = 15;
// Node's JIT warms up on each kind of compile, and the prefixer loads.
constexpr int WarmUpRounds = 5;
constexpr double TargetRatio = 1.3;

// The worker on its own, driven over standard input and output as the engine
// drives it.
class CompileWorker
{
public:
    CompileWorker()
    {
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        // The engine's own Node options: they change how fast a compile runs.
        m_process.start(nodeJS(), {QStringLiteral("--expose-gc"), QStringLiteral("--max-semi-space-size=4"),
                                   engineFile(QStringLiteral("compile-worker.js"))});
        if (!answer().value(QStringLiteral("ready")).toBool())
            fail(QStringLiteral("the compile worker did not start"));
    }
    ~CompileWorker()
    {
        m_process.closeWriteChannel();
        m_process.waitForFinished();
    }

    // Milliseconds from the request written to its answer read.
    double compile(QJsonObject request)
    {
        request.insert(QStringLiteral("id"), ++m_id);
        QElapsedTimer timer;
        timer.start();
        m_process.write(QJsonDocument(request).toJson(QJsonDocument::Compact) + '\n');
        const QJsonObject answered = answer();
        const double milliseconds = timer.nsecsElapsed() / 1e6;
        if (!answered.value(QStringLiteral("ok")).toBool())
            fail(QStringLiteral("the compile failed: %1").arg(answered.value(QStringLiteral("message")).toString()));
        return milliseconds;
    }

private:
    QJsonObject answer()
    {
        while (!m_process.canReadLine()) {
            if (!m_process.waitForReadyRead(TimeoutMs))
                fail(QStringLiteral("the compile worker did not answer"));
        }
        return QJsonDocument::fromJson(m_process.readLine()).object();
    }

    QProcess m_process;
    int m_id = 0;
};

struct Variant
{
    QString name;
    QJsonObject options;
    QList<double> samples;
};

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QTemporaryDir folder;
    const QString bootstrap = copyOfBootstrap(folder) + QStringLiteral("/bootstrap.less");
    // The browsers are the project's, not whatever lies above the temporary folder.
    save(folder.filePath(QStringLiteral(".browserslistrc")), "defaults\n");
    CompileWorker worker;

    QList<Variant> variants{
        {QStringLiteral("plain"), {}, {}},
        {QStringLiteral("source map file and prefixes"),
         {{QStringLiteral("sourceMap"), QStringLiteral("file")}, {QStringLiteral("autoprefix"), true}},
         {}},
        {QStringLiteral("source map file only"), {{QStringLiteral("sourceMap"), QStringLiteral("file")}}, {}},
        {QStringLiteral("prefixes only"), {{QStringLiteral("autoprefix"), true}}, {}},
    };
    // Taken in turns, so that all see the same load.
    for (int round = 0; round < WarmUpRounds + Rounds; ++round) {
        for (qsizetype index = 0; index < variants.size(); ++index) {
            QJsonObject request = variants[index].options;
            request.insert(QStringLiteral("input"), bootstrap);
            request.insert(QStringLiteral("output"), folder.filePath(QStringLiteral("css/%1.css").arg(index)));
            request.insert(QStringLiteral("compress"), false);
            const double milliseconds = worker.compile(request);
            if (round >= WarmUpRounds)
                variants[index].samples << milliseconds;
        }
    }
    if (!contentsOf(folder.filePath(QStringLiteral("css/1.css"))).contains("-webkit-")
        || !QFile::exists(folder.filePath(QStringLiteral("css/1.css.map"))))
        fail(QStringLiteral("the compile with options wrote no prefixes or no map"));

    const double plainMs = median(variants.constFirst().samples);
    for (qsizetype index = 1; index < variants.size(); ++index) {
        const double milliseconds = median(variants[index].samples);
        const bool both = index == 1;
        report(QStringLiteral("bootstrap.less in a warm compile worker, %1, request to answer (median of %2)")
                   .arg(variants[index].name)
                   .arg(Rounds),
               milliseconds, QStringLiteral("ms"), {{QStringLiteral("the same worker, plain"), plainMs}},
               both ? QStringLiteral("at most %1x the plain compile").arg(TargetRatio) : QString(),
               milliseconds / plainMs <= TargetRatio);
    }
    return 0;
}
