#include "AppTestSupport.h"
#include "app/AutoCompileWatchList.h"
#include "app/CSSOutputPaths.h"
#include "app/FolderRefresher.h"
#include "app/LessClientAppDelegate.h"
#include "engine/ZRMLessCompiler.h"
#include "support/PathUtils.h"
#include "support/UserDefaults.h"
#include "support/UserDefaultsKeys.h"

#include <QSignalSpy>
#include <QTemporaryDir>

#include <sys/stat.h>

using namespace AppTestSupport;

namespace {

const QString TooBroad = QStringLiteral("Select a More Specific Path: We search every folder in the path");
const QString AlreadyWatching = QStringLiteral("Path Already Included: We're already watching %1");
const QString Inside = QStringLiteral("part of a folder we're already watching: %1  \n");

QStringList engineWatches() { return ZRMLessCompiler::sharedLessCompiler()->watchedLessFiles(); }
QStringList sorted(QStringList list) { list.sort(); return list; }

} // namespace

class TestMainAppController : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void validation_data();
    void validation();
    void absorbedFoldersComeBackAsFreshRecords();
    void addsAtTheSameMomentSeeEachOther();
    void refreshFollowsTheDisk();
    void automaticCSSPaths_data();
    void automaticCSSPaths();
    void addingAFolderShowsEachStepInTurn_data();
    void addingAFolderShowsEachStepInTurn();
    void compileResultsEnterTheLog();
    void toggleDecidesAutoCompileButNotCompileAll();
    void namesThatAreNotUtf8AreReportedOnce();

private:
    // "@" is the test's folder, a leading "~" the home folder.
    QString resolved(QString path) const
    {
        path.replace(u'@', m_root->path());
        return path.startsWith(u'~') ? QDir::homePath() + path.mid(1) : path;
    }
    QStringList resolved(QStringList paths) const
    {
        for (QString &path : paths)
            path = resolved(path);
        return paths;
    }
    LessHolder *record(const QString &path) const
    {
        return m_controller->appModel()->getLessHolderForLessFileAtPath(resolved(path));
    }
    void watch(const QString &folder);

    std::unique_ptr<QTemporaryDir> m_root;
    std::unique_ptr<MainAppController> m_controller;
};

void TestMainAppController::initTestCase()
{
    LessClientAppDelegate registrar; // registers the defaults
}

void TestMainAppController::init()
{
    m_root = std::make_unique<QTemporaryDir>();
    m_controller = std::make_unique<MainAppController>(nullptr);
}

void TestMainAppController::cleanup()
{
    m_controller.reset();
    UserDefaults::standardUserDefaults()->removeObjectForKey(UserDefaultsKeys::AutoSetCustomCSSPaths);
}

void TestMainAppController::watch(const QString &folder)
{
    m_controller->appModel()->addNewPathToModel(folder, ZRMLessCompiler::getAllLessFilesInDirectory(folder));
    m_controller->watchList()->refreshAutoCompileWatchList();
    QVERIFY(waitUntilWatched(m_controller->appModel()->getAllLessFilesAndIncludeIgnoredOnes(true)));
}

void TestMainAppController::validation_data()
{
    QTest::addColumn<QStringList>("watched");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("sheet");
    QTest::addColumn<QStringList>("foldersAfter");

    const QStringList none, site{"@/site"};
    QTest::newRow("home") << none << "~" << TooBroad << none;
    QTest::newRow("/Users") << none << "/Users" << TooBroad << none;
    QTest::newRow("home's Videos") << none << "~/Videos" << TooBroad << none;
    QTest::newRow("home's Desktop") << none << "~/Desktop" << QString() << QStringList{"~/Desktop"};
    QTest::newRow("LESS file") << none << "~/Documents/a.less" << QString() << QStringList{"~/Documents"};
    QTest::newRow("upper-case extension") << none << "@/site/less/a.LESS" << QString() << QStringList{"@/site/less"};
    QTest::newRow("same folder") << site << "@/site" << AlreadyWatching.arg("@/site") << site;
    QTest::newRow("inside") << site << "@/site/less/deep" << Inside.arg("@/site") << site;
    QTest::newRow("LESS file inside") << site << "@/site/less/main.less" << Inside.arg("@/site") << site;
    QTest::newRow("ancestor test keeps case") << QStringList{"@/A/b"} << "@/a/b/c" << QString()
                                              << QStringList{"@/A/b", "@/a/b/c"};
    QTest::newRow("absorbs by path components") << QStringList{"@/a/b/c", "@/a/bc", "@/other"} << "@/a/b"
                                                << QString() << QStringList{"@/a/bc", "@/other", "@/a/b"};
    QTest::newRow("a folder whose name extends the new one stays") << QStringList{"@/x/site2"} << "@/x/site"
                                                                   << QString() << QStringList{"@/x/site2", "@/x/site"};
    QTest::newRow("another case is another folder") << QStringList{"@/A/B/C"} << "@/a/b" << QString()
                                                    << QStringList{"@/A/B/C", "@/a/b"};
    QTest::newRow("trailing slash and ..") << site << "@/site/less/../" << AlreadyWatching.arg("@/site") << site;
    QTest::newRow("too broad with a trailing slash") << none << "~/" << TooBroad << none;
}

