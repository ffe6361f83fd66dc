#include "MainAppController.h"

#include "LessClientAppDelegate.h"
#include "UserInterface.h"
#include "engine/ZRMLessCompiler.h"
#include "support/NotificationCenter.h"
#include "support/PathUtils.h"
#include "support/UserDefaults.h"
#include "support/UserDefaultsKeys.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QSet>

#include <algorithm>
#include <chrono>
#include <cstdio>

using namespace PathUtils;

namespace {

// Spinner messages.
const QString ValidatingPathMessage = QStringLiteral("Validating Path...");
const QString LookingForLessFilesMessage = QStringLiteral("Looking for LESS Files...");
const QString SettingCSSPathsMessage = QStringLiteral("Setting CSS Paths...");
const QString RefreshingFoldersMessage = QStringLiteral("Refreshing Folders...");
const QString LinkingImportedFilesMessage = QStringLiteral("Linking Imported Files");
const QString CompilingMessage = QStringLiteral("Compiling...");

// Validation and search results.
namespace ResultKey {
inline constexpr QLatin1StringView Path{"path"};
inline constexpr QLatin1StringView Result{"result"};
inline constexpr QLatin1StringView ErrorTitle{"errorTitle"};
inline constexpr QLatin1StringView ErrorMessage{"errorMessage"};
inline constexpr QLatin1StringView FilesArray{"filesArray"};
inline constexpr QLatin1StringView UndecodableFiles{"undecodableFiles"};
} // namespace ResultKey
const QString Pass = QStringLiteral("pass");
const QString Fail = QStringLiteral("fail");

const QString TooBroadTitle = QStringLiteral("Select a More Specific Path");
const QString TooBroadMessage = QStringLiteral(
    "We search every folder in the path you select. As a result, choosing a folder with too many "
    "subpaths can significantly reduce performance. Choose a more specific path. (A good example "
    "would be '/Users/username/Documents/Clients/Some Client'.)");
const QString AlreadyIncludedTitle = QStringLiteral("Path Already Included");
const QString AlreadyWatchingMessage = QStringLiteral("We're already watching %1");
const QString InsideWatchedFolderMessage = QStringLiteral(
    "The path you selected is part of a folder we're already watching: %1  \n \n As a result, "
    "there's no need to add it.");
const QString CompilerErrorTitle = QStringLiteral("Compiler Error");
const QString CompilerNotFoundMessage = QStringLiteral(
    "We could not initialize the LESS compiler engine. Please restart the app. If the problem "
    "continues, choose 'Help', then re-download and install the latest version of CASCADER.app.");

// The compiler log.
constexpr RgbaColor SuccessGreen{0, 0.573, 0, 1};
const QString ToggleLogFile = QStringLiteral("...");
const QString CompilerLogFile = QStringLiteral("LESS compiler");
const QString AutoCompileEnabledMessage = QStringLiteral("Auto-compile is now enabled.");
const QString AutoCompileDisabledMessage = QStringLiteral("Auto-compile is now disabled.");
const QString LinkedToFileSuffix = QStringLiteral("  %1");
const QString UndecodableNamesMessage = QStringLiteral(
    "Cascader cannot compile these LESS files: their names, or the names of their folders, are not "
    "valid UTF-8. Rename them to compile them:\n%1");

// Watches handed to the engine at a time: some 5 ms of its work.
constexpr int WatchSliceSize = 200;
const QString LessExtension = QStringLiteral("less");
const QString CSSFolderName = QStringLiteral("css");
constexpr int NeverRefreshInterval = 20;

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

// The watched folders that relate to folder by where they are on disk.
struct Overlap
{
    QString same;
    QString ancestor;
    QStringList subfolders;
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
        else if (isInside(resolvedWatched, resolved))
            overlap.subfolders << watched;
    }
    return overlap;
}

template<typename Function>
void postToMainThread(QObject *receiver, Function function)
{
    QMetaObject::invokeMethod(receiver, std::move(function), Qt::QueuedConnection);
}

} // namespace

struct MainAppController::AbsorbedFolder
{
    QString path;
    QStringList lessFiles;
};

struct MainAppController::Validation
{
    QVariantMap result;
    QList<AbsorbedFolder> absorbedFolders;
};

