#pragma once

#include "SkippedFolders.h"

#include <QElapsedTimer>
#include <QHash>
#include <QList>
#include <QObject>
#include <QSet>
#include <QStringList>
#include <QTimer>

#include <memory>

class QSocketNotifier;
struct inotify_event;

// Watches whole folder trees through inotify for entries created, deleted and
// moved, and hands the changes on in batches: a burst (a checkout, an
// unpacked archive) arrives as one batch once the trees have been quiet for
// QuietMs. A folder created or moved in is watched before it is read, so
// nothing written into it afterwards is missed. A root that goes away is
// waited for at its nearest existing parent. Lost events are never ignored:
// the owner is told to read the trees again. Use it on the GUI thread.
class FolderTreeWatcher : public QObject
{
    Q_OBJECT

public:
    struct Move
    {
        QString from;
        QString to;
        friend bool operator==(const Move &, const Move &) = default;
    };

    // What happened since the last batch; each list in the order it happened.
    struct Changes
    {
        // LESS files created or moved in, and those found in a folder that was.
        QStringList created;
        // Files and folders deleted or moved out of sight.
        QStringList removed;
        // Files and folders moved from one watched place to another.
        QList<Move> moved;

        bool isEmpty() const { return created.isEmpty() && removed.isEmpty() && moved.isEmpty(); }
    };

    static constexpr int QuietMs = 10;
    // A burst that never pauses is still delivered this often.
    static constexpr int LongestWaitMs = 1000;

    explicit FolderTreeWatcher(const SkippedFolders &skipped = SkippedFolders(), QObject *parent = nullptr);
    ~FolderTreeWatcher() override;

    // For the folders found from now on.
    void setSkippedFolders(const SkippedFolders &skipped) { m_skipped = skipped; }
    // Watches root and every folder beneath it that is not skipped; a root
    // that is not on disk is reported missing and waited for.
    void watchRoot(const QString &root);
    void stopWatchingRoot(const QString &root);
    bool isMissing(const QString &root) const { return m_waitingAt.contains(root); }
    QStringList watchedFolders() const { return m_watchOfFolder.keys(); }

Q_SIGNALS:
    void changed(const FolderTreeWatcher::Changes &changes);
    void rootMissing(const QString &root);
    void rootReturned(const QString &root);
    // The kernel's event queue overflowed: anything may have changed.
    void eventsLost();
    // Said once: the kernel's limit on watches is reached, so these folders
    // are not watched.
    void watchLimitReached(const QStringList &unwatchedFolders);

private:
    struct PendingMove
    {
        QString from;
        bool isFolder = false;
    };

    void readEvents();
    void handleEvent(const inotify_event &event);
    void handleEntry(const QString &folder, const inotify_event &event);
    bool isOurs(const char *name, bool isFolder) const;
    void rootGone(const QString &root);
    void watchTree(const QString &folder, bool reportFiles);
    void watchFolder(const QString &folder);
    void forgetTree(const QString &folder, bool removeWatches);
    void moveTree(const QString &from, const QString &to);
    void awaitReturn(const QString &root);
    void checkWaitingRoots();
    void releaseUnusedAncestors();
    void resolveUnpairedMoves();
    void scheduleBatch();
    void deliverBatch();
    void reportWatchLimit();

    int m_fd = -1;
    std::unique_ptr<QSocketNotifier> m_notifier;
    SkippedFolders m_skipped;
    QSet<QString> m_roots;
    QHash<int, QString> m_folderOfWatch;
    QHash<QString, int> m_watchOfFolder;
    // Each missing root, and the existing folder watched for its return.
    QHash<QString, QString> m_waitingAt;
    QHash<int, QString> m_ancestorOfWatch;
    // Moves out, by cookie, until their move in arrives or the batch ends.
    QHash<quint32, PendingMove> m_pendingMoves;
    Changes m_batch;
    bool m_eventsLost = false;
    QTimer m_quiet;
    QElapsedTimer m_batchAge;
    QStringList m_unwatchable;
    bool m_reportedWatchLimit = false;
};
