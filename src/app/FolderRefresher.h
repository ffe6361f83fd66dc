#pragma once

#include <QHash>
#include <QObject>
#include <QStringList>

class MainAppController;
class QTimer;

// Refreshing the watched folders, the safety net under LiveFolders: each
// folder is listed again off the GUI thread; files that appeared join the
// project and the watch list, files that went leave both, and folders that
// went are shown missing. Runs on request, after lost events, and every few
// minutes, as the preferences say.
class FolderRefresher : public QObject
{
    Q_OBJECT

public:
    explicit FolderRefresher(MainAppController *controller);

    void refreshWatchedFolders();
    void fireAutoRefresh();
    void beginRefreshingWatchedPathsAndShouldNotifyUserWhenDone(bool notify);
    // Restarts the automatic refresh's period from now.
    void setRefreshTimer();

Q_SIGNALS:
    // A refresh finished; notify is true when the user asked for it.
    void refreshFinished(bool notify);

private:
    struct RefreshSnapshot;
    struct FolderChanges;
    struct RefreshPlan;

    RefreshSnapshot refreshSnapshot() const;
    static RefreshPlan asynchronouslyRefreshWatchedPaths(const RefreshSnapshot &snapshot);
    void applyRefreshPlan(const RefreshPlan &plan);
    void applyFolderChanges(const FolderChanges &changes, const QStringList &knownFiles);
    void didFinishRefreshingWatchedPathsAndShouldNotifyUserWhenDone(bool notify);

    MainAppController *m_controller;
    QTimer *m_refreshTimer = nullptr;
};
