#include "FakeFileManager.h"
#include "UiTestSupport.h"

#include "app/MainAppController.h"
#include "ui/CompilerArrayController.h"
#include "ui/ZRMDragOverlayView.h"
#include "ui/ZRMDragOverlayWindow.h"
#include "ui/ZRMProgressSpinner.h"
#include "ui/ZRMSegmentedControl.h"
#include "ui/ZRMWindow.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QFile>
#include <QHeaderView>
#include <QLabel>
#include <QMessageBox>
#include <QMimeData>
#include <QPropertyAnimation>
#include <QPushButton>
#include <QSignalSpy>
#include <QSplitter>
#include <QStackedWidget>
#include <QStyle>
#include <QTableView>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QToolButton>

#include <memory>

using namespace UiTestSupport;

namespace {

enum class TabSwitch { SegmentClick, Shortcut, MenuAction, Controller };

const QString FolderA = QStringLiteral("/p/alpha");
const QString FolderB = QStringLiteral("/p/beta");

void clickRow(QTableView *view, int row)
{
    QTest::mouseClick(view->viewport(), Qt::LeftButton, {},
                      view->visualRect(view->model()->index(row, 0)).center());
}

// A real double click starts with a click.
void doubleClick(QTableView *view, QPoint position)
{
    QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, position);
    QTest::mouseDClick(view->viewport(), Qt::LeftButton, {}, position);
}

QPoint belowTheRows(QTableView *view)
{
    return {view->viewport()->width() / 2, view->viewport()->height() - 2};
}

} // namespace

Q_DECLARE_METATYPE(TabSwitch)

class TestZRMWindow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void pathButtonsFollowTheFolderList();
    void splitViewKeepsBothSidesWideEnough();
    void tabSelectionGoesBothWays_data();
    void tabSelectionGoesBothWays();
    void spinnerShowsTheFirstMessageAndDisablesControls();
    void errorSheetShowsTheMessageLiterally_data();
    void errorSheetShowsTheMessageLiterally();
    void autoCompileCheckboxFollowsTheSwitch();
    void fileCheckboxEditsTheRecord();
    void doubleClickRevealsOnlyRows();
    void logRowsFollowTheResultColumn();
    void scrollingShowsTheLastRows();
    void flashRestartsItsTimer();
    void dragShowsWhatADropWouldAdd_data();
    void dragShowsWhatADropWouldAdd();
    void rightClickSelectsWhatTheMenuActsOn_data();
    void rightClickSelectsWhatTheMenuActsOn();
    void rowsHaveAccessibleTexts();

private:
    LessModel *model() { return m_controller->appModel(); }
    QAction *action(const QString &name) { return m_window->findChild<QAction *>(name); }
    QPushButton *button(const QString &name) { return m_window->findChild<QPushButton *>(name); }
    void logResult(const QString &text);

    std::unique_ptr<MainAppController> m_controller;
    ZRMWindow *m_window = nullptr;
};

void TestZRMWindow::init()
{
    m_controller = std::make_unique<MainAppController>(nullptr);
    m_window = m_controller->window();
    m_window->show();
    m_window->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(m_window));
}

void TestZRMWindow::cleanup()
{
    m_controller.reset();
}

void TestZRMWindow::logResult(const QString &text)
{
    model()->addNewCompilerResultWithTime(QDateTime::currentDateTime(), QStringLiteral("~/a.less"),
                                          StyledText(text, StyledText::Red));
}

