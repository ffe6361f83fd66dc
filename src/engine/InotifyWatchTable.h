#pragma once

#include <QHash>
#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>

#include <sys/stat.h>

struct inotify_event;

// The bookkeeping behind UKKQueue: which inotify watch stands for which
// registered path, and what each inotify event means for those paths.
//
// inotify watches inodes, but an editor that saves by replacing the file puts
// a new inode at the path. So each path has two watches: one on the inode now
// at the path (shared by every path that leads to that inode), and one on its
// folder (shared by the paths in that folder). Folder events for the path's
// name move the path to the inode that now lives there (created or renamed
// into place) or leave the path awaiting its file's return (deleted or renamed
// away). Both watches report a close after writing, the folder first. An
// inode watch set up for a file that arrived at the path may have missed that
// file's first closes, so there the folder's report counts and the inode's
// report of the same close, which comes next, is left out. An inode watch set
// up as the path was added has seen every close that matters: only its own
// reports count.
//
// Not thread-safe: UKKQueue serialises every call.
class InotifyWatchTable
{
public:
    struct Change
    {
        QString path;
        quint32 event; // one UKKQueue::Event bit
    };
    using Changes = QList<Change>;

    explicit InotifyWatchTable(int inotifyFD);

    // False when nothing was registered: nothing is at the path, or it cannot be watched.
    bool addPath(const QString &path, quint32 mask);
    void removePath(const QString &path);
    void removeAllPaths();
    const QStringList &paths() const { return m_registrations; }

    // What one inotify event means for the registered paths, in delivery order.
    Changes handleEvent(const inotify_event &event);
    // Watches again the folders that could not be watched (a folder that was
    // itself removed) and reports the paths in them whose file changed meanwhile.
    Changes retryUnwatchedFolders();
    // Hands back to inotify the watches that no path uses any more. Deferred to
    // the watcher thread, between events, so that a path removed and added
    // again from a delegate call keeps its watch and the events queued for it.
    void releaseUnusedWatches();

private:
    static constexpr int NoWatch = -1;

    // What a write changes about a file.
    struct Signature
    {
        quint64 inode = 0;
        quint64 size = 0;
        qint64 modifiedNs = 0;
        qint64 changedNs = 0;

        friend bool operator==(const Signature &, const Signature &) = default;
    };

    struct PathWatch
    {
        QString folder;
        QList<quint32> masks; // one per registration, in order
        int inodeWD = NoWatch; // NoWatch: awaiting the return of its file
        // The file as last reported written, or as found when the path was added.
        Signature lastWritten;
        // The folder reported a close that the inode watch reports next.
        bool folderReportedClose = false;
    };

    // Tells inodes apart even when a freed inode number is reused at once:
    // the birth time, where the file system keeps one, differs.
    struct Identity
    {
        quint64 device = 0;
        quint64 inode = 0;
        qint64 bornNs = 0;

        friend bool operator==(const Identity &, const Identity &) = default;
    };

    struct Watch
    {
        QStringList paths; // registered paths that lead to this inode
        QStringList folders; // folder paths that this inode is, watched for their entries
        Identity identity;
        quint32 links = 0;
        // Set up as its path was added: no close after that escaped it.
        bool reportsEveryWrite = false;
    };

    struct FolderWatch
    {
        int wd = NoWatch; // NoWatch: to be tried again
        int paths = 0;
    };

    static Signature signatureAt(const QString &path);
    static Identity identityOf(const struct statx &status);

    void handleInodeEvent(int wd, quint32 mask, Changes &changes);
    void handleFolderEntryEvent(int wd, quint32 mask, const QString &name, Changes &changes);
    void handleEntryChange(const QString &path, PathWatch &pathWatch, quint32 mask, Changes &changes);
    bool leadsToAttachedFile(const QString &path, const PathWatch &pathWatch) const;
    bool linkCountChanged(Watch &watch);
    bool writeIsNew(const QString &path, PathWatch &pathWatch);
    void reportWrite(Changes &changes, const QString &path, PathWatch &pathWatch);

    bool attach(const QString &path, PathWatch &pathWatch, bool registering);
    void reattach(const QString &path, PathWatch &pathWatch);
    void detach(const QString &path, PathWatch &pathWatch);
    void awaitReturn(const QString &path, PathWatch &pathWatch);
    void rescan(const QStringList &paths, Changes &changes);

    void watchFolder(const QString &folder);
    bool tryToWatchFolder(const QString &folder, FolderWatch &folderWatch);
    void releaseFolder(const QString &folder);
    void loseFolderWatch(int wd);
    void forgetWatch(int wd);
    bool isFolderWatched(const QString &folder) const;
    QStringList pathsInFolder(const QString &folder) const;
    void noteIfUnused(int wd);

    void report(Changes &changes, const QString &path, quint32 events) const;

    int m_fd;
    QStringList m_registrations;
    QHash<QString, PathWatch> m_paths;
    QHash<int, Watch> m_watches;
    QHash<QString, FolderWatch> m_folders;
    QSet<QString> m_releasedPaths;
    QSet<int> m_unusedWatches;
};
