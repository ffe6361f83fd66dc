#include "LiveFolders.h"

#include "AutoCompileWatchList.h"
#include "CSSOutputPaths.h"
#include "CompilerLog.h"
#include "FolderRefresher.h"
#include "ImportLinks.h"
#include "MainAppController.h"
#include "support/PathUtils.h"
#include "support/UserDefaults.h"
#include "support/UserDefaultsKeys.h"

#include <QFileInfo>

namespace {

const QString EventsLostMessage = QStringLiteral(
    "Too many changes at once: the system dropped some of their notices, so Cascader read the watched folders "
    "again.");
const QString WatchLimitMessage = QStringLiteral(
    "The system's limit on watched folders is reached: %1 not watched, %2 first. LESS files created there show "
    "up at the next refresh. To raise the limit, run:\n"
    "echo fs.inotify.max_user_watches=524288 | sudo tee /etc/sysctl.d/60-inotify.conf && sudo sysctl --system");

bool isOnDisk(const QString &path)
{
    return QFileInfo::exists(path);
}

} // namespace

LiveFolders::LiveFolders(MainAppController *controller)
    : QObject(controller), m_controller(controller), m_watcher(SkippedFolders::fromPreferences())
{
    LessModel *model = controller->appModel();
    for (auto signal : {&LessModel::pathsInserted, &LessModel::pathsRemoved})
        connect(model, signal, this, &LiveFolders::watchTheProjectsFolders);
    connect(model, &LessModel::pathsReset, this, &LiveFolders::watchTheProjectsFolders);
    connect(&m_watcher, &FolderTreeWatcher::changed, this, &LiveFolders::applyChanges);
    connect(&m_watcher, &FolderTreeWatcher::rootMissing, this,
            [model](const QString &folder) { model->setPathMissing(folder, true); });
    connect(&m_watcher, &FolderTreeWatcher::rootReturned, this, &LiveFolders::folderReturned);
    connect(&m_watcher, &FolderTreeWatcher::eventsLost, this, &LiveFolders::eventsLost);
    connect(&m_watcher, &FolderTreeWatcher::watchLimitReached, this, &LiveFolders::watchLimitReached);
    connect(UserDefaults::standardUserDefaults(), &UserDefaults::valueChanged, this, [this](const QString &key) {
        if (key == UserDefaultsKeys::SkippedFolders)
            m_watcher.setSkippedFolders(SkippedFolders::fromPreferences());
    });
    watchTheProjectsFolders();
}

void LiveFolders::folderVanished(const QString &folder)
{
    if (!m_folders.contains(folder) || m_watcher.isMissing(folder))
        return;
    m_watcher.stopWatchingRoot(folder);
    m_watcher.watchRoot(folder);
}

void LiveFolders::watchTheProjectsFolders()
{
    const QStringList folders = m_controller->appModel()->getAllRegisteredPaths();
    const QSet<QString> now(folders.cbegin(), folders.cend());
    for (const QString &folder : m_folders - now)
        m_watcher.stopWatchingRoot(folder);
    for (const QString &folder : folders) {
        if (!m_folders.contains(folder))
            m_watcher.watchRoot(folder);
    }
    m_folders = now;
}

// Decided by what is on disk now, not by each event: a file deleted and
// created again within the burst (an editor's save) keeps its record.
void LiveFolders::applyChanges(const FolderTreeWatcher::Changes &changes)
{
    QStringList gone = changes.removed;
    QStringList arrived = changes.created;
    for (const FolderTreeWatcher::Move &move : changes.moved) {
        moveRecords(move);
        gone << move.from;
        arrived << move.to;
    }
    removeRecordsOfGoneFiles(gone);
    addRecordsOfNewFiles(arrived);
}

void LiveFolders::moveRecords(const FolderTreeWatcher::Move &move)
{
    LessModel *model = m_controller->appModel();
    for (const QString &from : recordsAtOrBeneath(move.from)) {
        const QString to = move.to + from.mid(move.from.size());
        if (isOnDisk(from) || !PathUtils::isLessFile(to) || !QFileInfo(to).isFile()
            || model->getLessHolderForLessFileAtPath(to) || !model->moveLessFile(from, to))
            continue;
        m_controller->watchList()->removeLessFilesFromAutoCompileList({from});
        m_controller->watchList()->addLessFilesToAutoCompileList({to});
    }
}

