// A 10,000-file project: loading it from its data file into the model,
// against the one-second budget; and saving it after one check mark changed,
// the GUI thread's share and the write itself, against the whole save made on
// the GUI thread as quitting makes it. Then the same project with its import
// graph (chains of 20 imports) in the data file, loaded and saved against the
// project without it.
#include "model/ProjectDataFile.h"
#include "model/ProjectSaver.h"
#include "BenchStatistics.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFileInfo>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>

namespace {

constexpr int FolderCount = 50;
constexpr int FilesPerFolder = 200;
constexpr int Rounds = 7;
constexpr double BudgetMs = 1000;
// The GUI thread's share may be a tenth of the whole save.
constexpr double GuiThreadTargetRatio = 0.1;
constexpr int ChainLength = 20;
constexpr double GraphTargetRatio = 1.5;

// Every other file has a chosen target, the rest keep the default. With
// imports, each file but the last of every 20 reads the next one.
void fillProject(LessModel &model, bool withImports = false)
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
        for (size_t file = 0; withImports && file < records.size(); ++file) {
            const bool lastOfChain = (file + 1) % ChainLength == 0;
            records.at(file)->setImportedFiles(lastOfChain ? QStringList() : QStringList{files.at(qsizetype(file + 1))});
        }
    }
}

double measureWholeSave(const LessModel &model, const ProjectDataFile &dataFile)
{
    QList<qint64> samples;
    for (int round = 0; round < Rounds; ++round) {
        QElapsedTimer timer;
        timer.start();
        dataFile.saveDataToDisk(model.pathData());
        samples << timer.nsecsElapsed();
    }
    return medianInMilliseconds(samples);
}

double measureLoad(const ProjectDataFile &dataFile)
{
    QList<qint64> samples;
    for (int round = 0; round < Rounds; ++round) {
        LessModel model;
        QElapsedTimer timer;
        timer.start();
        ProjectDataFile::LoadResult loaded = dataFile.loadDataFromDisk();
        model.loadNewPathDataIntoModel(std::move(loaded.pathData));
        samples << timer.nsecsElapsed();
        if (model.getAllLessFilesAndIncludeIgnoredOnes(true).size() != FolderCount * FilesPerFolder)
            return -1;
    }
    return medianInMilliseconds(samples);
}

struct SaveTimes
{
    double guiThreadMs;
    double writeMs;
    double wholeSaveMs;
};

// One check mark in the middle of the project changes in each round.
SaveTimes measureSave(LessModel &model, const ProjectDataFile &dataFile)
{
    ProjectSaver saver(&model, dataFile);
    saver.startFollowingChanges();
    QEventLoop waitForWrite;
    QObject::connect(&saver, &ProjectSaver::savedInBackground, &waitForWrite, &QEventLoop::quit);
    LessHolder &file = *model.pathData().at(FolderCount / 2)->lessFiles().at(FilesPerFolder / 2);
    QList<qint64> guiThread, write, wholeSave;
    for (int round = 0; round < Rounds; ++round) {
        QElapsedTimer timer;
        timer.start();
        file.setCheckboxState(!file.checkboxState());
        saver.saveInBackground();
        guiThread << timer.nsecsElapsed();
        waitForWrite.exec();
        write << timer.nsecsElapsed();

        timer.start();
        dataFile.saveDataToDisk(model.pathData());
        wholeSave << timer.nsecsElapsed();
    }
    return {medianInMilliseconds(guiThread), medianInMilliseconds(write), medianInMilliseconds(wholeSave)};
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QTemporaryDir folder;
    const ProjectDataFile dataFile(folder.filePath(QStringLiteral("lessDataFile.lessData")));
    LessModel original;
    fillProject(original);
    if (!dataFile.saveDataToDisk(original.pathData()))
        return 1;

    const double loadMs = measureLoad(dataFile);
    if (loadMs < 0)
        return 1;
    const SaveTimes save = measureSave(original, dataFile);
    const double guiRatio = save.guiThreadMs / save.wholeSaveMs;
    std::printf("%d files, data file %.1f MB\n", FolderCount * FilesPerFolder,
                QFileInfo(dataFile.filePath()).size() / 1e6);
    std::printf("load into the model %8.1f ms   budget %8.1f ms   ratio %.2f (target <= 1)%s\n",
                loadMs, BudgetMs, loadMs / BudgetMs, loadMs <= BudgetMs ? "" : "  MISSED");
    std::printf("one check mark saved: GUI thread %6.2f ms, on disk after %6.1f ms, written off the GUI thread\n",
                save.guiThreadMs, save.writeMs);
    std::printf("reference: the whole save on the GUI thread %6.1f ms\n", save.wholeSaveMs);
    std::printf("GUI thread against the reference: ratio %.3f (target <= %.1f)%s\n", guiRatio,
                GuiThreadTargetRatio, guiRatio <= GuiThreadTargetRatio ? "" : "  MISSED");

    const ProjectDataFile graphFile(folder.filePath(QStringLiteral("withGraph.lessData")));
    LessModel withGraph;
    fillProject(withGraph, true);
    const double plainSaveMs = measureWholeSave(original, dataFile);
    const double graphSaveMs = measureWholeSave(withGraph, graphFile);
    const double graphLoadMs = measureLoad(graphFile);
    if (graphLoadMs < 0)
        return 1;
    const double saveRatio = graphSaveMs / plainSaveMs;
    const double loadRatio = graphLoadMs / loadMs;
    std::printf("with the import graph: save %6.1f ms against %6.1f ms, ratio %.2f; load %6.1f ms against %6.1f ms, "
                "ratio %.2f (target <= %.1f)%s\n",
                graphSaveMs, plainSaveMs, saveRatio, graphLoadMs, loadMs, loadRatio, GraphTargetRatio,
                std::max(saveRatio, loadRatio) <= GraphTargetRatio ? "" : "  MISSED");
    return 0;
}