void TestZRMWindow::pathButtonsFollowTheFolderList()
{
    ZRMSegmentedControl *buttons = m_window->pathButtons();
    QTableView *folders = m_window->watchedPathsTableView();
    const auto enabledSegments = [buttons] {
        return QList<bool>{buttons->isSegmentEnabled(ZRMWindow::AddPathButton),
                           buttons->isSegmentEnabled(ZRMWindow::RemovePathButton),
                           buttons->isSegmentEnabled(ZRMWindow::RefreshPathsButton)};
    };
    QCOMPARE(enabledSegments(), (QList<bool>{true, false, false}));

    addFolder(model(), FolderA, {});
    addFolder(model(), FolderB, {});
    QCOMPARE(enabledSegments(), (QList<bool>{true, false, true}));
    clickRow(folders, 1);
    QCOMPARE(enabledSegments(), (QList<bool>{true, true, true}));
    QTest::mouseClick(folders->viewport(), Qt::LeftButton, {}, belowTheRows(folders));
    QCOMPARE(enabledSegments(), (QList<bool>{true, false, true}));

    clickRow(folders, 1);
    QTest::mouseClick(buttons->segment(ZRMWindow::RemovePathButton), Qt::LeftButton);
    clickRow(folders, 0);
    QTest::keyClick(folders, Qt::Key_Delete);
    QCOMPARE(model()->numberOfPathsInModel(), 0);
    QCOMPARE(enabledSegments(), (QList<bool>{true, false, false}));
    QVERIFY(!action(QStringLiteral("Refresh Folders"))->isEnabled());
}

void TestZRMWindow::splitViewKeepsBothSidesWideEnough()
{
    QSplitter *split = m_window->splitView();
    QSplitterHandle *handle = split->handle(1);
    const auto dragDividerTo = [&](int x) {
        const QPoint grip = handle->rect().center();
        QTest::mousePress(handle, Qt::LeftButton, {}, grip);
        QTest::mouseMove(handle, handle->mapFrom(split, QPoint(x, grip.y())));
        QTest::mouseRelease(handle, Qt::LeftButton, {}, handle->mapFrom(split, QPoint(x, grip.y())));
    };

    dragDividerTo(10);
    QCOMPARE(split->sizes().at(0), ZRMWindow::MinimumPaneWidth);
    dragDividerTo(split->width() - 10);
    QCOMPARE(split->sizes().at(1), ZRMWindow::MinimumPaneWidth);

    dragDividerTo(250);
    const int left = split->sizes().at(0);
    const int right = split->sizes().at(1);
    m_window->resize(m_window->width() + 120, m_window->height() + 40);
    QTRY_COMPARE(split->sizes().at(1), right + 120);
    QCOMPARE(split->sizes().at(0), left);
    QCOMPARE(split->widget(0)->height(), split->height());
}

void TestZRMWindow::tabSelectionGoesBothWays_data()
{
    QTest::addColumn<TabSwitch>("tabSwitch");
    QTest::newRow("segment click") << TabSwitch::SegmentClick;
    QTest::newRow("shortcut") << TabSwitch::Shortcut;
    QTest::newRow("menu action") << TabSwitch::MenuAction;
    QTest::newRow("controller") << TabSwitch::Controller;
}

void TestZRMWindow::tabSelectionGoesBothWays()
{
    QFETCH(TabSwitch, tabSwitch);
    const QStringList actionNames{QStringLiteral("LESS Files"), QStringLiteral("Compiler Log")};
    for (int tab : {MainAppController::CompilerLogTab, 0}) {
        switch (tabSwitch) {
        case TabSwitch::SegmentClick:
            QTest::mouseClick(m_window->tabViewSelectionButtons()->segment(tab), Qt::LeftButton);
            break;
        case TabSwitch::Shortcut:
            QTest::keyClick(m_window, Qt::Key(Qt::Key_1 + tab), Qt::ControlModifier);
            break;
        case TabSwitch::MenuAction:
            action(actionNames.at(tab))->trigger();
            break;
        case TabSwitch::Controller:
            m_controller->setActiveTabViewIndex(tab);
            break;
        }
        QCOMPARE(m_controller->activeTabViewIndex(), tab);
        QCOMPARE(m_window->tabView()->currentIndex(), tab);
        QCOMPARE(m_window->tabViewSelectionButtons()->selectedSegment(), tab);
        QVERIFY(action(actionNames.at(tab))->isChecked());
    }
}

