#include "LessModel.h"

#include "Rows.h"
#include "engine/LinkedFilesHelper.h"
#include "support/Logging.h"
#include "support/PathUtils.h"

#include <QDir>
#include <QFileInfo>
#include <QSignalBlocker>
#include <QTextBoundaryFinder>

#include <algorithm>

namespace {

// Each word starts upper case and goes on lower case: my-site becomes My-Site.
QString capitalized(const QString &text)
{
    QString result = text.toLower();
    QTextBoundaryFinder words(QTextBoundaryFinder::Word, result);
    for (qsizetype position = 0; position >= 0; position = words.toNextBoundary()) {
        if (position < result.size()
            && words.boundaryReasons().testFlag(QTextBoundaryFinder::StartOfItem))
            result[position] = result.at(position).toTitleCase();
    }
    return result;
}

// Files are identified by their full path compared ignoring case.
QString lessFileKey(const QString &path)
{
    return PathUtils::expandTilde(path).toCaseFolded();
}

QString invalidImportMessage(const QString &importer, const QString &import)
{
    return QStringLiteral("The file (%1) has an '@import' statement (%2) that does not point to a "
                          "valid LESS file. The statement was ignored and no link was established "
                          "between the files.")
        .arg(importer, import);
}

QString missingImportMessage(const QString &importer, const QString &imported)
{
    return QStringLiteral("The file (%1) imports a file that does not exist: (%2). The statement "
                          "was ignored.")
        .arg(importer, imported);
}

QString unregisteredImportMessage(const QString &importer, const QString &imported)
{
    return QStringLiteral("The file (%1) imports a LESS file (%2) that has not been added to "
                          "Cascader.app. No link was established between the files.")
        .arg(importer, imported);
}

QString resolvedPath(const QString &path)
{
    const QString canonical = QFileInfo(path).canonicalFilePath();
    return canonical.isEmpty() ? QDir::cleanPath(path) : canonical;
}

// A hash instead of a search over all records; the first record in flattening
// order wins, as in getLessHolderForLessFileAtPath().
QHash<QString, qsizetype> firstIndexByKey(const LessModel::LinkSnapshot &snapshot)
{
    QHash<QString, qsizetype> indexByKey;
    indexByKey.reserve(snapshot.size());
    for (qsizetype index = 0; index < snapshot.size(); ++index) {
        const QString key = lessFileKey(snapshot.at(index).lessFileFullPath);
        if (!indexByKey.contains(key))
            indexByKey.insert(key, index);
    }
    return indexByKey;
}

} // namespace

LessModel::LessModel(QObject *parent) : QObject(parent) {}

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
    const QString wanted = PathUtils::expandTilde(path);
    for (const auto &folder : m_pathData) {
        for (const auto &file : folder->lessFiles()) {
            if (file->lessFileFullPath().compare(wanted, Qt::CaseInsensitive) == 0)
                return file.get();
        }
    }
    return nullptr;
}

void LessModel::addNewPathToModel(const QString &path, const QStringList &lessFiles)
{
    if (modelContainsPath(path))
        return;
    auto folder = std::make_unique<PathHolder>();
    folder->setUserSelectedFullPath(path);
    folder->setUserSelectedTildePath(PathUtils::abbreviateWithTilde(path));
    folder->setUserSelectedLastPathComponent(capitalized(PathUtils::lastPathComponent(path)));
    for (const QString &file : lessFiles)
        folder->addLessFileAtPath(file);

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
    Q_EMIT pathsAboutToBeRemoved(row, row);
    m_pathData.erase(m_pathData.begin() + row);
    Q_EMIT pathsRemoved(row, row);
}

void LessModel::addLessFileToModel(const QString &path, const QString &folderPath)
{
    if (PathHolder *folder = folderTakingFileChanges(folderPath))
        folder->addLessFileAtPath(path);
    else
        qCWarning(lcModel,
                  "Tried to add the LESS file '%s' to model path '%s', but that path does not "
                  "exist in the model.",
                  qUtf8Printable(path), qUtf8Printable(folderPath));
}

