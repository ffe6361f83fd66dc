// Loading a 10,000-file project from its data file into the model, against
// the one-second budget.
#include "model/ProjectDataFile.h"
#include "BenchStatistics.h"

#include <QElapsedTimer>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>

namespace {

constexpr int FolderCount = 50;
constexpr int FilesPerFolder = 200;
constexpr int Rounds = 7;
constexpr double BudgetMs = 1000;

// Every other file has a chosen target, the rest keep the default.
void fillProject(LessModel &model)
{
    for (int folder = 0; folder < FolderCount; ++folder) {
        const QString folderPath = QStringLiteral("/home/alex/Projects/client-site-%1").arg(folder);
        QStringList files;
        for (int file = 0; file < FilesPerFolder; ++file)
            files << QStringLiteral("%1/assets/less/modules/component-%2.less").arg(folderPath).arg(file);
        model.addNewPathToModel(folderPath, files);
        const auto &records = model.pathData().back()->lessFiles();
        for (size_t file = 0; file < records.size(); file += 2)
            records.at(file)->setCSSFileOutputPath(folderPath + QStringLiteral("/public/css"));
    }
}

} // namespace

int main()
{
    QTemporaryDir folder;
    const ProjectDataFile dataFile(folder.filePath(QStringLiteral("lessDataFile.lessData")));
    {
        LessModel original;
        fillProject(original);
        if (!dataFile.saveDataToDisk(original.pathData()))
            return 1;
    }

    QList<qint64> samples;
    for (int round = 0; round < Rounds; ++round) {
        LessModel model;
        QElapsedTimer timer;
        timer.start();
        ProjectDataFile::LoadResult loaded = dataFile.loadDataFromDisk();
        model.loadNewPathDataIntoModel(std::move(loaded.pathData));
        samples << timer.nsecsElapsed();
        if (model.getAllLessFilesAndIncludeIgnoredOnes(true).size() != FolderCount * FilesPerFolder)
            return 1;
    }
    const double loadMs = medianInMilliseconds(samples);
    std::printf("%d files, data file %.1f MB\n", FolderCount * FilesPerFolder,
                QFileInfo(dataFile.filePath()).size() / 1e6);
    std::printf("load into the model %8.1f ms   budget %8.1f ms   ratio %.2f (target <= 1)%s\n",
                loadMs, BudgetMs, loadMs / BudgetMs, loadMs <= BudgetMs ? "" : "  MISSED");
    return 0;
}
