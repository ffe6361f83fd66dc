#include "model/LessModel.h"
#include "support/UserDefaults.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <utility>

namespace {

// The model's announcements in order, as text: "lessFileChanged 0 1 CheckboxState".
class Announcements
{
public:
    explicit Announcements(LessModel &model)
    {
        record(model, &LessModel::pathsAboutToBeInserted, "pathsAboutToBeInserted");
        record(model, &LessModel::pathsInserted, "pathsInserted");
        record(model, &LessModel::pathsAboutToBeRemoved, "pathsAboutToBeRemoved");
        record(model, &LessModel::pathsRemoved, "pathsRemoved");
        record(model, &LessModel::pathsAboutToBeReset, "pathsAboutToBeReset");
        record(model, &LessModel::pathsReset, "pathsReset");
        record(model, &LessModel::pathChanged, "pathChanged");
        record(model, &LessModel::lessFilesAboutToBeInserted, "lessFilesAboutToBeInserted");
        record(model, &LessModel::lessFilesInserted, "lessFilesInserted");
        record(model, &LessModel::lessFilesAboutToBeRemoved, "lessFilesAboutToBeRemoved");
        record(model, &LessModel::lessFilesRemoved, "lessFilesRemoved");
        record(model, &LessModel::lessFilesAboutToBeReset, "lessFilesAboutToBeReset");
        record(model, &LessModel::lessFilesReset, "lessFilesReset");
        record(model, &LessModel::lessFileChanged, "lessFileChanged");
        record(model, &LessModel::compilerResultsAboutToBeInserted, "compilerResultsAboutToBeInserted");
        record(model, &LessModel::compilerResultsInserted, "compilerResultsInserted");
        record(model, &LessModel::compilerResultsAboutToBeReset, "compilerResultsAboutToBeReset");
        record(model, &LessModel::compilerResultsReset, "compilerResultsReset");
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

const QStringList CountChanged{"pathChanged 0 NumberOfLessFilesInPath",
                               "pathChanged 0 ValuesForTableViewCell"};
const QStringList FileAddedAtRow3 =
    QStringList{"lessFilesAboutToBeInserted 0 3 3", "lessFilesInserted 0 3 3"} + CountChanged;
const QStringList FileRemovedAtRow1 =
    QStringList{"lessFilesAboutToBeRemoved 0 1 1", "lessFilesRemoved 0 1 1"} + CountChanged;

} // namespace

class TestLessModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void emptyModel();
    void folderRecord_data();
    void folderRecord();
    void foldersAreAddedOnceAndRemoved();
    void subpaths_data();
    void subpaths();
    void fileQueries();
    void fileChanges_data();
    void fileChanges();
    void replacingFilesKeepsTheCountOfTheAdds();
    void loadedFoldersAreFollowed();
    void compilerLog();
    void linkRefresh();
    void staleLinksAreNotApplied();

private:
    QString writeLessFile(const QString &name, const QByteArray &content);
    QTemporaryDir m_folder;
};

void TestLessModel::emptyModel()
{
    LessModel model;
    QVERIFY(model.getAllRegisteredPaths().isEmpty());
    QVERIFY(model.getAllLessFilesAndIncludeIgnoredOnes(true).isEmpty());
    QCOMPARE(model.modelSubpathsOfProposedPath(QStringLiteral("/")), std::nullopt);
    QCOMPARE(model.getLessHolderForLessFileAtPath(QStringLiteral("/a.less")), nullptr);
    model.refreshAllFileLinks();
}

void TestLessModel::folderRecord_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("tildePath");
    QTest::addColumn<QString>("title");

    QTest::newRow("hyphen starts a word") << "/p/my-site" << "/p/my-site" << "My-Site";
    QTest::newRow("rest lower case") << "/p/ABC def" << "/p/ABC def" << "Abc Def";
    QTest::newRow("in home") << QDir::homePath() + "/web/blog" << "~/web/blog" << "Blog";
}