void TestZRMWindow::spinnerShowsTheFirstMessageAndDisablesControls()
{
    addFolder(model(), FolderA, {});
    logResult(QStringLiteral("x"));
    const QList<QWidget *> controls{
        m_window->pathButtons()->segment(ZRMWindow::AddPathButton),
        m_window->pathButtons()->segment(ZRMWindow::RefreshPathsButton),
        m_window->tabViewSelectionButtons()->segment(0),
        m_window->autoCompileCheckbox(),
        button(QStringLiteral("Compile All")),
        button(QStringLiteral("Clear Log"))};
    const auto enabledCount = [&controls] {
        return std::count_if(controls.cbegin(), controls.cend(), [](QWidget *control) { return control->isEnabled(); });
    };
    QCOMPARE(enabledCount(), controls.size());

    m_controller->showSpinnerWithMessage(QStringLiteral("Validating Path..."));
    m_controller->showSpinnerWithMessage(QStringLiteral("Refreshing Folders..."));
    QVERIFY(m_window->progressSpinner()->isAnimating());
    QVERIFY(m_window->progressLabel()->isVisible());
    QCOMPARE(m_window->progressLabel()->text(), QStringLiteral("Validating Path..."));
    QCOMPARE(enabledCount(), 0);
    QVERIFY(!action(QStringLiteral("Compile All"))->isEnabled());

    m_controller->hideSpinner();
    QCOMPARE(m_window->progressLabel()->text(), QStringLiteral("Validating Path..."));
    QCOMPARE(enabledCount(), 0);
    m_controller->hideSpinner();
    QVERIFY(!m_window->progressSpinner()->isVisible());
    QVERIFY(!m_window->progressLabel()->isVisible());
    QCOMPARE(m_window->progressLabel()->text(), QString());
    QCOMPARE(enabledCount(), controls.size());
}

void TestZRMWindow::errorSheetShowsTheMessageLiterally_data()
{
    QTest::addColumn<QString>("message");
    QTest::newRow("placeholder") << QStringLiteral("We're already watching %@");
    QTest::newRow("percent signs") << QStringLiteral("100% of %1 and %s");
    QTest::newRow("markup") << QStringLiteral("<b>not bold</b> &amp;");
    QTest::newRow("blanks and line feeds")
        << QStringLiteral("part of a folder we're already watching: /a  \n \n As a result");
}

void TestZRMWindow::errorSheetShowsTheMessageLiterally()
{
    QFETCH(QString, message);
    m_controller->throwErrorSheetWithTitle(QStringLiteral("Path Already Included"), message);

    auto *sheet = m_window->findChild<QMessageBox *>();
    QVERIFY(sheet);
    QTRY_VERIFY(sheet->isVisible());
    QCOMPARE(sheet->windowModality(), Qt::WindowModal);
    QCOMPARE(sheet->text(), QStringLiteral("Path Already Included"));
    QStringList shownTexts;
    for (const QLabel *label : sheet->findChildren<QLabel *>()) {
        if (label->isVisible() && label->textFormat() == Qt::PlainText)
            shownTexts << label->text();
    }
    QVERIFY2(shownTexts.contains(message), qPrintable(shownTexts.join(u'|')));
    sheet->accept();
}

void TestZRMWindow::autoCompileCheckboxFollowsTheSwitch()
{
    QCheckBox *checkbox = m_window->autoCompileCheckbox();
    QAction *menuItem = action(QStringLiteral("Auto-Compile"));
    QVERIFY(!checkbox->isChecked());

    QTest::mouseClick(checkbox, Qt::LeftButton);
    QVERIFY(m_controller->jAutoCompileEnabled());
    QVERIFY(menuItem->isChecked());
    QCOMPARE(model()->compilerResultData().size(), 1);

    menuItem->trigger();
    QVERIFY(!m_controller->jAutoCompileEnabled());
    QVERIFY(!checkbox->isChecked());
    QCOMPARE(model()->compilerResultData().last().result().plainText(),
             QStringLiteral("Auto-compile is now disabled."));

    m_controller->setJAutoCompileEnabled(true);
    QVERIFY(checkbox->isChecked());
    QVERIFY(menuItem->isChecked());
}

