#pragma once

#include <QMainWindow>

class CompilerArrayController;
class CompilerLogPage;
class FilesArrayController;
class FolderDropTarget;
class MainAppController;
class OverlayFlash;
class PathsArrayController;
class QAction;
class QCheckBox;
class QLabel;
class QSplitter;
class QStackedWidget;
class QTableView;
class QTimer;
class WindowCommands;
class ZRMDragOverlayWindow;
class ZRMProgressSpinner;
class ZRMSegmentedControl;

// The main window: watched folders on the left, the LESS files and the
// compiler log on the right, the folder buttons, the auto-compile switch and
// the spinner, and a menu bar with every command.
class ZRMWindow : public QMainWindow
{
    Q_OBJECT

public:
    // Neither side of the split view gets narrower than this.
    static constexpr int MinimumPaneWidth = 150;

    explicit ZRMWindow(MainAppController *appController, QWidget *parent = nullptr);

    MainAppController *appController() const { return m_appController; }
    PathsArrayController *pathsController() const { return m_pathsController; }
    FilesArrayController *filesController() const { return m_filesController; }
    CompilerArrayController *compilerController() const { return m_compilerController; }
    WindowCommands *commands() const { return m_commands; }

    // A short confirmation over the window, as OverlayFlash::flash shows it.
    void flashOverlayWithDuration(double duration, const QString &iconName, const QString &title,
                                  const QString &subtitle = {});
    ZRMDragOverlayWindow *overlayWindow() const;
    QTimer *flashTimer() const;
    // A window-modal message box showing message literally.
    void showErrorSheet(const QString &title, const QString &message);
    void scrollTableViewsToLastRow();
    // As WindowCommands::addApplicationCommands.
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
    QLabel *liveReloadLabel() const { return m_liveReloadLabel; }

protected:
    void closeEvent(QCloseEvent *event) override;
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dragMoveEvent(QDragMoveEvent *event) override;
    void dragLeaveEvent(QDragLeaveEvent *event) override;
    void dropEvent(QDropEvent *event) override;

private:
    void buildContent();
    QWidget *buildFoldersPane();
    QWidget *buildTabsPane();
    QWidget *buildFilesPage();
    QWidget *buildBottomBar();
    void followController();

    void selectTab(int index);
    void showTab(int index);
    void flashRefreshComplete(bool notify);
    void startSpinner(const QString &message);
    void stopSpinner();
    void showLiveReloadState();
    void restoreWindowState();
    void saveWindowState() const;

    MainAppController *m_appController;
    PathsArrayController *m_pathsController;
    FilesArrayController *m_filesController;
    CompilerArrayController *m_compilerController;
    // After the controllers, which it takes from the window.
    WindowCommands *m_commands;

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
    QLabel *m_liveReloadLabel = nullptr;
    OverlayFlash *m_overlay = nullptr;
    FolderDropTarget *m_dropTarget = nullptr;
};