void TestLessModel::folderRecord()
{
    QFETCH(QString, path);
    QFETCH(QString, tildePath);
    QFETCH(QString, title);

    LessModel model;
    model.addNewPathToModel(path, {path + "/a.less"});
    // Records take the compression preference in force when they are added.
    const QString compress = QStringLiteral("shouldCompressCSSOutput");
    UserDefaults::standardUserDefaults()->setBool(true, compress);
    model.addLessFileToModel(path + "/a.less", path);
    UserDefaults::standardUserDefaults()->removeObjectForKey(compress);
    const PathHolder &folder = *model.pathData().at(0);
    QVERIFY(!folder.lessFiles().at(0)->shouldCompressCSSOutput());
    QVERIFY(folder.lessFiles().at(1)->shouldCompressCSSOutput());
    QCOMPARE(folder.userSelectedFullPath(), path);
    QCOMPARE(folder.userSelectedTildePath(), tildePath);
    QCOMPARE(folder.userSelectedLastPathComponent(), title);
    const QVariantMap row{{"titleString", title}, {"subtitleString", "2"}, {"iconImage", "folder"}};
    QCOMPARE(folder.valuesForTableViewCell(), row);
    QCOMPARE(folder.lessFiles().at(1)->memberOfWatchedFolder(), path);
}

void TestLessModel::foldersAreAddedOnceAndRemoved()
{
    LessModel model;
    Announcements announcements(model);
    model.addNewPathToModel(QStringLiteral("/a/site"), {"/a/site/x.less"});
    model.addNewPathToModel(QStringLiteral("/a/site"), {});
    model.addNewPathToModel(QStringLiteral("/a/SITE"), {});
    QCOMPARE(model.getAllRegisteredPaths(), (QStringList{"/a/site", "/a/SITE"}));
    QCOMPARE(announcements.take(), (QStringList{"pathsAboutToBeInserted 0 0", "pathsInserted 0 0",
                                                "pathsAboutToBeInserted 1 1", "pathsInserted 1 1"}));

    model.removePathFromModel(QStringLiteral("/A/site"));
    model.removePathFromModel(QStringLiteral("/a/SITE"));
    QCOMPARE(model.getAllRegisteredPaths(), QStringList{"/a/site"});
    QCOMPARE(announcements.take(), (QStringList{"pathsAboutToBeRemoved 1 1", "pathsRemoved 1 1"}));
}

void TestLessModel::subpaths_data()
{
    QTest::addColumn<QString>("proposed");
    QTest::addColumn<bool>("contained");
    QTest::addColumn<std::optional<QStringList>>("subpaths");

    QTest::newRow("no separator boundary") << "/A/SITE" << false
                                           << std::optional(QStringList{"/a/site", "/a/site2"});
    QTest::newRow("exact") << "/a/site2" << true << std::optional(QStringList{"/a/site2"});
    QTest::newRow("trailing slash") << "/a/site/" << false << std::optional<QStringList>();
    QTest::newRow("empty") << "" << false << std::optional<QStringList>();
}

void TestLessModel::subpaths()
{
    QFETCH(QString, proposed);
    QFETCH(bool, contained);
    QFETCH(std::optional<QStringList>, subpaths);

    LessModel model;
    for (const char *path : {"/a/site", "/a/site2", "/b"})
        model.addNewPathToModel(QLatin1StringView(path), {});
    QCOMPARE(model.modelContainsPath(proposed), contained);
    QCOMPARE(model.modelSubpathsOfProposedPath(proposed), subpaths);
}

void TestLessModel::fileQueries()
{
    LessModel model;
    model.addNewPathToModel(QStringLiteral("/w"), {"/w/a.less", "/w/b.less"});
    model.addNewPathToModel(QStringLiteral("/w/"), {"/w/a.less"});
    model.addNewPathToModel(QDir::homePath(), {QDir::homePath() + "/h.less"});
    model.pathData().at(0)->lessFiles().at(1)->setCheckboxState(false);
    const auto record = [&](int folder, int file) {
        return model.pathData().at(folder)->lessFiles().at(file).get();
    };

    QCOMPARE(model.getAllLessFilesAndIncludeIgnoredOnes(false).mid(0, 2),
             (QStringList{"/w/a.less", "/w/a.less"}));
    QCOMPARE(model.getAllLessHoldersAndIncludeIgnoredOnes(true).mid(0, 3),
             (QList<LessHolder *>{record(0, 0), record(0, 1), record(1, 0)}));
    QCOMPARE(model.getAllRegisteredLessFilesForRegisteredPaths().value("/w"),
             (QStringList{"/w/a.less", "/w/b.less"}));
    QCOMPARE(model.getLessHolderForLessFileAtPath(QStringLiteral("/W/A.LESS")), record(0, 0));
    QCOMPARE(model.getLessHolderForLessFileAtPath(QStringLiteral("~/H.less")), record(2, 0));
}