void TestMainAppController::validation()
{
    QFETCH(QStringList, watched);
    QFETCH(QString, path);
    QFETCH(QString, sheet);
    QFETCH(QStringList, foldersAfter);

    for (const QString &folder : resolved(watched))
        m_controller->appModel()->addNewPathToModel(folder, {});
    StandardErrorCapture standardError;
    m_controller->beginValidatingPath(resolved(path));
    QVERIFY(waitUntilIdle(*m_controller));

    const QString shown = standardError.text();
    QVERIFY2(sheet.isEmpty() ? !shown.contains("Path Already Included") && !shown.contains(TooBroad)
                             : shown.contains(resolved(sheet)), qPrintable(shown));
    QCOMPARE(m_controller->appModel()->getAllRegisteredPaths(), resolved(foldersAfter));
}

// Absorbed folders come back as fresh records; /a/site2 is not under /a/site,
// and folders are where they are on disk.
void TestMainAppController::absorbedFoldersComeBackAsFreshRecords()
{
    for (const char *file : {"/a/site/x.less", "/a/site/sub/y.less", "/a/site2/z.less"})
        writeFile(m_root->path() + QLatin1String(file), "a { b: c; }\n");
    watch(resolved("@/a/site/sub"));
    watch(resolved("@/a/site2"));
    record("@/a/site/sub/y.less")->setCheckboxState(false);
    record("@/a/site/sub/y.less")->setCSSFileOutputPath(resolved("@/elsewhere"));

    m_controller->beginValidatingPath(resolved("@/a/site"));
    QVERIFY(waitUntilIdle(*m_controller));

    LessModel *model = m_controller->appModel();
    QCOMPARE(model->getAllRegisteredPaths(), resolved(QStringList{"@/a/site2", "@/a/site"}));
    QCOMPARE(sorted(model->getAllLessFilesAndIncludeIgnoredOnes(true)),
             resolved(QStringList{"@/a/site/sub/y.less", "@/a/site/x.less", "@/a/site2/z.less"}));
    QVERIFY(record("@/a/site/sub/y.less")->checkboxState());
    QCOMPARE(record("@/a/site/sub/y.less")->targetCSSFileFullPath(), resolved("@/a/site/sub/y.css"));
    QVERIFY(waitUntilWatched(resolved(QStringList{"@/a/site/x.less", "@/a/site/sub/y.less"})));
    QVERIFY(engineWatches().contains(resolved("@/a/site2/z.less")));

    // A link into a watched folder is inside it; a link to a folder above a
    // watched one takes that one in.
    QVERIFY(QFile::link(resolved("@/a/site/sub"), resolved("@/into-site")));
    QVERIFY(QFile::link(resolved("@/a"), resolved("@/above")));
    StandardErrorCapture standardError;
    m_controller->beginValidatingPath(resolved("@/into-site"));
    m_controller->beginValidatingPath(resolved("@/above"));
    QVERIFY(waitUntilIdle(*m_controller));
    QVERIFY2(standardError.text().contains(Inside.arg(resolved("@/a/site"))), qPrintable(standardError.text()));
    QCOMPARE(model->getAllRegisteredPaths(), resolved(QStringList{"@/above"}));
}

