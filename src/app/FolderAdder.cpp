#include "FolderAdder.h"

#include "AutoCompileWatchList.h"
#include "CSSOutputPaths.h"
#include "CompilerLog.h"
#include "ImportLinks.h"
#include "MainAppController.h"
#include "engine/ZRMLessCompiler.h"
#include "support/PathUtils.h"
#include "support/UserDefaults.h"
#include "support/UserDefaultsKeys.h"

#include <QDir>
#include <QFileInfo>

using namespace PathUtils;

namespace {

// Spinner messages.
const QString ValidatingPathMessage = QStringLiteral("Validating Path...");
const QString LookingForLessFilesMessage = QStringLiteral("Looking for LESS Files...");

// Validation and search results.
namespace ResultKey {
inline constexpr QLatin1StringView Path{"path"};
inline constexpr QLatin1StringView Result{"result"};
inline constexpr QLatin1StringView ErrorTitle{"errorTitle"};
inline constexpr QLatin1StringView ErrorMessage{"errorMessage"};
inline constexpr QLatin1StringView FilesArray{"filesArray"};
inline constexpr QLatin1StringView UndecodableFiles{"undecodableFiles"};
inline constexpr QLatin1StringView ProjectDefaults{"projectDefaults"};
} // namespace ResultKey
const QString Pass = QStringLiteral("pass");
// The folder is in the project already: nothing to do, and nothing wrong.
const QString AlreadyThere = QStringLiteral("already there");
const QString Fail = QStringLiteral("fail");

const QString TooBroadTitle = QStringLiteral("Select a More Specific Path");
const QString TooBroadMessage = QStringLiteral(
    "We search every folder in the path you select. As a result, choosing a folder with too many "
    "subpaths can significantly reduce performance. Choose a more specific path. (A good example "
    "would be '~/Projects/clients/some-client'.)");
const QString AlreadyIncludedTitle = QStringLiteral("Path Already Included");
const QString InsideWatchedFolderMessage = QStringLiteral(
    "The path you selected is part of a folder we're already watching: %1  \n \n As a result, "
    "there's no need to add it.");

// Folders whose recursive search would take too long. Only these exact
// strings count: anything inside them is specific enough.
QStringList tooBroadFolders()
{
    const QString home = QDir::homePath();
    QStringList folders{QStringLiteral("/"),        QStringLiteral("/private"),
                        QStringLiteral("/Users"),   QStringLiteral("/Library"),
                        QStringLiteral("/System"),  QStringLiteral("/Applications"),
                        QStringLiteral("/Developer"), QStringLiteral("/home"),
                        home};
    for (const char *name : {"Documents", "Music", "Pictures", "Movies", "Library", "Videos"})
        folders << appendingPathComponent(home, QString::fromLatin1(name));
    return folders;
}

QVariantMap emptyValidationResult()
{
    return {{ResultKey::Path, QString()},
            {ResultKey::Result, QString()},
            {ResultKey::ErrorTitle, QString()},
            {ResultKey::ErrorMessage, QString()}};
}

QVariantMap failedValidation(const QString &title, const QString &message)
{
    QVariantMap result = emptyValidationResult();
    result.insert(ResultKey::Result, Fail);
    result.insert(ResultKey::ErrorTitle, title);
    result.insert(ResultKey::ErrorMessage, message);
    return result;
}

// Symbolic links resolved where the path exists, so that a link into a
// watched folder counts as inside it.
QString resolvedPath(const QString &path)
{
    const QString canonical = QFileInfo(path).canonicalFilePath();
    return canonical.isEmpty() ? QDir::cleanPath(path) : canonical;
}

// The watched folder that is folder, or that holds it, by where they are on disk.
struct Overlap
{
    QString same;
    QString ancestor;
};

Overlap overlapOf(const QString &folder, const QStringList &watchedFolders)
{
    Overlap overlap;
    const QString resolved = resolvedPath(folder);
    for (const QString &watched : watchedFolders) {
        const QString resolvedWatched = resolvedPath(watched);
        if (resolvedWatched == resolved)
            overlap.same = watched;
        else if (isInside(resolved, resolvedWatched))
            overlap.ancestor = watched;
    }
    return overlap;
}

} // namespace

struct FolderAdder::AbsorbedFolder
{
    QString path;
    QStringList lessFiles;
};

struct FolderAdder::Validation
{
    QVariantMap result;
    QList<AbsorbedFolder> absorbedFolders;
};

FolderAdder::FolderAdder(MainAppController *controller) : QObject(controller), m_controller(controller) {}

// Each add holds the spinner from the start, also while it waits its turn.
void FolderAdder::beginValidatingPath(const QString &path)
{
    m_controller->showSpinnerWithMessage(ValidatingPathMessage);
    m_pendingAdds.append(path);
    if (!m_addInProgress)
        validateNextPath();
}

