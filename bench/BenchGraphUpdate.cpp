// Taking a compile's list of the files it read into the import graph, on a
// copy of Bootstrap's less/ folder: recording what bootstrap.less read, the
// importers and check marks that follow, and the imported files outside the
// project that the watch list asks for. Against less.render of bootstrap.less
// in a warm Node process, the compile that hands over the list.
#include "BenchCompile.h"
#include "model/LessModel.h"

using namespace Bench;

namespace {

constexpr int Rounds = 25;
constexpr double TargetRatio = 0.05;

// Every file bootstrap.less reads, directly or not, as the compiler lists them.
QStringList filesReadBy(const ImportGraph &graph, const QString &file)
{
    QStringList read{file};
    for (qsizetype next = 0; next < read.size(); ++next) {
        for (const QString &imported : graph.importsOf(read.at(next))) {
            if (!read.contains(imported))
                read << imported;
        }
    }
    return read;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QTemporaryDir folder;
    const QString less = copyOfBootstrap(folder);
    const QString bootstrap = less + QStringLiteral("/bootstrap.less");
    LessModel model;
    model.addNewPathToModel(less, ZRMLessCompiler::getAllLessFilesInDirectory(less));
    model.refreshAllFileLinks();
    const QStringList read = filesReadBy(model.importGraph(), bootstrap);
    // Two lists that differ, so that every round changes the graph.
    const QList<QStringList> lists{read, read.mid(0, read.size() - 1)};

    WarmNode node;
    QList<qint64> updates;
    QList<double> renders;
    for (int round = 0; round < Rounds; ++round) {
        QElapsedTimer timer;
        timer.start();
        model.recordFilesRead(bootstrap, lists.at(round % 2), true);
        model.importedFilesOutsideProject();
        updates << timer.nsecsElapsed();
        renders << node.render(bootstrap);
    }
    const double update = medianInMilliseconds(updates);
    const double render = median(renders);
    std::printf("%lld files read by bootstrap.less\n", qlonglong(read.size()));
    report(QStringLiteral("graph update after a compile of bootstrap.less (median of %1)").arg(Rounds), update,
           QStringLiteral("ms"), {{QStringLiteral("less.render of bootstrap.less in a warm Node process"), render}},
           QStringLiteral("at most %1x the compile").arg(TargetRatio), update <= TargetRatio * render);
    return 0;
}
