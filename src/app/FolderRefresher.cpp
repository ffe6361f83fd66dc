#include "FolderRefresher.h"

#include "AutoCompileWatchList.h"
#include "CSSOutputPaths.h"
#include "CompilerLog.h"
#include "ImportLinks.h"
#include "LiveFolders.h"
#include "MainAppController.h"
#include "engine/ZRMLessCompiler.h"
#include "support/PathUtils.h"
#include "support/UserDefaults.h"
#include "support/UserDefaultsKeys.h"

#include <QFileInfo>
#include <QSet>
#include <QTimer>

#include <chrono>

namespace {

const QString RefreshingFoldersMessage = QStringLiteral("Refreshing Folders...");
// The preference's value for "never".
constexpr int NeverRefreshInterval = 20;

} // namespace

struct FolderRefresher::RefreshSnapshot
{
    QStringList folders;
    QHash<QString, QStringList> lessFilesByFolder;
    // Each file's CSS target, keyed by the case-folded path, first record first,
    // as getLessHolderForLessFileAtPath() finds records.
    QHash<QString, QString> targetByFile;
};

struct FolderRefresher::FolderChanges
{
    QString folder;
    QStringList removedFiles;
    QStringList addedFiles;
    QStringList filesWithMissingCSSFolder;
    QList<QByteArray> undecodableFiles;
};

struct FolderRefresher::RefreshPlan
{
    QStringList vanishedFolders;
    QList<FolderChanges> folderChanges;
};

FolderRefresher::FolderRefresher(MainAppController *controller) : QObject(controller), m_controller(controller)
{
    connect(UserDefaults::standardUserDefaults(), &UserDefaults::valueChanged, this, [this](const QString &key) {
        if (key == UserDefaultsKeys::RefreshInterval)
            setRefreshTimer();
    });
    setRefreshTimer();
}

void FolderRefresher::refreshWatchedFolders()
{
    beginRefreshingWatchedPathsAndShouldNotifyUserWhenDone(true);
}

void FolderRefresher::fireAutoRefresh()
{
    beginRefreshingWatchedPathsAndShouldNotifyUserWhenDone(false);
}

void FolderRefresher::beginRefreshingWatchedPathsAndShouldNotifyUserWhenDone(bool notify)
{
    m_controller->showSpinnerWithMessage(RefreshingFoldersMessage);
    m_controller->runInBackground(
        this, [snapshot = refreshSnapshot()] { return asynchronouslyRefreshWatchedPaths(snapshot); },
        [this, notify](const RefreshPlan &plan) {
            applyRefreshPlan(plan);
            if (UserDefaults::standardUserDefaults()->boolForKey(UserDefaultsKeys::AutoSetCustomCSSPaths))
                m_controller->cssOutputPaths()->beginAutoSettingCSSPaths();
            m_controller->importLinks()->linkImportedFiles(
                [this, notify] { didFinishRefreshingWatchedPathsAndShouldNotifyUserWhenDone(notify); });
        });
}

FolderRefresher::RefreshSnapshot FolderRefresher::refreshSnapshot() const
{
    const LessModel *model = m_controller->appModel();
    RefreshSnapshot snapshot{model->getAllRegisteredPaths(), model->getAllRegisteredLessFilesForRegisteredPaths(), {}};
    for (const LessHolder *file : model->getAllLessHoldersAndIncludeIgnoredOnes(true))
        snapshot.targetByFile.insert(file->lessFileFullPath().toCaseFolded(), file->targetCSSFileFullPath());
    return snapshot;
}

// Paths are compared as whole, case-sensitive strings.
FolderRefresher::RefreshPlan FolderRefresher::asynchronouslyRefreshWatchedPaths(const RefreshSnapshot &snapshot)
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
        const QStringList newFiles = ZRMLessCompiler::getAllLessFilesInDirectory(folder, &changes.undecodableFiles);
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
            if (!target.isEmpty() && !QFileInfo::exists(PathUtils::deletingLastPathComponent(target)))
                changes.filesWithMissingCSSFolder << file;
        }
        plan.folderChanges << changes;
    }
    return plan;
}

// A vanished folder stays with its files' settings, shown missing, until it returns.
void FolderRefresher::applyRefreshPlan(const RefreshPlan &plan)
{
    LessModel *model = m_controller->appModel();
    for (const QString &folder : plan.vanishedFolders) {
        model->setPathMissing(folder, true);
        m_controller->liveFolders()->folderVanished(folder);
    }
    const QHash<QString, QStringList> knownFiles = model->getAllRegisteredLessFilesForRegisteredPaths();
    for (const FolderChanges &changes : plan.folderChanges) {
        // Removed while the folder was being scanned.
        if (!knownFiles.contains(changes.folder))
            continue;
        model->setPathMissing(changes.folder, false);
        applyFolderChanges(changes, knownFiles.value(changes.folder));
    }
}

void FolderRefresher::applyFolderChanges(const FolderChanges &changes, const QStringList &knownFiles)
{
    LessModel *model = m_controller->appModel();
    AutoCompileWatchList *watchList = m_controller->watchList();
    model->removeLessFilesFromModel(changes.removedFiles, changes.folder);
    watchList->removeLessFilesFromAutoCompileList(changes.removedFiles);
    // Another refresh that overlapped this one may have added some already.
    const QSet<QString> known(knownFiles.cbegin(), knownFiles.cend());
    QStringList added;
    for (const QString &file : changes.addedFiles) {
        if (!known.contains(file))
            added << file;
    }
    model->addLessFilesToModel(added, changes.folder);
    watchList->addLessFilesToAutoCompileList(added);
    for (const QString &file : changes.filesWithMissingCSSFolder) {
        if (LessHolder *record = model->getLessHolderForLessFileAtPath(file))
            record->clearCSSFileOutputPath();
    }
    m_controller->compilerLog()->reportUndecodableFiles(changes.folder, changes.undecodableFiles);
}

void FolderRefresher::didFinishRefreshingWatchedPathsAndShouldNotifyUserWhenDone(bool notify)
{
    m_controller->hideSpinner();
    Q_EMIT refreshFinished(notify);
}

void FolderRefresher::setRefreshTimer()
{
    delete m_refreshTimer;
    m_refreshTimer = nullptr;
    const int minutes = UserDefaults::standardUserDefaults()->integerForKey(UserDefaultsKeys::RefreshInterval);
    // A period of 0 (nothing registered) would refresh without pause.
    if (minutes == NeverRefreshInterval || minutes <= 0)
        return;
    m_refreshTimer = new QTimer(this);
    m_refreshTimer->setInterval(std::chrono::minutes(minutes));
    connect(m_refreshTimer, &QTimer::timeout, this, &FolderRefresher::fireAutoRefresh);
    m_refreshTimer->start();
}
