#pragma once

#include "engine/FolderTreeWatcher.h"

#include <QObject>
#include <QSet>

class MainAppController;

// Keeps the project in step with the disk while it changes: LESS files
// created, deleted, renamed or moved in the watched folders join, leave or
// move in the list at once, a burst of them as one change. A watched folder
// that goes away stays, shown missing with its files' settings, until it
// returns. Nothing here compiles: only saves do.
class LiveFolders : public QObject
{
    Q_OBJECT

public:
    explicit LiveFolders(MainAppController *controller);

    // The refresh found the folder gone, where no event said so (a parent renamed).
    void folderVanished(const QString &folder);
    const FolderTreeWatcher &watcher() const { return m_watcher; }

private:
    void watchTheProjectsFolders();
    void applyChanges(const FolderTreeWatcher::Changes &changes);
    void moveRecords(const FolderTreeWatcher::Move &move);
    void removeRecordsOfGoneFiles(const QStringList &paths);
    void addRecordsOfNewFiles(const QStringList &paths);
    QStringList recordsAtOrBeneath(const QString &path) const;
    void folderReturned(const QString &folder);
    void eventsLost();
    void watchLimitReached(const QStringList &folders);

    MainAppController *m_controller;
    FolderTreeWatcher m_watcher;
    QSet<QString> m_folders;
};
