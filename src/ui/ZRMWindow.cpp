#include "ZRMWindow.h"

#include "CompilerArrayController.h"
#include "FilesArrayController.h"
#include "PathsArrayController.h"
#include "DragClassification.h"
#include "ImageResources.h"
#include "ZRMProgressSpinner.h"
#include "ZRMSegmentedControl.h"
#include "ZRMCompilerResultTableCell.h"
#include "ZRMDragOverlayView.h"
#include "ZRMDragOverlayWindow.h"
#include "ZRMIconAndBadgeTableCell.h"
#include "ZRMLessFileTableCell.h"
#include "ZRMSingleLineItemDelegate.h"
#include "ZRMStaticImageView.h"
#include "ZRMTableView.h"
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
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
#include <QSplitter>
#include <QStackedWidget>
#include <QStyle>
#include <QTableView>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>

#include <chrono>

namespace {

const QString WindowTitle = BundleInfo::ApplicationName;
const QString ApplicationIconName = QStringLiteral("cascader");
const QString IconsFolder = QStringLiteral("icons");
const QString RefreshIconName = QStringLiteral("view-refresh");
constexpr QSize DefaultWindowSize{900, 560};
constexpr int DefaultFoldersPaneWidth = 220;
constexpr int FileColumnWidth = 200;
constexpr int TabButtonWidth = 100;
constexpr int MessageSheetWidth = 420;
constexpr std::chrono::milliseconds DefaultFlashDuration{1000};
const QString DefaultFlashIconName = QStringLiteral("lesslogo.png");
const QString LessFileIconName = QStringLiteral("lessFileIcon.png");
const QString DropFolderIconName = QStringLiteral("folder");
const QString FlashTimerName = QStringLiteral("flashTimer");

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

QTableView *createTableView(QAbstractItemModel *model, const QString &name, QWidget *parent)
{
    auto *view = new ZRMTableView(parent);
    view->setAccessibleName(name);
    view->setModel(model);
    view->setSelectionBehavior(QAbstractItemView::SelectRows);
    view->setSelectionMode(QAbstractItemView::ExtendedSelection);
    view->setEditTriggers(QAbstractItemView::NoEditTriggers);
    view->setWordWrap(false);
    view->verticalHeader()->hide();
    view->horizontalHeader()->setStretchLastSection(true);
    view->horizontalHeader()->setHighlightSections(false);
    return view;
}

// A one-column list with its own selection: no header, rows drawn by cell,
// the given commands on its context menu.
QTableView *createListView(QAbstractItemModel *model, QItemSelectionModel *selection, const QString &name,
                           const QList<QAction *> &commands, QStyledItemDelegate *cell, int rowHeight,
                           QWidget *parent)
{
    QTableView *view = createTableView(model, name, parent);
    view->setSelectionModel(selection);
    view->setItemDelegate(cell);
    cell->setParent(view);
    view->horizontalHeader()->hide();
    view->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    view->verticalHeader()->setDefaultSectionSize(rowHeight);
    view->setContextMenuPolicy(Qt::ActionsContextMenu);
    view->addActions(commands);
    return view;
}

QIcon dropFolderIcon()
{
    return QIcon::fromTheme(DropFolderIconName, QApplication::style()->standardIcon(QStyle::SP_DirIcon));
}

QIcon iconFor(DragClassification::BadgeIcon icon)
{
    return icon == DragClassification::BadgeIcon::DropFolder ? dropFolderIcon()
                                                             : ImageResources::icon(LessFileIconName);
}

// The files and folders that a drag carries, in order.
QStringList draggedPaths(const QMimeData *data)
{
    QStringList paths;
    for (const QUrl &url : data->urls()) {
        if (url.isLocalFile())
            paths << url.toLocalFile();
    }
    return paths;
}

QAction *createSeparator(QObject *parent)
{
    auto *separator = new QAction(parent);
    separator->setSeparator(true);
    return separator;
}

QWidget *createPane(QLayout *layout, QWidget *parent)
{
    auto *pane = new QWidget(parent);
    layout->setContentsMargins(0, 0, 0, 0);
    pane->setLayout(layout);
    return pane;
}

} // namespace