struct MainAppController::RefreshSnapshot
{
    QStringList folders;
    QHash<QString, QStringList> lessFilesByFolder;
    // Each file's CSS target, keyed by the case-folded path, first record first,
    // as getLessHolderForLessFileAtPath() finds records.
    QHash<QString, QString> targetByFile;
};

struct MainAppController::FolderChanges
{
    QString folder;
    QStringList removedFiles;
    QStringList addedFiles;
    QStringList filesWithMissingCSSFolder;
    QList<QByteArray> undecodableFiles;
};

struct MainAppController::RefreshPlan
{
    QStringList vanishedFolders;
    QList<FolderChanges> folderChanges;
};

struct MainAppController::CSSTarget
{
    QString lessFile;
    QString targetCSSFile;
};

struct MainAppController::CSSFolderMove
{
    qsizetype fileIndex;
    QString lessFile;
    QString cssFolder;
};

MainAppController::MainAppController(LessClientAppDelegate *appDelegate, QObject *parent)
    : QObject(parent),
      m_appDelegate(appDelegate),
      m_lessCompiler(ZRMLessCompiler::sharedLessCompiler()),
      m_watchSliceTimer(new QTimer(this))
{
    // A timer rather than a posted call, so that input and timers get their turn between slices.
    m_watchSliceTimer->setSingleShot(true);
    connect(m_watchSliceTimer, &QTimer::timeout, this, &MainAppController::watchNextSlice);
    registerForCompilerNotifications();
    m_lessCompiler->setCompilerDelegate(this);
    connect(UserDefaults::standardUserDefaults(), &UserDefaults::valueChanged, this,
            [this](const QString &key) {
                if (key == UserDefaultsKeys::RefreshInterval)
                    setRefreshTimer();
            });
    setRefreshTimer();
}

MainAppController::~MainAppController()
{
    // Workers post back to this object; none may be left running.
    m_operationQueue.clear();
    m_operationQueue.waitForDone();
    unregisterForCompilerNotifications();
    if (m_lessCompiler->compilerDelegate() == this)
        m_lessCompiler->setCompilerDelegate(nullptr);
}

void MainAppController::setJAutoCompileEnabled(bool enabled)
{
    if (m_jAutoCompileEnabled == enabled)
        return;
    m_jAutoCompileEnabled = enabled;
    Q_EMIT jAutoCompileEnabledChanged(enabled);
}

void MainAppController::setJEnableUIElements(bool enabled)
{
    if (m_jEnableUIElements == enabled)
        return;
    m_jEnableUIElements = enabled;
    Q_EMIT jEnableUIElementsChanged(enabled);
}

void MainAppController::setActiveTabViewIndex(int index)
{
    if (m_activeTabViewIndex == index)
        return;
    m_activeTabViewIndex = index;
    Q_EMIT activeTabViewIndexChanged(index);
}

void MainAppController::handleTabViewSelectionButtons(int selectedSegment)
{
    setActiveTabViewIndex(selectedSegment);
}

// Only the work that raises the count from 0 names the spinner; an unmatched
// hide leaves the count below 0, so every show needs its hide.
void MainAppController::showSpinnerWithMessage(const QString &message)
{
    if (++m_spinnerCount != 1)
        return;
    setJEnableUIElements(false);
    Q_EMIT spinnerStarted(message);
}

void MainAppController::hideSpinner()
{
    if (--m_spinnerCount != 0)
        return;
    setJEnableUIElements(true);
    Q_EMIT spinnerStopped();
}

void MainAppController::scrollTableViewsToLastRow()
{
    Q_EMIT scrollTableViewsToLastRowRequested();
}

void MainAppController::reportError(const QString &title, const QString &message)
{
    if (m_userInterface) {
        m_userInterface->showError(title, message);
        return;
    }
    std::fprintf(stderr, "%s: %s\n", qUtf8Printable(title), qUtf8Printable(message));
    std::fflush(stderr);
}

// One add at a time, so that each one's overlap checks see every folder added
// before it.
void MainAppController::beginValidatingPath(const QString &path)
{
    showSpinnerWithMessage(ValidatingPathMessage);
    m_pendingAdds.append(path);
    if (!m_addInProgress)
        validateNextPath();
}

