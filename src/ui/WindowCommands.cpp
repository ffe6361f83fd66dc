#include "WindowCommands.h"

#include "AddFolderPanel.h"
#include "CompilerArrayController.h"
#include "FileOptionsDialog.h"
#include "FilesArrayController.h"
#include "OutputRuleDialog.h"
#include "PathsArrayController.h"
#include "WindowControls.h"
#include "ZRMSegmentedControl.h"
#include "ZRMWindow.h"
#include "app/FolderRefresher.h"
#include "app/MainAppController.h"
#include "support/PathUtils.h"

#include <QAction>
#include <QActionGroup>
#include <QApplication>
#include <QFileDialog>
#include <QItemSelectionModel>
#include <QMenu>
#include <QMenuBar>
#include <QStyle>
#include <QToolButton>

namespace {

const QString RefreshIconName = QStringLiteral("view-refresh");

// Window-modal, so that the window's other work goes on; gone once closed.
template<typename Accepted>
void openDialog(QDialog *dialog, Accepted accepted)
{
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowModality(Qt::WindowModal);
    QObject::connect(dialog, &QDialog::accepted, dialog, accepted);
    dialog->open();
}

QAction *createSeparator(QObject *parent)
{
    auto *separator = new QAction(parent);
    separator->setSeparator(true);
    return separator;
}

// Qt's own panel, which shows the message and the button as given.
QFileDialog *createCSSFolderPanel(QWidget *window, const QString &startFolder)
{
    auto *panel = new QFileDialog(window, WindowCommands::tr("Choose where to put the compiled CSS file:"));
    panel->setOption(QFileDialog::DontUseNativeDialog);
    panel->setFileMode(QFileDialog::Directory);
    panel->setOption(QFileDialog::ShowDirsOnly);
    panel->setLabelText(QFileDialog::Accept, WindowCommands::tr("Choose"));
    if (!startFolder.isEmpty())
        panel->setDirectory(startFolder);
    return panel;
}

// Window-modal, and gone once answered; chosen gets the first path picked.
template<typename Chosen>
void openPanel(QFileDialog *panel, QObject *context, Chosen chosen)
{
    QObject::connect(panel, &QFileDialog::filesSelected, context, [chosen](const QStringList &chosenPaths) {
        if (!chosenPaths.isEmpty())
            chosen(chosenPaths.constFirst());
    });
    panel->setAttribute(Qt::WA_DeleteOnClose);
    panel->setWindowModality(Qt::WindowModal);
    panel->open();
}

} // namespace

WindowCommands::WindowCommands(ZRMWindow *window)
    : QObject(window),
      m_window(window),
      m_appController(window->appController())
{
    createActions();
    buildMenus();
    followController();
    followLists();
}

// ---- Actions and menus

// Actions are found by their icon text, the text without mnemonic or ellipsis.
QAction *WindowCommands::createAction(const QString &text, const QKeySequence &shortcut)
{
    auto *action = new QAction(text, m_window);
    action->setObjectName(action->iconText());
    action->setShortcut(shortcut);
    return action;
}

template<typename Receiver, typename Command>
QAction *WindowCommands::createCommand(const QString &text, const QKeySequence &shortcut, Receiver *receiver,
                                       Command command)
{
    QAction *action = createAction(text, shortcut);
    connect(action, &QAction::triggered, receiver, command);
    return action;
}

void WindowCommands::createActions()
{
    m_addFolderAction = createCommand(tr("&Add Folder…"), QKeySequence(Qt::CTRL | Qt::Key_O), this,
                                      &WindowCommands::choosePath);
    m_removeFolderAction = createCommand(tr("&Remove Folder"), QKeySequence::Delete, this,
                                         &WindowCommands::removePath);
    // Delete removes folders only while the folder list (or the menu) has the focus.
    m_removeFolderAction->setShortcutContext(Qt::WidgetWithChildrenShortcut);
    m_refreshFoldersAction = createCommand(tr("R&efresh Folders"), QKeySequence(Qt::CTRL | Qt::Key_R),
                                           m_appController, &MainAppController::refreshWatchedFolders);
    m_revealFoldersAction = createCommand(tr("Show in File Manager"), {}, m_window->pathsController(),
                                          &PathsArrayController::revealSelectedRowsInFinder);
    m_quitAction = createAction(tr("&Quit"), QKeySequence(Qt::CTRL | Qt::Key_Q));
    m_quitAction->setMenuRole(QAction::QuitRole);
    connect(m_quitAction, &QAction::triggered, qApp, &QCoreApplication::quit, Qt::QueuedConnection);

    m_compileAllAction = createAction(tr("&Compile All"), QKeySequence(Qt::CTRL | Qt::Key_B));
    connect(m_compileAllAction, &QAction::triggered, m_appController, [this] { m_appController->compileAllFiles(); });
    m_autoCompileAction = createCommand(tr("&Auto-Compile"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_A), this,
                                        &WindowCommands::toggleAutoCompile);
    m_autoCompileAction->setCheckable(true);
    m_autoCompileAction->setToolTip(tr("Compile LESS files whenever they are saved"));
    m_chooseCSSPathAction = createCommand(tr("C&hoose CSS Output Folder…"), {}, this,
                                          &WindowCommands::chooseCSSPath);
    // The button under the file list has less room than the menu.
    m_chooseCSSPathAction->setIconText(tr("Choose CSS Output…"));
    m_clearCSSPathAction = createCommand(tr("&Reset CSS Output"), {}, this, &WindowCommands::clearCSSPath);
    m_compressAction = createAction(tr("Co&mpress CSS"), {});
    m_compressAction->setCheckable(true);
    connect(m_compressAction, &QAction::triggered, m_window->filesController(),
            &FilesArrayController::setCompressionOnSelectedLESSFiles);
    m_revealFilesAction = createCommand(tr("Show in File Manager"), {}, m_window->filesController(),
                                        &FilesArrayController::revealSelectedRowsInFinder);
    m_fileOptionsAction = createCommand(tr("Compile &Options…"), QKeySequence(Qt::CTRL | Qt::Key_I), this,
                                        &WindowCommands::editFileOptions);
    m_outputRuleAction = createCommand(tr("CSS Output &Rule…"), {}, this, &WindowCommands::editOutputRule);

    createTabActions();
    m_clearLogAction = createCommand(tr("&Clear Log"), QKeySequence(Qt::CTRL | Qt::Key_K), m_appController,
                                     &MainAppController::clearCompilerLog);
}