void FolderAdder::validateNextPath()
{
    m_addInProgress = true;
    const QString path = m_pendingAdds.takeFirst();
    m_controller->runInBackground(
        this,
        [path, watchedFolders = m_controller->appModel()->getAllRegisteredPaths()] {
            return asynchronouslyValidatePath(path, watchedFolders);
        },
        [this](const Validation &validation) {
            absorbWatchedSubfolders(validation.absorbedFolders);
            didFinishValidatingPathWithResult(validation.result);
        });
}

FolderAdder::Validation FolderAdder::asynchronouslyValidatePath(const QString &path,
                                                                const QStringList &watchedFolders)
{
    const QStringList tooBroad = tooBroadFolders();
    if (tooBroad.contains(QDir::cleanPath(path)) || tooBroad.contains(resolvedPath(path)))
        return {failedValidation(TooBroadTitle, TooBroadMessage), {}};

    // Checked after the too-broad test: a LESS file directly in one of those
    // folders makes that folder acceptable.
    const QString folder = QDir::cleanPath(isLessFile(path) ? deletingLastPathComponent(path) : path);
    const Overlap overlap = overlapOf(folder, watchedFolders);
    if (!overlap.same.isEmpty()) {
        QVariantMap result = emptyValidationResult();
        result.insert(ResultKey::Result, AlreadyThere);
        return {result, {}};
    }
    if (!overlap.ancestor.isEmpty())
        return {failedValidation(AlreadyIncludedTitle, InsideWatchedFolderMessage.arg(overlap.ancestor)), {}};

    // The absorbed folders' files are listed afresh from disk; their records
    // are dropped and come back as fresh records of the new folder.
    Validation validation{emptyValidationResult(), {}};
    for (const QString &subfolder : LessModel::watchedFoldersAtOrBeneath(folder, watchedFolders))
        validation.absorbedFolders
            << AbsorbedFolder{subfolder, ZRMLessCompiler::getAllLessFilesInDirectory(subfolder)};
    validation.result.insert(ResultKey::Path, folder);
    validation.result.insert(ResultKey::Result, Pass);
    return validation;
}

void FolderAdder::absorbWatchedSubfolders(const QList<AbsorbedFolder> &folders)
{
    for (const AbsorbedFolder &folder : folders) {
        m_controller->watchList()->removeLessFilesFromAutoCompileList(folder.lessFiles);
        m_controller->appModel()->removePathFromModel(folder.path);
    }
}

void FolderAdder::didFinishValidatingPathWithResult(const QVariantMap &result)
{
    m_controller->hideSpinner();
    if (result.value(ResultKey::Result) == AlreadyThere) {
        didFinishAdding();
        return;
    }
    if (result.value(ResultKey::Result).toString().compare(Pass, Qt::CaseInsensitive) != 0) {
        m_controller->reportError(result.value(ResultKey::ErrorTitle).toString(),
                                  result.value(ResultKey::ErrorMessage).toString());
        didFinishAdding();
        return;
    }
    addPathToWatchList(result.value(ResultKey::Path).toString());
}

void FolderAdder::addPathToWatchList(const QString &folder)
{
    m_controller->showSpinnerWithMessage(LookingForLessFilesMessage);
    m_controller->runInBackground(
        this,
        [folder] {
            QList<QByteArray> undecodable;
            const QStringList files = ZRMLessCompiler::getAllLessFilesInDirectory(folder, &undecodable);
            return QVariantMap{{ResultKey::FilesArray, files},
                               {ResultKey::Path, folder},
                               {ResultKey::UndecodableFiles, QVariant::fromValue(undecodable)},
                               {ResultKey::ProjectDefaults, QVariant::fromValue(ProjectDefaults::readFromFolder(folder).defaults)}};
        },
        [this](const QVariantMap &result) { didFinishFindingLessFilesWithResult(result); });
}

void FolderAdder::didFinishFindingLessFilesWithResult(const QVariantMap &result)
{
    const QString folder = result.value(ResultKey::Path).toString();
    m_controller->appModel()->addNewPathToModel(folder, result.value(ResultKey::FilesArray).toStringList(),
                                                result.value(ResultKey::ProjectDefaults).value<std::optional<ProjectDefaults>>());
    m_controller->compilerLog()->reportUndecodableFiles(
        folder, result.value(ResultKey::UndecodableFiles).value<QList<QByteArray>>());
    m_controller->watchList()->refreshAutoCompileWatchList();
    m_controller->scrollTableViewsToLastRow();
    m_controller->hideSpinner();
    if (UserDefaults::standardUserDefaults()->boolForKey(UserDefaultsKeys::AutoSetCustomCSSPaths))
        m_controller->cssOutputPaths()->beginAutoSettingCSSPaths();
    m_controller->importLinks()->refreshImportLinks();
    didFinishAdding();
}

void FolderAdder::didFinishAdding()
{
    m_addInProgress = false;
    if (!m_pendingAdds.isEmpty())
        validateNextPath();
}