void MainAppController::validateNextPath()
{
    m_addInProgress = true;
    const QString path = m_pendingAdds.takeFirst();
    queue([this, path, watchedFolders = m_appModel.getAllRegisteredPaths()] {
        const Validation validation = asynchronouslyValidatePath(path, watchedFolders);
        postToMainThread(this, [this, validation] {
            absorbWatchedSubfolders(validation.absorbedFolders);
            didFinishValidatingPathWithResult(validation.result);
        });
    });
}

MainAppController::Validation MainAppController::asynchronouslyValidatePath(
    const QString &path, const QStringList &watchedFolders)
{
    const QStringList tooBroad = tooBroadFolders();
    if (tooBroad.contains(QDir::cleanPath(path)) || tooBroad.contains(resolvedPath(path)))
        return {failedValidation(TooBroadTitle, TooBroadMessage), {}};

    // Checked after the too-broad test: a LESS file directly in one of those
    // folders makes that folder acceptable.
    const QString folder = QDir::cleanPath(
        pathExtension(path).compare(LessExtension, Qt::CaseInsensitive) == 0 ? deletingLastPathComponent(path)
                                                                              : path);
    const Overlap overlap = overlapOf(folder, watchedFolders);
    if (!overlap.same.isEmpty())
        return {failedValidation(AlreadyIncludedTitle, AlreadyWatchingMessage.arg(overlap.same)), {}};
    if (!overlap.ancestor.isEmpty())
        return {failedValidation(AlreadyIncludedTitle, InsideWatchedFolderMessage.arg(overlap.ancestor)), {}};

    // The absorbed folders' files are listed afresh from disk; their records
    // are dropped and come back as fresh records of the new folder.
    Validation validation{emptyValidationResult(), {}};
    for (const QString &subfolder : overlap.subfolders)
        validation.absorbedFolders
            << AbsorbedFolder{subfolder, ZRMLessCompiler::getAllLessFilesInDirectory(subfolder)};
    validation.result.insert(ResultKey::Path, folder);
    validation.result.insert(ResultKey::Result, Pass);
    return validation;
}

void MainAppController::absorbWatchedSubfolders(const QList<AbsorbedFolder> &folders)
{
    for (const AbsorbedFolder &folder : folders) {
        removeLessFilesFromAutoCompileList(folder.lessFiles);
        m_appModel.removePathFromModel(folder.path);
    }
}

void MainAppController::didFinishValidatingPathWithResult(const QVariantMap &result)
{
    hideSpinner();
    if (result.value(ResultKey::Result).toString().compare(Pass, Qt::CaseInsensitive) != 0) {
        reportError(result.value(ResultKey::ErrorTitle).toString(),
                                 result.value(ResultKey::ErrorMessage).toString());
        didFinishAdding();
        return;
    }
    addPathToWatchList(result.value(ResultKey::Path).toString());
}

void MainAppController::addPathToWatchList(const QString &folder)
{
    showSpinnerWithMessage(LookingForLessFilesMessage);
    queue([this, folder] {
        QList<QByteArray> undecodable;
        const QStringList files = ZRMLessCompiler::getAllLessFilesInDirectory(folder, &undecodable);
        const QVariantMap result{{ResultKey::FilesArray, files},
                                 {ResultKey::Path, folder},
                                 {ResultKey::UndecodableFiles, QVariant::fromValue(undecodable)}};
        postToMainThread(this, [this, result] { didFinishFindingLessFilesWithResult(result); });
    });
}

void MainAppController::didFinishFindingLessFilesWithResult(const QVariantMap &result)
{
    const QString folder = result.value(ResultKey::Path).toString();
    m_appModel.addNewPathToModel(folder, result.value(ResultKey::FilesArray).toStringList());
    reportUndecodableFiles(folder, result.value(ResultKey::UndecodableFiles).value<QList<QByteArray>>());
    refreshAutoCompileWatchList();
    scrollTableViewsToLastRow();
    hideSpinner();
    if (UserDefaults::standardUserDefaults()->boolForKey(UserDefaultsKeys::AutoSetCustomCSSPaths))
        beginAutoSettingCSSPaths();
    refreshImportLinks();
    didFinishAdding();
}