void TestZRMWindow::fileCheckboxEditsTheRecord()
{
    addFolder(model(), FolderA, {QStringLiteral("a.less"), QStringLiteral("b.less")});
    clickRow(m_window->watchedPathsTableView(), 0);
    QTableView *files = m_window->lessFilesTableView();
    QCOMPARE(files->model()->rowCount(), 2);

    QStyleOptionViewItem option;
    option.initFrom(files);
    option.rect = files->visualRect(files->model()->index(1, 0));
    option.features = QStyleOptionViewItem::HasCheckIndicator | QStyleOptionViewItem::HasDisplay;
    const QRect indicator = files->style()->subElementRect(QStyle::SE_ItemViewItemCheckIndicator, &option, files);
    QSignalSpy dataChanged(files->model(), &QAbstractItemModel::dataChanged);
    QTest::mouseClick(files->viewport(), Qt::LeftButton, {}, indicator.center());

    QCOMPARE(dataChanged.size(), 1);
    QVERIFY(!model()->pathData().at(0)->lessFiles().at(1)->checkboxState());
    QVERIFY(model()->pathData().at(0)->lessFiles().at(0)->checkboxState());
}

void TestZRMWindow::doubleClickRevealsOnlyRows()
{
    FakeFileManager fileManager(FakeFileManager::Presence::OnTheBus);
    addFolder(model(), FolderA, {QStringLiteral("a.less")});
    QTableView *folders = m_window->watchedPathsTableView();
    doubleClick(folders, belowTheRows(folders));
    clickRow(folders, 0);
    QTableView *files = m_window->lessFilesTableView();
    doubleClick(files, belowTheRows(files));
    doubleClick(files, files->visualRect(files->model()->index(0, 0)).topRight() + QPoint(-20, 4));

    QTRY_COMPARE(fileManager.shownItems.size(), 1);
    QCOMPARE(fileManager.shownItems.first(), QStringList{QStringLiteral("file:///p/alpha/a.less")});
}

// The controller re-measures every row but the last when the result column
// changes width; the table measures the last itself.
void TestZRMWindow::logRowsFollowTheResultColumn()
{
    m_controller->setActiveTabViewIndex(MainAppController::CompilerLogTab);
    QTableView *log = m_window->compilerResultTableView();
    const CompilerArrayController *controller = m_controller->compilerController();
    const QString longMessage = QStringLiteral(
        "ParseError: Unrecognised input. Possibly missing something in /home/user/Sites/shop/less/main.less "
        "on line 12, column 3 where the declaration of the header colour never ends");
    logResult(QStringLiteral("short"));
    logResult(longMessage);
    logResult(longMessage);
    QTRY_VERIFY(log->rowHeight(1) > log->rowHeight(0) * 2);

    QSignalSpy heightsChanged(controller, &CompilerArrayController::rowHeightsChanged);
    const QHeaderView *columns = log->horizontalHeader();
    const auto measuredAtResultWidth = [&] {
        return controller->columnWidths().value(CompilerArrayController::ResultColumn)
            == float(columns->sectionSize(CompilerArrayController::ResultColumn));
    };
    for (int widthChange : {400, -500}) {
        const int wrappedHeight = log->rowHeight(1);
        m_window->resize(m_window->width() + widthChange, m_window->height());
        QTRY_VERIFY(measuredAtResultWidth());
        QCOMPARE(heightsChanged.last(), (QList<QVariant>{0, 2}));
        for (int row : {0, 1, 2})
            QCOMPARE(log->rowHeight(row), controller->heightOfRow(row));
        QCOMPARE(log->rowHeight(1) < wrappedHeight, widthChange > 0);
    }
}