void TestLessModel::fileChanges_data()
{
    QTest::addColumn<bool>("adding");
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QString>("warning");
    QTest::addColumn<QStringList>("announced");

    // The folders differ in case only: the exact test passes for the second,
    // the search that follows, ignoring case, finds the first.
    QTest::newRow("add, exact folder, first match") << true << "/w/site/n.less" << "/w/SITE" << QString()
                                                    << FileAddedAtRow3;
    QTest::newRow("add, unknown folder")
        << true << "/w/site/n.less" << "/W/site"
        << "Tried to add the LESS file '/w/site/n.less' to model path '/W/site', but that path does not "
           "exist in the model." << QStringList();
    QTest::newRow("remove, exact folder, first match") << false << "/w/site/n.less" << "/w/SITE" << QString()
                                                       << FileRemovedAtRow1;
    QTest::newRow("remove, file ignoring case") << false << "/W/SITE/N.LESS" << "/w/site" << QString()
                                                << FileRemovedAtRow1;
    QTest::newRow("remove, tilde not expanded") << false << "~/n.less" << "/w/site" << QString()
                                                << QStringList();
    QTest::newRow("remove, unknown folder")
        << false << "/w/site/n.less" << "/W/SITE"
        << "Tried to remove the LESS file '/w/site/n.less' from model path '/W/SITE', but that path does "
           "not exist in the model." << QStringList();
}

