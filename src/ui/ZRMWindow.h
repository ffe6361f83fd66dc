#pragma once

#include <QMainWindow>

class CompilerArrayController;
class CompilerLogPage;
class FilesArrayController;
class FolderDropTarget;
class MainAppController;
class OverlayFlash;
class PathsArrayController;
class QAbstractButton;
class QAction;
class QActionGroup;
class QCheckBox;
class QLabel;
class QMenu;
class QSplitter;
class QStackedWidget;
class QTableView;
class QTimer;
class ZRMDragOverlayWindow;
class ZRMProgressSpinner;
class ZRMSegmentedControl;

// The main window: watched folders on the left, the LESS files and the
// compiler log on the right, the folder buttons, the auto-compile switch and
// the spinner, and a menu bar with every command.
//
// Every command is an action; buttons and segments follow their action's
// enabled state, so one place decides what can be done.
class ZRMWindow : public QMainWindow
{
    Q_OBJECT

public:
    // The segments of the folder buttons, as handlePathButtons takes them.
    enum PathButton { AddPathButton, RemovePathButton, RefreshPathsButton };
    // Neither side of the split view gets narrower than this.
    static constexpr int MinimumPaneWidth = 150;

    explicit ZRMWindow(MainAppController *appController, QWidget *parent = nullptr);

    MainAppController *appController() const { return m_appController; }
    PathsArrayController *pathsController() const { return m_pathsController; }
    FilesArrayController *filesController() const { return m_filesController; }
    CompilerArrayController *compilerController() const { return m_compilerController; }

    void choosePath();
    void removePath();
    void handlePathButtons(int selectedSegment);
    // Starts in the folder of the first selected file.
    void chooseCSSPath();
    void clearCSSPath();

    // A short confirmation over the window, hidden after duration seconds
    // (1 second when duration is 0). iconName names an image resource; none
    // shows the LESS logo. A new flash replaces the one showing.
    void flashOverlayWithDuration(double duration, const QString &iconName, const QString &title,
                                  const QString &subtitle = {});
    ZRMDragOverlayWindow *overlayWindow() const;
    QTimer *flashTimer() const;
    // A window-modal message box showing message literally.
    void showErrorSheet(const QString &title, const QString &message);
    void scrollTableViewsToLastRow();
    // The application's own commands: Preferences goes into the File menu
    // above Quit, the help commands make the Help menu.
    void addApplicationCommands(QAction *preferences, const QList<QAction *> &helpCommands);

    QSplitter *splitView() const { return m_splitView; }
    ZRMSegmentedControl *pathButtons() const { return m_pathButtons; }
    ZRMSegmentedControl *tabViewSelectionButtons() const { return m_tabViewSelectionButtons; }
    QStackedWidget *tabView() const { return m_tabView; }
    QTableView *watchedPathsTableView() const { return m_watchedPathsTableView; }
    QTableView *lessFilesTableView() const { return m_lessFilesTableView; }
    QTableView *compilerResultTableView() const;
    QCheckBox *autoCompileCheckbox() const { return m_autoCompileCheckbox; }
    ZRMProgressSpinner *progressSpinner() const { return m_progressSpinner; }
    QLabel *progressLabel() const { return m_progressLabel; }

protected:
    void closeEvent(QCloseEvent *event) override;
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dragMoveEvent(QDragMoveEvent *event) override;
    void dragLeaveEvent(QDragLeaveEvent *event) override;
    void dropEvent(QDropEvent *event) override;

private:
    void createActions();
    void createTabActions();
    void buildMenus();
    QWidget *buildFoldersPane();
    QWidget *buildTabsPane();
    QWidget *buildFilesPage();
    QWidget *buildBottomBar();
    void followController();
    void followLists();

    QAction *createAction(const QString &text, const QKeySequence &shortcut = {});
    template<typename Receiver>
    QAction *createCommand(const QString &text, const QKeySequence &shortcut, Receiver *receiver,
                           void (Receiver::*command)());
    void updateControlStates();
    void toggleAutoCompile();
    void showAutoCompileState(bool enabled);
    void selectTab(int index);
    void flashRefreshComplete(bool notify);
    void showTab(int index);
    void startSpinner(const QString &message);
    void stopSpinner();
    void restoreWindowState();
    void saveWindowState() const;

    MainAppController *m_appController;
    PathsArrayController *m_pathsController;
    FilesArrayController *m_filesController;
    CompilerArrayController *m_compilerController;

    QSplitter *m_splitView = nullptr;
    QTableView *m_watchedPathsTableView = nullptr;
    ZRMSegmentedControl *m_pathButtons = nullptr;
    ZRMSegmentedControl *m_tabViewSelectionButtons = nullptr;
    QStackedWidget *m_tabView = nullptr;
    QTableView *m_lessFilesTableView = nullptr;
    CompilerLogPage *m_logPage = nullptr;
    QCheckBox *m_autoCompileCheckbox = nullptr;
    ZRMProgressSpinner *m_progressSpinner = nullptr;
    QLabel *m_progressLabel = nullptr;
    OverlayFlash *m_overlay = nullptr;
    FolderDropTarget *m_dropTarget = nullptr;

    QAction *m_addFolderAction = nullptr;
    QAction *m_removeFolderAction = nullptr;
    QAction *m_refreshFoldersAction = nullptr;
    QAction *m_revealFoldersAction = nullptr;
    QMenu *m_fileMenu = nullptr;
    QAction *m_quitAction = nullptr;
    QAction *m_compileAllAction = nullptr;
    QAction *m_autoCompileAction = nullptr;
    QAction *m_chooseCSSPathAction = nullptr;
    QAction *m_clearCSSPathAction = nullptr;
    QAction *m_revealFilesAction = nullptr;
    QActionGroup *m_tabActions = nullptr;
    QAction *m_clearLogAction = nullptr;
};
