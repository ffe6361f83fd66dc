#include "ZRMWindow.h"

#include "ZRMTableView.h"

#include "CompilerArrayController.h"
#include "CompilerLogPage.h"
#include "ErrorSheet.h"
#include "FilesArrayController.h"
#include "FolderDropTarget.h"
#include "OverlayFlash.h"
#include "PathsArrayController.h"
#include "WindowCommands.h"
#include "WindowControls.h"
#include "ZRMIconAndBadgeTableCell.h"
#include "ZRMLessFileTableCell.h"
#include "ZRMProgressSpinner.h"
#include "ZRMSegmentedControl.h"
#include "ZRMStaticImageView.h"
#include "app/AutoCompileWatchList.h"
#include "app/FolderRefresher.h"
#include "app/LiveReload.h"
#include "app/MainAppController.h"
#include "support/BundleInfo.h"
#include "support/PathUtils.h"
#include "support/Resources.h"
#include "support/UserDefaults.h"

#include <QAction>
#include <QActionGroup>
#include <QApplication>
#include <QCheckBox>
#include <QCloseEvent>
#include <QDir>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSplitter>
#include <QStackedWidget>
#include <QStyle>
#include <QTableView>
#include <QToolButton>
#include <QVBoxLayout>

using WindowControls::createButton;
using WindowControls::followEnabledState;

namespace {

const QString WindowTitle = BundleInfo::ApplicationName;
const QString ApplicationIconName = QStringLiteral("cascader");
const QString IconsFolder = QStringLiteral("icons");
constexpr QSize DefaultWindowSize{900, 560};
constexpr int DefaultFoldersPaneWidth = 220;
constexpr int TabButtonWidth = 100;

// The refresh overlay.
constexpr double RefreshOverlayDuration = 0.75;
const QString RefreshOverlayIcon = QStringLiteral("thumbs.png");
const QString RefreshOverlayTitle = QStringLiteral("Refresh Complete");

// Remembered between runs.
const QString WindowGeometryKey = QStringLiteral("mainWindowGeometry");
const QString SplitViewStateKey = QStringLiteral("mainWindowSplitViewState");

// The pages of the tab view, as MainAppController::activeTabViewIndex counts them.
constexpr int LessFilesTab = 0;
constexpr int CompilerLogTab = MainAppController::CompilerLogTab;

// The theme's icon where there is one, else the icons Cascader installs.
QIcon applicationIcon()
{
    QIcon installed;
    const QDir icons(PathUtils::appendingPathComponent(Resources::folder(), IconsFolder));
    for (const QFileInfo &file : icons.entryInfoList(QDir::Files))
        installed.addFile(file.absoluteFilePath());
    return QIcon::fromTheme(ApplicationIconName, installed);
}

QWidget *createPane(QLayout *layout, QWidget *parent)
{
    auto *pane = new QWidget(parent);
    layout->setContentsMargins(0, 0, 0, 0);
    pane->setLayout(layout);
    return pane;
}

QString tabTitle(const QActionGroup *tabActions, int tab)
{
    return tabActions->actions().at(tab)->iconText();
}

} // namespace

ZRMWindow::ZRMWindow(MainAppController *appController, QWidget *parent)
    : QMainWindow(parent),
      m_appController(appController),
      m_pathsController(new PathsArrayController(appController->appModel(), this)),
      m_filesController(new FilesArrayController(appController->appModel(), m_pathsController, this)),
      m_compilerController(new CompilerArrayController(appController->appModel(), this)),
      m_commands(new WindowCommands(this))
{
    connect(m_pathsController, &PathsArrayController::lessFilesAboutToBeRemoved, appController->watchList(),
            &AutoCompileWatchList::removeLessFilesFromAutoCompileList);
    setWindowTitle(WindowTitle);
    setWindowIcon(applicationIcon());
    buildContent();

    setAcceptDrops(true);
    m_overlay = new OverlayFlash(this);
    m_dropTarget = new FolderDropTarget(appController, m_overlay, this);

    followController();
    restoreWindowState();
    connect(qApp, &QCoreApplication::aboutToQuit, this, &ZRMWindow::saveWindowState);
}