void TestLessModel::fileChanges()
{
    QFETCH(bool, adding);
    QFETCH(QString, file);
    QFETCH(QString, folder);
    QFETCH(QString, warning);
    QFETCH(QStringList, announced);

    LessModel model;
    model.addNewPathToModel(QStringLiteral("/w/site"),
                            {"/w/site/a.less", "/w/site/n.less", QDir::homePath() + "/n.less"});
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

void TestLessModel::replacingFilesKeepsTheCountOfTheAdds()
{
    LessModel model;
    model.addNewPathToModel(QStringLiteral("/x"), {});
    model.addNewPathToModel(QStringLiteral("/w"), {"/w/a.less", "/w/b.less"});
    Announcements announcements(model);
    model.replaceLessFilesForPath(QStringLiteral("/w"), {"/w/c.less"});
    QCOMPARE(announcements.take(), (QStringList{"lessFilesAboutToBeReset 1", "lessFilesReset 1",
                                                "lessFilesAboutToBeInserted 1 0 0", "lessFilesInserted 1 0 0",
                                                "pathChanged 1 NumberOfLessFilesInPath",
                                                "pathChanged 1 ValuesForTableViewCell"}));
    QCOMPARE(model.getAllLessFilesAndIncludeIgnoredOnes(true), QStringList{"/w/c.less"});

    model.replaceLessFilesForPath(QStringLiteral("/w"), {});
    QCOMPARE(announcements.take(), (QStringList{"lessFilesAboutToBeReset 1", "lessFilesReset 1"}));
    QVERIFY(model.pathData().at(1)->lessFiles().empty());
    QCOMPARE(model.pathData().at(1)->numberOfLessFilesInPath(), 1);
    QCOMPARE(model.pathData().at(1)->valuesForTableViewCell().value("subtitleString"), "1");
}

void TestLessModel::loadedFoldersAreFollowed()
{
    auto folder = std::make_unique<PathHolder>();
    folder->addLessFileAtPath(QStringLiteral("/w/a.less"));
    folder->addLessFileAtPath(QStringLiteral("/w/b.less"));
    LessModel::PathData loaded;
    loaded.push_back(std::move(folder));

    LessModel model;
    model.addNewPathToModel(QStringLiteral("/replaced"), {});
    Announcements announcements(model);
    model.loadNewPathDataIntoModel(std::move(loaded));
    model.pathData().at(0)->lessFiles().at(1)->setShouldCompressCSSOutput(true);
    QCOMPARE(announcements.take(), (QStringList{"pathsAboutToBeReset", "pathsReset",
                                                "lessFileChanged 0 1 ShouldCompressCSSOutput"}));
    QCOMPARE(model.getAllLessFilesAndIncludeIgnoredOnes(true), (QStringList{"/w/a.less", "/w/b.less"}));
}

void TestLessModel::compilerLog()
{
    LessModel model;
    Announcements announcements(model);
    const QDateTime start = QDateTime::currentDateTime();
    for (int entry = 0; entry < 3; ++entry)
        model.addNewCompilerResultWithTime(start.addSecs(entry), QString::number(entry),
                                           StyledText(QStringLiteral("ok"), StyledText::Black));
    const CompilerResultHolder &last = model.compilerResultData().at(2);
    QCOMPARE(last.time(), start.addSecs(2));
    QCOMPARE(last.file(), QStringLiteral("2"));
    QCOMPARE(last.result().plainText(), QStringLiteral("ok"));
    model.clearCompilerResults();
    QVERIFY(model.compilerResultData().isEmpty());
    QCOMPARE(announcements.take(),
             (QStringList{"compilerResultsAboutToBeInserted 0 0", "compilerResultsInserted 0 0",
                          "compilerResultsAboutToBeInserted 1 1", "compilerResultsInserted 1 1",
                          "compilerResultsAboutToBeInserted 2 2", "compilerResultsInserted 2 2",
                          "compilerResultsAboutToBeReset", "compilerResultsReset"}));
}

QString TestLessModel::writeLessFile(const QString &name, const QByteArray &content)
{
    const QString path = m_folder.filePath(name);
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("cannot write %s", qPrintable(path));
    return path;
}

void TestLessModel::linkRefresh()
{
    const QString a = writeLessFile("site/a.less", "@import 'b';\n@import \"b.less\";\n");
    const QString b = writeLessFile("site/b.less", "@import url(c.less);\n");
    const QString c = writeLessFile("site/c.less", "@import 'c.less'; @import 'theme.css';\n"
                                                   "@import 'missing.less'; @import '../out.less';\n");
    const QString d = writeLessFile("site/d.less", "@import 'sub/../B.less'; @import 'b';\n");
    const QString out = writeLessFile("out.less", "");
    const QString site = m_folder.filePath("site");

    LessModel model;
    model.addNewPathToModel(site, {a, b, c, d});
    // The same file in a second folder: links go to the first record only.
    model.addNewPathToModel(site + "/", {b});
    model.pathData().at(0)->lessFiles().at(3)->setCheckboxState(false);
    model.pathData().at(0)->lessFiles().at(0)->setLinkedFilesToCompile({QStringLiteral("stale")});
    Announcements announcements(model);

    for (const QString &message :
         {"The file (" + c + ") has an '@import' statement (theme.css) that does not point to a valid LESS "
          "file. The statement was ignored and no link was established between the files.",
          "The file (" + c + ") imports a file that does not exist: (" + site + "/missing.less). The "
          "statement was ignored.",
          "The file (" + c + ") imports a LESS file (" + out + ") that has not been added to Cascader.app. "
          "No link was established between the files.",
          // Existence is checked on the disk's own letter case.
          "The file (" + d + ") imports a file that does not exist: (" + site + "/B.less). The statement "
          "was ignored."})
        QTest::ignoreMessage(QtWarningMsg, qUtf8Printable(message));
    model.refreshAllFileLinks();

    QVERIFY(announcements.take().isEmpty());
    QList<QStringList> links;
    for (const LessHolder *file : model.getAllLessHoldersAndIncludeIgnoredOnes(true))
        links << file->linkedFilesToCompile();
    QCOMPARE(links, (QList<QStringList>{{}, {a, a, d}, {b, c, b}, {}, {}}));
}

void TestLessModel::staleLinksAreNotApplied()
{
    const QString a = writeLessFile("stale/a.less", "@import 'b';");
    const QString b = writeLessFile("stale/b.less", "");
    const QString folder = m_folder.filePath("stale");
    LessModel model;
    model.addNewPathToModel(folder, {a, b});

    const LessModel::FileLinks links = LessModel::computeFileLinks(model.fileLinkSnapshot());
    model.removeLessFileFromModel(a, folder);
    model.addLessFileToModel(a, folder);
    QVERIFY(!model.applyFileLinks(links));
    QVERIFY(model.getLessHolderForLessFileAtPath(b)->linkedFilesToCompile().isEmpty());
    QVERIFY(model.applyFileLinks(LessModel::computeFileLinks(model.fileLinkSnapshot())));
    QCOMPARE(model.getLessHolderForLessFileAtPath(b)->linkedFilesToCompile(), QStringList{a});
}

QTEST_GUILESS_MAIN(TestLessModel)
#include "TestLessModel.moc"
