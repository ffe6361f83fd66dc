#include "UiTestSupport.h"

#include "app/AutoCompileWatchList.h"
#include "app/MainAppController.h"
#include "engine/ZRMLessCompiler.h"
#include "ui/CompilerArrayController.h"
#include "ui/FilesArrayController.h"
#include "ui/ItemRoles.h"
#include "ui/PathsArrayController.h"

#include <QAbstractItemModelTester>
#include <QColor>
#include <QDir>
#include <QFile>
#include <QIcon>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <functional>
#include <memory>

using namespace UiTestSupport;

namespace {

// The three lists over one project, wired as the window wires them.
struct Lists
{
    Lists()
    {
        QObject::connect(&paths, &PathsArrayController::lessFilesAboutToBeRemoved, controller.watchList(),
                         &AutoCompileWatchList::removeLessFilesFromAutoCompileList);
    }
    LessModel *appModel() { return controller.appModel(); }
    PathsArrayController *pathsController() { return &paths; }

    MainAppController controller{nullptr};
    PathsArrayController paths{controller.appModel()};
    FilesArrayController files{controller.appModel(), &paths};
    CompilerArrayController log{controller.appModel()};
};

} // namespace

using Change = std::function<void(Lists *)>;
using Column = CompilerArrayController::Column;
Q_DECLARE_METATYPE(Change)

namespace {

const QString Alpha = QStringLiteral("/p/alpha");
const QString Beta = QStringLiteral("/p/beta");
const QString Gamma = QStringLiteral("/p/gamma");

} // namespace