// ---- Building

void ZRMWindow::buildContent()
{
    m_splitView = new QSplitter(Qt::Horizontal, this);
    m_splitView->setChildrenCollapsible(false);
    // The tab buttons are made first: the folder list's title matches their height.
    QWidget *tabsPane = buildTabsPane();
    m_splitView->addWidget(buildFoldersPane());
    m_splitView->addWidget(tabsPane);
    // Resizing the window resizes the right side only.
    m_splitView->setStretchFactor(0, 0);
    m_splitView->setStretchFactor(1, 1);

    auto *layout = new QVBoxLayout;
    layout->setSpacing(layout->spacing() * 2);
    layout->addWidget(m_splitView, 1);
    layout->addWidget(buildBottomBar());
    auto *content = new QWidget(this);
    content->setLayout(layout);
    // The brand strip runs from edge to edge above everything else.
    auto *page = new QVBoxLayout;
    page->setContentsMargins(0, 0, 0, 0);
    page->setSpacing(0);
    page->addWidget(new ZRMStaticImageView(this));
    page->addWidget(content, 1);
    auto *central = new QWidget(this);
    central->setLayout(page);
    setCentralWidget(central);
}

QWidget *ZRMWindow::buildFoldersPane()
{
    auto *title = new QLabel(tr("Watched Folders"), this);
    QFont titleFont = title->font();
    titleFont.setBold(true);
    title->setFont(titleFont);
    title->setFixedHeight(m_tabViewSelectionButtons->sizeHint().height());

    PathsArrayController *paths = m_pathsController;
    m_watchedPathsTableView =
        WindowControls::createListView(paths, paths->selectionModel(), title->text(), m_commands->folderListCommands(),
                       new ZRMIconAndBadgeTableCell, ZRMIconAndBadgeTableCell::RowHeight, this);
    connect(m_watchedPathsTableView, &QAbstractItemView::doubleClicked, paths,
            &PathsArrayController::handleDoubleClicks);

    m_pathButtons = m_commands->createPathButtons(this);
    auto *buttons = new QHBoxLayout;
    buttons->addWidget(m_pathButtons);
    buttons->addStretch();

    auto *layout = new QVBoxLayout;
    layout->addWidget(title);
    layout->addWidget(m_watchedPathsTableView, 1);
    layout->addLayout(buttons);
    QWidget *pane = createPane(layout, this);
    pane->setMinimumWidth(MinimumPaneWidth);
    return pane;
}

QWidget *ZRMWindow::buildTabsPane()
{
    const QActionGroup *tabActions = m_commands->tabActions();
    m_tabViewSelectionButtons = new ZRMSegmentedControl(ZRMSegmentedControl::TrackingMode::SelectOne, this);
    m_tabViewSelectionButtons->setAccessibleName(tr("Tabs"));
    for (const QAction *action : tabActions->actions()) {
        const int tab = m_tabViewSelectionButtons->addSegment(action->iconText(), action->iconText());
        m_tabViewSelectionButtons->segment(tab)->setMinimumWidth(TabButtonWidth);
    }
    // The tabs are enabled together. The whole control follows, not each
    // segment: a disabled segment would hand its focus on to the next control.
    followEnabledState(m_tabViewSelectionButtons, tabActions->actions().constFirst());
    connect(m_tabViewSelectionButtons, &ZRMSegmentedControl::segmentClicked, this, &ZRMWindow::selectTab);
    connect(tabActions, &QActionGroup::triggered, this, [this](QAction *action) { selectTab(action->data().toInt()); });

    m_tabView = new QStackedWidget(this);
    m_tabView->insertWidget(LessFilesTab, buildFilesPage());
    m_logPage = new CompilerLogPage(m_compilerController, tabTitle(tabActions, CompilerLogTab),
                                    m_commands->clearLogAction(), this);
    m_tabView->insertWidget(CompilerLogTab, m_logPage);

    auto *tabs = new QHBoxLayout;
    tabs->addStretch();
    tabs->addWidget(m_tabViewSelectionButtons);
    tabs->addStretch();

    auto *layout = new QVBoxLayout;
    layout->addLayout(tabs);
    layout->addWidget(m_tabView, 1);
    QWidget *pane = createPane(layout, this);
    pane->setMinimumWidth(MinimumPaneWidth);
    return pane;
}