// In page order; Ctrl+1 shows the first.
void WindowCommands::createTabActions()
{
    m_tabActions = new QActionGroup(m_window);
    const QStringList titles{tr("&LESS Files"), tr("Compiler &Log")};
    for (int tab = 0; tab < int(titles.size()); ++tab) {
        QAction *action = createAction(titles.at(tab), QKeySequence(Qt::CTRL | Qt::Key(Qt::Key_1 + tab)));
        action->setCheckable(true);
        action->setData(tab);
        m_tabActions->addAction(action);
    }
}

// Help comes last and is added by whoever provides it.
void WindowCommands::buildMenus()
{
    QMenuBar *menuBar = m_window->menuBar();
    m_fileMenu = menuBar->addMenu(tr("&File"));
    m_fileMenu->addActions({m_addFolderAction, m_removeFolderAction, m_refreshFoldersAction});
    m_fileMenu->addSeparator();
    m_fileMenu->addAction(m_quitAction);

    QMenu *compile = menuBar->addMenu(tr("&Compile"));
    compile->addActions({m_compileAllAction, m_autoCompileAction});
    compile->addSeparator();
    compile->addActions({m_chooseCSSPathAction, m_clearCSSPathAction, m_compressAction, m_fileOptionsAction});

    QMenu *view = menuBar->addMenu(tr("&View"));
    view->addActions(m_tabActions->actions());
    view->addSeparator();
    view->addAction(m_clearLogAction);
}

void WindowCommands::addApplicationCommands(QAction *preferences, const QList<QAction *> &helpCommands)
{
    m_fileMenu->insertAction(m_quitAction, preferences);
    m_fileMenu->insertSeparator(m_quitAction);
    m_window->menuBar()->addMenu(tr("&Help"))->addActions(helpCommands);
}

ZRMSegmentedControl *WindowCommands::createPathButtons(QWidget *parent)
{
    auto *buttons = new ZRMSegmentedControl(ZRMSegmentedControl::TrackingMode::Momentary, parent);
    buttons->setAccessibleName(tr("Folder Buttons"));
    buttons->addSegment(QStringLiteral("+"), m_addFolderAction->iconText());
    buttons->addSegment(QStringLiteral("\u2212"), m_removeFolderAction->iconText());
    buttons->addSegment(QIcon::fromTheme(RefreshIconName, parent->style()->standardIcon(QStyle::SP_BrowserReload)),
                        m_refreshFoldersAction->iconText());
    // In the order of the PathButton segments.
    const QList<QAction *> pathCommands{m_addFolderAction, m_removeFolderAction, m_refreshFoldersAction};
    for (int segment = 0; segment < int(pathCommands.size()); ++segment)
        WindowControls::followEnabledState(buttons->segment(segment), pathCommands.at(segment));
    connect(buttons, &ZRMSegmentedControl::segmentClicked, this, &WindowCommands::handlePathButtons);
    return buttons;
}

QList<QAction *> WindowCommands::folderListCommands()
{
    return {m_revealFoldersAction, m_outputRuleAction, createSeparator(m_window), m_removeFolderAction};
}

QList<QAction *> WindowCommands::fileListCommands()
{
    return {m_revealFilesAction, createSeparator(m_window), m_chooseCSSPathAction, m_clearCSSPathAction,
            m_compressAction, m_fileOptionsAction};
}

// ---- What can run

