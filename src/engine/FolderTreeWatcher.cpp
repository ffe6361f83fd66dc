#include "FolderTreeWatcher.h"

#include "FolderScan.h"
#include "support/Logging.h"
#include "support/PathUtils.h"

#include <QFile>
#include <QFileInfo>
#include <QSocketNotifier>

#include <cerrno>

#include <sys/inotify.h>
#include <unistd.h>

namespace {

constexpr quint32 TreeMask = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF
                             | IN_ONLYDIR | IN_DONT_FOLLOW;
// Added to whatever else the folder is watched for.
constexpr quint32 AncestorMask = IN_CREATE | IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR | IN_MASK_ADD;
constexpr size_t EventBufferSize = 64 * 1024;

bool isAtOrBeneath(const QString &path, const QString &folder)
{
    return path == folder || (path.startsWith(folder) && path.at(folder.size()) == u'/');
}

} // namespace

FolderTreeWatcher::FolderTreeWatcher(const SkippedFolders &skipped, QObject *parent)
    : QObject(parent), m_fd(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)), m_skipped(skipped)
{
    m_quiet.setSingleShot(true);
    connect(&m_quiet, &QTimer::timeout, this, &FolderTreeWatcher::deliverBatch);
    if (m_fd < 0) {
        qCWarning(lcWatcher, "Folders cannot be watched: inotify is unavailable (%s).", strerror(errno));
        return;
    }
    m_notifier = std::make_unique<QSocketNotifier>(m_fd, QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, &FolderTreeWatcher::readEvents);
}

FolderTreeWatcher::~FolderTreeWatcher()
{
    m_notifier.reset();
    if (m_fd >= 0)
        close(m_fd);
}

void FolderTreeWatcher::watchRoot(const QString &root)
{
    if (m_roots.contains(root))
        return;
    m_roots.insert(root);
    if (QFileInfo(root).isDir()) {
        watchTree(root, false);
    } else {
        awaitReturn(root);
        Q_EMIT rootMissing(root);
    }
}

void FolderTreeWatcher::stopWatchingRoot(const QString &root)
{
    if (!m_roots.remove(root))
        return;
    forgetTree(root, true);
    m_waitingAt.remove(root);
    releaseUnusedAncestors();
}

void FolderTreeWatcher::readEvents()
{
    alignas(inotify_event) char buffer[EventBufferSize];
    ssize_t length;
    while ((length = read(m_fd, buffer, sizeof buffer)) > 0) {
        for (ssize_t offset = 0; offset < length;) {
            const auto *event = reinterpret_cast<const inotify_event *>(buffer + offset);
            handleEvent(*event);
            offset += ssize_t(sizeof(inotify_event) + event->len);
        }
    }
}

void FolderTreeWatcher::handleEvent(const inotify_event &event)
{
    if (event.mask & IN_Q_OVERFLOW) {
        m_eventsLost = true;
        scheduleBatch();
        return;
    }
    if (m_ancestorOfWatch.contains(event.wd) && !(event.mask & IN_IGNORED))
        checkWaitingRoots();
    const QString folder = m_folderOfWatch.value(event.wd);
    if (event.mask & IN_IGNORED) {
        m_ancestorOfWatch.remove(event.wd);
        if (!folder.isNull() && m_watchOfFolder.value(folder) == event.wd) {
            m_watchOfFolder.remove(folder);
            m_folderOfWatch.remove(event.wd);
        }
        return;
    }
    if (folder.isNull())
        return;
    // A folder beneath a root is reported gone by its parent.
    if (event.mask & (IN_DELETE_SELF | IN_MOVE_SELF)) {
        if (m_roots.contains(folder))
            rootGone(folder);
        return;
    }
    handleEntry(folder, event);
}

void FolderTreeWatcher::handleEntry(const QString &folder, const inotify_event &event)
{
    if (event.len == 0 || !isOurs(event.name, event.mask & IN_ISDIR))
        return;
    const bool isFolder = event.mask & IN_ISDIR;
    const QString path = PathUtils::appendingPathComponent(folder, QFile::decodeName(event.name));
    if (event.mask & IN_MOVED_FROM) {
        m_pendingMoves.insert(event.cookie, {path, isFolder});
    } else if ((event.mask & IN_MOVED_TO) && m_pendingMoves.contains(event.cookie)) {
        const PendingMove move = m_pendingMoves.take(event.cookie);
        if (move.isFolder)
            moveTree(move.from, path);
        m_batch.moved << Move{move.from, path};
    } else if (event.mask & (IN_CREATE | IN_MOVED_TO)) {
        if (isFolder)
            watchTree(path, true);
        else
            m_batch.created << path;
    } else if (event.mask & IN_DELETE) {
        // Its own watch, if any, has ended with it.
        if (isFolder)
            forgetTree(path, false);
        m_batch.removed << path;
    }
    scheduleBatch();
}

bool FolderTreeWatcher::isOurs(const char *name, bool isFolder) const
{
    if (isFolder)
        return !m_skipped.skipsFolder(name);
    return FolderScan::hasLessExtension(name) && !SkippedFolders::skipsFile(name);
}

// Moved or deleted, the folder's watches no longer stand for its path.
void FolderTreeWatcher::rootGone(const QString &root)
{
    forgetTree(root, true);
    awaitReturn(root);
    Q_EMIT rootMissing(root);
}