void MainAppController::didFinishAdding()
{
    m_addInProgress = false;
    if (!m_pendingAdds.isEmpty())
        validateNextPath();
}

void MainAppController::beginAutoSettingCSSPaths()
{
    showSpinnerWithMessage(SettingCSSPathsMessage);
    QList<CSSTarget> targets;
    for (const LessHolder *file : m_appModel.getAllLessHoldersAndIncludeIgnoredOnes(true))
        targets << CSSTarget{file->lessFileFullPath(), file->targetCSSFileFullPath()};
    queue([this, targets] {
        const QList<CSSFolderMove> moves = asynchronouslyAutoSetCSSPaths(targets);
        postToMainThread(this, [this, moves] {
            moveCSSTargets(moves);
            didFinishAutoSettingCSSPaths();
        });
    });
}

// Only targets still at their default place (beside the LESS file, same base
// name) move into the css folder beside the LESS file's folder; a target the
// user chose, or one already moved, no longer matches.
QList<MainAppController::CSSFolderMove> MainAppController::asynchronouslyAutoSetCSSPaths(
    const QList<CSSTarget> &targets)
{
    QList<CSSFolderMove> moves;
    for (qsizetype index = 0; index < targets.size(); ++index) {
        const CSSTarget &target = targets.at(index);
        const QString cssFolder = appendingPathComponent(
            deletingLastPathComponent(deletingLastPathComponent(target.lessFile)), CSSFolderName);
        const bool atDefaultPlace = deletingPathExtension(target.lessFile)
                                        .compare(deletingPathExtension(target.targetCSSFile),
                                                 Qt::CaseInsensitive)
                                    == 0;
        if (atDefaultPlace && QFileInfo(cssFolder).isDir())
            moves << CSSFolderMove{index, target.lessFile, cssFolder};
    }
    return moves;
}

// The records are found again by position; one whose file changed meanwhile is left alone.
void MainAppController::moveCSSTargets(const QList<CSSFolderMove> &moves)
{
    const QList<LessHolder *> files = m_appModel.getAllLessHoldersAndIncludeIgnoredOnes(true);
    for (const CSSFolderMove &move : moves) {
        if (move.fileIndex < files.size() && files.at(move.fileIndex)->lessFileFullPath() == move.lessFile)
            files.at(move.fileIndex)->setCSSFileOutputFolder(move.cssFolder);
    }
}

void MainAppController::didFinishAutoSettingCSSPaths()
{
    hideSpinner();
}

void MainAppController::refreshWatchedFolders()
{
    beginRefreshingWatchedPathsAndShouldNotifyUserWhenDone(true);
}

void MainAppController::fireAutoRefresh()
{
    beginRefreshingWatchedPathsAndShouldNotifyUserWhenDone(false);
}

void MainAppController::beginRefreshingWatchedPathsAndShouldNotifyUserWhenDone(bool notify)
{
    showSpinnerWithMessage(RefreshingFoldersMessage);
    queue([this, notify, snapshot = refreshSnapshot()] {
        const RefreshPlan plan = asynchronouslyRefreshWatchedPaths(snapshot);
        postToMainThread(this, [this, notify, plan] {
            applyRefreshPlan(plan);
            if (UserDefaults::standardUserDefaults()->boolForKey(UserDefaultsKeys::AutoSetCustomCSSPaths))
                beginAutoSettingCSSPaths();
            linkImportedFiles(
                [this, notify] { didFinishRefreshingWatchedPathsAndShouldNotifyUserWhenDone(notify); });
        });
    });
}

MainAppController::RefreshSnapshot MainAppController::refreshSnapshot() const
{
    RefreshSnapshot snapshot{m_appModel.getAllRegisteredPaths(),
                             m_appModel.getAllRegisteredLessFilesForRegisteredPaths(), {}};
    for (const LessHolder *file : m_appModel.getAllLessHoldersAndIncludeIgnoredOnes(true))
        snapshot.targetByFile.insert(file->lessFileFullPath().toCaseFolded(), file->targetCSSFileFullPath());
    return snapshot;
}

