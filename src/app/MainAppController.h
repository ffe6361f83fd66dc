#pragma once

#include "engine/ZRMLessCompilerDelegate.h"
#include "model/LessModel.h"

#include <QObject>
#include <QSet>
#include <QThreadPool>
#include <QTimer>
#include <QVariantMap>

#include <functional>

class LessClientAppDelegate;
class UserInterface;
class ZRMLessCompiler;
struct Notification;

// The controller of the main window and owner of the project: adding and
// validating folders, CSS output paths, refreshing the watched folders, the
// auto-compile switch and the compiler log. It is the compiler engine's
// compiling-settings delegate.
//
// Background work reads and computes on operationQueue; every change of the
// model is made on the GUI thread, in the order the workflow describes. The
// controller works without a user interface (headless mode): then errors go
// to standard error as "title: message".
class MainAppController : public QObject, public ZRMLessCompilerDelegate
{
    Q_OBJECT
    Q_PROPERTY(bool jAutoCompileEnabled READ jAutoCompileEnabled WRITE setJAutoCompileEnabled NOTIFY
                   jAutoCompileEnabledChanged)
    Q_PROPERTY(bool jEnableUIElements READ jEnableUIElements NOTIFY jEnableUIElementsChanged)
    Q_PROPERTY(int activeTabViewIndex READ activeTabViewIndex WRITE setActiveTabViewIndex NOTIFY
                   activeTabViewIndexChanged)

public:
    // The tab that shows the compiler log.
    static constexpr int CompilerLogTab = 1;

    explicit MainAppController(LessClientAppDelegate *appDelegate, QObject *parent = nullptr);
    ~MainAppController() override;

    LessClientAppDelegate *appDelegate() const { return m_appDelegate; }
    LessModel *appModel() { return &m_appModel; }
    void setUserInterface(UserInterface *userInterface) { m_userInterface = userInterface; }

    bool jAutoCompileEnabled() const { return m_jAutoCompileEnabled; }
    void setJAutoCompileEnabled(bool enabled);
    bool jEnableUIElements() const { return m_jEnableUIElements; }
    int spinnerCount() const { return m_spinnerCount; }
    int activeTabViewIndex() const { return m_activeTabViewIndex; }
    void setActiveTabViewIndex(int index);

    // Window chrome.
    void handleTabViewSelectionButtons(int selectedSegment);
    void showSpinnerWithMessage(const QString &message);
    void hideSpinner();
    void scrollTableViewsToLastRow();
    // In the window, or on standard error when there is none.
    void reportError(const QString &title, const QString &message);

    // Adding a folder.
    void beginValidatingPath(const QString &path);
    void addPathToWatchList(const QString &folder);

    void beginAutoSettingCSSPaths();

    // Refreshing.
    void refreshWatchedFolders();
    void fireAutoRefresh();
    void beginRefreshingWatchedPathsAndShouldNotifyUserWhenDone(bool notify);
    void setRefreshTimer();
    void refreshImportLinks();

    // Auto-compile and the compiler log.
    // The files whose outcome the engine will announce.
    QStringList compileAllFiles();
    void awakenAutoCompile();
    void toggleAutoCompile();
    void refreshAutoCompileWatchList();
    void removeLessFilesFromAutoCompileList(const QStringList &paths);
    // The first files go to the engine at once, the rest from the event loop.
    void addLessFilesToAutoCompileList(const QStringList &paths);
    void clearCompilerLog();
    QVariantMap compilingSettingsForLESSFileAtPath(const QString &path) override;

Q_SIGNALS:
    void jAutoCompileEnabledChanged(bool enabled);
    void jEnableUIElementsChanged(bool enabled);
    void activeTabViewIndexChanged(int index);
    // The spinner starts with the message of the work that raised it from 0.
    void spinnerStarted(const QString &message);
    void spinnerStopped();
    void scrollTableViewsToLastRowRequested();
    // A refresh finished; notify is true when the user asked for it.
    void refreshFinished(bool notify);

private:
    struct AbsorbedFolder;
    struct Validation;
    struct RefreshSnapshot;
    struct FolderChanges;
    struct RefreshPlan;
    struct CSSTarget;
    struct CSSFolderMove;

    void setJEnableUIElements(bool enabled);

    void registerForCompilerNotifications();
    void unregisterForCompilerNotifications();
    void handleZRMCompilerNotification(const Notification &notification);
    void reportMissingCompiler(const QString &reason);
    void appendCompileResult(const QVariantMap &userInfo, RgbaColor color);

    static Validation asynchronouslyValidatePath(const QString &path, const QStringList &watchedFolders);
    void absorbWatchedSubfolders(const QList<AbsorbedFolder> &folders);
    void didFinishValidatingPathWithResult(const QVariantMap &result);
    void didFinishFindingLessFilesWithResult(const QVariantMap &result);

    static QList<CSSFolderMove> asynchronouslyAutoSetCSSPaths(const QList<CSSTarget> &targets);
    void moveCSSTargets(const QList<CSSFolderMove> &moves);
    void didFinishAutoSettingCSSPaths();

    RefreshSnapshot refreshSnapshot() const;
    static RefreshPlan asynchronouslyRefreshWatchedPaths(const RefreshSnapshot &snapshot);
    void applyRefreshPlan(const RefreshPlan &plan);
    void applyFolderChanges(const FolderChanges &changes, const QStringList &knownFiles);
    void reportUndecodableFiles(const QString &folder, const QList<QByteArray> &paths);
    void didFinishRefreshingWatchedPathsAndShouldNotifyUserWhenDone(bool notify);

    void watchNextSlice();

    // Adds wait for one another; each holds the spinner from the start.
    void validateNextPath();
    void didFinishAdding();
    void linkImportedFiles(std::function<void()> then);
    void didFinishRefreshingImportLinks();

    // Runs work on operationQueue.
    void queue(std::function<void()> work);

    LessClientAppDelegate *m_appDelegate;
    UserInterface *m_userInterface = nullptr;
    QThreadPool m_operationQueue;
    ZRMLessCompiler *m_lessCompiler;
    bool m_addInProgress = false;
    QStringList m_pendingAdds;
    bool m_jAutoCompileEnabled = false;
    bool m_jEnableUIElements = true;
    int m_spinnerCount = 0;
    QTimer *m_refreshTimer = nullptr;
    int m_activeTabViewIndex = 0;
    LessModel m_appModel;
    // Files on their way to the engine's watch list, in order.
    QStringList m_watchQueue;
    QSet<QString> m_filesAwaitingWatch;
    QSet<QByteArray> m_reportedUndecodableFiles;
    QTimer *m_watchSliceTimer;
};
