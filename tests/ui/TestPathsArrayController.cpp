#include "UiTestSupport.h"

#include "app/MainAppController.h"
#include "engine/ZRMLessCompiler.h"
#include "ui/ItemRoles.h"
#include "ui/PathsArrayController.h"

#include <QAbstractItemModelTester>
#include <QDir>
#include <QFile>
#include <QIcon>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace UiTestSupport;

namespace {

enum class Change { AddFolder, RemoveFirst, RemoveMiddle, RemoveLast, AddFile, RemoveFile, Reload };

} // namespace

Q_DECLARE_METATYPE(Change)

class TestPathsArrayController : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_controller = std::make_unique<MainAppController>(nullptr); }
    void cleanup() { m_controller.reset(); }
    void rowsFollowTheModel_data();
    void rowsFollowTheModel();
    void canRemoveFollowsTheSelection();
    void removingStopsWatchingEveryFileBeforeAnyFolderGoes();

private:
    LessModel *model() { return m_controller->appModel(); }
    PathsArrayController *paths() { return m_controller->pathsController(); }

    std::unique_ptr<MainAppController> m_controller;
};

void TestPathsArrayController::rowsFollowTheModel_data()
{
    QTest::addColumn<Change>("change");
    QTest::addColumn<QStringList>("expectedRows");
    QTest::addColumn<int>("changedRow");

    const QString a = QStringLiteral("Alpha 1"), b = QStringLiteral("My-Beta 2"), c = QStringLiteral("Gamma 0");
    QTest::newRow("folder appended") << Change::AddFolder << QStringList{a, b, c, QStringLiteral("Delta 0")} << -1;
    QTest::newRow("first removed") << Change::RemoveFirst << QStringList{b, c} << -1;
    QTest::newRow("middle removed") << Change::RemoveMiddle << QStringList{a, c} << -1;
    QTest::newRow("last removed") << Change::RemoveLast << QStringList{a, b} << -1;
    QTest::newRow("file added") << Change::AddFile << QStringList{a, QStringLiteral("My-Beta 3"), c} << 1;
    QTest::newRow("file removed") << Change::RemoveFile << QStringList{a, QStringLiteral("My-Beta 1"), c} << 1;
    QTest::newRow("project reloaded") << Change::Reload << QStringList{QStringLiteral("Other 0")} << -1;
}

// Each row reads "title count"; the model tester checks every announcement.
void TestPathsArrayController::rowsFollowTheModel()
{
    QFETCH(Change, change);
    QFETCH(QStringList, expectedRows);
    QFETCH(int, changedRow);

    addFolder(model(), QStringLiteral("/p/alpha"), {QStringLiteral("a.less")});
    addFolder(model(), QStringLiteral("/p/my-beta"), {QStringLiteral("b.less"), QStringLiteral("c.less")});
    addFolder(model(), QStringLiteral("/p/gamma"), {});
    QAbstractItemModelTester tester(paths(), QAbstractItemModelTester::FailureReportingMode::QtTest);
    QSignalSpy dataChanged(paths(), &QAbstractItemModel::dataChanged);

    switch (change) {
    case Change::AddFolder:
        addFolder(model(), QStringLiteral("/p/delta"), {});
        break;
    case Change::RemoveFirst:
        model()->removePathFromModel(QStringLiteral("/p/alpha"));
        break;
    case Change::RemoveMiddle:
        paths()->selectionModel()->select(paths()->index(1), QItemSelectionModel::Select);
        paths()->remove();
        break;
    case Change::RemoveLast:
        model()->removePathFromModel(QStringLiteral("/p/gamma"));
        break;
    case Change::AddFile:
        model()->addLessFileToModel(QStringLiteral("/p/my-beta/d.less"), QStringLiteral("/p/my-beta"));
        break;
    case Change::RemoveFile:
        model()->removeLessFileFromModel(QStringLiteral("/p/my-beta/b.less"), QStringLiteral("/p/my-beta"));
        break;
    case Change::Reload:
        LessModel::PathData reloaded;
        reloaded.push_back(std::make_unique<PathHolder>());
        reloaded.back()->setUserSelectedFullPath(QStringLiteral("/q/other"));
        reloaded.back()->setUserSelectedLastPathComponent(QStringLiteral("Other"));
        model()->loadNewPathDataIntoModel(std::move(reloaded));
        break;
    }

    QStringList rows;
    for (int row = 0; row < paths()->rowCount(); ++row) {
        const QModelIndex index = paths()->index(row);
        rows << index.data().toString() + u' ' + index.data(ItemRoles::SubtitleRole).toString();
        QCOMPARE(index.data(Qt::ToolTipRole).toString(), paths()->pathAtRow(row)->userSelectedFullPath());
        QVERIFY(!index.data(Qt::DecorationRole).value<QIcon>().isNull());
    }
    QCOMPARE(rows, expectedRows);
    if (changedRow >= 0) {
        QVERIFY(!dataChanged.isEmpty());
        QCOMPARE(dataChanged.last().at(0).toModelIndex().row(), changedRow);
    }
}

