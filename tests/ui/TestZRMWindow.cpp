#include "UiTestSupport.h"

#include "app/MainAppController.h"
#include "ui/CompilerArrayController.h"
#include "ui/WindowCommands.h"
#include "ui/ZRMDragOverlayView.h"
#include "ui/ZRMDragOverlayWindow.h"
#include "ui/ZRMProgressSpinner.h"
#include "ui/ZRMSegmentedControl.h"
#include "ui/ZRMWindow.h"

#include <QAction>
#include <QCheckBox>
#include <QApplication>
#include <QDir>
#include <QFile>
#include <QHeaderView>
#include <QLabel>
#include <QMessageBox>
#include <QMimeData>
#include <QPropertyAnimation>
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

void clickAt(QTableView *view, int row, Qt::MouseButton button = Qt::LeftButton)
{
    const QPoint position = row < 0 ? QPoint(view->viewport()->width() / 2, view->viewport()->height() - 2)
                                    : view->visualRect(view->model()->index(row, 0)).center();
    QTest::mouseClick(view->viewport(), button, {}, position);
}

} // namespace

class TestZRMWindow : public QObject
{
    Q_OBJECT

    LessModel *model() { return m_controller->appModel(); }
    QAction *action(const QString &name) { return m_window->findChild<QAction *>(name); }
    void logResult(const QString &text)
    {
        model()->addNewCompilerResultWithTime(QDateTime::currentDateTime(), "~/a.less", StyledText(text, StyledText::Red));
    }

    std::unique_ptr<MainAppController> m_controller;
    ZRMWindow *m_window = nullptr;

private Q_SLOTS:
    void cleanup() { delete std::exchange(m_window, nullptr), m_controller.reset(); }