// The files of a folder that is itself gone wait for its return.
void LiveFolders::removeRecordsOfGoneFiles(const QStringList &paths)
{
    LessModel *model = m_controller->appModel();
    QHash<QString, QStringList> goneByFolder;
    QSet<QString> seen;
    for (const QString &path : paths) {
        for (const QString &file : recordsAtOrBeneath(path)) {
            const QString folder = model->getLessHolderForLessFileAtPath(file)->memberOfWatchedFolder();
            if (!seen.contains(file) && !isOnDisk(file) && QFileInfo(folder).isDir())
                goneByFolder[folder] << file;
            seen.insert(file);
        }
    }
    for (auto folder = goneByFolder.cbegin(); folder != goneByFolder.cend(); ++folder) {
        model->removeLessFilesFromModel(folder.value(), folder.key());
        m_controller->watchList()->removeLessFilesFromAutoCompileList(folder.value());
    }
}

void LiveFolders::addRecordsOfNewFiles(const QStringList &paths)
{
    LessModel *model = m_controller->appModel();
    QHash<QString, QStringList> newByFolder;
    QSet<QString> seen;
    for (const QString &path : paths) {
        if (seen.contains(path))
            continue;
        seen.insert(path);
        const QString folder = model->watchedFolderHolding(path);
        if (!folder.isEmpty() && PathUtils::isLessFile(path) && QFileInfo(path).isFile()
            && !model->getLessHolderForLessFileAtPath(path))
            newByFolder[folder] << path;
    }
    if (newByFolder.isEmpty())
        return;
    for (auto folder = newByFolder.cbegin(); folder != newByFolder.cend(); ++folder) {
        model->addLessFilesToModel(folder.value(), folder.key());
        m_controller->watchList()->addLessFilesToAutoCompileList(folder.value());
    }
    if (UserDefaults::standardUserDefaults()->boolForKey(UserDefaultsKeys::AutoSetCustomCSSPaths))
        m_controller->cssOutputPaths()->beginAutoSettingCSSPaths();
    // A new partial starts unchecked once its importers are known.
    m_controller->importLinks()->linkImportedFiles([] {});
}

// A file's own record, or the records beneath a folder.
QStringList LiveFolders::recordsAtOrBeneath(const QString &path) const
{
    if (const LessHolder *record = m_controller->appModel()->getLessHolderForLessFileAtPath(path))
        return {record->lessFileFullPath()};
    QStringList records;
    for (const QString &file : m_controller->appModel()->getAllLessFilesAndIncludeIgnoredOnes(true)) {
        if (PathUtils::isSameOrInside(file, path))
            records << file;
    }
    return records;
}

void LiveFolders::folderReturned(const QString &folder)
{
    m_controller->appModel()->setPathMissing(folder, false);
    m_controller->folderRefresher()->beginRefreshingWatchedPathsAndShouldNotifyUserWhenDone(false);
}

void LiveFolders::eventsLost()
{
    const QStringList folders = m_controller->appModel()->getAllRegisteredPaths();
    if (!folders.isEmpty())
        m_controller->compilerLog()->reportFolderNote(folders.constFirst(), EventsLostMessage, StyledText::Grey);
    m_controller->folderRefresher()->beginRefreshingWatchedPathsAndShouldNotifyUserWhenDone(false);
}

void LiveFolders::watchLimitReached(const QStringList &folders)
{
    const QString first = folders.constFirst();
    const QString root = m_controller->appModel()->watchedFolderHolding(first);
    const QString count = folders.size() == 1 ? QStringLiteral("1 folder is")
                                              : QStringLiteral("%1 folders are").arg(folders.size());
    m_controller->compilerLog()->reportFolderNote(root.isEmpty() ? first : root,
                                                  WatchLimitMessage.arg(count, PathUtils::abbreviateWithTilde(first)),
                                                  StyledText::Red);
}
