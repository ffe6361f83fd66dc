#include "LessModel.h"

#include "Rows.h"
#include "engine/LinkedFilesHelper.h"
#include "support/Logging.h"
#include "support/PathUtils.h"

#include <QDir>
#include <QFileInfo>
#include <QSet>

#include <algorithm>

namespace {

// Files are identified by their full path compared ignoring case.
QString lessFileKey(const QString &path)
{
    return PathUtils::expandTilde(path).toCaseFolded();
}

QString resolvedPath(const QString &path)
{
    const QString canonical = QFileInfo(path).canonicalFilePath();
    return canonical.isEmpty() ? QDir::cleanPath(path) : canonical;
}

} // namespace

// Any change of the files or of a file's path makes the records be indexed anew.
LessModel::LessModel(QObject *parent) : QObject(parent)
{
    const auto unindex = [this] { m_recordsIndexed = false; };
    for (auto signal : {&LessModel::pathsInserted, &LessModel::pathsRemoved})
        connect(this, signal, this, unindex);
    connect(this, &LessModel::pathsReset, this, unindex);
    for (auto signal : {&LessModel::lessFilesInserted, &LessModel::lessFilesRemoved})
        connect(this, signal, this, unindex);
    connect(this, &LessModel::lessFilesReset, this, unindex);
    connect(this, &LessModel::lessFileChanged, this, [this](int, int, LessHolder::Field field) {
        if (field == LessHolder::Field::LessFileFullPath)
            m_recordsIndexed = false;
    });
}

int LessModel::numberOfPathsInModel() const
{
    return int(m_pathData.size());
}

bool LessModel::modelContainsPath(const QString &path) const
{
    return rowOfPath(path) >= 0;
}

std::optional<QStringList> LessModel::modelSubpathsOfProposedPath(const QString &path) const
{
    const QStringList subpaths = watchedFoldersAtOrBeneath(path, getAllRegisteredPaths());
    if (subpaths.isEmpty())
        return std::nullopt;
    return subpaths;
}

QStringList LessModel::watchedFoldersAtOrBeneath(const QString &folder, const QStringList &watchedFolders)
{
    const QString resolvedFolder = resolvedPath(folder);
    QStringList beneath;
    for (const QString &watched : watchedFolders) {
        if (PathUtils::isSameOrInside(resolvedPath(watched), resolvedFolder))
            beneath << watched;
    }
    return beneath;
}

QStringList LessModel::getAllRegisteredPaths() const
{
    QStringList paths;
    for (const auto &folder : m_pathData)
        paths << folder->userSelectedFullPath();
    return paths;
}

QHash<QString, QStringList> LessModel::getAllRegisteredLessFilesForRegisteredPaths() const
{
    QHash<QString, QStringList> filesByFolder;
    for (const auto &folder : m_pathData) {
        QStringList &files = filesByFolder[folder->userSelectedFullPath()];
        for (const auto &file : folder->lessFiles())
            files << file->lessFileFullPath();
    }
    return filesByFolder;
}

QStringList LessModel::getAllLessFilesAndIncludeIgnoredOnes(bool includeIgnored) const
{
    QStringList paths;
    for (const LessHolder *file : getAllLessHoldersAndIncludeIgnoredOnes(includeIgnored))
        paths << file->lessFileFullPath();
    return paths;
}

QList<LessHolder *> LessModel::getAllLessHoldersAndIncludeIgnoredOnes(bool includeIgnored) const
{
    QList<LessHolder *> files;
    for (const auto &folder : m_pathData) {
        for (const auto &file : folder->lessFiles()) {
            if (includeIgnored || file->checkboxState())
                files << file.get();
        }
    }
    return files;
}

LessHolder *LessModel::getLessHolderForLessFileAtPath(const QString &path) const
{
    return recordsByKey().value(lessFileKey(path));
}

const QHash<QString, LessHolder *> &LessModel::recordsByPath() const
{
    indexRecords();
    return m_recordsByPath;
}

const QHash<QString, LessHolder *> &LessModel::recordsByKey() const
{
    indexRecords();
    return m_recordsByKey;
}

