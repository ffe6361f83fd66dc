#include "FakeFileManager.h"
#include "UiTestSupport.h"

#include "app/MainAppController.h"
#include "ui/FilesArrayController.h"
#include "ui/ItemRoles.h"
#include "ui/PathsArrayController.h"

#include <QAbstractItemModelTester>
#include <QItemSelectionModel>
#include <QSignalSpy>
#include <QTest>

#include <memory>

using namespace UiTestSupport;

namespace {

// What happens to a project of three folders, alpha (a1, a2), beta (b1) and
// gamma (g1, g2), with alpha and gamma selected.
enum class Change {
    FileAddedToFirstBlock,
    FileAddedToLastBlock,
    FileAddedToUnselectedFolder,
    FileRemovedFromFirstBlock,
    FileRemovedFromLastBlock,
    UnselectedFolderRemoved,
    SelectedFolderRemoved,
    BothSelectedFoldersRemoved,
    FolderAppended,
    MiddleFolderSelected,
    FirstFolderDeselected,
    SelectionCleared,
    FilesReplaced,
    FilesReplacedByNone,
    ProjectReloaded,
};

const QString Alpha = QStringLiteral("/p/alpha");
const QString Beta = QStringLiteral("/p/beta");
const QString Gamma = QStringLiteral("/p/gamma");

} // namespace

Q_DECLARE_METATYPE(Change)

class TestFilesArrayController : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_controller = std::make_unique<MainAppController>(nullptr); }
    void cleanup() { m_controller.reset(); }
    void rowsFollowFoldersAndSelection_data();
    void rowsFollowFoldersAndSelection();
    void cssCommandsApplyToTheSelection();
    void revealFallsBackToTheContainingFolder();

private:
    LessModel *model() { return m_controller->appModel(); }
    FilesArrayController *files() { return m_controller->filesController(); }
    void selectFolders(const QList<int> &rows) { selectRows(m_controller->pathsController()->selectionModel(), rows); }
    void selectFiles(const QList<int> &rows) { selectRows(files()->selectionModel(), rows); }
    void apply(Change change);
    QStringList titles();

    std::unique_ptr<MainAppController> m_controller;
};

// The file names without folder and extension: "/a1.less" reads a1.
QStringList TestFilesArrayController::titles()
{
    QStringList titles;
    for (int row = 0; row < files()->rowCount(); ++row)
        titles << files()->index(row).data().toString().mid(1).chopped(5);
    return titles;
}

void TestFilesArrayController::apply(Change change)
{
    switch (change) {
    case Change::FileAddedToFirstBlock:
        model()->addLessFileToModel(Alpha + QStringLiteral("/a3.less"), Alpha);
        break;
    case Change::FileAddedToLastBlock:
        model()->addLessFileToModel(Gamma + QStringLiteral("/g3.less"), Gamma);
        break;
    case Change::FileAddedToUnselectedFolder:
        model()->addLessFileToModel(Beta + QStringLiteral("/b2.less"), Beta);
        break;
    case Change::FileRemovedFromFirstBlock:
        model()->removeLessFileFromModel(Alpha + QStringLiteral("/a1.less"), Alpha);
        break;
    case Change::FileRemovedFromLastBlock:
        model()->removeLessFileFromModel(Gamma + QStringLiteral("/g2.less"), Gamma);
        break;
    case Change::UnselectedFolderRemoved:
        model()->removePathFromModel(Beta);
        break;
    case Change::SelectedFolderRemoved:
        model()->removePathFromModel(Gamma);
        break;
    case Change::BothSelectedFoldersRemoved:
        m_controller->pathsController()->remove();
        break;
    case Change::FolderAppended:
        addFolder(model(), QStringLiteral("/p/delta"), {QStringLiteral("d1.less")});
        break;
    case Change::MiddleFolderSelected:
        selectFolders({0, 1, 2});
        break;
    case Change::FirstFolderDeselected:
        selectFolders({2});
        break;
    case Change::SelectionCleared:
        selectFolders({});
        break;
    case Change::FilesReplaced:
        model()->replaceLessFilesForPath(Gamma, {Gamma + QStringLiteral("/g9.less")});
        break;
    case Change::FilesReplacedByNone:
        model()->replaceLessFilesForPath(Gamma, {});
        break;
    case Change::ProjectReloaded:
        model()->loadNewPathDataIntoModel({});
        break;
    }
}