// Paths are compared as whole, case-sensitive strings.
MainAppController::RefreshPlan MainAppController::asynchronouslyRefreshWatchedPaths(
    const RefreshSnapshot &snapshot)
{
    RefreshPlan plan;
    for (const QString &folder : snapshot.folders) {
        if (!QFileInfo(folder).isDir())
            plan.vanishedFolders << folder;
    }
    for (const QString &folder : snapshot.folders) {
        if (plan.vanishedFolders.contains(folder))
            continue;
        const QStringList oldFiles = snapshot.lessFilesByFolder.value(folder);
        FolderChanges changes{folder, {}, {}, {}, {}};
        const QStringList newFiles =
            ZRMLessCompiler::getAllLessFilesInDirectory(folder, &changes.undecodableFiles);
        const QSet<QString> oldSet(oldFiles.cbegin(), oldFiles.cend());
        const QSet<QString> newSet(newFiles.cbegin(), newFiles.cend());
        for (const QString &file : oldFiles) {
            if (!newSet.contains(file))
                changes.removedFiles << file;
        }
        for (const QString &file : newFiles) {
            if (!oldSet.contains(file))
                changes.addedFiles << file;
            // A new record's target lies beside its LESS file, whose folder exists.
            const QString target = snapshot.targetByFile.value(file.toCaseFolded());
            if (!target.isEmpty() && !QFileInfo::exists(deletingLastPathComponent(target)))
                changes.filesWithMissingCSSFolder << file;
        }
        plan.folderChanges << changes;
    }
    return plan;
}

// Vanished folders go without their files being unwatched.
void MainAppController::applyRefreshPlan(const RefreshPlan &plan)
{
    for (const QString &folder : plan.vanishedFolders)
        m_appModel.removePathFromModel(folder);
    const QHash<QString, QStringList> knownFiles = m_appModel.getAllRegisteredLessFilesForRegisteredPaths();
    for (const FolderChanges &changes : plan.folderChanges) {
        // Removed while the folder was being scanned.
        if (!knownFiles.contains(changes.folder))
            continue;
        applyFolderChanges(changes, knownFiles.value(changes.folder));
    }
}

void MainAppController::applyFolderChanges(const FolderChanges &changes, const QStringList &knownFiles)
{
    for (const QString &file : changes.removedFiles) {
        m_appModel.removeLessFileFromModel(file, changes.folder);
        removeLessFilesFromAutoCompileList({file});
    }
    // Another refresh that overlapped this one may have added some already.
    const QSet<QString> known(knownFiles.cbegin(), knownFiles.cend());
    QStringList added;
    for (const QString &file : changes.addedFiles) {
        if (known.contains(file))
            continue;
        m_appModel.addLessFileToModel(file, changes.folder);
        added << file;
    }
    addLessFilesToAutoCompileList(added);
    for (const QString &file : changes.filesWithMissingCSSFolder) {
        if (LessHolder *record = m_appModel.getLessHolderForLessFileAtPath(file))
            record->clearCSSFileOutputPath();
    }
    reportUndecodableFiles(changes.folder, changes.undecodableFiles);
}

// One log entry per folder with the names not yet reported in this run, each
// relative to the folder and with its stray bytes escaped.
void MainAppController::reportUndecodableFiles(const QString &folder, const QList<QByteArray> &paths)
{
    const QByteArray folderPrefix = QFile::encodeName(folder) + '/';
    QStringList names;
    for (const QByteArray &path : paths) {
        if (m_reportedUndecodableFiles.contains(path))
            continue;
        m_reportedUndecodableFiles.insert(path);
        names << printablePath(path.startsWith(folderPrefix) ? path.mid(folderPrefix.size()) : path);
    }
    if (names.isEmpty())
        return;
    m_appModel.addNewCompilerResultWithTime(QDateTime::currentDateTime(), abbreviateWithTilde(folder),
                                            StyledText(UndecodableNamesMessage.arg(names.join(u'\n')),
                                                       StyledText::Red));
    scrollTableViewsToLastRow();
}

void MainAppController::didFinishRefreshingWatchedPathsAndShouldNotifyUserWhenDone(bool notify)
{
    hideSpinner();
    Q_EMIT refreshFinished(notify);
}