void WindowCommands::followController()
{
    connect(m_appController, &MainAppController::jEnableUIElementsChanged, this,
            &WindowCommands::updateControlStates);
    connect(m_appController, &MainAppController::jAutoCompileEnabledChanged, this,
            &WindowCommands::showAutoCompileState);
    showAutoCompileState(m_appController->jAutoCompileEnabled());
}

void WindowCommands::followLists()
{
    PathsArrayController *paths = m_window->pathsController();
    connect(paths, &PathsArrayController::canRemoveChanged, this, &WindowCommands::updateControlStates);
    connect(paths, &PathsArrayController::arrangedObjectsChanged, this, &WindowCommands::updateControlStates);
    FilesArrayController *files = m_window->filesController();
    connect(files->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &WindowCommands::updateControlStates);
    // A reset drops the selection without a signal.
    connect(files, &QAbstractItemModel::modelReset, this, &WindowCommands::updateControlStates);
    CompilerArrayController *log = m_window->compilerController();
    connect(log, &QAbstractItemModel::rowsInserted, this, &WindowCommands::updateControlStates);
    connect(log, &QAbstractItemModel::modelReset, this, &WindowCommands::updateControlStates);
    updateControlStates();
}

// While background work runs (the controller's spinner), nothing can be started.
void WindowCommands::updateControlStates()
{
    const bool idle = m_appController->jEnableUIElements();
    const PathsArrayController *paths = m_window->pathsController();
    const bool hasFolders = paths->rowCount() > 0;
    const bool hasSelectedFiles = m_window->filesController()->selectionModel()->hasSelection();
    const bool hasLog = m_window->compilerController()->rowCount() > 0;

    m_addFolderAction->setEnabled(idle);
    m_removeFolderAction->setEnabled(idle && paths->canRemove());
    m_refreshFoldersAction->setEnabled(idle && hasFolders);
    m_compileAllAction->setEnabled(idle);
    m_autoCompileAction->setEnabled(idle);
    m_chooseCSSPathAction->setEnabled(idle && hasSelectedFiles);
    m_clearCSSPathAction->setEnabled(idle && hasSelectedFiles);
    m_compressAction->setEnabled(idle && hasSelectedFiles);
    m_fileOptionsAction->setEnabled(idle && hasSelectedFiles);
    m_outputRuleAction->setEnabled(idle && m_window->pathsController()->selectedObjects().size() == 1);
    m_compressAction->setChecked(m_window->filesController()->selectedLESSFilesAreCompressed());
    m_clearLogAction->setEnabled(idle && hasLog);
}

// The switch changes only through the controller, which logs it; the action
// (and the check box following it) then shows what the controller holds.
void WindowCommands::toggleAutoCompile()
{
    m_appController->toggleAutoCompile();
    showAutoCompileState(m_appController->jAutoCompileEnabled());
}

void WindowCommands::showAutoCompileState(bool enabled)
{
    m_autoCompileAction->setChecked(enabled);
}

// ---- Commands

void WindowCommands::choosePath()
{
    openPanel(new AddFolderPanel(m_window, tr("Choose a folder to add:"), tr("Add")), m_appController,
              [this](const QString &path) { m_appController->beginValidatingPath(path); });
}

void WindowCommands::removePath()
{
    m_window->pathsController()->remove();
}

void WindowCommands::handlePathButtons(int selectedSegment)
{
    switch (selectedSegment) {
    case AddPathButton:
        choosePath();
        break;
    case RemovePathButton:
        removePath();
        break;
    case RefreshPathsButton:
        // A manual refresh pushes the next automatic one a whole period away.
        m_appController->folderRefresher()->setRefreshTimer();
        m_appController->refreshWatchedFolders();
        break;
    default:
        break;
    }
}

void WindowCommands::chooseCSSPath()
{
    const QString firstSelectedFile = m_window->filesController()->pathForFirstSelectedLESSFile();
    const QString startFolder =
        firstSelectedFile.isEmpty() ? QString() : PathUtils::deletingLastPathComponent(firstSelectedFile);
    openPanel(createCSSFolderPanel(m_window, startFolder), m_window->filesController(), [this](const QString &folder) {
        m_window->filesController()->setCSSFileOutputPathOnSelectedLESSFiles(folder);
    });
}

void WindowCommands::clearCSSPath()
{
    m_window->filesController()->clearCSSFileOutputPathOnSelectedLESSFiles();
}

void WindowCommands::editFileOptions()
{
    const QList<LessHolder *> files = m_window->filesController()->selectedObjects();
    if (files.isEmpty())
        return;
    auto *dialog = new FileOptionsDialog(files, m_appController->appModel()->watchedFolderOf(files.constFirst()),
                                         m_appController->projectFiles(), m_window);
    openDialog(dialog, [dialog] { dialog->applyToFiles(); });
}

void WindowCommands::editOutputRule()
{
    const QList<PathHolder *> folders = m_window->pathsController()->selectedObjects();
    if (folders.size() != 1)
        return;
    auto *dialog = new OutputRuleDialog(folders.constFirst(), m_window);
    openDialog(dialog, [dialog] { dialog->apply(); });
}