// The first record in folder then file order wins.
void LessModel::indexRecords() const
{
    if (m_recordsIndexed)
        return;
    m_recordsByPath.clear();
    m_recordsByKey.clear();
    const QList<LessHolder *> files = getAllLessHoldersAndIncludeIgnoredOnes(true);
    for (auto file = files.crbegin(); file != files.crend(); ++file) {
        m_recordsByPath.insert((*file)->lessFileFullPath(), *file);
        m_recordsByKey.insert(lessFileKey((*file)->lessFileFullPath()), *file);
    }
    m_recordsIndexed = true;
}

void LessModel::addNewPathToModel(const QString &path, const QStringList &lessFiles,
                                  const std::optional<ProjectDefaults> &projectDefaults)
{
    if (modelContainsPath(path))
        return;
    auto folder = std::make_unique<PathHolder>();
    folder->setUserSelectedFullPath(path);
    folder->setUserSelectedTildePath(PathUtils::abbreviateWithTilde(path));
    folder->setUserSelectedLastPathComponent(PathUtils::lastPathComponent(path));
    folder->setProjectDefaults(projectDefaults);
    folder->addLessFilesAtPaths(lessFiles);

    const int row = numberOfPathsInModel();
    Q_EMIT pathsAboutToBeInserted(row, row);
    relayChangesOf(folder.get());
    m_pathData.push_back(std::move(folder));
    Q_EMIT pathsInserted(row, row);
}

void LessModel::removePathFromModel(const QString &path)
{
    const int row = rowOfPath(path);
    if (row < 0)
        return;
    QStringList files;
    for (const auto &file : m_pathData.at(row)->lessFiles())
        files << file->lessFileFullPath();
    Q_EMIT pathsAboutToBeRemoved(row, row);
    m_pathData.erase(m_pathData.begin() + row);
    Q_EMIT pathsRemoved(row, row);
    forgetImportsOf(files);
}

void LessModel::addLessFileToModel(const QString &path, const QString &folderPath)
{
    addLessFilesToModel({path}, folderPath);
}

void LessModel::addLessFilesToModel(const QStringList &paths, const QString &folderPath)
{
    if (PathHolder *folder = folderTakingFileChanges(folderPath))
        folder->addLessFilesAtPaths(paths);
    else
        qCWarning(lcModel,
                  "Tried to add the LESS file '%s' to model path '%s', but that path does not "
                  "exist in the model.",
                  qUtf8Printable(paths.join(QStringLiteral("', '"))), qUtf8Printable(folderPath));
}

void LessModel::removeLessFileFromModel(const QString &path, const QString &folderPath)
{
    removeLessFilesFromModel({path}, folderPath);
}

void LessModel::removeLessFilesFromModel(const QStringList &paths, const QString &folderPath)
{
    if (PathHolder *folder = folderTakingFileChanges(folderPath)) {
        folder->removeLessFilesAtPaths(paths);
        forgetImportsOf(paths);
    } else {
        qCWarning(lcModel,
                  "Tried to remove the LESS file '%s' from model path '%s', but that path does "
                  "not exist in the model.",
                  qUtf8Printable(paths.join(QStringLiteral("', '"))), qUtf8Printable(folderPath));
    }
}

bool LessModel::moveLessFile(const QString &from, const QString &to)
{
    LessHolder *record = getLessHolderForLessFileAtPath(from);
    const QString toFolder = watchedFolderHolding(to);
    if (!record || toFolder.isEmpty())
        return false;
    PathHolder *oldFolder = folderTakingFileChanges(record->memberOfWatchedFolder());
    PathHolder *newFolder = folderTakingFileChanges(toFolder);
    if (oldFolder && oldFolder != newFolder)
        newFolder->adoptLessFile(oldFolder->takeLessFile(record));
    record->moveTo(to, toFolder);
    forgetImportsOf({from});
    rescanImportsOfFile(to);
    return true;
}

QString LessModel::watchedFolderHolding(const QString &path) const
{
    for (const auto &folder : m_pathData) {
        if (PathUtils::isSameOrInside(path, folder->userSelectedFullPath()))
            return folder->userSelectedFullPath();
    }
    return {};
}

void LessModel::setPathMissing(const QString &folderPath, bool missing)
{
    if (PathHolder *folder = folderTakingFileChanges(folderPath))
        folder->setMissing(missing);
}

void LessModel::replaceLessFilesForPath(const QString &folderPath, const QStringList &newLessFiles)
{
    const int row = rowOfPath(folderPath);
    if (row < 0)
        return;
    PathHolder &folder = *m_pathData[row];
    folder.setLessFiles({});
    for (const QString &file : newLessFiles)
        folder.addLessFileAtPath(file);
}