void TestFilesArrayController::rowsFollowFoldersAndSelection_data()
{
    QTest::addColumn<Change>("change");
    QTest::addColumn<QStringList>("expectedFiles");

    const auto files = [](const char *names) { return QString::fromLatin1(names).split(u' ', Qt::SkipEmptyParts); };
    QTest::newRow("file added to the first block") << Change::FileAddedToFirstBlock << files("a1 a2 a3 g1 g2");
    QTest::newRow("file added to the last block") << Change::FileAddedToLastBlock << files("a1 a2 g1 g2 g3");
    QTest::newRow("file added elsewhere") << Change::FileAddedToUnselectedFolder << files("a1 a2 g1 g2");
    QTest::newRow("file removed from the first block") << Change::FileRemovedFromFirstBlock << files("a2 g1 g2");
    QTest::newRow("file removed from the last block") << Change::FileRemovedFromLastBlock << files("a1 a2 g1");
    QTest::newRow("unselected folder removed") << Change::UnselectedFolderRemoved << files("a1 a2 g1 g2");
    QTest::newRow("selected folder removed") << Change::SelectedFolderRemoved << files("a1 a2");
    QTest::newRow("both selected folders removed") << Change::BothSelectedFoldersRemoved << files("");
    QTest::newRow("folder appended") << Change::FolderAppended << files("a1 a2 g1 g2");
    QTest::newRow("middle folder selected") << Change::MiddleFolderSelected << files("a1 a2 b1 g1 g2");
    QTest::newRow("first folder deselected") << Change::FirstFolderDeselected << files("g1 g2");
    QTest::newRow("selection cleared") << Change::SelectionCleared << files("");
    QTest::newRow("files replaced") << Change::FilesReplaced << files("a1 a2 g9");
    QTest::newRow("files replaced by none") << Change::FilesReplacedByNone << files("a1 a2");
    QTest::newRow("project reloaded") << Change::ProjectReloaded << files("");
}

// The selected file a2 stays selected through every change that keeps it.
void TestFilesArrayController::rowsFollowFoldersAndSelection()
{
    QFETCH(Change, change);
    QFETCH(QStringList, expectedFiles);

    addFolder(model(), Alpha, {QStringLiteral("a1.less"), QStringLiteral("a2.less")});
    addFolder(model(), Beta, {QStringLiteral("b1.less")});
    addFolder(model(), Gamma, {QStringLiteral("g1.less"), QStringLiteral("g2.less")});
    selectFolders({0, 2});
    QCOMPARE(titles(), (QStringList{"a1", "a2", "g1", "g2"}));
    selectFiles({1});
    QAbstractItemModelTester tester(files(), QAbstractItemModelTester::FailureReportingMode::QtTest);

    apply(change);

    QCOMPARE(titles(), expectedFiles);
    QStringList selected;
    for (const LessHolder *file : files()->selectedObjects())
        selected << file->lessFilename();
    QCOMPARE(selected, expectedFiles.contains(QStringLiteral("a2")) ? QStringList{"a2.less"} : QStringList());
}

// The rows x, a, b, c of two folders; a and c are selected.
void TestFilesArrayController::cssCommandsApplyToTheSelection()
{
    addFolder(model(), Alpha, {QStringLiteral("x.less")});
    addFolder(model(), Gamma, {QStringLiteral("less/a.less"), QStringLiteral("less/b.less"), QStringLiteral("less/c.less")});
    selectFolders({0, 1});
    QCOMPARE(files()->pathForFirstSelectedLESSFile(), QString());
    selectFiles({3, 1});
    QSignalSpy dataChanged(files(), &QAbstractItemModel::dataChanged);

    files()->setCSSFileOutputPathOnSelectedLESSFiles(Gamma + QStringLiteral("/css"));

    QCOMPARE(files()->pathForFirstSelectedLESSFile(), Gamma + QStringLiteral("/less/a.less"));
    QStringList targets;
    for (int row = 0; row < files()->rowCount(); ++row)
        targets << files()->lessFileAtRow(row)->targetCSSFileFullPath();
    QCOMPARE(targets, (QStringList{Alpha + "/x.css", Gamma + "/css/a.css", Gamma + "/less/b.css", Gamma + "/css/c.css"}));
    QSet<int> rowsShowingNewOutput;
    for (const QList<QVariant> &change : dataChanged) {
        if (change.at(2).value<QList<int>>().contains(ItemRoles::SubtitleRole))
            rowsShowingNewOutput << change.at(0).toModelIndex().row();
    }
    QCOMPARE(rowsShowingNewOutput, (QSet<int>{1, 3}));
    QCOMPARE(files()->index(1).data(ItemRoles::SubtitleRole).toString(), QStringLiteral("Output: /css"));

    files()->clearCSSFileOutputPathOnSelectedLESSFiles();
    QCOMPARE(files()->lessFileAtRow(3)->targetCSSFileFullPath(), Gamma + QStringLiteral("/less/c.css"));
    QCOMPARE(files()->index(3).data(ItemRoles::SubtitleRole).toString(), QStringLiteral("Output: "));
}

void TestFilesArrayController::revealFallsBackToTheContainingFolder()
{
    FakeFileManager fallback(FakeFileManager::Presence::Absent);
    addFolder(model(), Alpha, {QStringLiteral("less/a.less"), QStringLiteral("less/b.less"), QStringLiteral("c.less")});
    selectFolders({0});
    selectFiles({0, 1, 2});

    files()->revealSelectedRowsInFinder();

    QTRY_COMPARE(fallback.openedUrls.size(), 2);
    QCOMPARE(fallback.openedUrls, (QList<QUrl>{QUrl::fromLocalFile(QStringLiteral("/p/alpha/less")),
                                               QUrl::fromLocalFile(Alpha)}));
}

QTEST_MAIN(TestFilesArrayController)
#include "TestFilesArrayController.moc"