QWidget *ZRMWindow::buildFilesPage()
{
    FilesArrayController *files = m_filesController;
    m_lessFilesTableView = WindowControls::createListView(files, files->selectionModel(),
                                          tabTitle(m_commands->tabActions(), LessFilesTab),
                                          m_commands->fileListCommands(), new ZRMLessFileTableCell,
                                          ZRMLessFileTableCell::RowHeight, this);
    connect(m_lessFilesTableView, &QAbstractItemView::doubleClicked, files,
            &FilesArrayController::handleDoubleClicks);
    if (auto *table = qobject_cast<ZRMTableView *>(m_lessFilesTableView))
        table->setPlaceholderText(tr("Select a folder on the left to see its LESS files.\n"
                                     "Add a folder with the + button, or drop one on this window."));

    auto *buttons = new QHBoxLayout;
    for (QAction *command : m_commands->cssOutputCommands())
        buttons->addWidget(createButton(command, this));
    buttons->addStretch();

    auto *layout = new QVBoxLayout;
    layout->addWidget(m_lessFilesTableView, 1);
    layout->addLayout(buttons);
    return createPane(layout, this);
}

// The check box shows the action's state, which shows the controller's.
QWidget *ZRMWindow::buildBottomBar()
{
    QAction *autoCompile = m_commands->autoCompileAction();
    m_autoCompileCheckbox = new QCheckBox(autoCompile->iconText(), this);
    m_autoCompileCheckbox->setAccessibleName(autoCompile->iconText());
    m_autoCompileCheckbox->setToolTip(autoCompile->toolTip());
    m_autoCompileCheckbox->setChecked(autoCompile->isChecked());
    followEnabledState(m_autoCompileCheckbox, autoCompile);
    connect(autoCompile, &QAction::toggled, m_autoCompileCheckbox, &QCheckBox::setChecked);
    connect(m_autoCompileCheckbox, &QCheckBox::clicked, autoCompile, &QAction::trigger);

    m_progressSpinner = new ZRMProgressSpinner(this);
    m_progressSpinner->setAccessibleName(tr("Busy"));
    m_progressLabel = new QLabel(this);
    m_progressLabel->setAccessibleName(tr("Activity"));
    m_progressLabel->hide();
    m_liveReloadLabel = new QLabel(this);
    m_liveReloadLabel->setAccessibleName(tr("Live reload"));
    m_liveReloadLabel->hide();

    const int groupSpacing = style()->pixelMetric(QStyle::PM_LayoutHorizontalSpacing) * 3;
    auto *layout = new QHBoxLayout;
    layout->addWidget(m_autoCompileCheckbox);
    layout->addSpacing(groupSpacing);
    layout->addWidget(m_progressSpinner);
    layout->addWidget(m_progressLabel);
    layout->addStretch();
    layout->addWidget(m_liveReloadLabel);
    layout->addSpacing(groupSpacing);
    layout->addWidget(createButton(m_commands->compileAllAction(), this));
    return createPane(layout, this);
}

// ---- Following the controller

void ZRMWindow::followController()
{
    connect(m_appController, &MainAppController::activeTabViewIndexChanged, this, &ZRMWindow::showTab);
    connect(m_appController, &MainAppController::spinnerStarted, this, &ZRMWindow::startSpinner);
    connect(m_appController, &MainAppController::spinnerStopped, this, &ZRMWindow::stopSpinner);
    connect(m_appController, &MainAppController::scrollTableViewsToLastRowRequested, this,
            &ZRMWindow::scrollTableViewsToLastRow);
    connect(m_appController->folderRefresher(), &FolderRefresher::refreshFinished, this,
            &ZRMWindow::flashRefreshComplete);
    connect(m_appController->liveReload(), &LiveReload::stateChanged, this, &ZRMWindow::showLiveReloadState);

    showTab(m_appController->activeTabViewIndex());
    showLiveReloadState();
    if (m_appController->spinnerCount() > 0)
        startSpinner({});
}