ZRMWindow::ZRMWindow(MainAppController *appController, QWidget *parent)
    : QMainWindow(parent), m_appController(appController)
{
    setWindowTitle(WindowTitle);
    setWindowIcon(applicationIcon());
    createActions();
    buildMenus();

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

    setAcceptDrops(true);
    m_overlayWindow = new ZRMDragOverlayWindow(this);
    m_flashTimer = new QTimer(this);
    m_flashTimer->setObjectName(FlashTimerName);
    m_flashTimer->setSingleShot(true);
    connect(m_flashTimer, &QTimer::timeout, this, &ZRMWindow::hideOverlay);

    followController();
    followLists();
    restoreWindowState();
    connect(qApp, &QCoreApplication::aboutToQuit, this, &ZRMWindow::saveWindowState);
}

// ---- Building

// Actions are found by their icon text, the text without mnemonic or ellipsis.
QAction *ZRMWindow::createAction(const QString &text, const QKeySequence &shortcut)
{
    auto *action = new QAction(text, this);
    action->setObjectName(action->iconText());
    action->setShortcut(shortcut);
    return action;
}

QAction *ZRMWindow::createCommand(const QString &text, const QKeySequence &shortcut,
                                  void (MainAppController::*command)())
{
    QAction *action = createAction(text, shortcut);
    connect(action, &QAction::triggered, m_appController, command);
    return action;
}

void ZRMWindow::createActions()
{
    m_addFolderAction = createCommand(tr("&Add Folder…"), QKeySequence(Qt::CTRL | Qt::Key_O),
                                      &MainAppController::choosePath);
    m_removeFolderAction = createCommand(tr("&Remove Folder"), QKeySequence::Delete,
                                         &MainAppController::removePath);
    // Delete removes folders only while the folder list (or the menu) has the focus.
    m_removeFolderAction->setShortcutContext(Qt::WidgetWithChildrenShortcut);
    m_refreshFoldersAction = createCommand(tr("R&efresh Folders"), QKeySequence(Qt::CTRL | Qt::Key_R),
                                           &MainAppController::refreshWatchedFolders);
    m_revealFoldersAction = createAction(tr("Show in File Manager"));
    connect(m_revealFoldersAction, &QAction::triggered, m_appController->pathsController(),
            &PathsArrayController::revealSelectedRowsInFinder);
    m_quitAction = createAction(tr("&Quit"), QKeySequence(Qt::CTRL | Qt::Key_Q));
    m_quitAction->setMenuRole(QAction::QuitRole);
    connect(m_quitAction, &QAction::triggered, qApp, &QCoreApplication::quit, Qt::QueuedConnection);

    m_compileAllAction = createCommand(tr("&Compile All"), QKeySequence(Qt::CTRL | Qt::Key_B),
                                       &MainAppController::compileAllFiles);
    m_autoCompileAction = createAction(tr("&Auto-Compile"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_A));
    m_autoCompileAction->setCheckable(true);
    m_autoCompileAction->setToolTip(tr("Compile LESS files whenever they are saved"));
    connect(m_autoCompileAction, &QAction::triggered, this, &ZRMWindow::toggleAutoCompile);
    m_chooseCSSPathAction = createCommand(tr("C&hoose CSS Output Folder…"), {},
                                          &MainAppController::chooseCSSPath);
    m_clearCSSPathAction = createCommand(tr("&Reset CSS Output"), {}, &MainAppController::clearCSSPath);
    m_revealFilesAction = createAction(tr("Show in File Manager"));
    connect(m_revealFilesAction, &QAction::triggered, m_appController->filesController(),
            &FilesArrayController::revealSelectedRowsInFinder);

    createTabActions();
    m_clearLogAction = createCommand(tr("&Clear Log"), QKeySequence(Qt::CTRL | Qt::Key_K),
                                     &MainAppController::clearCompilerLog);
}

// In page order; Ctrl+1 shows the first.
void ZRMWindow::createTabActions()
{
    m_tabActions = new QActionGroup(this);
    const QStringList titles{tr("&LESS Files"), tr("Compiler &Log")};
    for (int tab = 0; tab < int(titles.size()); ++tab) {
        QAction *action = createAction(titles.at(tab), QKeySequence(Qt::CTRL | Qt::Key(Qt::Key_1 + tab)));
        action->setCheckable(true);
        action->setData(tab);
        m_tabActions->addAction(action);
    }
    connect(m_tabActions, &QActionGroup::triggered, this,
            [this](QAction *action) { selectTab(action->data().toInt()); });
}