    void init()
    {
        m_controller = std::make_unique<MainAppController>(nullptr);
        m_window = new ZRMWindow(m_controller.get());
        m_window->show();
        m_window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_window));
    }

    // Add, remove, refresh.
    void pathButtonsFollowTheFolderList()
    {
        ZRMSegmentedControl *buttons = m_window->pathButtons();
        QTableView *folders = m_window->watchedPathsTableView();
        const auto enabled = [buttons] {
            return QList<bool>{buttons->isSegmentEnabled(WindowCommands::AddPathButton),
                               buttons->isSegmentEnabled(WindowCommands::RemovePathButton),
                               buttons->isSegmentEnabled(WindowCommands::RefreshPathsButton)};
        };
        addFolder(model(), "/p/alpha", {});
        addFolder(model(), "/p/beta", {});
        QCOMPARE(enabled(), (QList<bool>{true, false, true}));
        clickAt(folders, 1);
        QCOMPARE(enabled(), (QList<bool>{true, true, true}));
        clickAt(folders, -1);
        QCOMPARE(enabled(), (QList<bool>{true, false, true}));

        clickAt(folders, 1);
        QTest::mouseClick(buttons->segment(WindowCommands::RemovePathButton), Qt::LeftButton);
        clickAt(folders, 0);
        QTest::keyClick(folders, Qt::Key_Delete);
        QCOMPARE(model()->numberOfPathsInModel(), 0);
        QCOMPARE(enabled(), (QList<bool>{true, false, false}));
        QVERIFY(!action("Refresh Folders")->isEnabled());
    }

    void splitViewKeepsBothSidesWideEnough()
    {
        QSplitter *split = m_window->splitView();
        QSplitterHandle *handle = split->handle(1);
        const auto dragDividerTo = [&](int x) {
            const QPoint grip = handle->rect().center();
            const QPoint target = handle->mapFrom(split, QPoint(x, grip.y()));
            QTest::mousePress(handle, Qt::LeftButton, {}, grip);
            QTest::mouseMove(handle, target);
            QTest::mouseRelease(handle, Qt::LeftButton, {}, target);
        };
        dragDividerTo(10);
        QCOMPARE(split->sizes().at(0), ZRMWindow::MinimumPaneWidth);
        dragDividerTo(split->width() - 10);
        QCOMPARE(split->sizes().at(1), ZRMWindow::MinimumPaneWidth);
    }

    void switchesGoBothWays_data()
    {
        QTest::addColumn<QString>("way");
        for (const char *way : {"click", "shortcut", "menu action", "controller"})
            QTest::newRow(way) << QString::fromLatin1(way);
    }

    // The tab and auto-compile stay in step with the controller whichever control changes them.
    void switchesGoBothWays()
    {
        QFETCH(QString, way);
        const QStringList actionNames{"LESS Files", "Compiler Log"};
        QCheckBox *checkbox = m_window->autoCompileCheckbox();
        const bool autoCompiledAtFirst = m_controller->jAutoCompileEnabled();
        for (int tab : {MainAppController::CompilerLogTab, 0}) {
            const bool autoCompile = (tab == 0) == autoCompiledAtFirst;
            if (way == u"click") {
                QTest::mouseClick(m_window->tabViewSelectionButtons()->segment(tab), Qt::LeftButton);
                QTest::mouseClick(checkbox, Qt::LeftButton, {}, QPoint(2, checkbox->height() / 2));
            } else if (way == u"shortcut") {
                QTest::keyClick(m_window, Qt::Key(Qt::Key_1 + tab), Qt::ControlModifier);
                QTest::keyClick(m_window, Qt::Key_A, Qt::ControlModifier | Qt::ShiftModifier);
            } else if (way == u"menu action") {
                action(actionNames.at(tab))->trigger();
                action("Auto-Compile")->trigger();
            } else {
                m_controller->setActiveTabViewIndex(tab);
                m_controller->setJAutoCompileEnabled(autoCompile);
            }
            QCOMPARE(m_controller->activeTabViewIndex(), tab);
            QCOMPARE(m_window->tabView()->currentIndex(), tab);
            QCOMPARE(m_window->tabViewSelectionButtons()->selectedSegment(), tab);
            QVERIFY(action(actionNames.at(tab))->isChecked());
            QCOMPARE(m_controller->jAutoCompileEnabled(), autoCompile);
            QCOMPARE(checkbox->isChecked(), autoCompile);
            QCOMPARE(action("Auto-Compile")->isChecked(), autoCompile);
        }
    }

    // Nested spinners: the first message stays, controls return with the last
    // hide; the tabs work throughout.
    void spinnerShowsTheFirstMessageAndDisablesControls()
    {
        addFolder(model(), "/p/alpha", {});
        logResult("x");
        QWidget *tabs = m_window->tabViewSelectionButtons()->segment(0);
        const QList<QWidget *> controls{m_window->pathButtons()->segment(WindowCommands::RefreshPathsButton),
                                        m_window->autoCompileCheckbox(), m_window->findChild<QWidget *>("Clear Log")};
        const auto enabledCount = [&controls] {
            return std::count_if(controls.cbegin(), controls.cend(), [](QWidget *c) { return c->isEnabled(); });
        };
        QCOMPARE(enabledCount(), controls.size());
        tabs->setFocus();

        m_controller->showSpinnerWithMessage("Validating Path...");
        m_controller->showSpinnerWithMessage("Refreshing Folders...");
        // Being busy does not move the focus into a list.
        QVERIFY(!m_window->lessFilesTableView()->hasFocus() && !m_window->watchedPathsTableView()->hasFocus());
        QVERIFY(m_window->progressSpinner()->isAnimating());
        QVERIFY(m_window->progressLabel()->isVisible());
        QCOMPARE(m_window->progressLabel()->text(), "Validating Path...");
        QCOMPARE(enabledCount(), 0);
        QVERIFY(!action("Compile All")->isEnabled() && tabs->isEnabled());

        m_controller->hideSpinner();
        QCOMPARE(m_window->progressLabel()->text(), "Validating Path...");
        QCOMPARE(enabledCount(), 0);
        m_controller->hideSpinner();
        QVERIFY(!m_window->progressSpinner()->isVisible());
        QVERIFY(!m_window->progressLabel()->isVisible());
        QCOMPARE(enabledCount(), controls.size());
    }

    void errorSheetShowsTheMessageLiterally_data()
    {
        QTest::addColumn<QString>("message");
        QTest::newRow("placeholder") << QStringLiteral("We're already watching %@");
        QTest::newRow("percent signs, markup, line feeds") << QStringLiteral("100% of %1 <b>not bold</b> &amp;\n \n x");
    }

    void errorSheetShowsTheMessageLiterally()
    {
        QFETCH(QString, message);
        m_window->showErrorSheet("Path Already Included", message);

        auto *sheet = m_window->findChild<QMessageBox *>();
        QVERIFY(sheet);
        QTRY_VERIFY(sheet->isVisible());
        QCOMPARE(sheet->windowModality(), Qt::WindowModal);
        QCOMPARE(sheet->text(), "Path Already Included");
        QStringList shownTexts;
        for (const QLabel *label : sheet->findChildren<QLabel *>()) {
            if (label->isVisible() && label->textFormat() == Qt::PlainText)
                shownTexts << label->text();
        }
        QVERIFY2(shownTexts.contains(message), qPrintable(shownTexts.join(u'|')));
        sheet->accept();
    }

    void fileCheckboxEditsTheRecord()
    {
        addFolder(model(), "/p/alpha", {"a.less", "b.less"});
        clickAt(m_window->watchedPathsTableView(), 0);
        QTableView *files = m_window->lessFilesTableView();
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

        // Compression switches for every selected file at once.
        files->selectAll();
        QAction *compress = action("Compress CSS");
        QVERIFY(compress->isEnabled() && !compress->isChecked());
        compress->trigger();
        for (const auto &file : model()->pathData().at(0)->lessFiles())
            QVERIFY(file->shouldCompressCSSOutput());
        files->clearSelection();
        files->selectRow(0);
        QVERIFY(compress->isChecked());
    }

    // On a width change the controller re-measures every row but the last, which the table measures.
    void logRowsFollowTheResultColumn()
    {
        m_controller->setActiveTabViewIndex(MainAppController::CompilerLogTab);
        QTableView *log = m_window->compilerResultTableView();
        const CompilerArrayController *controller = m_window->compilerController();
        const QString longMessage = QStringLiteral(
            "ParseError: Unrecognised input. Possibly missing something in /home/user/Sites/shop/less/main.less "
            "on line 12, column 3 where the declaration of the header colour never ends");
        for (const QString &text : {QStringLiteral("short"), longMessage, longMessage})
            logResult(text);
        QTRY_VERIFY(log->rowHeight(1) > log->rowHeight(0) * 2);

        for (int widthChange : {400, -500}) {
            const int wrappedHeight = log->rowHeight(1);
            m_window->resize(m_window->width() + widthChange, m_window->height());
            QTRY_COMPARE(controller->columnWidths().value(CompilerArrayController::ResultColumn),
                         float(log->horizontalHeader()->sectionSize(CompilerArrayController::ResultColumn)));
            for (int row : {0, 1, 2})
                QCOMPARE(log->rowHeight(row), controller->heightOfRow(row));
            QCOMPARE(log->rowHeight(1) < wrappedHeight, widthChange > 0);
        }
    }

    // The overlay covers the window, its badge centred, and lets clicks through.
    void flashRestartsItsTimer()
    {
        ZRMDragOverlayWindow *overlay = m_window->overlayWindow();
        QTimer *timer = m_window->flashTimer();
        m_window->flashOverlayWithDuration(0, {}, "Refresh Complete");
        QCOMPARE(timer->interval(), 1000);
        m_window->resize(840, 620);
        QCOMPARE(overlay->geometry(), m_window->rect());
        QCOMPARE(overlay->contentView()->badgeRect().size(), ZRMDragOverlayView::BadgeSize);
        QCOMPARE(overlay->contentView()->badgeRect().center(), m_window->rect().center());
        QVERIFY(overlay->testAttribute(Qt::WA_TransparentForMouseEvents));

        m_window->flashOverlayWithDuration(0.75, "thumbs.png", "Again");
        QVERIFY(timer->isActive());
        QCOMPARE(timer->interval(), 750);
        QTRY_VERIFY_WITH_TIMEOUT(!overlay->isVisible(), 5000);
        QVERIFY(!timer->isActive());
    }

    // Names ending in "/" are folders, "missing:" ones are never created, the rest files.
    void dragShowsWhatADropWouldAdd_data()
    {
        QTest::addColumn<QStringList>("items");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("subtitle");
        const QString thisFolder = "Add this folder";
        const QString lessFiles = "Add the folders these files are in";
        const QString refused;

        QTest::newRow("one folder") << QStringList{"site/"} << "site" << thisFolder;
        QTest::newRow("one LESS file in capitals") << QStringList{"main.LESS"} << "main.LESS"
                                                   << QStringLiteral("Add the folder this file is in");
        QTest::newRow("one other file") << QStringList{"notes.txt"} << refused << refused;
        QTest::newRow("one folder with an extension") << QStringList{"pack.bundle/"} << refused << refused;
        QTest::newRow("one missing folder") << QStringList{"missing:gone"} << refused << refused;
        QTest::newRow("three folders") << QStringList{"a/", "b/", "missing:c"} << "3 Folders"
                                       << QStringLiteral("Add these folders");
        QTest::newRow("LESS file, other file") << QStringList{"a.less", "b.txt"} << "2 LESS Files" << lessFiles;
        QTest::newRow("LESS file, folder") << QStringList{"a.less", "site/"} << "2 LESS Files" << lessFiles;
        QTest::newRow("folder with an extension first") << QStringList{"site.v2/", "a/"} << "2 LESS Files" << lessFiles;
        QTest::newRow("folder, LESS file") << QStringList{"site/", "a.less"} << refused << refused;
        QTest::newRow("no files") << QStringList{} << refused << refused;
    }

    // A drop of what the overlay offered starts one validation per item.
    void dragShowsWhatADropWouldAdd()
    {
        QFETCH(QStringList, items);
        QFETCH(QString, title);
        QFETCH(QString, subtitle);
        QTemporaryDir dir;
        QList<QUrl> urls;
        for (QString item : items) {
            const bool missing = item.startsWith("missing:");
            item.remove("missing:");
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
        QCOMPARE(m_window->progressLabel()->text(), "Validating Path...");
        QCOMPARE(overlay->fadeOutAnimation()->state(), QAbstractAnimation::Running);
        QTRY_COMPARE(m_controller->spinnerCount(), 0);
    }

    void rightClickSelectsWhatTheMenuActsOn_data()
    {
        QTest::addColumn<int>("clickedRow");
        QTest::addColumn<QList<int>>("selectedAfter");
        QTest::newRow("inside the selection") << 1 << QList<int>{0, 1};
        QTest::newRow("outside the selection") << 2 << QList<int>{2};
        QTest::newRow("below the rows") << -1 << QList<int>{};
    }

    void rightClickSelectsWhatTheMenuActsOn()
    {
        QFETCH(int, clickedRow);
        QFETCH(QList<int>, selectedAfter);
        for (const QString folder : {"/p/alpha", "/p/beta", "/p/gamma"})
            addFolder(model(), folder, {});
        QTableView *folders = m_window->watchedPathsTableView();
        selectRows(folders->selectionModel(), {0, 1});

        clickAt(folders, clickedRow, Qt::RightButton);

        QList<int> selected;
        for (const QModelIndex &row : folders->selectionModel()->selectedRows())
            selected << row.row();
        std::sort(selected.begin(), selected.end());
        QCOMPARE(selected, selectedAfter);
        QVERIFY(folders->hasFocus());
    }

    // The running fade stops at progress; the other one starts where the opacity stands.
    void fadesReverseFromTheOpacityReached_data()
    {
        QTest::addColumn<bool>("fadingIn");
        QTest::addColumn<double>("progress");
        QTest::addColumn<int>("reversedTime");
        QTest::newRow("fade-out reversed") << false << 0.4 << 90;
        QTest::newRow("fade-in reversed") << true << 0.2 << 400;
        QTest::newRow("fade-out nearly done") << false << 0.9 << 15;
    }

    void fadesReverseFromTheOpacityReached()
    {
        QFETCH(bool, fadingIn);
        QFETCH(double, progress);
        QFETCH(int, reversedTime);
        ZRMDragOverlayWindow *overlay = m_window->overlayWindow();
        QPropertyAnimation *fadeIn = overlay->fadeInAnimation();
        QPropertyAnimation *fadeOut = overlay->fadeOutAnimation();
        overlay->fadeOut(); // hidden: nothing to fade
        QCOMPARE(fadeOut->state(), QAbstractAnimation::Stopped);
        overlay->showOverlayBadgeWithIcon({}, "site", "Add this folder");
        fadeIn->setCurrentTime(fadeIn->duration());
        QCOMPARE(overlay->opacity(), 1.0);
        overlay->fadeOut();
        if (fadingIn) {
            fadeOut->setCurrentTime(fadeOut->duration());
            QVERIFY(overlay->isHidden());
            overlay->fadeIn();
        }
        QPropertyAnimation *first = fadingIn ? fadeIn : fadeOut;
        QPropertyAnimation *second = fadingIn ? fadeOut : fadeIn;
        first->setCurrentTime(qRound(progress * first->duration()));

        fadingIn ? overlay->fadeOut() : overlay->fadeIn();
        QCOMPARE(first->state(), QAbstractAnimation::Stopped);
        QCOMPARE(second->state(), QAbstractAnimation::Running);
        QCOMPARE(second->currentTime(), reversedTime);
        QVERIFY(overlay->isVisible());
    }
};

QTEST_MAIN(TestZRMWindow)
#include "TestZRMWindow.moc"