void ZRMWindow::selectTab(int index)
{
    m_appController->handleTabViewSelectionButtons(index);
    showTab(m_appController->activeTabViewIndex());
}

void ZRMWindow::showTab(int index)
{
    if (index < 0 || index >= m_tabView->count())
        return;
    m_tabView->setCurrentIndex(index);
    m_tabViewSelectionButtons->setSelectedSegment(index);
    m_commands->tabActions()->actions().at(index)->setChecked(true);
}

void ZRMWindow::startSpinner(const QString &message)
{
    m_progressSpinner->startAnimation();
    m_progressLabel->setText(message);
    m_progressLabel->show();
}

void ZRMWindow::stopSpinner()
{
    m_progressSpinner->stopAnimation();
    m_progressLabel->hide();
    m_progressLabel->clear();
}

// Nothing while live reload is off.
void ZRMWindow::showLiveReloadState()
{
    const LiveReload *liveReload = m_appController->liveReload();
    const int pages = liveReload->pageCount();
    m_liveReloadLabel->setText(pages == 1 ? tr("Live reload: 1 page") : tr("Live reload: %1 pages").arg(pages));
    m_liveReloadLabel->setVisible(liveReload->isServing());
}

void ZRMWindow::flashRefreshComplete(bool notify)
{
    if (notify)
        flashOverlayWithDuration(RefreshOverlayDuration, RefreshOverlayIcon, RefreshOverlayTitle);
}

void ZRMWindow::scrollTableViewsToLastRow()
{
    for (QTableView *view : {compilerResultTableView(), m_lessFilesTableView, m_watchedPathsTableView}) {
        const int rows = view->model()->rowCount();
        if (rows > 0)
            view->scrollTo(view->model()->index(rows - 1, 0));
    }
}

// ---- Handed on

void ZRMWindow::addApplicationCommands(QAction *preferences, const QList<QAction *> &helpCommands)
{
    m_commands->addApplicationCommands(preferences, helpCommands);
}

void ZRMWindow::flashOverlayWithDuration(double duration, const QString &iconName, const QString &title,
                                         const QString &subtitle)
{
    m_overlay->flash(duration, iconName, title, subtitle);
}

ZRMDragOverlayWindow *ZRMWindow::overlayWindow() const
{
    return m_overlay->overlayWindow();
}

QTimer *ZRMWindow::flashTimer() const
{
    return m_overlay->timer();
}

QTableView *ZRMWindow::compilerResultTableView() const
{
    return m_logPage->tableView();
}

void ZRMWindow::dragEnterEvent(QDragEnterEvent *event)
{
    m_dropTarget->dragEnter(event);
}

void ZRMWindow::dragMoveEvent(QDragMoveEvent *event)
{
    m_dropTarget->dragMove(event);
}

void ZRMWindow::dragLeaveEvent(QDragLeaveEvent *)
{
    m_dropTarget->dragLeave();
}

void ZRMWindow::dropEvent(QDropEvent *event)
{
    m_dropTarget->drop(event);
}

void ZRMWindow::showErrorSheet(const QString &title, const QString &message)
{
    (new ErrorSheet(title, message, this))->open();
}

// ---- Window state

void ZRMWindow::closeEvent(QCloseEvent *event)
{
    saveWindowState();
    QMainWindow::closeEvent(event);
}

void ZRMWindow::restoreWindowState()
{
    const UserDefaults *defaults = UserDefaults::standardUserDefaults();
    if (!restoreGeometry(defaults->objectForKey(WindowGeometryKey).toByteArray()))
        resize(DefaultWindowSize);
    if (!m_splitView->restoreState(defaults->objectForKey(SplitViewStateKey).toByteArray()))
        m_splitView->setSizes({DefaultFoldersPaneWidth, width() - DefaultFoldersPaneWidth});
}

void ZRMWindow::saveWindowState() const
{
    UserDefaults *defaults = UserDefaults::standardUserDefaults();
    defaults->setObject(saveGeometry(), WindowGeometryKey);
    defaults->setObject(m_splitView->saveState(), SplitViewStateKey);
}