// Help comes last and is added by whoever provides it.
void ZRMWindow::buildMenus()
{
    m_fileMenu = menuBar()->addMenu(tr("&File"));
    m_fileMenu->addActions({m_addFolderAction, m_removeFolderAction, m_refreshFoldersAction});
    m_fileMenu->addSeparator();
    m_fileMenu->addAction(m_quitAction);

    QMenu *compile = menuBar()->addMenu(tr("&Compile"));
    compile->addActions({m_compileAllAction, m_autoCompileAction});
    compile->addSeparator();
    compile->addActions({m_chooseCSSPathAction, m_clearCSSPathAction});

    QMenu *view = menuBar()->addMenu(tr("&View"));
    view->addActions(m_tabActions->actions());
    view->addSeparator();
    view->addAction(m_clearLogAction);
}

void ZRMWindow::addApplicationCommands(QAction *preferences, const QList<QAction *> &helpCommands)
{
    m_fileMenu->insertAction(m_quitAction, preferences);
    m_fileMenu->insertSeparator(m_quitAction);
    menuBar()->addMenu(tr("&Help"))->addActions(helpCommands);
}

QWidget *ZRMWindow::buildFoldersPane()
{
    auto *title = new QLabel(tr("Watched Folders"), this);
    QFont titleFont = title->font();
    titleFont.setBold(true);
    title->setFont(titleFont);
    title->setFixedHeight(m_tabViewSelectionButtons->sizeHint().height());

    PathsArrayController *paths = m_appController->pathsController();
    m_watchedPathsTableView = createListView(
        paths, paths->selectionModel(), title->text(),
        {m_revealFoldersAction, createSeparator(this), m_removeFolderAction},
        new ZRMIconAndBadgeTableCell, ZRMIconAndBadgeTableCell::RowHeight, this);
    connect(m_watchedPathsTableView, &QAbstractItemView::doubleClicked, paths,
            &PathsArrayController::handleDoubleClicks);

    // In the order of the PathButton segments.
    const QList<QAction *> pathCommands{m_addFolderAction, m_removeFolderAction, m_refreshFoldersAction};
    m_pathButtons = new ZRMSegmentedControl(ZRMSegmentedControl::TrackingMode::Momentary, this);
    m_pathButtons->setAccessibleName(tr("Folder Buttons"));
    m_pathButtons->addSegment(QStringLiteral("+"), m_addFolderAction->iconText());
    m_pathButtons->addSegment(QStringLiteral("\u2212"), m_removeFolderAction->iconText());
    m_pathButtons->addSegment(
        QIcon::fromTheme(RefreshIconName, style()->standardIcon(QStyle::SP_BrowserReload)),
        m_refreshFoldersAction->iconText());
    for (int segment = 0; segment < int(pathCommands.size()); ++segment)
        followEnabledState(m_pathButtons->segment(segment), pathCommands.at(segment));
    connect(m_pathButtons, &ZRMSegmentedControl::segmentClicked, m_appController,
            &MainAppController::handlePathButtons);

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
    m_tabViewSelectionButtons = new ZRMSegmentedControl(ZRMSegmentedControl::TrackingMode::SelectOne, this);
    m_tabViewSelectionButtons->setAccessibleName(tr("Tabs"));
    for (const QAction *action : m_tabActions->actions()) {
        const int tab = m_tabViewSelectionButtons->addSegment(action->iconText(), action->iconText());
        m_tabViewSelectionButtons->segment(tab)->setMinimumWidth(TabButtonWidth);
    }
    connect(m_tabViewSelectionButtons, &ZRMSegmentedControl::segmentClicked, this, &ZRMWindow::selectTab);

    m_tabView = new QStackedWidget(this);
    m_tabView->insertWidget(LessFilesTab, buildFilesPage());
    m_tabView->insertWidget(CompilerLogTab, buildLogPage());

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
    FilesArrayController *files = m_appController->filesController();
    m_lessFilesTableView = createListView(
        files, files->selectionModel(), m_tabActions->actions().at(LessFilesTab)->iconText(),
        {m_revealFilesAction, createSeparator(this), m_chooseCSSPathAction, m_clearCSSPathAction},
        new ZRMLessFileTableCell, ZRMLessFileTableCell::RowHeight, this);
    connect(m_lessFilesTableView, &QAbstractItemView::doubleClicked, files,
            &FilesArrayController::handleDoubleClicks);

    m_chooseCSSPathAction->setIconText(tr("Choose CSS Output…"));
    auto *buttons = new QHBoxLayout;
    buttons->addWidget(createButton(m_chooseCSSPathAction));
    buttons->addWidget(createButton(m_clearCSSPathAction));
    buttons->addStretch();

    auto *layout = new QVBoxLayout;
    layout->addWidget(m_lessFilesTableView, 1);
    layout->addLayout(buttons);
    return createPane(layout, this);
}