class TestArrayControllers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_lists = std::make_unique<Lists>(); }
    void cleanup() { m_lists.reset(); }

    // Each folder row reads "title count"; changedRow is the row announced as changed.
    void folderRowsFollowTheModel_data()
    {
        QTest::addColumn<Change>("change");
        QTest::addColumn<QStringList>("expectedRows");
        QTest::addColumn<int>("changedRow");

        QTest::newRow("folder appended") << Change([](auto *c) { addFolder(c->appModel(), "/p/delta", {}); })
                                         << QStringList{"alpha 1", "my-beta 2", "gamma 0", "delta 0"} << -1;
        QTest::newRow("middle removed") << Change([](auto *c) {
            selectRows(c->pathsController()->selectionModel(), {1});
            c->pathsController()->remove();
        }) << QStringList{"alpha 1", "gamma 0"} << -1;
        QTest::newRow("file added") << Change([](auto *c) {
            c->appModel()->addLessFileToModel("/p/my-beta/d.less", "/p/my-beta");
        }) << QStringList{"alpha 1", "my-beta 3", "gamma 0"} << 1;
        // None of the folders is on disk: each is missing until one is found.
        QTest::newRow("folder found") << Change([](auto *c) {
            c->appModel()->setPathMissing("/p/my-beta", false);
        }) << QStringList{"alpha 1", "my-beta 2", "gamma 0"} << 1;
    }

    void folderRowsFollowTheModel()
    {
        QFETCH(Change, change);
        QFETCH(QStringList, expectedRows);
        QFETCH(int, changedRow);
        addFolder(model(), Alpha, {"a.less"});
        addFolder(model(), "/p/my-beta", {"b.less", "c.less"});
        addFolder(model(), Gamma, {});
        tester(paths());
        QSignalSpy dataChanged(paths(), &QAbstractItemModel::dataChanged);

        change(m_lists.get());

        QStringList rows;
        for (int row = 0; row < paths()->rowCount(); ++row) {
            const QModelIndex index = paths()->index(row);
            rows << index.data().toString() + u' ' + index.data(ItemRoles::SubtitleRole).toString();
            const PathHolder *folder = paths()->pathAtRow(row);
            QCOMPARE(index.data(Qt::ToolTipRole).toString(),
                     folder->isMissing() ? "Not found at " + folder->userSelectedTildePath()
                                               + ". Cascader takes it back when it reappears."
                                         : folder->userSelectedFullPath());
            QCOMPARE(index.data(Qt::ForegroundRole).isValid(), folder->isMissing());
            QVERIFY(!index.data(Qt::DecorationRole).value<QIcon>().isNull());
        }
        QCOMPARE(rows, expectedRows);
        if (changedRow >= 0) {
            QVERIFY(!dataChanged.isEmpty());
            QCOMPARE(dataChanged.last().at(0).toModelIndex().row(), changedRow);
            QCOMPARE(dataChanged.last().at(2).value<QList<int>>().contains(Qt::ForegroundRole),
                     QByteArray(QTest::currentDataTag()) == "folder found");
        }
    }

    void removingStopsWatchingEveryFileBeforeAnyFolderGoes()
    {
        QTemporaryDir project;
        const QStringList names{"a.less", "b.less"};
        for (const QString folder : {"one", "two", "kept"}) {
            QVERIFY(QDir(project.path()).mkdir(folder));
            for (const QString &name : names)
                QVERIFY(QFile(project.filePath(folder + u'/' + name)).open(QIODevice::WriteOnly));
            addFolder(model(), project.filePath(folder), names);
        }
        const QString keptFile = project.filePath("kept/a.less");
        ZRMLessCompiler *engine = ZRMLessCompiler::sharedLessCompiler();
        m_lists->controller.watchList()->refreshAutoCompileWatchList();
        QTRY_VERIFY(engine->watchedLessFiles().contains(keptFile));
        QList<QStringList> watchedAtEachRemoval;
        const QObject observer;
        connect(model(), &LessModel::pathsAboutToBeRemoved, &observer,
                [&] { watchedAtEachRemoval << engine->watchedLessFiles(); });

        selectRows(paths()->selectionModel(), {0, 1});
        paths()->remove();

        QCOMPARE(watchedAtEachRemoval.size(), 2);
        for (const QString &file : watchedAtEachRemoval.first())
            QVERIFY2(file.contains("/kept/"), qPrintable(file));
        QVERIFY(engine->watchedLessFiles().contains(keptFile));
        QCOMPARE(model()->getAllRegisteredPaths(), QStringList{project.filePath("kept")});
        for (const QString &file : engine->watchedLessFiles())
            engine->stopWatchingLessFileAtPath(file);
    }

    // Three folders, alpha (a1, a2), beta (b1) and gamma (g1, g2); alpha and gamma
    // are selected, and so is the file a2, which must stay selected while shown.
    void fileRowsFollowFoldersAndSelection_data()
    {
        QTest::addColumn<Change>("change");
        QTest::addColumn<QStringList>("expectedFiles");
        const auto words = [](const char *text) { return QString::fromUtf8(text).split(u' ', Qt::SkipEmptyParts); };
        const auto folders = [](QList<int> rows) {
            return Change([rows](auto *c) { selectRows(c->pathsController()->selectionModel(), rows); });
        };

        QTest::newRow("file added to the first block")
            << Change([](auto *c) { c->appModel()->addLessFileToModel(Alpha + "/a3.less", Alpha); }) << words("a1 a2 a3 g1 g2");
        QTest::newRow("file removed from the first block")
            << Change([](auto *c) { c->appModel()->removeLessFileFromModel(Alpha + "/a1.less", Alpha); }) << words("a2 g1 g2");
        QTest::newRow("unselected folder removed")
            << Change([](auto *c) { c->appModel()->removePathFromModel(Beta); }) << words("a1 a2 g1 g2");
        QTest::newRow("file added elsewhere")
            << Change([](auto *c) { c->appModel()->addLessFileToModel(Beta + "/b2.less", Beta); }) << words("a1 a2 g1 g2");
        QTest::newRow("selected folder removed")
            << Change([](auto *c) { c->appModel()->removePathFromModel(Gamma); }) << words("a1 a2");
        QTest::newRow("both selected folders removed")
            << Change([](auto *c) { c->pathsController()->remove(); }) << words("");
        QTest::newRow("middle folder selected") << folders({0, 1, 2}) << words("a1 a2 b1 g1 g2");
        QTest::newRow("selection cleared") << folders({}) << words("");
        QTest::newRow("files replaced")
            << Change([](auto *c) { c->appModel()->replaceLessFilesForPath(Gamma, {Gamma + "/g9.less"}); }) << words("a1 a2 g9");
        QTest::newRow("project reloaded")
            << Change([](auto *c) { c->appModel()->loadNewPathDataIntoModel({}); }) << words("");
    }

    void fileRowsFollowFoldersAndSelection()
    {
        QFETCH(Change, change);
        QFETCH(QStringList, expectedFiles);
        addFolder(model(), Alpha, {"a1.less", "a2.less"});
        addFolder(model(), Beta, {"b1.less"});
        addFolder(model(), Gamma, {"g1.less", "g2.less"});
        selectRows(paths()->selectionModel(), {0, 2});
        selectRows(files()->selectionModel(), {1});
        tester(files());

        change(m_lists.get());

        QStringList titles; // "/a1.less" reads a1
        for (int row = 0; row < files()->rowCount(); ++row)
            titles << files()->index(row).data().toString().mid(1).chopped(5);
        QCOMPARE(titles, expectedFiles);
        QStringList selected;
        for (const LessHolder *file : files()->selectedObjects())
            selected << file->lessFilename();
        QCOMPARE(selected, expectedFiles.contains("a2") ? QStringList{"a2.less"} : QStringList());
    }

    void logCells_data()
    {
        QTest::addColumn<StyledText>("result");
        QTest::addColumn<QColor>("expectedColor");
        const RgbaColor green{0, 0.573, 0, 1};
        const QColor shownGreen = QColor::fromRgbF(0, 0.573f, 0);
        QTest::newRow("success") << StyledText("Compiled.", green) << shownGreen;
        QTest::newRow("success through an import")
            << StyledText("Compiled.", green).append("  via main.less", StyledText::Grey) << shownGreen;
        QTest::newRow("error") << StyledText("ParseError: missing }\n  at line 3", StyledText::Red)
                               << QColor::fromRgbF(0.8f, 0.1f, 0.1f);
        QTest::newRow("no result") << StyledText() << QColor();
    }

    void logCells()
    {
        QFETCH(StyledText, result);
        QFETCH(QColor, expectedColor);
        tester(log());
        model()->addNewCompilerResultWithTime(QDateTime::currentDateTime(), "~/site/old.less", {});
        m_lists->controller.clearCompilerLog();
        QCOMPARE(log()->rowCount(), 0);
        model()->addNewCompilerResultWithTime(QDateTime(QDate(2024, 3, 9), QTime(7, 5, 3)), "~/site/ma\nin.less", result);
        QCOMPARE(log()->rowCount(), 1);

        QCOMPARE(log()->index(0, Column::TimeColumn).data().toString(), "07:05:03");
        // A file name keeps to one line.
        QCOMPARE(log()->index(0, Column::FileColumn).data().toString(), R"(~/site/ma\nin.less)");
        const QModelIndex cell = log()->index(0, Column::ResultColumn);
        QCOMPARE(cell.data().toString(), result.plainText());
        QCOMPARE(cell.data(Qt::ForegroundRole).value<QColor>(), expectedColor);
        if (!expectedColor.isValid())
            return;
        QCOMPARE(cell.data(Qt::UserRole).value<StyledText>(), result);
    }

private:
    LessModel *model() { return m_lists->appModel(); }
    PathsArrayController *paths() { return &m_lists->paths; }
    FilesArrayController *files() { return &m_lists->files; }
    CompilerArrayController *log() { return &m_lists->log; }
    void tester(QAbstractItemModel *m)
    {
        m_tester = std::make_unique<QAbstractItemModelTester>(m, QAbstractItemModelTester::FailureReportingMode::QtTest);
    }

    std::unique_ptr<Lists> m_lists;
    std::unique_ptr<QAbstractItemModelTester> m_tester;
};

QTEST_MAIN(TestArrayControllers)
#include "TestArrayControllers.moc"