void TestZRMWindow::scrollingShowsTheLastRows()
{
    m_controller->scrollTableViewsToLastRow();
    m_controller->setActiveTabViewIndex(MainAppController::CompilerLogTab);
    QTableView *log = m_window->compilerResultTableView();
    for (int entry = 0; entry < 80; ++entry)
        logResult(QString::number(entry));
    const QModelIndex last = log->model()->index(79, 0);
    QVERIFY(!log->viewport()->rect().contains(log->visualRect(last)));

    m_controller->scrollTableViewsToLastRow();
    QVERIFY(log->viewport()->rect().contains(log->visualRect(last)));
}

void TestZRMWindow::flashRestartsItsTimer()
{
    ZRMDragOverlayWindow *overlay = m_window->overlayWindow();
    QTimer *timer = m_window->flashTimer();
    m_window->flashOverlayWithDuration(0, {}, QStringLiteral("Refresh Complete"));
    QVERIFY(overlay->isVisible());
    QCOMPARE(overlay->contentView()->accessibleName(), QStringLiteral("Refresh Complete"));
    QVERIFY(timer->isActive());
    QCOMPARE(timer->interval(), 1000);

    m_window->flashOverlayWithDuration(0.75, QStringLiteral("thumbs.png"), QStringLiteral("Again"));
    QCOMPARE(overlay->contentView()->accessibleName(), QStringLiteral("Again"));
    QVERIFY(timer->isActive());
    QCOMPARE(timer->interval(), 750);

    QTRY_VERIFY_WITH_TIMEOUT(!overlay->isVisible(), 5000);
    QVERIFY(!timer->isActive());
}

// Names ending in "/" are folders, "missing:" names are never created, the
// rest are files.
void TestZRMWindow::dragShowsWhatADropWouldAdd_data()
{
    QTest::addColumn<QStringList>("items");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("subtitle");
    const QString thisFolder = QStringLiteral("Add this folder");
    const QString fileFolder = QStringLiteral("Add the folder this file is in");
    const QString lessFiles = QStringLiteral("Add the folders these files are in");
    const QString refused;

    QTest::newRow("one folder") << QStringList{"site/"} << "site" << thisFolder;
    QTest::newRow("one LESS file in capitals") << QStringList{"main.LESS"} << "main.LESS" << fileFolder;
    QTest::newRow("one other file") << QStringList{"notes.txt"} << QString() << refused;
    QTest::newRow("one folder with an extension") << QStringList{"pack.bundle/"} << QString() << refused;
    QTest::newRow("one missing folder") << QStringList{"missing:gone"} << QString() << refused;
    QTest::newRow("three folders") << QStringList{"a/", "b/", "missing:c"} << "3 Folders"
                                   << QStringLiteral("Add these folders");
    QTest::newRow("LESS file, other file") << QStringList{"a.less", "b.txt"} << "2 LESS Files" << lessFiles;
    QTest::newRow("LESS file, folder") << QStringList{"a.less", "site/"} << "2 LESS Files" << lessFiles;
    QTest::newRow("folder with an extension first") << QStringList{"site.v2/", "a/"} << "2 LESS Files" << lessFiles;
    QTest::newRow("folder, LESS file") << QStringList{"site/", "a.less"} << QString() << refused;
    QTest::newRow("no files") << QStringList{} << QString() << refused;
}