// Two drops at once: the second add's checks see the first folder.
void TestMainAppController::addsAtTheSameMomentSeeEachOther()
{
    for (const char *file : {"/p/a.less", "/p/sub/b.less"})
        writeFile(m_root->path() + QLatin1String(file), "a { b: c; }\n");
    m_controller->beginValidatingPath(resolved("@/p/sub"));
    m_controller->beginValidatingPath(resolved("@/p"));
    m_controller->beginValidatingPath(resolved("@/p/sub"));
    QVERIFY(waitUntilIdle(*m_controller));
    QCOMPARE(m_controller->appModel()->getAllRegisteredPaths(), QStringList{resolved("@/p")});
    QCOMPARE(sorted(m_controller->appModel()->getAllLessFilesAndIncludeIgnoredOnes(true)),
             resolved(QStringList{"@/p/a.less", "@/p/sub/b.less"}));
}

void TestMainAppController::refreshFollowsTheDisk()
{
    for (const char *file : {"/p/less/keep.less", "/p/less/gone.less", "/p/less/moved.less", "/q/q.less"})
        writeFile(m_root->path() + QLatin1String(file), "a { b: c; }\n");
    for (const char *folder : {"/p/out", "/p/built"})
        QVERIFY(QDir().mkpath(m_root->path() + QLatin1String(folder)));
    watch(resolved("@/p"));
    watch(resolved("@/q"));
    LessHolder *keep = record("@/p/less/keep.less");
    keep->setCSSFileOutputPath(resolved("@/p/out"));
    keep->setCheckboxState(false);
    keep->setShouldCompressCSSOutput(true);
    record("@/p/less/moved.less")->setCSSFileOutputPath(resolved("@/p/built"));

    QVERIFY(QFile::remove(resolved("@/p/less/gone.less")));
    writeFile(resolved("@/p/less/new.less"), "@import 'keep';\n");
    QVERIFY(QDir(resolved("@/p/built")).removeRecursively());
    QVERIFY(QDir().rename(resolved("@/q"), resolved("@/q-renamed")));
    QSignalSpy finished(m_controller->folderRefresher(), &FolderRefresher::refreshFinished);
    m_controller->refreshWatchedFolders();
    QVERIFY(waitUntilIdle(*m_controller));

    QCOMPARE(finished, QList<QList<QVariant>>{{true}});
    QCOMPARE(m_controller->appModel()->getAllRegisteredPaths(), QStringList{resolved("@/p")});
    QCOMPARE(sorted(m_controller->appModel()->getAllLessFilesAndIncludeIgnoredOnes(true)),
             resolved(QStringList{"@/p/less/keep.less", "@/p/less/moved.less", "@/p/less/new.less"}));
    keep = record("@/p/less/keep.less");
    QCOMPARE(keep->targetCSSFileFullPath(), resolved("@/p/out/keep.css"));
    QVERIFY(!keep->checkboxState() && keep->shouldCompressCSSOutput());
    QCOMPARE(keep->linkedFilesToCompile(), QStringList{resolved("@/p/less/new.less")});
    QCOMPARE(record("@/p/less/moved.less")->targetCSSFileFullPath(), resolved("@/p/less/moved.css"));
    QVERIFY(record("@/p/less/new.less")->checkboxState());

    QVERIFY(waitUntilWatched({resolved("@/p/less/new.less")}));
    QVERIFY(!engineWatches().contains(resolved("@/p/less/gone.less")));
    QVERIFY(engineWatches().contains(resolved("@/q/q.less")));

    // Overlapping refreshes both see a new file before either adds it.
    writeFile(resolved("@/p/extra.less"), "a { b: c; }\n");
    m_controller->folderRefresher()->fireAutoRefresh();
    m_controller->folderRefresher()->fireAutoRefresh();
    QVERIFY(waitUntilIdle(*m_controller));
    QCOMPARE(m_controller->appModel()->getAllLessFilesAndIncludeIgnoredOnes(true).size(), 4);
}

void TestMainAppController::automaticCSSPaths_data()
{
    QTest::addColumn<QString>("target");
    QTest::addColumn<bool>("cssFolderExists");
    QTest::addColumn<QString>("expected");

    QTest::newRow("default moves") << QString() << true << "@/site/css/a.css";
    QTest::newRow("no css folder") << QString() << false << "@/site/less/a.css";
    QTest::newRow("user's choice stays") << "@/elsewhere/a.css" << true << "@/elsewhere/a.css";
    QTest::newRow("default in upper case moves") << "@/site/less/A.CSS" << true << "@/site/css/a.css";
}

