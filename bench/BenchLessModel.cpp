// The link refresh of 5,000 registered LESS files with five imports each,
// against running the import scanner alone over the same files.
#include "engine/LinkedFilesHelper.h"
#include "model/LessModel.h"
#include "BenchStatistics.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>

namespace {

constexpr int FolderCount = 10;
constexpr int FilesPerFolder = 500;
constexpr int ImportsPerFile = 5;
constexpr int Rounds = 7;
constexpr double TargetRatio = 2.0;

QString fileName(int file)
{
    return QStringLiteral("module-%1.less").arg(file);
}

// Imports of the next files in the same folder, some through a subfolder
// detour, then ordinary rules.
QByteArray lessText(int file)
{
    QByteArray text;
    for (int import = 1; import <= ImportsPerFile; ++import) {
        const QString target = fileName((file + import) % FilesPerFolder);
        text += (import % 2 ? "@import '" : "@import \"sub/../") + target.toUtf8()
              + (import % 2 ? "';\n" : "\";\n");
    }
    text += "@base: #336699;\n";
    for (int rule = 0; rule < 40; ++rule)
        text += ".block-" + QByteArray::number(rule) + " {\n  color: darken(@base, 10%);\n"
                "  margin: 0 auto;\n  &:hover { color: @base; }\n}\n";
    return text;
}


} // namespace

int main()
{
    QTemporaryDir root;
    LessModel model;
    for (int folder = 0; folder < FolderCount; ++folder) {
        const QString folderPath = root.filePath(QStringLiteral("site-%1").arg(folder));
        if (!QDir().mkpath(folderPath))
            return 1;
        QStringList files;
        for (int file = 0; file < FilesPerFolder; ++file) {
            files << folderPath + u'/' + fileName(file);
            QFile less(files.constLast());
            if (!less.open(QIODevice::WriteOnly) || less.write(lessText(file)) < 0)
                return 1;
        }
        model.addNewPathToModel(folderPath, files);
    }
    const QStringList paths = model.getAllLessFilesAndIncludeIgnoredOnes(true);

    QList<qint64> refreshTimes;
    QList<qint64> scanTimes;
    qsizetype imports = 0;
    for (int round = 0; round < Rounds; ++round) {
        QElapsedTimer timer;
        timer.start();
        for (const QString &path : paths)
            imports += LinkedFilesHelper::linkedFilesForLessFile(path).value_or(QStringList()).size();
        scanTimes << timer.nsecsElapsed();

        timer.restart();
        model.refreshAllFileLinks();
        refreshTimes << timer.nsecsElapsed();
    }
    const qsizetype links = model.getLessHolderForLessFileAtPath(paths.constFirst())
                                ->linkedFilesToCompile().size();
    if (imports != qsizetype(Rounds) * paths.size() * ImportsPerFile || links != ImportsPerFile) {
        std::fprintf(stderr, "unexpected result: %lld imports, %lld links\n", qlonglong(imports),
                     qlonglong(links));
        return 1;
    }

    const double refresh = medianInMilliseconds(refreshTimes);
    const double scan = medianInMilliseconds(scanTimes);
    const double ratio = refresh / scan;
    std::printf("%lld files, %d imports each\n", qlonglong(paths.size()), ImportsPerFile);
    std::printf("refreshAllFileLinks %8.1f ms   scanner alone %8.1f ms   ratio %.2f (target <= %.0f)%s\n",
                refresh, scan, ratio, TargetRatio, ratio <= TargetRatio ? "" : "  MISSED");
    return 0;
}