void TestZRMWindow::dragShowsWhatADropWouldAdd()
{
    QFETCH(QStringList, items);
    QFETCH(QString, title);
    QFETCH(QString, subtitle);
    QTemporaryDir dir;
    QList<QUrl> urls;
    for (QString item : items) {
        const bool missing = item.startsWith(QStringLiteral("missing:"));
        item.remove(QStringLiteral("missing:"));
        const QString path = dir.filePath(item.chopped(item.endsWith(u'/') ? 1 : 0));
        if (!missing)
            QVERIFY(item.endsWith(u'/') ? QDir().mkpath(path) : QFile(path).open(QIODevice::WriteOnly));
        urls << QUrl::fromLocalFile(path);
    }
    QMimeData data;
    data.setUrls(urls);
    const QPoint centre = m_window->rect().center();
    QDragEnterEvent enter(centre, Qt::CopyAction | Qt::MoveAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(m_window, &enter);

    ZRMDragOverlayWindow *overlay = m_window->overlayWindow();
    QCOMPARE(enter.isAccepted(), !title.isEmpty());
    QCOMPARE(overlay->isVisible(), !title.isEmpty());
    if (title.isEmpty())
        return;
    QCOMPARE(enter.dropAction(), Qt::CopyAction);
    QCOMPARE(overlay->contentView()->accessibleName(), title);
    QCOMPARE(overlay->contentView()->accessibleDescription(), subtitle);

    overlay->fadeInAnimation()->setCurrentTime(overlay->fadeInAnimation()->duration());
    QDropEvent drop(centre, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(m_window, &drop);
    QVERIFY(drop.isAccepted());
    QCOMPARE(m_controller->spinnerCount(), items.size());
    QCOMPARE(m_window->progressLabel()->text(), QStringLiteral("Validating Path..."));
    QCOMPARE(overlay->fadeOutAnimation()->state(), QAbstractAnimation::Running);
    QTRY_COMPARE(m_controller->spinnerCount(), 0);
}

void TestZRMWindow::rightClickSelectsWhatTheMenuActsOn_data()
{
    QTest::addColumn<int>("clickedRow");
    QTest::addColumn<QList<int>>("selectedAfter");
    QTest::newRow("inside the selection") << 1 << QList<int>{0, 1};
    QTest::newRow("outside the selection") << 2 << QList<int>{2};
    QTest::newRow("below the rows") << -1 << QList<int>{};
}

void TestZRMWindow::rightClickSelectsWhatTheMenuActsOn()
{
    QFETCH(int, clickedRow);
    QFETCH(QList<int>, selectedAfter);
    for (const QString &folder : {FolderA, FolderB, QStringLiteral("/p/gamma")})
        addFolder(model(), folder, {});
    QTableView *folders = m_window->watchedPathsTableView();
    selectRows(folders->selectionModel(), {0, 1});

    const QPoint position = clickedRow < 0 ? belowTheRows(folders)
                                           : folders->visualRect(folders->model()->index(clickedRow, 0)).center();
    QTest::mouseClick(folders->viewport(), Qt::RightButton, {}, position);

    QList<int> selected;
    for (const QModelIndex &row : folders->selectionModel()->selectedRows())
        selected << row.row();
    std::sort(selected.begin(), selected.end());
    QCOMPARE(selected, selectedAfter);
    QVERIFY(folders->hasFocus());
}

void TestZRMWindow::rowsHaveAccessibleTexts()
{
    addFolder(model(), QStringLiteral("/p/acme-shop"), {QStringLiteral("less/main.less"), QStringLiteral("b.less")});
    clickRow(m_window->watchedPathsTableView(), 0);
    LessHolder *second = model()->pathData().at(0)->lessFiles().at(1).get();
    second->setCheckboxState(false);
    second->setCSSFileOutputPath(QStringLiteral("/p/acme-shop/css"));

    const auto textOf = [](QTableView *view, int row) {
        return view->model()->index(row, 0).data(Qt::AccessibleTextRole).toString();
    };
    QCOMPARE(textOf(m_window->watchedPathsTableView(), 0), QStringLiteral("Acme-Shop, 2 LESS files"));
    QCOMPARE(textOf(m_window->lessFilesTableView(), 0),
             QStringLiteral("/less/main.less, output beside the file, checked"));
    QCOMPARE(textOf(m_window->lessFilesTableView(), 1), QStringLiteral("/b.less, output to /css, unchecked"));
}

QTEST_MAIN(TestZRMWindow)
#include "TestZRMWindow.moc"