void TestMainAppController::automaticCSSPaths()
{
    QFETCH(QString, target);
    QFETCH(bool, cssFolderExists);
    QFETCH(QString, expected);

    writeFile(resolved(cssFolderExists ? "@/site/css/a.txt" : "@/site/less/a.less"), "");
    writeFile(resolved("@/site/less/a.less"), "a { b: c; }\n");
    watch(resolved("@/site"));
    if (!target.isEmpty())
        record("@/site/less/a.less")->setCSSFileOutputPath(resolved(target));
    m_controller->cssOutputPaths()->beginAutoSettingCSSPaths();
    QVERIFY(waitUntilIdle(*m_controller));
    QCOMPARE(record("@/site/less/a.less")->targetCSSFileFullPath(), resolved(expected));
}

void TestMainAppController::addingAFolderShowsEachStepInTurn_data()
{
    QTest::addColumn<bool>("autoSetCSSPaths");
    QTest::addColumn<QStringList>("messages");

    QTest::newRow("CSS paths as they are")
        << false << QStringList{"Validating Path...", "Looking for LESS Files...", "Linking Imported Files"};
    QTest::newRow("CSS paths set automatically")
        << true << QStringList{"Validating Path...", "Looking for LESS Files...", "Setting CSS Paths..."};
}

void TestMainAppController::addingAFolderShowsEachStepInTurn()
{
    QFETCH(bool, autoSetCSSPaths);
    QFETCH(QStringList, messages);

    UserDefaults::standardUserDefaults()->setBool(autoSetCSSPaths, UserDefaultsKeys::AutoSetCustomCSSPaths);
    writeFile(resolved("@/site/less/a.less"), "a { b: c; }\n");
    QSignalSpy started(m_controller.get(), &MainAppController::spinnerStarted);
    QSignalSpy enabled(m_controller.get(), &MainAppController::jEnableUIElementsChanged);
    m_controller->beginValidatingPath(resolved("@/site"));
    QVERIFY(!m_controller->jEnableUIElements());
    QVERIFY(waitUntilIdle(*m_controller) && m_controller->jEnableUIElements());
    QCOMPARE(enabled.size(), 2 * messages.size());

    QCOMPARE(started, (QList<QList<QVariant>>{{messages[0]}, {messages[1]}, {messages[2]}}));
    QVERIFY(waitUntilWatched({resolved("@/site/less/a.less")}));
}

void TestMainAppController::compileResultsEnterTheLog()
{
    QTemporaryDir site(QDir::homePath() + QStringLiteral("/site-XXXXXX"));
    const QString less = site.filePath(QStringLiteral("less"));
    writeFile(less + "/variables.less", "@c: #123;\n");
    writeFile(less + "/main.less", "@import 'variables';\na { color: @c; }\n");
    writeFile(less + "/broken.less", "a { color: red; }\n");
    m_controller->beginValidatingPath(site.path());
    QVERIFY(waitUntilIdle(*m_controller));
    QVERIFY(waitUntilWatched(m_controller->appModel()->getAllLessFilesAndIncludeIgnoredOnes(true)));
    m_controller->setJAutoCompileEnabled(true);

    const QList<CompilerResultHolder> &log = m_controller->appModel()->compilerResultData();
    writeFile(less + "/variables.less", "@c: #456;\n");
    QTRY_COMPARE_WITH_TIMEOUT(log.size(), 2, Timeout);
    const int mainRow = log.at(0).file().endsWith("main.less") ? 0 : 1; // compiles end in any order
    QCOMPARE(log.at(mainRow).file(), PathUtils::abbreviateWithTilde(less + "/main.less"));
    QVERIFY(log.at(mainRow).file().startsWith(QStringLiteral("~/site-")));
    const QList<StyledText::Run> importer = log.at(mainRow).result().runs();
    QCOMPARE(importer.size(), 2);
    QCOMPARE(importer.at(0).color, (RgbaColor{0, 0.573, 0, 1}));
    QCOMPARE(importer.at(1).text, QStringLiteral("  [Triggered by: variables.less]"));
    QCOMPARE(importer.at(1).color, StyledText::Grey);
    QCOMPARE(log.at(1 - mainRow).result().runs().size(), 1);
    QVERIFY(readFile(less + "/main.css").contains("#456"));
    QCOMPARE(m_controller->activeTabViewIndex(), MainAppController::CompilerLogTab);

    m_controller->setActiveTabViewIndex(0);
    writeFile(less + "/broken.less", "a { color: @missing; }\n");
    QTRY_COMPARE_WITH_TIMEOUT(log.size(), 3, Timeout);
    const StyledText error = log.constLast().result();
    QCOMPARE(error.runs().constFirst().color, StyledText::Red);
    QVERIFY2(error.plainText().contains(QStringLiteral("@missing")), qPrintable(error.plainText()));
    QCOMPARE(m_controller->activeTabViewIndex(), MainAppController::CompilerLogTab);
}

