#pragma once

#include <QList>
#include <QObject>

class MainAppController;
class QAction;
class QActionGroup;
class QKeySequence;
class QMenu;
class QWidget;
class ZRMSegmentedControl;
class ZRMWindow;

// The main window's commands as actions, its menus, and the one place that
// decides which commands can run; the window's buttons and segments follow
// the actions' enabled state.
class WindowCommands : public QObject
{
    Q_OBJECT

public:
    // The segments of the folder buttons, as handlePathButtons takes them.
    enum PathButton { AddPathButton, RemovePathButton, RefreshPathsButton };

    // Made while the window is built, once its controllers are: the panels
    // open over the window, and the menus go into its menu bar.
    explicit WindowCommands(ZRMWindow *window);

    void choosePath();
    void removePath();
    void handlePathButtons(int selectedSegment);
    // Starts in the folder of the first selected file.
    void chooseCSSPath();
    void clearCSSPath();
    void editFileOptions();
    void editOutputRule();
    // The application's own commands: Preferences goes into the File menu
    // above Quit, the help commands make the Help menu.
    void addApplicationCommands(QAction *preferences, const QList<QAction *> &helpCommands);

    ZRMSegmentedControl *createPathButtons(QWidget *parent);
    // The context menus of the folder and file lists.
    QList<QAction *> folderListCommands();
    QList<QAction *> fileListCommands();

    // In tab order.
    QActionGroup *tabActions() const { return m_tabActions; }
    // The buttons under the file list.
    QList<QAction *> cssOutputCommands() const { return {m_chooseCSSPathAction, m_clearCSSPathAction}; }
    QAction *clearLogAction() const { return m_clearLogAction; }
    QAction *compileAllAction() const { return m_compileAllAction; }
    QAction *autoCompileAction() const { return m_autoCompileAction; }

private:
    void createActions();
    void createTabActions();
    void buildMenus();
    void followController();
    void followLists();
    QAction *createAction(const QString &text, const QKeySequence &shortcut);
    template<typename Receiver, typename Command>
    QAction *createCommand(const QString &text, const QKeySequence &shortcut, Receiver *receiver, Command command);
    void updateControlStates();

    void toggleAutoCompile();
    void showAutoCompileState(bool enabled);

    ZRMWindow *m_window;
    MainAppController *m_appController;

    // All made by the constructor, before anything else.
    // On the folder list.
    QAction *m_addFolderAction;
    QAction *m_removeFolderAction;
    QAction *m_refreshFoldersAction;
    QAction *m_revealFoldersAction;
    // On the file list.
    QAction *m_chooseCSSPathAction;
    QAction *m_compressAction = nullptr;
    QAction *m_clearCSSPathAction;
    QAction *m_revealFilesAction;
    QAction *m_fileOptionsAction;
    QAction *m_outputRuleAction;
    // On the whole window.
    QAction *m_compileAllAction;
    QAction *m_autoCompileAction;
    QActionGroup *m_tabActions;
    QAction *m_clearLogAction;
    // Quit stays last in the File menu, below the application's own commands.
    QMenu *m_fileMenu;
    QAction *m_quitAction;
};
