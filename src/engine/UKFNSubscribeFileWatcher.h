#pragma once

#include "UKFileWatcher.h"

#include <QMap>
#include <QObject>

#include <memory>

class QSocketNotifier;

// UKFNSubscribeFileWatcher: the per-folder inotify watcher.
// Watches folders through inotify and reports every change inside a watched
// folder (an entry created, deleted, moved, written or its attributes
// changed) as a write of the folder: to the workspace notification centre,
// then to the delegate. The handle of a watched folder is its inotify watch
// descriptor. Create, use and destroy it on the GUI thread, which is also
// where changes are reported.
class UKFNSubscribeFileWatcher : public QObject, public UKFileWatcher
{
    Q_OBJECT

public:
    // The change messages sendDelegateMessage may be given.
    enum Message : quint32 {
        DirectoryModified = 1,
    };

    // Created on first use, never freed.
    static UKFNSubscribeFileWatcher *sharedFileWatcher();

    UKFNSubscribeFileWatcher();
    ~UKFNSubscribeFileWatcher() override;

    // Adding a path again replaces its handle; a path that is no folder is not added.
    void addPath(const QString &path) override;
    // Unknown paths are ignored.
    void removePath(const QString &path) override;
    UKFileWatcherDelegate *delegate() const override;
    void setDelegate(UKFileWatcherDelegate *delegate) override;

    // Reports a write of the folder watched under subscription, whatever the message.
    void sendDelegateMessage(quint32 message, int subscription);

private:
    void readEvents();
    void handleEvent(quint32 mask, int subscription);
    void reportEveryFolder();

    int m_fd = -1;
    std::unique_ptr<QSocketNotifier> m_notifier;
    UKFileWatcherDelegate *m_delegate = nullptr;
    QMap<QString, int> m_subscriptions;
};