void TestMainAppController::toggleDecidesAutoCompileButNotCompileAll()
{
    writeFile(resolved("@/site/on.less"), "a { b: c; }\n");
    writeFile(resolved("@/site/off.less"), "a { b: c; }\n");
    watch(resolved("@/site"));
    record("@/site/off.less")->setCheckboxState(false);
    const auto compiles = [this](const char *file) { // looked up ignoring case
        return m_controller->compilingSettingsForLESSFileAtPath(resolved(file).toUpper())
            .value(ZRMCompilingSettingsKey::ShouldAutoCompile).toBool();
    };

    m_controller->toggleAutoCompile();
    QVERIFY(compiles("@/site/on.less") && !compiles("@/site/off.less"));
    m_controller->toggleAutoCompile();
    QVERIFY(!compiles("@/site/on.less"));
    QVERIFY(m_controller->compilingSettingsForLESSFileAtPath(resolved("@/site/new.less")).isEmpty());

    const QList<CompilerResultHolder> &log = m_controller->appModel()->compilerResultData();
    QCOMPARE(log.size(), 2);
    const auto grey = [](const char *text) {
        return StyledText(QString::fromLatin1(text), StyledText::Grey);
    };
    QCOMPARE(log.at(0).result(), grey("Auto-compile is now enabled."));
    QCOMPARE(log.at(1).result(), grey("Auto-compile is now disabled."));
    QCOMPARE(log.at(1).file(), QStringLiteral("..."));

    // Compiling all ignores the switch but not the check mark.
    m_controller->compileAllFiles();
    QVERIFY(waitUntilIdle(*m_controller));
    QCOMPARE(log.size(), 3);
    QVERIFY(QFileInfo::exists(resolved("@/site/on.css")));
    QVERIFY(!QFileInfo::exists(resolved("@/site/off.css")));
}

// A folder's new names go into one red entry, each name once per run; the
// files are left out of the project.
void TestMainAppController::namesThatAreNotUtf8AreReportedOnce()
{
    const QByteArray site = QFile::encodeName(resolved("@/site"));
    writeFile(resolved("@/site/a.less"), "a { b: c; }\n");
    writeFileNamed(site + "/bad\xff.less", "");
    QVERIFY(::mkdir(QByteArray(site + "/sub\xfe").constData(), 0755) == 0);
    writeFileNamed(site + "/sub\xfe/c.less", "");
    m_controller->beginValidatingPath(resolved("@/site"));
    QVERIFY(waitUntilIdle(*m_controller));
    m_controller->refreshWatchedFolders();
    QVERIFY(waitUntilIdle(*m_controller));
    writeFileNamed(site + "/new\xff.less", "");
    m_controller->refreshWatchedFolders();
    QVERIFY(waitUntilIdle(*m_controller));

    QCOMPARE(m_controller->appModel()->getAllLessFilesAndIncludeIgnoredOnes(true), QStringList{resolved("@/site/a.less")});
    const QList<CompilerResultHolder> &log = m_controller->appModel()->compilerResultData();
    QCOMPARE(log.size(), 2);
    const QList<QStringList> reported{{R"(bad\xFF.less)", R"(sub\xFE/c.less)"}, {R"(new\xFF.less)"}};
    for (int entry = 0; entry < 2; ++entry) {
        QStringList lines = log.at(entry).result().plainText().split(u'\n');
        QCOMPARE(lines.takeFirst(), QStringLiteral("Cascader cannot compile these LESS files: their names, or the "
                                                   "names of their folders, are not valid UTF-8. Rename them to "
                                                   "compile them:"));
        QCOMPARE(sorted(lines), reported.at(entry));
        QCOMPARE(log.at(entry).file(), PathUtils::abbreviateWithTilde(resolved("@/site")));
        QCOMPARE(log.at(entry).result().runs().constFirst().color, StyledText::Red);
    }
}

QTEST_MAIN(TestMainAppController)
#include "TestMainAppController.moc"