// The result column wraps and its rows take the height the controller
// measures; time and file stay on one line.
QWidget *ZRMWindow::buildLogPage()
{
    CompilerArrayController *log = m_appController->compilerController();
    m_compilerResultTableView = createTableView(log, m_tabActions->actions().at(CompilerLogTab)->iconText(), this);
    m_compilerResultTableView->setWordWrap(true);
    m_compilerResultTableView->setTextElideMode(Qt::ElideMiddle);
    m_compilerResultTableView->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    m_compilerResultTableView->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    m_compilerResultTableView->setItemDelegateForColumn(CompilerArrayController::ResultColumn,
                                                        new ZRMCompilerResultTableCell(m_compilerResultTableView));
    QHeaderView *columns = m_compilerResultTableView->horizontalHeader();
    columns->setDefaultAlignment(Qt::AlignLeading | Qt::AlignVCenter);
    columns->setSectionResizeMode(CompilerArrayController::TimeColumn, QHeaderView::ResizeToContents);
    columns->resizeSection(CompilerArrayController::FileColumn, FileColumnWidth);
    auto *singleLine = new ZRMSingleLineItemDelegate(m_compilerResultTableView);
    m_compilerResultTableView->setItemDelegateForColumn(CompilerArrayController::TimeColumn, singleLine);
    m_compilerResultTableView->setItemDelegateForColumn(CompilerArrayController::FileColumn, singleLine);
    log->logTableColumnWidths(columns);
    // A stretch follows a resize in several steps; the widths are read once they settle.
    auto *columnsSettled = new QTimer(this);
    columnsSettled->setSingleShot(true);
    connect(columnsSettled, &QTimer::timeout, log, [log, columns] { log->tableViewColumnDidResize(columns); });
    connect(columns, &QHeaderView::sectionResized, columnsSettled, qOverload<>(&QTimer::start));
    connect(log, &CompilerArrayController::rowHeightsChanged, this, &ZRMWindow::measureLogRows);
    connect(log, &CompilerArrayController::rowHeightsChanged, this, &ZRMWindow::measureLastLogRow);
    connect(log, &QAbstractItemModel::rowsInserted, this,
            [this](const QModelIndex &, int first, int last) { measureLogRows(first, last - first + 1); });

    auto *buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(createButton(m_clearLogAction));

    auto *layout = new QVBoxLayout;
    layout->addWidget(m_compilerResultTableView, 1);
    layout->addLayout(buttons);
    return createPane(layout, this);
}

QWidget *ZRMWindow::buildBottomBar()
{
    m_autoCompileCheckbox = new QCheckBox(m_autoCompileAction->iconText(), this);
    m_autoCompileCheckbox->setAccessibleName(m_autoCompileAction->iconText());
    m_autoCompileCheckbox->setToolTip(m_autoCompileAction->toolTip());
    followEnabledState(m_autoCompileCheckbox, m_autoCompileAction);
    connect(m_autoCompileCheckbox, &QCheckBox::clicked, m_autoCompileAction, &QAction::trigger);

    m_progressSpinner = new ZRMProgressSpinner(this);
    m_progressSpinner->setAccessibleName(tr("Busy"));
    m_progressLabel = new QLabel(this);
    m_progressLabel->setAccessibleName(tr("Activity"));
    m_progressLabel->hide();

    auto *layout = new QHBoxLayout;
    layout->addWidget(m_autoCompileCheckbox);
    layout->addSpacing(style()->pixelMetric(QStyle::PM_LayoutHorizontalSpacing) * 3);
    layout->addWidget(m_progressSpinner);
    layout->addWidget(m_progressLabel);
    layout->addStretch();
    layout->addWidget(createButton(m_compileAllAction));
    return createPane(layout, this);
}

