#include "model/LessModel.h"
#include "support/UserDefaults.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

namespace {

// The model's signals in order, as text: "lessFileChanged 0 1 CheckboxState".
class Announcements
{
public:
    explicit Announcements(LessModel &model)
    {
#define RECORD(signal) record(model, &LessModel::signal, #signal)
        RECORD(pathsAboutToBeInserted), RECORD(pathsInserted), RECORD(pathsAboutToBeRemoved);
        RECORD(pathsRemoved), RECORD(pathsAboutToBeReset), RECORD(pathsReset), RECORD(pathChanged);
        RECORD(lessFilesAboutToBeInserted), RECORD(lessFilesInserted), RECORD(lessFilesAboutToBeRemoved);
        RECORD(lessFilesRemoved), RECORD(lessFilesAboutToBeReset), RECORD(lessFilesReset);
        RECORD(lessFileChanged);
#undef RECORD
    }
    QStringList take() { return std::exchange(m_texts, {}); }

private:
    template<typename... Args>
    void record(LessModel &model, void (LessModel::*signal)(Args...), const char *name)
    {
        QObject::connect(&model, signal, [this, name](Args... args) {
            m_texts << QStringList{name, QVariant::fromValue(args).toString()...}.join(u' ');
        });
    }
    QStringList m_texts;
};

const QStringList CountChanged{"pathChanged 0 NumberOfLessFilesInPath", "pathChanged 0 ValuesForTableViewCell"};
const QStringList FileAddedAtRow3 = QStringList{"lessFilesAboutToBeInserted 0 3 3", "lessFilesInserted 0 3 3"} + CountChanged;
const QStringList FileRemovedAtRow1 = QStringList{"lessFilesAboutToBeRemoved 0 1 1", "lessFilesRemoved 0 1 1"} + CountChanged;

} // namespace

class TestLessModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void folderRecord_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("tildePath");
        QTest::addColumn<QString>("title");
        QTest::newRow("name as on disk") << "/p/ABC my-site" << "/p/ABC my-site" << "ABC my-site";
        QTest::newRow("in home") << QDir::homePath() + "/web/blog" << "~/web/blog" << "blog";
    }

    void folderRecord()
    {
        QFETCH(QString, path);
        QFETCH(QString, tildePath);
        QFETCH(QString, title);

        LessModel model;
        model.addNewPathToModel(path, {path + "/a.less"});
        // Records take the compression preference in force when they are added.
        UserDefaults::standardUserDefaults()->setBool(true, QStringLiteral("shouldCompressCSSOutput"));
        model.addLessFileToModel(path + "/a.less", path);
        UserDefaults::standardUserDefaults()->removeObjectForKey(QStringLiteral("shouldCompressCSSOutput"));
        const PathHolder &folder = *model.pathData().at(0);
        QVERIFY(!folder.lessFiles().at(0)->shouldCompressCSSOutput() && folder.lessFiles().at(1)->shouldCompressCSSOutput());
        QCOMPARE(folder.userSelectedTildePath(), tildePath);
        QCOMPARE(folder.valuesForTableViewCell(), (QVariantMap{{"titleString", title}, {"subtitleString", "2"}, {"iconImage", "folder"}}));
    }

    void folderAndFileQueries()
    {
        LessModel model;
        Announcements announcements(model);
        model.addNewPathToModel(QStringLiteral("/w"), {"/w/a.less", "/w/b.less"});
        model.addNewPathToModel(QStringLiteral("/w"), {});
        model.addNewPathToModel(QStringLiteral("/W"), {});
        model.addNewPathToModel(QStringLiteral("/w/"), {"/w/a.less"});
        model.addNewPathToModel(QDir::homePath(), {QDir::homePath() + "/h.less"});
        model.removePathFromModel(QStringLiteral("/W/")); // exact only
        model.removePathFromModel(QStringLiteral("/W"));
        QCOMPARE(model.getAllRegisteredPaths(), (QStringList{"/w", "/w/", QDir::homePath()}));
        QCOMPARE(announcements.take(),
                 (QStringList{"pathsAboutToBeInserted 0 0", "pathsInserted 0 0", "pathsAboutToBeInserted 1 1",
                              "pathsInserted 1 1", "pathsAboutToBeInserted 2 2", "pathsInserted 2 2",
                              "pathsAboutToBeInserted 3 3", "pathsInserted 3 3", "pathsAboutToBeRemoved 1 1",
                              "pathsRemoved 1 1"}));
        // The folder itself and those beneath it, by path components; case counts.
        QVERIFY(!model.modelSubpathsOfProposedPath(QStringLiteral("/W")));
        QCOMPARE(model.modelSubpathsOfProposedPath(QStringLiteral("/w/")), (QStringList{"/w", "/w/"}));
        QVERIFY(!model.modelSubpathsOfProposedPath(QStringLiteral("/x")) && !model.modelSubpathsOfProposedPath(QString()));
        QVERIFY(model.modelContainsPath(QStringLiteral("/w/")) && !model.modelContainsPath(QStringLiteral("/W")));
        model.pathData().at(0)->lessFiles().at(1)->setCheckboxState(false);
        const auto record = [&](int folder, int file) { return model.pathData().at(folder)->lessFiles().at(file).get(); };
        QCOMPARE(model.getAllLessFilesAndIncludeIgnoredOnes(false).mid(0, 2), (QStringList{"/w/a.less", "/w/a.less"}));
        QCOMPARE(model.getAllLessHoldersAndIncludeIgnoredOnes(true).mid(0, 3),
                 (QList<LessHolder *>{record(0, 0), record(0, 1), record(1, 0)}));
        QCOMPARE(model.getAllRegisteredLessFilesForRegisteredPaths().value("/w"), (QStringList{"/w/a.less", "/w/b.less"}));
        QCOMPARE(model.getLessHolderForLessFileAtPath(QStringLiteral("/W/A.LESS")), record(0, 0));
        QCOMPARE(model.getLessHolderForLessFileAtPath(QStringLiteral("~/H.less")), record(2, 0));

        // Loaded records are followed like added ones.
        announcements.take();
        LessModel::PathData loaded;
        loaded.push_back(std::make_unique<PathHolder>());
        loaded.back()->addLessFileAtPath(QStringLiteral("/v/a.less"));
        loaded.back()->addLessFileAtPath(QStringLiteral("/v/b.less"));
        model.loadNewPathDataIntoModel(std::move(loaded));
        model.pathData().at(0)->lessFiles().at(1)->setShouldCompressCSSOutput(true);
        QCOMPARE(announcements.take(), (QStringList{"pathsAboutToBeReset", "pathsReset", "lessFileChanged 0 1 ShouldCompressCSSOutput"}));
        QCOMPARE(model.getAllLessFilesAndIncludeIgnoredOnes(true), (QStringList{"/v/a.less", "/v/b.less"}));
    }

    void watchedFoldersBeneath_data()
    {
        QTest::addColumn<QString>("folder");
        QTest::addColumn<QStringList>("watched");
        QTest::addColumn<QStringList>("beneath");

        QTest::newRow("by path components") << "@/a/site" << QStringList{"@/a/site2", "@/a/site/sub", "@/a", "@/a/site/"}
                                            << QStringList{"@/a/site/sub", "@/a/site/"};
        QTest::newRow("a link into the folder") << "@/a/site" << QStringList{"@/into-site"} << QStringList{"@/into-site"};
        QTest::newRow("missing paths, case counts") << "@/gone" << QStringList{"@/gone/x", "@/Gone/y"} << QStringList{"@/gone/x"};
        QTest::newRow("empty folder") << "" << QStringList{"@/a"} << QStringList();
    }

    // Adding a folder takes in the watched ones beneath it, wherever links lead.
    void watchedFoldersBeneath()
    {
        QFETCH(QString, folder);
        QFETCH(QStringList, watched);
        QFETCH(QStringList, beneath);

        const QString root = m_folder.path();
        const auto resolved = [&](QStringList paths) { return paths.replaceInStrings(QStringLiteral("@"), root); };
        QVERIFY(QDir(root).mkpath(QStringLiteral("a/site/sub")));
        // The first row makes the link; the later ones find it there.
        QFile::link(root + "/a/site/sub", root + "/into-site");
        QCOMPARE(LessModel::watchedFoldersAtOrBeneath(folder.replace(u'@', root), resolved(watched)), resolved(beneath));
    }

    void fileChanges_data()
    {
        QTest::addColumn<bool>("adding");
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("folder");
        QTest::addColumn<QString>("warning");
        QTest::addColumn<QStringList>("announced");

        // Folders differ in case only: the exact match is tried first, then the first ignoring case.
        QTest::newRow("add, exact folder, first match") << true << "/w/site/n.less" << "/w/SITE" << QString() << FileAddedAtRow3;
        const QString unknown = QStringLiteral(
            "Tried to %1 the LESS file '/w/site/n.less' %2 model path '%3', but that path does not exist in the model.");
        QTest::newRow("add, unknown folder") << true << "/w/site/n.less" << "/W/site" << unknown.arg("add", "to", "/W/site")
                                             << QStringList();
        QTest::newRow("remove, exact folder, first match") << false << "/w/site/n.less" << "/w/SITE" << QString() << FileRemovedAtRow1;
        QTest::newRow("remove, file ignoring case") << false << "/W/SITE/N.LESS" << "/w/site" << QString() << FileRemovedAtRow1;
        QTest::newRow("remove, unknown folder") << false << "/w/site/n.less" << "/W/SITE"
                                                << unknown.arg("remove", "from", "/W/SITE") << QStringList();
    }

    void fileChanges()
    {
        QFETCH(bool, adding);
        QFETCH(QString, file);
        QFETCH(QString, folder);
        QFETCH(QString, warning);
        QFETCH(QStringList, announced);

        LessModel model;
        model.addNewPathToModel(QStringLiteral("/w/site"), {"/w/site/a.less", "/w/site/n.less", QDir::homePath() + "/n.less"});
        model.addNewPathToModel(QStringLiteral("/w/SITE"), {"/w/SITE/a.less"});
        Announcements announcements(model);
        if (!warning.isEmpty())
            QTest::ignoreMessage(QtWarningMsg, qUtf8Printable(warning));
        if (adding)
            model.addLessFileToModel(file, folder);
        else
            model.removeLessFileFromModel(file, folder);
        QCOMPARE(announcements.take(), announced);
        QCOMPARE(model.pathData().at(1)->lessFiles().size(), 1u);
    }

    // Scanned links, a compile's list of files read, and what they make of the
    // check marks and rows of partials.
    void importLinks()
    {
        const QString main = writeLessFile("site/main.less", "@import 'parts/a';\n@import '../lib/lib.less';\n");
        const QString a = writeLessFile("site/parts/a.less", "@import 'b';\n");
        const QString b = writeLessFile("site/parts/b.less", "");
        const QString other = writeLessFile("site/other.less", "@import 'parts/b';\n");
        const QString lib = writeLessFile("lib/lib.less", "@import 'deep';\n");
        const QString deep = writeLessFile("lib/deep.less", "");
        LessModel model;
        model.addNewPathToModel(m_folder.filePath("site"), {main, a, b, other});
        model.getLessHolderForLessFileAtPath(other)->chooseCheckboxState(false);
        model.refreshAllFileLinks();

        const auto record = [&model](const QString &path) { return model.getLessHolderForLessFileAtPath(path); };
        QCOMPARE(model.importGraph().dependentsOf(b), (QStringList{other, a, main}));
        QCOMPARE(model.importGraph().dependentsOf(deep), (QStringList{lib, main}));
        QCOMPARE(model.importedFilesOutsideProject(), (QStringList{deep, lib}));
        QVERIFY(record(main)->checkboxState() && !record(a)->checkboxState() && !record(b)->checkboxState());
        QVERIFY(!record(other)->checkboxState()); // the user's choice stays
        QCOMPARE(record(b)->valuesForTableViewCell().value("subtitleString"), "Imported by other.less and 1 more");
        QCOMPARE(record(a)->valuesForTableViewCell().value("subtitleString"), "Imported by main.less");
        QCOMPARE(record(main)->valuesForTableViewCell().value("subtitleString"), "Output: main.css");
        QCOMPARE(record(main)->importedFiles(), (QStringList{a, lib}));

        // A compile's list replaces the links; a failed one only adds.
        const QString theme = m_folder.filePath("site/theme/@{name}.less");
        model.recordFilesRead(main, {main, a, b, theme}, true);
        QCOMPARE(model.importGraph().importsOf(main), (QStringList{a, b, theme}));
        model.recordFilesRead(main, {main}, false);
        QCOMPARE(model.importGraph().importsOf(main), (QStringList{a, b, theme}));
        // Saving rescans the file's own imports at once.
        writeLessFile("site/other.less", "");
        model.rescanImportsOfFile(other);
        QCOMPARE(model.importGraph().dependentsOf(b), (QStringList{a, main}));

        // A file that leaves the project reads nothing; a partial nobody imports
        // any more is checked again.
        model.removeLessFileFromModel(a, m_folder.filePath("site"));
        model.recordFilesRead(main, {main}, true);
        QVERIFY(model.importGraph().dependentsOf(b).isEmpty());
        QVERIFY(record(b)->checkboxState());
        QCOMPARE(record(b)->valuesForTableViewCell().value("subtitleString"), "Output: b.css");
    }

private:
    QString writeLessFile(const QString &name, const QByteArray &content)
    {
        const QString path = m_folder.filePath(name);
        QDir().mkpath(QFileInfo(path).path());
        QFile file(path);
        return file.open(QIODevice::WriteOnly) && file.write(content) == content.size() ? path : QString();
    }
    QTemporaryDir m_folder;
};

QTEST_GUILESS_MAIN(TestLessModel)
#include "TestLessModel.moc"