void TestPathsArrayController::canRemoveFollowsTheSelection()
{
    QSignalSpy canRemove(paths(), &PathsArrayController::canRemoveChanged);
    QSignalSpy arranged(paths(), &PathsArrayController::arrangedObjectsChanged);
    addFolder(model(), QStringLiteral("/p/alpha"), {});
    addFolder(model(), QStringLiteral("/p/beta"), {});
    QCOMPARE(arranged.last().at(0).toInt(), 2);

    selectRows(paths()->selectionModel(), {1});
    selectRows(paths()->selectionModel(), {0, 1});
    QCOMPARE(canRemove.size(), 1);
    QVERIFY(paths()->canRemove());

    // A reloaded project takes the selection along without a selection signal.
    model()->loadNewPathDataIntoModel({});
    QCOMPARE(canRemove.size(), 2);
    QVERIFY(!paths()->canRemove());
    QCOMPARE(arranged.last().at(0).toInt(), 0);
}

void TestPathsArrayController::removingStopsWatchingEveryFileBeforeAnyFolderGoes()
{
    QTemporaryDir project;
    QStringList removedFiles;
    for (const QString &folder : {QStringLiteral("one"), QStringLiteral("two"), QStringLiteral("kept")}) {
        QVERIFY(QDir(project.path()).mkdir(folder));
        const QStringList names{QStringLiteral("a.less"), QStringLiteral("b.less")};
        for (const QString &name : names)
            QVERIFY(QFile(project.filePath(folder + u'/' + name)).open(QIODevice::WriteOnly));
        addFolder(model(), project.filePath(folder), names);
    }
    for (int folder : {0, 1}) {
        for (const auto &file : model()->pathData().at(folder)->lessFiles())
            removedFiles << file->lessFileFullPath();
    }
    const QString keptFile = project.filePath(QStringLiteral("kept/a.less"));
    ZRMLessCompiler *engine = ZRMLessCompiler::sharedLessCompiler();
    m_controller->refreshAutoCompileWatchList();
    QTRY_VERIFY(engine->watchedLessFiles().contains(keptFile));
    QList<QStringList> watchedAtEachRemoval;
    const QObject observer;
    connect(model(), &LessModel::pathsAboutToBeRemoved, &observer,
            [&] { watchedAtEachRemoval << engine->watchedLessFiles(); });

    selectRows(paths()->selectionModel(), {0, 1});
    paths()->remove();

    QCOMPARE(watchedAtEachRemoval.size(), 2);
    for (const QString &file : removedFiles)
        QVERIFY2(!watchedAtEachRemoval.first().contains(file), qPrintable(file));
    QVERIFY(engine->watchedLessFiles().contains(keptFile));
    QCOMPARE(model()->getAllRegisteredPaths(), QStringList{project.filePath(QStringLiteral("kept"))});
    for (const QString &file : engine->watchedLessFiles())
        engine->stopWatchingLessFileAtPath(file);
}

QTEST_MAIN(TestPathsArrayController)
#include "TestPathsArrayController.moc"