// ---- Following the controller and the lists

void ZRMWindow::followController()
{
    connect(m_appController, &MainAppController::jEnableUIElementsChanged, this,
            &ZRMWindow::updateControlStates);
    connect(m_appController, &MainAppController::jAutoCompileEnabledChanged, this,
            &ZRMWindow::showAutoCompileState);
    connect(m_appController, &MainAppController::activeTabViewIndexChanged, this, &ZRMWindow::showTab);
    connect(m_appController, &MainAppController::spinnerStarted, this, &ZRMWindow::startSpinner);
    connect(m_appController, &MainAppController::spinnerStopped, this, &ZRMWindow::stopSpinner);
    connect(m_appController, &MainAppController::scrollTableViewsToLastRowRequested, this,
            &ZRMWindow::scrollTableViewsToLastRow);

    showAutoCompileState(m_appController->jAutoCompileEnabled());
    showTab(m_appController->activeTabViewIndex());
    if (m_appController->spinnerCount() > 0)
        startSpinner({});
}

void ZRMWindow::followLists()
{
    PathsArrayController *paths = m_appController->pathsController();
    connect(paths, &PathsArrayController::canRemoveChanged, this, &ZRMWindow::updateControlStates);
    connect(paths, &PathsArrayController::arrangedObjectsChanged, this, &ZRMWindow::updateControlStates);
    FilesArrayController *files = m_appController->filesController();
    connect(files->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &ZRMWindow::updateControlStates);
    // A reset drops the selection without a signal.
    connect(files, &QAbstractItemModel::modelReset, this, &ZRMWindow::updateControlStates);
    CompilerArrayController *log = m_appController->compilerController();
    connect(log, &QAbstractItemModel::rowsInserted, this, &ZRMWindow::updateControlStates);
    connect(log, &QAbstractItemModel::modelReset, this, &ZRMWindow::updateControlStates);
    updateControlStates();
}

QPushButton *ZRMWindow::createButton(QAction *action)
{
    auto *button = new QPushButton(action->iconText(), this);
    button->setObjectName(action->iconText());
    button->setAccessibleName(action->iconText());
    followEnabledState(button, action);
    connect(button, &QAbstractButton::clicked, action, &QAction::trigger);
    return button;
}

void ZRMWindow::followEnabledState(QWidget *control, QAction *action)
{
    control->setEnabled(action->isEnabled());
    connect(action, &QAction::enabledChanged, control, &QWidget::setEnabled);
}

// While background work runs (the controller's spinner), nothing can be started.
void ZRMWindow::updateControlStates()
{
    const bool idle = m_appController->jEnableUIElements();
    const PathsArrayController *paths = m_appController->pathsController();
    const bool hasFolders = paths->rowCount() > 0;
    const bool hasSelectedFiles = m_appController->filesController()->selectionModel()->hasSelection();
    const bool hasLog = m_appController->compilerController()->rowCount() > 0;

    m_addFolderAction->setEnabled(idle);
    m_removeFolderAction->setEnabled(idle && paths->canRemove());
    m_refreshFoldersAction->setEnabled(idle && hasFolders);
    m_compileAllAction->setEnabled(idle);
    m_autoCompileAction->setEnabled(idle);
    m_chooseCSSPathAction->setEnabled(idle && hasSelectedFiles);
    m_clearCSSPathAction->setEnabled(idle && hasSelectedFiles);
    m_tabActions->setEnabled(idle);
    m_tabViewSelectionButtons->setEnabled(idle);
    m_clearLogAction->setEnabled(idle && hasLog);
}

// The switch changes only through the controller, which logs it; the check
// box and the menu item then show what the controller holds.
void ZRMWindow::toggleAutoCompile()
{
    m_appController->toggleAutoCompile();
    showAutoCompileState(m_appController->jAutoCompileEnabled());
}