void LessModel::removeLessFileFromModel(const QString &path, const QString &folderPath)
{
    if (PathHolder *folder = folderTakingFileChanges(folderPath))
        folder->removeLessFileAtPath(path);
    else
        qCWarning(lcModel,
                  "Tried to remove the LESS file '%s' from model path '%s', but that path does "
                  "not exist in the model.",
                  qUtf8Printable(path), qUtf8Printable(folderPath));
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
    LinkSnapshot snapshot;
    for (const LessHolder *file : getAllLessHoldersAndIncludeIgnoredOnes(true))
        snapshot.append({file->lessFileFullPath(), file->lessFileTildePath()});
    return snapshot;
}

LessModel::FileLinks LessModel::computeFileLinks(const LinkSnapshot &snapshot)
{
    const QHash<QString, qsizetype> indexByKey = firstIndexByKey(snapshot);
    // Every file is scanned first, so that a file the scanner could open needs
    // no existence check; other paths are checked once each.
    QList<QStringList> importsPerFile;
    QHash<QString, bool> existence;
    for (const LinkSnapshotEntry &entry : snapshot) {
        const std::optional<QStringList> imports =
            LinkedFilesHelper::linkedFilesForLessFile(entry.lessFileFullPath);
        if (imports)
            existence.insert(entry.lessFileFullPath, true);
        importsPerFile << imports.value_or(QStringList());
    }
    const auto exists = [&existence](const QString &path) {
        auto known = existence.constFind(path);
        if (known == existence.cend())
            known = existence.insert(path, QFileInfo::exists(path));
        return *known;
    };

    FileLinks links;
    links.linkedFilesToCompile.resize(snapshot.size());
    for (qsizetype index = 0; index < snapshot.size(); ++index) {
        const LinkSnapshotEntry &importer = snapshot.at(index);
        links.lessFileFullPaths << importer.lessFileFullPath;
        for (const QString &import : importsPerFile.at(index)) {
            if (!PathUtils::isLessFile(import)) {
                links.logMessages << invalidImportMessage(importer.lessFileTildePath, import);
                continue;
            }
            const QString imported =
                LinkedFilesHelper::pathToImportedFile(import, importer.lessFileFullPath);
            if (!exists(imported)) {
                links.logMessages << missingImportMessage(importer.lessFileTildePath, imported);
                continue;
            }
            const auto target = indexByKey.constFind(lessFileKey(imported));
            if (target == indexByKey.cend()) {
                links.logMessages << unregisteredImportMessage(importer.lessFileTildePath, imported);
                continue;
            }
            links.linkedFilesToCompile[*target] << importer.lessFileFullPath;
        }
    }
    return links;
}

bool LessModel::applyFileLinks(const FileLinks &links)
{
    const QList<LessHolder *> files = getAllLessHoldersAndIncludeIgnoredOnes(true);
    const bool unchanged = std::equal(files.cbegin(), files.cend(),
                                      links.lessFileFullPaths.cbegin(),
                                      links.lessFileFullPaths.cend(),
                                      [](const LessHolder *file, const QString &path) {
                                          return file->lessFileFullPath() == path;
                                      });
    if (!unchanged)
        return false;
    // The links are not shown anywhere, so they change silently.
    for (qsizetype index = 0; index < files.size(); ++index) {
        const QSignalBlocker silence(files.at(index));
        files.at(index)->setLinkedFilesToCompile(links.linkedFilesToCompile.at(index));
    }
    for (const QString &message : links.logMessages)
        qCWarning(lcModel, "%s", qUtf8Printable(message));
    return true;
}

void LessModel::addNewCompilerResultWithTime(const QDateTime &time, const QString &file,
                                             const StyledText &result)
{
    CompilerResultHolder entry;
    entry.setTime(time);
    entry.setFile(file);
    entry.setResult(result);
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
}