void MainAppController::setRefreshTimer()
{
    delete m_refreshTimer;
    m_refreshTimer = nullptr;
    const int minutes =
        UserDefaults::standardUserDefaults()->integerForKey(UserDefaultsKeys::RefreshInterval);
    // A period of 0 (nothing registered) would refresh without pause.
    if (minutes == NeverRefreshInterval || minutes <= 0)
        return;
    m_refreshTimer = new QTimer(this);
    m_refreshTimer->setInterval(std::chrono::minutes(minutes));
    connect(m_refreshTimer, &QTimer::timeout, this, &MainAppController::fireAutoRefresh);
    m_refreshTimer->start();
}

void MainAppController::refreshImportLinks()
{
    showSpinnerWithMessage(LinkingImportedFilesMessage);
    linkImportedFiles([this] { didFinishRefreshingImportLinks(); });
}

// The files are read on the queue from a snapshot; the links are stored on
// this thread, or read again when the files changed in between.
void MainAppController::linkImportedFiles(std::function<void()> then)
{
    queue([this, snapshot = m_appModel.fileLinkSnapshot(), then = std::move(then)] {
        const LessModel::FileLinks links = LessModel::computeFileLinks(snapshot);
        postToMainThread(this, [this, links, then] {
            if (m_appModel.applyFileLinks(links))
                then();
            else
                linkImportedFiles(then);
        });
    });
}

void MainAppController::didFinishRefreshingImportLinks()
{
    hideSpinner();
}

// Checked files only; the switch does not matter here. The files that import
// the most go first: they take longest, and the small ones fill in beside
// them on the other workers.
QStringList MainAppController::compileAllFiles()
{
    QHash<QString, int> importCounts;
    for (const LessHolder *file : m_appModel.getAllLessHoldersAndIncludeIgnoredOnes(true)) {
        for (const QString &importer : file->linkedFilesToCompile())
            ++importCounts[importer];
    }
    QList<LessHolder *> files = m_appModel.getAllLessHoldersAndIncludeIgnoredOnes(false);
    std::stable_sort(files.begin(), files.end(), [&importCounts](const LessHolder *a, const LessHolder *b) {
        return importCounts.value(a->lessFileFullPath()) > importCounts.value(b->lessFileFullPath());
    });
    QStringList started;
    for (const LessHolder *file : files) {
        if (m_lessCompiler->compileFileAtPath(file->lessFileFullPath(), file->targetCSSFileFullPath(),
                                              file->shouldCompressCSSOutput()))
            started << file->lessFileFullPath();
    }
    return started;
}

void MainAppController::awakenAutoCompile()
{
    refreshAutoCompileWatchList();
}

// Switching off leaves the files watched: the settings then say not to compile.
void MainAppController::toggleAutoCompile()
{
    const bool enable = !m_jAutoCompileEnabled;
    setJAutoCompileEnabled(enable);
    if (enable)
        refreshAutoCompileWatchList();
    const QString message = enable ? AutoCompileEnabledMessage : AutoCompileDisabledMessage;
    m_appModel.addNewCompilerResultWithTime(QDateTime::currentDateTime(), ToggleLogFile,
                                            StyledText(message, StyledText::Grey));
    scrollTableViewsToLastRow();
}

// Every file is watched, checked or not.
void MainAppController::refreshAutoCompileWatchList()
{
    addLessFilesToAutoCompileList(m_appModel.getAllLessFilesAndIncludeIgnoredOnes(true));
}

void MainAppController::removeLessFilesFromAutoCompileList(const QStringList &paths)
{
    for (const QString &path : paths) {
        m_filesAwaitingWatch.remove(path);
        m_lessCompiler->stopWatchingLessFileAtPath(path);
    }
}

// A slice of the watches goes to the engine at once and the rest a slice per
// turn of the event loop: thousands at once would hold up the window.
void MainAppController::addLessFilesToAutoCompileList(const QStringList &paths)
{
    const QStringList watched = m_lessCompiler->watchedLessFiles();
    const QSet<QString> alreadyWatched(watched.cbegin(), watched.cend());
    const bool slicing = !m_watchQueue.isEmpty();
    for (const QString &path : paths) {
        if (alreadyWatched.contains(path) || m_filesAwaitingWatch.contains(path))
            continue;
        m_filesAwaitingWatch.insert(path);
        m_watchQueue.append(path);
    }
    if (!slicing)
        watchNextSlice();
}