void ZRMWindow::showAutoCompileState(bool enabled)
{
    m_autoCompileCheckbox->setChecked(enabled);
    m_autoCompileAction->setChecked(enabled);
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
    m_tabActions->actions().at(index)->setChecked(true);
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

// ---- Commands of the controller

void ZRMWindow::flashOverlayWithDuration(double duration, const QString &iconName,
                                         const QString &title, const QString &subtitle)
{
    const auto shownFor = duration > 0 ? std::chrono::milliseconds(qRound(duration * 1000))
                                       : DefaultFlashDuration;
    m_overlayWindow->showOverlayBadgeWithIcon(
        ImageResources::icon(iconName.isEmpty() ? DefaultFlashIconName : iconName), title, subtitle);
    m_flashTimer->start(shownFor);
}

void ZRMWindow::hideOverlay()
{
    m_overlayWindow->fadeOut();
    m_flashTimer->stop();
}

void ZRMWindow::showErrorSheet(const QString &title, const QString &message)
{
    auto *sheet = new QMessageBox(QMessageBox::Warning, WindowTitle, title, QMessageBox::Ok, this);
    sheet->setAttribute(Qt::WA_DeleteOnClose);
    sheet->setWindowModality(Qt::WindowModal);
    sheet->setTextFormat(Qt::PlainText);
    sheet->setInformativeText(message);
    // Messages hold paths and compiler output, never markup.
    for (QLabel *label : sheet->findChildren<QLabel *>())
        label->setTextFormat(Qt::PlainText);
    // The box takes its width from the title; long messages read better wider.
    if (auto *grid = qobject_cast<QGridLayout *>(sheet->layout()))
        grid->addItem(new QSpacerItem(MessageSheetWidth, 0, QSizePolicy::Minimum), grid->rowCount(), 0, 1,
                      grid->columnCount());
    sheet->open();
}

void ZRMWindow::scrollTableViewsToLastRow()
{
    for (QTableView *view : {m_compilerResultTableView, m_lessFilesTableView, m_watchedPathsTableView}) {
        const int rows = view->model()->rowCount();
        if (rows > 0)
            view->scrollTo(view->model()->index(rows - 1, 0));
    }
}

// ---- Log row heights

void ZRMWindow::measureLogRows(int first, int count)
{
    const CompilerArrayController *log = m_appController->compilerController();
    for (int row = first; row < first + count; ++row)
        m_compilerResultTableView->setRowHeight(row, log->heightOfRow(row));
}

// The controller's re-measuring leaves the last row out, which would keep the
// height it had at an old width (a log filled while hidden shows the newest
// message far too tall); the table measures it itself.
void ZRMWindow::measureLastLogRow()
{
    const int rows = m_appController->compilerController()->rowCount();
    if (rows > 0)
        measureLogRows(rows - 1, 1);
}

// ---- Drag and drop

void ZRMWindow::dragEnterEvent(QDragEnterEvent *event)
{
    const auto badge = event->mimeData()->hasUrls()
        ? DragClassification::badgeForDraggedPaths(draggedPaths(event->mimeData()))
        : std::nullopt;
    m_acceptsDrag = badge.has_value();
    if (!m_acceptsDrag) {
        event->ignore();
        return;
    }
    m_overlayWindow->showOverlayBadgeWithIcon(iconFor(badge->icon), badge->title, badge->subtitle);
    event->setDropAction(Qt::CopyAction);
    event->accept();
}

void ZRMWindow::dragMoveEvent(QDragMoveEvent *event)
{
    if (!m_acceptsDrag) {
        event->ignore();
        return;
    }
    event->setDropAction(Qt::CopyAction);
    event->accept();
}

void ZRMWindow::dragLeaveEvent(QDragLeaveEvent *)
{
    hideOverlay();
}

// Every path goes to validation as dragged; the validation finds a file's folder.
void ZRMWindow::dropEvent(QDropEvent *event)
{
    m_overlayWindow->fadeOut();
    if (!event->mimeData()->hasUrls()) {
        event->ignore();
        return;
    }
    for (const QString &path : draggedPaths(event->mimeData()))
        m_appController->beginValidatingPath(path);
    event->setDropAction(Qt::CopyAction);
    event->accept();
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
