// The project data file as it comes off the disk. The loader reads only from
// a path, so each input is written to a file first. Beyond memory errors:
// every outcome has its reason, a loaded project has no holes, an unreadable
// file is kept aside byte for byte, and a saved project loads back unchanged.

#include "FuzzSupport.h"

#include "model/LessHolder.h"
#include "model/PathHolder.h"
#include "model/ProjectDataFile.h"

#include <QDir>
#include <QFileInfo>

#include <cstddef>
#include <cstdint>

using FuzzSupport::fail;
using Outcome = ProjectDataFile::Outcome;
using LoadResult = ProjectDataFile::LoadResult;

namespace {

QStringList describeProject(const LessModel::PathData &pathData)
{
    QStringList lines;
    for (const auto &folder : pathData) {
        if (!folder)
            fail("a loaded project has a null folder");
        lines << FuzzSupport::describe(QVariantList{folder->userSelectedFullPath(),
                                                    folder->userSelectedTildePath(),
                                                    folder->userSelectedLastPathComponent(),
                                                    folder->numberOfLessFilesInPath(),
                                                    folder->iconImage(),
                                                    folder->valuesForTableViewCell()});
        for (const auto &file : folder->lessFiles()) {
            if (!file)
                fail("a loaded folder has a null file");
            lines << FuzzSupport::describe(QVariantList{
                file->memberOfWatchedFolder(), file->lessFileFullPath(), file->lessFileTildePath(),
                file->lessFileAbbreviatedPath(), file->lessFilename(), file->targetCSSFileFullPath(),
                file->targetCSSFileTildePath(), file->targetCSSFileAbbreviatedPath(),
                file->targetCSSFilename(), file->checkboxState(), file->shouldCompressCSSOutput(),
                file->valuesForTableViewCell()});
        }
    }
    return lines;
}

// Copies aside are named after the file; they are removed so that the folder
// does not grow with every input.
QStringList takeCopiesAside(const QString &path)
{
    QDir folder(FuzzSupport::scratchFolder());
    const QString prefix = QFileInfo(path).fileName() + u'.';
    QStringList copies;
    for (const QString &name : folder.entryList({prefix + u'*'}, QDir::Files)) {
        QFile copy(folder.filePath(name));
        copy.open(QIODevice::ReadOnly);
        copies << QString::fromLatin1(copy.readAll().toBase64());
        copy.remove();
    }
    return copies;
}

LoadResult saveAndLoad(const LessModel::PathData &pathData)
{
    const ProjectDataFile file(QDir(FuzzSupport::scratchFolder()).filePath(QStringLiteral("saved.lessData")));
    if (!file.saveDataToDisk(pathData))
        fail("a loaded project cannot be saved");
    LoadResult loaded = file.loadDataFromDisk();
    if (loaded.outcome != Outcome::Loaded)
        fail("a saved project does not load", loaded.reason);
    return loaded;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const QString path = QDir(FuzzSupport::scratchFolder()).filePath(QStringLiteral("project.lessData"));
    FuzzSupport::writeFile(path, bytes);

    const ProjectDataFile file(path);
    const LoadResult loaded = file.loadDataFromDisk();
    const QStringList copies = takeCopiesAside(path);

    switch (loaded.outcome) {
    case Outcome::Missing:
        fail("a file that exists is reported missing");
    case Outcome::Ignored:
    case Outcome::Unreadable:
        if (loaded.reason.isEmpty() || !loaded.pathData.empty())
            fail("a refused file has no reason or still has folders", loaded.reason);
        if (loaded.outcome == Outcome::Unreadable
            && copies != QStringList{QString::fromLatin1(bytes.toBase64())})
            fail("an unreadable file was not kept aside as it was", copies.join(u'\n'));
        return 0;
    case Outcome::Loaded:
        break;
    }
    if (!loaded.reason.isEmpty() || !copies.isEmpty())
        fail("a loaded file has a reason or was copied aside", loaded.reason);
    describeProject(loaded.pathData);

    // The first save may write out what loading filled in (a default target
    // becomes an explicit one); from then on the project must stay as it is.
    const LoadResult once = saveAndLoad(loaded.pathData);
    const LoadResult twice = saveAndLoad(once.pathData);
    const QStringList before = describeProject(once.pathData);
    const QStringList after = describeProject(twice.pathData);
    if (after != before)
        fail("a saved project changes when saved and loaded again",
             before.join(u'\n') + QStringLiteral("\nbecame\n") + after.join(u'\n'));
    return 0;
}