void LessModel::loadNewPathDataIntoModel(PathData pathData)
{
    setPathData(std::move(pathData));
}

void LessModel::refreshAllFileLinks()
{
    applyFileLinks(computeFileLinks(fileLinkSnapshot()));
}

LessModel::LinkSnapshot LessModel::fileLinkSnapshot() const
{
    return getAllLessFilesAndIncludeIgnoredOnes(true);
}

// Imported files outside the project are scanned too, and theirs in turn, so
// that a save of any of them finds the project's files that depend on it.
LessModel::FileLinks LessModel::computeFileLinks(const LinkSnapshot &snapshot)
{
    FileLinks links;
    QStringList toScan = snapshot;
    for (qsizetype next = 0; next < toScan.size(); ++next) {
        const QString &file = toScan.at(next);
        if (links.contains(file))
            continue;
        const std::optional<QStringList> imports = LinkedFilesHelper::linkedFilesForLessFile(file);
        if (!imports)
            continue;
        links.insert(file, *imports);
        for (const QString &imported : *imports) {
            if (!links.contains(imported) && QFileInfo(imported).isFile())
                toScan << imported;
        }
    }
    return links;
}

// In path order, so that importers are listed the same way each time.
void LessModel::applyFileLinks(const FileLinks &links)
{
    QStringList files = links.keys();
    files.sort();
    for (const QString &file : files) {
        QStringList imports = m_importGraph.importsOf(file);
        for (const QString &imported : links.value(file)) {
            if (!imports.contains(imported))
                imports << imported;
        }
        setImports(file, imports);
    }
    updateImportersOf(getAllLessFilesAndIncludeIgnoredOnes(true));
}

void LessModel::recordFilesRead(const QString &file, const QStringList &filesRead, bool successful)
{
    if (filesRead.isEmpty())
        return;
    const QStringList before = m_importGraph.importsOf(file);
    QStringList imports = successful ? QStringList() : before;
    for (const QString &read : filesRead) {
        const QString path = QDir::cleanPath(read);
        if (path != file && !imports.contains(path))
            imports << path;
    }
    replaceImports(file, imports);
}

void LessModel::rescanImportsOfFile(const QString &file)
{
    if (const std::optional<QStringList> imports = LinkedFilesHelper::linkedFilesForLessFile(file))
        replaceImports(file, *imports);
}

// Only the files whose importers change are looked at again.
void LessModel::replaceImports(const QString &file, const QStringList &imports)
{
    const QStringList before = m_importGraph.importsOf(file);
    if (imports == before && m_importGraph.hasImportsRecorded(file))
        return;
    setImports(file, imports);
    updateImportersOf(before + imports);
}

// Sorted, so that the answer does not depend on the order of a hash.
QStringList LessModel::importedFilesOutsideProject() const
{
    QSet<QString> outside;
    const QHash<QString, QStringList> imports = m_importGraph.allImports();
    for (const QStringList &files : imports) {
        for (const QString &file : files) {
            if (!recordsByPath().contains(file))
                outside.insert(file);
        }
    }
    QStringList sorted(outside.cbegin(), outside.cend());
    sorted.sort();
    return sorted;
}

void LessModel::setImports(const QString &file, const QStringList &imports)
{
    m_importGraph.setImports(file, imports);
    if (LessHolder *record = recordsByPath().value(file))
        record->setImportedFiles(imports);
}

void LessModel::forgetImportsOf(const QStringList &files)
{
    QStringList touched;
    for (const QString &file : files) {
        touched << m_importGraph.importsOf(file);
        m_importGraph.forgetImportsOf(file);
    }
    updateImportersOf(touched);
}

// A partial is a file that another file of the project imports.
void LessModel::updateImportersOf(const QStringList &files)
{
    const QHash<QString, LessHolder *> &records = recordsByPath();
    for (const QString &file : files) {
        LessHolder *record = records.value(file);
        if (!record)
            continue;
        const QStringList importers = m_importGraph.importersOf(file);
        record->setLinkedFilesToCompile(importers);
        const bool partial = std::any_of(importers.cbegin(), importers.cend(),
                                         [&records](const QString &importer) { return records.contains(importer); });
        if (!record->checkboxChosenByUser() && record->checkboxState() == partial)
            record->setCheckboxState(!partial);
    }
    Q_EMIT importGraphChanged();
}

