#include "InotifyWatchTable.h"

#include "UKKQueue.h"
#include "support/Logging.h"
#include "support/PathUtils.h"

#include <QFile>

#include <array>
#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/sysmacros.h>

namespace {

constexpr quint32 InodeEvents = IN_CLOSE_WRITE | IN_MODIFY | IN_ATTRIB | IN_MOVE_SELF | IN_DELETE_SELF;
constexpr quint32 FolderEvents = IN_CREATE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE | IN_CLOSE_WRITE
                                 | IN_MOVE_SELF | IN_DELETE_SELF | IN_ONLYDIR;
// After any of these a folder watch no longer watches what is at the folder's path.
constexpr quint32 FolderLeftItsPath = IN_MOVE_SELF | IN_DELETE_SELF | IN_UNMOUNT | IN_IGNORED;

constexpr std::array DeliveryOrder{UKKQueue::Rename, UKKQueue::Write, UKKQueue::Delete, UKKQueue::Attrib,
                                   UKKQueue::Extend, UKKQueue::Link, UKKQueue::Revoke};

std::optional<struct statx> statusOf(const QString &path)
{
    struct statx status;
    const QByteArray encoded = QFile::encodeName(path);
    if (statx(AT_FDCWD, encoded.constData(), 0, STATX_BASIC_STATS | STATX_BTIME, &status) != 0)
        return std::nullopt;
    return status;
}

qint64 nanoseconds(const statx_timestamp &time)
{
    return qint64(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

} // namespace

InotifyWatchTable::InotifyWatchTable(int inotifyFD)
    : m_fd(inotifyFD)
{
}

InotifyWatchTable::Signature InotifyWatchTable::signatureAt(const QString &path)
{
    const std::optional<struct statx> status = statusOf(path);
    if (!status)
        return Signature{};
    return Signature{status->stx_ino, status->stx_size, nanoseconds(status->stx_mtime),
                     nanoseconds(status->stx_ctime)};
}

bool InotifyWatchTable::addPath(const QString &path, quint32 mask)
{
    if (!statusOf(path))
        return false;

    // A path that is known already (added twice, or removed and not yet
    // released) keeps what it knows of its file.
    const bool known = m_paths.contains(path);
    PathWatch &pathWatch = m_paths[path];
    if (!known) {
        pathWatch.folder = PathUtils::deletingLastPathComponent(path);
        watchFolder(pathWatch.folder);
        pathWatch.lastWritten = signatureAt(path);
    }
    const bool attached = pathWatch.inodeWD != NoWatch || attach(path, pathWatch, !known);
    if (!attached) {
        if (!known) {
            releaseFolder(pathWatch.folder);
            m_paths.remove(path);
        }
        return false;
    }
    pathWatch.masks.append(mask);
    m_registrations.append(path);
    return true;
}

void InotifyWatchTable::removePath(const QString &path)
{
    const qsizetype index = m_registrations.indexOf(path);
    if (index < 0)
        return;
    m_registrations.removeAt(index);
    PathWatch &pathWatch = m_paths[path];
    pathWatch.masks.removeFirst();
    if (pathWatch.masks.isEmpty())
        m_releasedPaths.insert(path);
}

void InotifyWatchTable::removeAllPaths()
{
    m_registrations.clear();
    for (auto it = m_paths.begin(); it != m_paths.end(); ++it) {
        it->masks.clear();
        m_releasedPaths.insert(it.key());
    }
}

InotifyWatchTable::Changes InotifyWatchTable::handleEvent(const inotify_event &event)
{
    Changes changes;
    if (event.mask & IN_Q_OVERFLOW) {
        qCWarning(lcWatcher, "UKKQueue: the inotify queue overflowed and events were lost; "
                             "rescanning every watched path.");
        QStringList paths = m_registrations;
        paths.removeDuplicates();
        rescan(paths, changes);
        return changes;
    }
    if (!m_watches.contains(event.wd))
        return changes;
    if (event.len > 0 && event.name[0] != '\0') {
        handleFolderEntryEvent(event.wd, event.mask, QFile::decodeName(event.name), changes);
        return changes;
    }
    handleInodeEvent(event.wd, event.mask, changes);
    if (event.mask & FolderLeftItsPath)
        loseFolderWatch(event.wd);
    if (event.mask & IN_IGNORED)
        forgetWatch(event.wd);
    return changes;
}

void InotifyWatchTable::handleInodeEvent(int wd, quint32 mask, Changes &changes)
{
    Watch &watch = m_watches[wd];
    const QStringList paths = watch.paths;
    if (paths.isEmpty())
        return;

    quint32 events = 0;
    if (mask & IN_MODIFY)
        events |= UKKQueue::Extend;
    if (mask & IN_ATTRIB)
        events |= linkCountChanged(watch) ? UKKQueue::Link : UKKQueue::Attrib;
    if (mask & IN_MOVE_SELF)
        events |= UKKQueue::Rename;
    if (mask & IN_UNMOUNT)
        events |= UKKQueue::Revoke;
    for (const QString &path : paths) {
        PathWatch &pathWatch = m_paths[path];
        quint32 pathEvents = events;
        if ((mask & IN_CLOSE_WRITE) && !std::exchange(pathWatch.folderReportedClose, false)) {
            pathWatch.lastWritten = signatureAt(path);
            pathEvents |= UKKQueue::Write;
        }
        // With its folder watched, what took the file's place is reported by
        // the folder: a delete that leaves nothing at the path is no change yet.
        if ((mask & IN_DELETE_SELF) && !isFolderWatched(pathWatch.folder))
            pathEvents |= UKKQueue::Delete;
        if (mask & (IN_DELETE_SELF | IN_UNMOUNT))
            awaitReturn(path, pathWatch);
        report(changes, path, pathEvents);
    }
}

void InotifyWatchTable::handleFolderEntryEvent(int wd, quint32 mask, const QString &name, Changes &changes)
{
    const QStringList folders = m_watches[wd].folders;
    for (const QString &folder : folders) {
        const QString path = PathUtils::appendingPathComponent(folder, name);
        const auto it = m_paths.find(path);
        if (it != m_paths.end() && !it->masks.isEmpty())
            handleEntryChange(path, *it, mask, changes);
    }
}

void InotifyWatchTable::handleEntryChange(const QString &path, PathWatch &pathWatch, quint32 mask,
                                          Changes &changes)
{
    // Events are read some time after they happen: one that removed the
    // file at the path may come after the path was set to follow a newer
    // file, which is still there.
    if (mask & (IN_DELETE | IN_MOVED_FROM) && leadsToAttachedFile(path, pathWatch))
        return;
    if (mask & IN_DELETE) {
        awaitReturn(path, pathWatch);
    } else if (mask & IN_MOVED_FROM) {
        if (pathWatch.inodeWD != NoWatch)
            report(changes, path, UKKQueue::Rename);
        awaitReturn(path, pathWatch);
    } else if (mask & IN_CREATE) {
        // Nothing is created where a file is: the path already follows this
        // file or a newer one. A created file is reported at its close.
        if (pathWatch.inodeWD == NoWatch)
            reattach(path, pathWatch);
    } else if (mask & IN_MOVED_TO) {
        // A file renamed into place is complete.
        reattach(path, pathWatch);
        if (pathWatch.inodeWD != NoWatch && writeIsNew(path, pathWatch))
            report(changes, path, UKKQueue::Write);
    } else if (mask & IN_CLOSE_WRITE) {
        if (pathWatch.inodeWD == NoWatch)
            reattach(path, pathWatch);
        if (pathWatch.inodeWD != NoWatch && !m_watches[pathWatch.inodeWD].reportsEveryWrite) {
            pathWatch.folderReportedClose = true;
            reportWrite(changes, path, pathWatch);
        }
    }
}

InotifyWatchTable::Identity InotifyWatchTable::identityOf(const struct statx &status)
{
    const qint64 bornNs = (status.stx_mask & STATX_BTIME) ? nanoseconds(status.stx_btime) : 0;
    return Identity{makedev(status.stx_dev_major, status.stx_dev_minor), status.stx_ino, bornNs};
}

bool InotifyWatchTable::leadsToAttachedFile(const QString &path, const PathWatch &pathWatch) const
{
    if (pathWatch.inodeWD == NoWatch)
        return false;
    const std::optional<struct statx> status = statusOf(path);
    return status && identityOf(*status) == m_watches.value(pathWatch.inodeWD).identity;
}

bool InotifyWatchTable::linkCountChanged(Watch &watch)
{
    for (const QString &path : std::as_const(watch.paths)) {
        const std::optional<struct statx> status = statusOf(path);
        if (status && identityOf(*status) == watch.identity) {
            const bool changed = status->stx_nlink != watch.links;
            watch.links = status->stx_nlink;
            return changed;
        }
    }
    // None of its paths leads to the file any more: one of its links is gone.
    return true;
}

// Whether the file at the path differs from the one last reported written,
// for news that may repeat what is known: a rename into place that a renewal
// already followed, a rescan.
bool InotifyWatchTable::writeIsNew(const QString &path, PathWatch &pathWatch)
{
    const Signature now = signatureAt(path);
    if (now == pathWatch.lastWritten)
        return false;
    pathWatch.lastWritten = now;
    return true;
}

void InotifyWatchTable::reportWrite(Changes &changes, const QString &path, PathWatch &pathWatch)
{
    pathWatch.lastWritten = signatureAt(path);
    report(changes, path, UKKQueue::Write);
}

// Watches the inode now at the path. A watch set up as the path is added
// reports every close that matters: earlier ones are none of the caller's
// business.
bool InotifyWatchTable::attach(const QString &path, PathWatch &pathWatch, bool registering)
{
    const int wd = inotify_add_watch(m_fd, QFile::encodeName(path).constData(), InodeEvents | IN_MASK_ADD);
    if (wd < 0) {
        if (errno != ENOENT && errno != ENOTDIR)
            qCWarning(lcWatcher, "UKKQueue could not watch %s: %s", qUtf8Printable(path),
                      std::strerror(errno));
        return false;
    }
    if (wd == pathWatch.inodeWD)
        return true;
    detach(path, pathWatch);
    const bool created = !m_watches.contains(wd);
    Watch &watch = m_watches[wd];
    if (created)
        watch.reportsEveryWrite = registering;
    if (watch.paths.isEmpty()) {
        const std::optional<struct statx> status = statusOf(path);
        watch.identity = status ? identityOf(*status) : Identity{};
        watch.links = status ? status->stx_nlink : 0;
    }
    watch.paths.append(path);
    pathWatch.inodeWD = wd;
    return true;
}

void InotifyWatchTable::reattach(const QString &path, PathWatch &pathWatch)
{
    if (!attach(path, pathWatch, false))
        awaitReturn(path, pathWatch);
}

void InotifyWatchTable::detach(const QString &path, PathWatch &pathWatch)
{
    if (pathWatch.inodeWD == NoWatch)
        return;
    m_watches[pathWatch.inodeWD].paths.removeOne(path);
    noteIfUnused(pathWatch.inodeWD);
    pathWatch.inodeWD = NoWatch;
    pathWatch.folderReportedClose = false;
}

// The file left the path: whatever arrives there next is news.
void InotifyWatchTable::awaitReturn(const QString &path, PathWatch &pathWatch)
{
    detach(path, pathWatch);
    pathWatch.lastWritten = Signature{};
}

// Events were lost: follow each path to the file now there and report those
// that changed since they were last reported.
void InotifyWatchTable::rescan(const QStringList &paths, Changes &changes)
{
    for (const QString &path : paths) {
        PathWatch &pathWatch = m_paths[path];
        if (pathWatch.masks.isEmpty())
            continue;
        reattach(path, pathWatch);
        if (pathWatch.inodeWD != NoWatch && writeIsNew(path, pathWatch))
            report(changes, path, UKKQueue::Write);
    }
}

InotifyWatchTable::Changes InotifyWatchTable::retryUnwatchedFolders()
{
    Changes changes;
    for (auto it = m_folders.begin(); it != m_folders.end(); ++it) {
        if (it->wd == NoWatch && tryToWatchFolder(it.key(), *it))
            rescan(pathsInFolder(it.key()), changes);
    }
    return changes;
}

void InotifyWatchTable::releaseUnusedWatches()
{
    for (const QString &path : std::as_const(m_releasedPaths)) {
        const auto it = m_paths.find(path);
        if (it == m_paths.end() || !it->masks.isEmpty())
            continue;
        detach(path, *it);
        releaseFolder(it->folder);
        m_paths.erase(it);
    }
    m_releasedPaths.clear();

    for (const int wd : std::as_const(m_unusedWatches)) {
        const auto it = m_watches.find(wd);
        if (it == m_watches.end() || !it->paths.isEmpty() || !it->folders.isEmpty())
            continue;
        // EINVAL: inotify dropped the watch itself; its IN_IGNORED is on its way.
        if (inotify_rm_watch(m_fd, wd) != 0 && errno != EINVAL)
            qCWarning(lcWatcher, "UKKQueue could not remove inotify watch %d: %s", wd, std::strerror(errno));
        m_watches.erase(it);
    }
    m_unusedWatches.clear();
}

void InotifyWatchTable::watchFolder(const QString &folder)
{
    FolderWatch &folderWatch = m_folders[folder];
    if (folderWatch.paths++ == 0)
        tryToWatchFolder(folder, folderWatch);
}

bool InotifyWatchTable::tryToWatchFolder(const QString &folder, FolderWatch &folderWatch)
{
    const int wd = inotify_add_watch(m_fd, QFile::encodeName(folder).constData(), FolderEvents | IN_MASK_ADD);
    if (wd < 0)
        return false;
    folderWatch.wd = wd;
    m_watches[wd].folders.append(folder);
    return true;
}

void InotifyWatchTable::releaseFolder(const QString &folder)
{
    const auto it = m_folders.find(folder);
    if (--it->paths > 0)
        return;
    if (it->wd != NoWatch) {
        m_watches[it->wd].folders.removeOne(folder);
        noteIfUnused(it->wd);
    }
    m_folders.erase(it);
}

// The folder was deleted, moved or unmounted: its paths await their files,
// and the folder is watched again once something is at its path.
void InotifyWatchTable::loseFolderWatch(int wd)
{
    Watch &watch = m_watches[wd];
    if (watch.folders.isEmpty())
        return;
    const QStringList folders = watch.folders;
    watch.folders.clear();
    noteIfUnused(wd);
    for (const QString &folder : folders) {
        m_folders[folder].wd = NoWatch;
        for (const QString &path : pathsInFolder(folder))
            awaitReturn(path, m_paths[path]);
    }
}

void InotifyWatchTable::forgetWatch(int wd)
{
    const QStringList paths = m_watches[wd].paths;
    for (const QString &path : paths)
        awaitReturn(path, m_paths[path]);
    m_watches.remove(wd);
    m_unusedWatches.remove(wd);
}

bool InotifyWatchTable::isFolderWatched(const QString &folder) const
{
    return m_folders.value(folder).wd != NoWatch;
}

QStringList InotifyWatchTable::pathsInFolder(const QString &folder) const
{
    QStringList paths;
    for (auto it = m_paths.cbegin(); it != m_paths.cend(); ++it) {
        if (it->folder == folder)
            paths.append(it.key());
    }
    return paths;
}

void InotifyWatchTable::noteIfUnused(int wd)
{
    const Watch &watch = m_watches[wd];
    if (watch.paths.isEmpty() && watch.folders.isEmpty())
        m_unusedWatches.insert(wd);
}

void InotifyWatchTable::report(Changes &changes, const QString &path, quint32 events) const
{
    for (const quint32 mask : m_paths.constFind(path)->masks) {
        for (const UKKQueue::Event event : DeliveryOrder) {
            if (events & mask & event)
                changes.append(Change{path, event});
        }
    }
}
