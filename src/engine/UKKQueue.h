#pragma once

#include "UKFileWatcher.h"

#include <QAtomicInteger>
#include <QMutex>
#include <QObject>
#include <QStringList>

#include <memory>

class InotifyWatchTable;
class QThread;
struct inotify_event;

// UKKQueue: the per-file inotify watcher.
// Watches files through inotify on its own thread and hands every change to
// its delegate on the GUI thread, waiting until the delegate has returned, so
// that events arrive one at a time and in order. A watched path stays watched
// when an editor replaces or re-creates its file: the watcher follows the path,
// not only the file that was there when it was added.
// Create, use and destroy it on the GUI thread.
class UKKQueue : public QObject, public UKFileWatcher
{
    Q_OBJECT

public:
    // The event bits of addPathToQueue's mask.
    enum Event : quint32 {
        Delete = 0x01,
        Write = 0x02,
        Extend = 0x04,
        Attrib = 0x08,
        Link = 0x10,
        Rename = 0x20,
        Revoke = 0x40,
    };
    static constexpr quint32 DefaultEventMask = Delete | Write | Attrib | Rename;

    // The watcher the compiler engine uses: created on first use, never freed.
    static UKKQueue *sharedFileWatcher();

    UKKQueue();
    // Stops the watcher thread and waits for it.
    ~UKKQueue() override;

    // The inotify descriptor; -1 when inotify is unavailable.
    int queueFD() const;

    // A path with nothing at it is not added.
    void addPath(const QString &path) override;
    void addPathToQueue(const QString &path);
    void addPathToQueue(const QString &path, quint32 mask);
    // Removes one registration of the path; a path added twice stays watched.
    void removePath(const QString &path) override;
    void removePathFromQueue(const QString &path);
    void removeAllPathsFromQueue();

    UKFileWatcherDelegate *delegate() const override;
    void setDelegate(UKFileWatcherDelegate *delegate) override;
    // Also post every event on the workspace notification centre when there is a delegate.
    bool alwaysNotify() const;
    void setAlwaysNotify(bool alwaysNotify);

    // Tells the delegate (on the GUI thread, waiting for it) and, when there is
    // none or alwaysNotify is set, posts on the workspace notification centre.
    void postNotification(const QString &name, const QString &path);

    // One entry per registration, in the order they were added.
    QStringList watchedPaths() const;
    QString description() const;

private:
    void startWatcherThread();
    void stopWatcherThread();
    void wakeWatcherThread();
    void watcherThread();
    void readAndDeliverEvents();
    void deliverChangesOfEvent(const inotify_event &event);
    void retryUnwatchedFolders();
    void releaseUnusedWatches();
    void notifyDelegateAndWorkspace(const QString &name, const QString &path);

    int m_inotifyFD = -1;
    int m_wakeFD = -1;
    mutable QMutex m_mutex;
    std::unique_ptr<InotifyWatchTable> m_table;
    std::unique_ptr<QThread> m_thread;
    QAtomicInteger<bool> m_keepThreadRunning = true;
    UKFileWatcherDelegate *m_delegate = nullptr;
    bool m_alwaysNotify = false;
};