void LessModel::addNewCompilerResultWithTime(const QDateTime &time, const QString &file,
                                             const StyledText &result, const QString &compiler)
{
    CompilerResultHolder entry;
    entry.setTime(time);
    entry.setFile(file);
    entry.setResult(result);
    entry.setCompiler(compiler);
    const int row = int(m_compilerResultData.size());
    Q_EMIT compilerResultsAboutToBeInserted(row, row);
    m_compilerResultData.append(entry);
    Q_EMIT compilerResultsInserted(row, row);
}

void LessModel::clearCompilerResults()
{
    setCompilerResultData({});
}

void LessModel::setPathData(PathData pathData)
{
    Q_EMIT pathsAboutToBeReset();
    m_pathData = std::move(pathData);
    for (const auto &folder : m_pathData)
        relayChangesOf(folder.get());
    Q_EMIT pathsReset();
    // The links the project kept; files without them are scanned later.
    m_importGraph.clear();
    for (const LessHolder *file : getAllLessHoldersAndIncludeIgnoredOnes(true)) {
        if (const std::optional<QStringList> imports = file->importedFiles())
            m_importGraph.setImports(file->lessFileFullPath(), *imports);
    }
    updateImportersOf(getAllLessFilesAndIncludeIgnoredOnes(true));
}

void LessModel::setCompilerResultData(const QList<CompilerResultHolder> &results)
{
    Q_EMIT compilerResultsAboutToBeReset();
    m_compilerResultData = results;
    Q_EMIT compilerResultsReset();
}

int LessModel::rowOfPath(const QString &path, Qt::CaseSensitivity sensitivity) const
{
    return firstRowWhere(m_pathData, [&](const auto &folder) {
        return folder->userSelectedFullPath().compare(path, sensitivity) == 0;
    });
}

PathHolder *LessModel::folderTakingFileChanges(const QString &folderPath) const
{
    if (!modelContainsPath(folderPath))
        return nullptr;
    return m_pathData[rowOfPath(folderPath, Qt::CaseInsensitive)].get();
}

int LessModel::rowOf(const PathHolder *pathHolder) const
{
    return firstRowWhere(m_pathData, [&](const auto &folder) { return folder.get() == pathHolder; });
}

void LessModel::relayChangesOf(PathHolder *pathHolder)
{
    const auto row = [this, pathHolder] { return rowOf(pathHolder); };
    connect(pathHolder, &PathHolder::changed, this,
            [this, row](PathHolder::Field field) { Q_EMIT pathChanged(row(), field); });
    connect(pathHolder, &PathHolder::lessFilesAboutToBeInserted, this,
            [this, row](int first, int last) { Q_EMIT lessFilesAboutToBeInserted(row(), first, last); });
    connect(pathHolder, &PathHolder::lessFilesInserted, this,
            [this, row](int first, int last) { Q_EMIT lessFilesInserted(row(), first, last); });
    connect(pathHolder, &PathHolder::lessFilesAboutToBeRemoved, this,
            [this, row](int first, int last) { Q_EMIT lessFilesAboutToBeRemoved(row(), first, last); });
    connect(pathHolder, &PathHolder::lessFilesRemoved, this,
            [this, row](int first, int last) { Q_EMIT lessFilesRemoved(row(), first, last); });
    connect(pathHolder, &PathHolder::lessFilesAboutToBeReset, this,
            [this, row] { Q_EMIT lessFilesAboutToBeReset(row()); });
    connect(pathHolder, &PathHolder::lessFilesReset, this,
            [this, row] { Q_EMIT lessFilesReset(row()); });
    connect(pathHolder, &PathHolder::lessFileChanged, this,
            [this, row](int fileRow, LessHolder::Field field) {
                Q_EMIT lessFileChanged(row(), fileRow, field);
            });
    connect(pathHolder, &PathHolder::lessFilesTookProjectDefaults, this, [this, pathHolder](const QStringList &paths) {
        Q_EMIT lessFilesTookProjectDefaults(pathHolder->userSelectedFullPath(), paths);
    });
}

PathHolder *LessModel::watchedFolderOf(const LessHolder *file) const
{
    const int row = rowOfPath(file->memberOfWatchedFolder());
    return row < 0 ? nullptr : m_pathData.at(size_t(row)).get();
}