void FolderTreeWatcher::watchTree(const QString &folder, bool reportFiles)
{
    FolderScan scan(m_skipped, [this](const QString &found) { watchFolder(found); });
    scan.scan(folder);
    if (reportFiles)
        m_batch.created << scan.lessFiles();
    reportWatchLimit();
}

void FolderTreeWatcher::watchFolder(const QString &folder)
{
    const int wd = inotify_add_watch(m_fd, QFile::encodeName(folder).constData(), TreeMask);
    if (wd < 0) {
        if (errno == ENOSPC)
            m_unwatchable << folder;
        else
            qCWarning(lcWatcher, "The folder %s cannot be watched: %s", qUtf8Printable(folder), strerror(errno));
        return;
    }
    const QString earlier = m_folderOfWatch.value(wd);
    if (!earlier.isNull() && earlier != folder)
        m_watchOfFolder.remove(earlier);
    m_folderOfWatch.insert(wd, folder);
    m_watchOfFolder.insert(folder, wd);
}

void FolderTreeWatcher::forgetTree(const QString &folder, bool removeWatches)
{
    for (auto entry = m_watchOfFolder.begin(); entry != m_watchOfFolder.end();) {
        if (!isAtOrBeneath(entry.key(), folder)) {
            ++entry;
            continue;
        }
        if (removeWatches && !m_ancestorOfWatch.contains(entry.value()))
            inotify_rm_watch(m_fd, entry.value());
        m_folderOfWatch.remove(entry.value());
        entry = m_watchOfFolder.erase(entry);
    }
}

void FolderTreeWatcher::moveTree(const QString &from, const QString &to)
{
    QHash<QString, int> moved;
    for (auto entry = m_watchOfFolder.begin(); entry != m_watchOfFolder.end();) {
        if (isAtOrBeneath(entry.key(), from)) {
            moved.insert(to + entry.key().mid(from.size()), entry.value());
            entry = m_watchOfFolder.erase(entry);
        } else {
            ++entry;
        }
    }
    for (auto entry = moved.cbegin(); entry != moved.cend(); ++entry) {
        m_watchOfFolder.insert(entry.key(), entry.value());
        m_folderOfWatch.insert(entry.value(), entry.key());
    }
}

void FolderTreeWatcher::awaitReturn(const QString &root)
{
    QString ancestor = PathUtils::deletingLastPathComponent(root);
    while (!QFileInfo(ancestor).isDir() && ancestor != QStringLiteral("/"))
        ancestor = PathUtils::deletingLastPathComponent(ancestor);
    m_waitingAt.insert(root, ancestor);
    const int wd = inotify_add_watch(m_fd, QFile::encodeName(ancestor).constData(), AncestorMask);
    if (wd >= 0)
        m_ancestorOfWatch.insert(wd, ancestor);
    else
        qCWarning(lcWatcher, "Cannot wait for %s to come back: %s", qUtf8Printable(root), strerror(errno));
    releaseUnusedAncestors();
}

// Something appeared or went where a missing root is waited for.
void FolderTreeWatcher::checkWaitingRoots()
{
    const QStringList roots = m_waitingAt.keys();
    for (const QString &root : roots) {
        if (QFileInfo(root).isDir()) {
            m_waitingAt.remove(root);
            watchTree(root, false);
            Q_EMIT rootReturned(root);
        } else {
            // A nearer parent may have appeared, or the one watched may be gone.
            awaitReturn(root);
        }
    }
    releaseUnusedAncestors();
}

void FolderTreeWatcher::releaseUnusedAncestors()
{
    QSet<QString> waitedAt;
    for (const QString &ancestor : std::as_const(m_waitingAt))
        waitedAt.insert(ancestor);
    for (auto entry = m_ancestorOfWatch.begin(); entry != m_ancestorOfWatch.end();) {
        if (waitedAt.contains(entry.value())) {
            ++entry;
            continue;
        }
        // A folder of a tree keeps its watch, whose mask holds the ancestor's.
        if (!m_folderOfWatch.contains(entry.key()))
            inotify_rm_watch(m_fd, entry.key());
        entry = m_ancestorOfWatch.erase(entry);
    }
}

// A move out whose move in never came left the watched trees.
void FolderTreeWatcher::resolveUnpairedMoves()
{
    for (const PendingMove &move : std::as_const(m_pendingMoves)) {
        if (move.isFolder)
            forgetTree(move.from, true);
        m_batch.removed << move.from;
    }
    m_pendingMoves.clear();
}

void FolderTreeWatcher::scheduleBatch()
{
    if (!m_batchAge.isValid())
        m_batchAge.start();
    if (!m_quiet.isActive() || m_batchAge.elapsed() < LongestWaitMs)
        m_quiet.start(QuietMs);
}

void FolderTreeWatcher::deliverBatch()
{
    m_batchAge.invalidate();
    resolveUnpairedMoves();
    const Changes changes = std::exchange(m_batch, {});
    if (std::exchange(m_eventsLost, false)) {
        // Folders created meanwhile went unseen: watch what is there now.
        for (const QString &root : std::as_const(m_roots)) {
            if (!isMissing(root))
                watchTree(root, false);
        }
        Q_EMIT eventsLost();
    }
    if (!changes.isEmpty())
        Q_EMIT changed(changes);
}

void FolderTreeWatcher::reportWatchLimit()
{
    if (m_unwatchable.isEmpty() || m_reportedWatchLimit)
        return;
    m_reportedWatchLimit = true;
    Q_EMIT watchLimitReached(m_unwatchable);
}