// A file taken off the list while it waited is skipped.
void MainAppController::watchNextSlice()
{
    for (int count = 0; count < WatchSliceSize && !m_watchQueue.isEmpty(); ++count) {
        const QString path = m_watchQueue.takeFirst();
        if (m_filesAwaitingWatch.remove(path))
            m_lessCompiler->watchLessFileAtPath(path);
    }
    if (!m_watchQueue.isEmpty())
        m_watchSliceTimer->start();
}

void MainAppController::clearCompilerLog()
{
    m_appModel.clearCompilerResults();
}

QVariantMap MainAppController::compilingSettingsForLESSFileAtPath(const QString &path)
{
    const LessHolder *file = m_appModel.getLessHolderForLessFileAtPath(path);
    if (!file)
        return {};
    return {{ZRMCompilingSettingsKey::ShouldAutoCompile, m_jAutoCompileEnabled && file->checkboxState()},
            {ZRMCompilingSettingsKey::OutputPath, file->targetCSSFileFullPath()},
            {ZRMCompilingSettingsKey::ShouldCompressOutput, file->shouldCompressCSSOutput()},
            {ZRMCompilingSettingsKey::LinkedFilesToCompile, file->linkedFilesToCompile()}};
}

void MainAppController::registerForCompilerNotifications()
{
    NotificationCenter::defaultCenter()->addObserver(
        this,
        {ZRMLCStartedCompilingAFileNotification, ZRMLCCompiledFileSuccessfullyNotification,
         ZRMLCFailedToCompileFileNotification, ZRMLCFailedToFindCompilerEngineNotification},
        [this](const Notification &notification) { handleZRMCompilerNotification(notification); });
}

void MainAppController::unregisterForCompilerNotifications()
{
    NotificationCenter::defaultCenter()->removeObserver(this);
}

// Every start holds the spinner until its success or failure.
void MainAppController::handleZRMCompilerNotification(const Notification &notification)
{
    if (notification.name == ZRMLCStartedCompilingAFileNotification) {
        showSpinnerWithMessage(CompilingMessage);
    } else if (notification.name == ZRMLCCompiledFileSuccessfullyNotification) {
        appendCompileResult(notification.userInfo, SuccessGreen);
        setActiveTabViewIndex(CompilerLogTab);
        hideSpinner();
    } else if (notification.name == ZRMLCFailedToCompileFileNotification) {
        appendCompileResult(notification.userInfo, StyledText::Red);
        setActiveTabViewIndex(CompilerLogTab);
        hideSpinner();
        if (m_appDelegate
            && UserDefaults::standardUserDefaults()->boolForKey(UserDefaultsKeys::BringAppToFrontOnError))
            m_appDelegate->bringAppToFrontWithBeep(true);
    } else if (notification.name == ZRMLCFailedToFindCompilerEngineNotification) {
        reportMissingCompiler(notification.userInfo.value(ZRMLessCompilerKey::Result).toString());
    }
    scrollTableViewsToLastRow();
}

// The engine says this once until the compiler works again: in the log, and
// on standard error when there is no window to look at.
void MainAppController::reportMissingCompiler(const QString &reason)
{
    const QString message = CompilerNotFoundMessage + u'\n' + reason;
    m_appModel.addNewCompilerResultWithTime(QDateTime::currentDateTime(), CompilerLogFile,
                                            StyledText(message, StyledText::Red));
    setActiveTabViewIndex(CompilerLogTab);
    if (!m_userInterface)
        reportError(CompilerErrorTitle, message);
}

// The engine's note on the file that triggered the compile follows in grey.
void MainAppController::appendCompileResult(const QVariantMap &userInfo, RgbaColor color)
{
    using namespace ZRMLessCompilerKey;
    StyledText result(userInfo.value(Result).toString(), color);
    const QString linkedToFile = userInfo.value(LinkedToFile).toString();
    if (!linkedToFile.isEmpty())
        result.append(LinkedToFileSuffix.arg(printablePath(linkedToFile)), StyledText::Grey);
    m_appModel.addNewCompilerResultWithTime(userInfo.value(Time).toDateTime(),
                                            abbreviateWithTilde(userInfo.value(File).toString()), result);
}

void MainAppController::queue(std::function<void()> work)
{
    m_operationQueue.start(std::move(work));
}
