#include "AppTestSupport.h"
#include "app/LessClientAppDelegate.h"
#include "engine/ZRMLessCompiler.h"
#include "support/PathUtils.h"
#include "support/UserDefaults.h"
#include "support/UserDefaultsKeys.h"
#include "ui/ZRMWindow.h"

#include <QFileDialog>
#include <QPointer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <memory>

using namespace AppTestSupport;

namespace {

const QString TooBroad = QStringLiteral(
    "Select a More Specific Path: We search every folder in the path you select. As a result, choosing a "
    "folder with too many subpaths can significantly reduce performance. Choose a more specific path. (A "
    "good example would be '/Users/username/Documents/Clients/Some Client'.)");
const QString AlreadyWatching = QStringLiteral("Path Already Included: We're already watching %1");
const QString Inside = QStringLiteral(
    "Path Already Included: The path you selected is part of a folder we're already watching: %1  \n \n As "
    "a result, there's no need to add it.");
constexpr RgbaColor SuccessGreen{0, 0.573, 0, 1};

ZRMLessCompiler *engine()
{
    return ZRMLessCompiler::sharedLessCompiler();
}

QStringList sorted(QStringList list)
{
    list.sort();
    return list;
}

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
    void refreshFollowsTheDisk();
    void overlappingRefreshesAddAFileOnce();
    void unwatchedBeforeItsTurnStaysUnwatched();
    void automaticCSSPaths_data();
    void automaticCSSPaths();
    void addingAFolderShowsEachStepInTurn_data();
    void addingAFolderShowsEachStepInTurn();
    void addPanelTakesAFolderOrALessFile_data();
    void addPanelTakesAFolderOrALessFile();
    void compileResultsEnterTheLog();
    void togglingAutoCompileDecidesAndIsLogged();
    void compileAllIgnoresTheSwitch();
    void refreshTimerFollowsThePreference();

private:
    // "@" stands for the test's folder, a leading "~" for the home folder.
    QString resolved(const QString &path) const;
    QStringList resolved(const QStringList &paths) const;
    void watch(const QString &folder);
    LessHolder *record(const QString &path) const;

    std::unique_ptr<QTemporaryDir> m_root;
    std::unique_ptr<MainAppController> m_controller;
};

void TestMainAppController::initTestCase()
{
    // Registers the defaults from the resources copied next to the build.
    LessClientAppDelegate registrar(LessClientAppDelegate::Mode::Headless);
    QCOMPARE(UserDefaults::standardUserDefaults()->integerForKey(UserDefaultsKeys::RefreshInterval), 5);
}

void TestMainAppController::init()
{
    m_root = std::make_unique<QTemporaryDir>();
    QVERIFY(m_root->isValid());
    m_controller = std::make_unique<MainAppController>(nullptr);
}

void TestMainAppController::cleanup()
{
    m_controller.reset();
    for (QLatin1StringView key : {UserDefaultsKeys::AutoSetCustomCSSPaths, UserDefaultsKeys::RefreshInterval})
        UserDefaults::standardUserDefaults()->removeObjectForKey(key);
}

QString TestMainAppController::resolved(const QString &path) const
{
    QString result = path;
    result.replace(u'@', m_root->path());
    return result.startsWith(u'~') ? QDir::homePath() + result.mid(1) : result;
}

QStringList TestMainAppController::resolved(const QStringList &paths) const
{
    QStringList result;
    for (const QString &path : paths)
        result << resolved(path);
    return result;
}

void TestMainAppController::watch(const QString &folder)
{
    m_controller->appModel()->addNewPathToModel(folder, ZRMLessCompiler::getAllLessFilesInDirectory(folder));
    m_controller->refreshAutoCompileWatchList();
    QVERIFY(waitUntilWatched(m_controller->appModel()->getAllLessFilesAndIncludeIgnoredOnes(true)));
}

LessHolder *TestMainAppController::record(const QString &path) const
{
    return m_controller->appModel()->getLessHolderForLessFileAtPath(resolved(path));
}

void TestMainAppController::validation_data()
{
    QTest::addColumn<QStringList>("watched");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("sheet");
    QTest::addColumn<QStringList>("foldersAfter");

    const QStringList none;
    QTest::newRow("home") << none << "~" << TooBroad << none;
    QTest::newRow("/home") << none << "/home" << TooBroad << none;
    QTest::newRow("/Users") << none << "/Users" << TooBroad << none;
    QTest::newRow("home's Videos") << none << "~/Videos" << TooBroad << none;
    QTest::newRow("trailing slash") << none << "/Users/" << QString() << QStringList{"/Users/"};
    QTest::newRow("home's Desktop") << none << "~/Desktop" << QString() << QStringList{"~/Desktop"};
    QTest::newRow("LESS file in Documents") << none << "~/Documents/a.less" << QString()
                                            << QStringList{"~/Documents"};
    QTest::newRow("upper-case extension") << none << "@/site/less/main.LESS" << QString()
                                          << QStringList{"@/site/less"};
    QTest::newRow("folder named like a file") << none << "@/site/theme.less" << QString()
                                              << QStringList{"@/site"};
    QTest::newRow("same folder") << QStringList{"@/site"} << "@/site" << AlreadyWatching.arg("@/site")
                                 << QStringList{"@/site"};
    QTest::newRow("inside") << QStringList{"@/site"} << "@/site/less/deep" << Inside.arg("@/site")
                            << QStringList{"@/site"};
    QTest::newRow("LESS file inside") << QStringList{"@/site"} << "@/site/less/main.less"
                                      << Inside.arg("@/site") << QStringList{"@/site"};
    QTest::newRow("root watched") << QStringList{"/"} << "@/x" << Inside.arg("/") << QStringList{"/"};
    QTest::newRow("ancestor test keeps case") << QStringList{"@/A/b"} << "@/a/b/c" << QString()
                                              << QStringList{"@/A/b", "@/a/b/c"};
    QTest::newRow("absorbs by text") << QStringList{"@/a/b/c", "@/a/bc", "@/other"} << "@/a/b" << QString()
                                     << QStringList{"@/other", "@/a/b"};
    QTest::newRow("absorbs ignoring case") << QStringList{"@/A/B/C"} << "@/a/b" << QString()
                                           << QStringList{"@/a/b"};
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

    if (sheet.isEmpty())
        QVERIFY(!standardError.text().contains(QStringLiteral("Select a More Specific Path"))
                && !standardError.text().contains(QStringLiteral("Path Already Included")));
    else
        QVERIFY2(standardError.text().contains(resolved(sheet)), qPrintable(standardError.text()));
    QCOMPARE(m_controller->appModel()->getAllRegisteredPaths(), resolved(foldersAfter));
}

// Absorbed folders lose their records and watches; what lies beneath the new
// folder comes back fresh, and a textual sibling is dropped from the project.
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
    QCOMPARE(model->getAllRegisteredPaths(), QStringList{resolved("@/a/site")});
    QCOMPARE(sorted(model->getAllLessFilesAndIncludeIgnoredOnes(true)),
             resolved(QStringList{"@/a/site/sub/y.less", "@/a/site/x.less"}));
    QVERIFY(record("@/a/site/sub/y.less")->checkboxState());
    QCOMPARE(record("@/a/site/sub/y.less")->targetCSSFileFullPath(), resolved("@/a/site/sub/y.css"));
    QVERIFY(waitUntilWatched(resolved(QStringList{"@/a/site/x.less", "@/a/site/sub/y.less"})));
    QVERIFY(!engine()->watchedLessFiles().contains(resolved("@/a/site2/z.less")));
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
    QSignalSpy finished(m_controller.get(), &MainAppController::refreshFinished);
    m_controller->refreshWatchedFolders();
    QVERIFY(waitUntilIdle(*m_controller));

    QCOMPARE(finished.size(), 1);
    QCOMPARE(finished.constFirst().constFirst().toBool(), true);
    QCOMPARE(m_controller->appModel()->getAllRegisteredPaths(), QStringList{resolved("@/p")});
    QCOMPARE(sorted(m_controller->appModel()->getAllLessFilesAndIncludeIgnoredOnes(true)),
             resolved(QStringList{"@/p/less/keep.less", "@/p/less/moved.less", "@/p/less/new.less"}));
    keep = record("@/p/less/keep.less");
    QCOMPARE(keep->targetCSSFileFullPath(), resolved("@/p/out/keep.css"));
    QVERIFY(!keep->checkboxState());
    QVERIFY(keep->shouldCompressCSSOutput());
    QCOMPARE(keep->linkedFilesToCompile(), QStringList{resolved("@/p/less/new.less")});
    QCOMPARE(record("@/p/less/moved.less")->targetCSSFileFullPath(), resolved("@/p/less/moved.css"));
    QVERIFY(record("@/p/less/new.less")->checkboxState());

    QVERIFY(waitUntilWatched({resolved("@/p/less/new.less")}));
    const QStringList watched = engine()->watchedLessFiles();
    QVERIFY(!watched.contains(resolved("@/p/less/gone.less")));
    // A vanished folder's files are not unwatched by the refresh.
    QVERIFY(watched.contains(resolved("@/q/q.less")));
}

// Both refreshes see the new file before either has added it.
void TestMainAppController::overlappingRefreshesAddAFileOnce()
{
    writeFile(resolved("@/p/a.less"), "a { b: c; }\n");
    watch(resolved("@/p"));
    writeFile(resolved("@/p/b.less"), "a { b: c; }\n");
    m_controller->fireAutoRefresh();
    m_controller->fireAutoRefresh();
    QVERIFY(waitUntilIdle(*m_controller));
    QCOMPARE(m_controller->appModel()->getAllLessFilesAndIncludeIgnoredOnes(true).size(), 2);
}

// Beyond the first slice, watches are handed over later; a file taken off the
// list before its turn stays off.
void TestMainAppController::unwatchedBeforeItsTurnStaysUnwatched()
{
    QStringList files;
    for (int file = 0; file < 250; ++file) {
        files << resolved(QStringLiteral("@/site/%1.less").arg(file));
        writeFile(files.constLast(), "a { b: c; }\n");
    }
    m_controller->addLessFilesToAutoCompileList(files);
    m_controller->removeLessFilesFromAutoCompileList({files.at(240)});
    QVERIFY(waitUntilWatched({files.constLast()}));
    QVERIFY(!engine()->watchedLessFiles().contains(files.at(240)));
    m_controller->removeLessFilesFromAutoCompileList(files);
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

    writeFile(resolved("@/site/less/a.less"), "a { b: c; }\n");
    if (cssFolderExists)
        QVERIFY(QDir().mkpath(resolved("@/site/css")));
    watch(resolved("@/site"));
    if (!target.isEmpty())
        record("@/site/less/a.less")->setCSSFileOutputPath(resolved(target));
    m_controller->beginAutoSettingCSSPaths();
    QVERIFY(waitUntilIdle(*m_controller));
    QCOMPARE(record("@/site/less/a.less")->targetCSSFileFullPath(), resolved(expected));
}

void TestMainAppController::addingAFolderShowsEachStepInTurn_data()
{
    QTest::addColumn<bool>("autoSetCSSPaths");
    QTest::addColumn<QStringList>("messages");

    // Each step shows its message once the previous one is done; a step that
    // starts while another holds the spinner keeps the first message.
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
    QVERIFY(waitUntilIdle(*m_controller));
    QVERIFY(m_controller->jEnableUIElements());
    QCOMPARE(enabled.size(), 2 * messages.size());

    QStringList shown;
    for (const QList<QVariant> &arguments : started)
        shown << arguments.constFirst().toString();
    QCOMPARE(shown, messages);
    QVERIFY(waitUntilWatched({resolved("@/site/less/a.less")}));
}

void TestMainAppController::addPanelTakesAFolderOrALessFile_data()
{
    QTest::addColumn<QString>("chosen");
    QTest::addColumn<QString>("folder");
    QTest::newRow("folder") << "@/site" << "@/site";
    QTest::newRow("LESS file") << "@/site/less/main.less" << "@/site/less";
}

void TestMainAppController::addPanelTakesAFolderOrALessFile()
{
    QFETCH(QString, chosen);
    QFETCH(QString, folder);

    writeFile(resolved("@/site/less/main.less"), "a { b: c; }\n");
    m_controller->choosePath();
    const QPointer<QFileDialog> panel = m_controller->window()->findChild<QFileDialog *>();
    QVERIFY(panel && panel->isVisible());
    QCOMPARE(panel->windowTitle(), QStringLiteral("Choose a folder to add:"));
    QCOMPARE(panel->labelText(QFileDialog::Accept), QStringLiteral("Add"));
    QCOMPARE(panel->windowModality(), Qt::WindowModal);

    panel->setDirectory(PathUtils::deletingLastPathComponent(resolved(chosen)));
    panel->selectFile(resolved(chosen));
    static_cast<QDialog *>(panel.data())->accept();
    QVERIFY(waitUntilIdle(*m_controller));
    QCOMPARE(m_controller->appModel()->getAllRegisteredPaths(), QStringList{resolved(folder)});
    QTRY_VERIFY(panel.isNull());
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
    const auto entryFor = [&log](const QString &file) {
        const auto found = std::find_if(log.cbegin(), log.cend(), [&](const auto &entry) {
            return PathUtils::expandTilde(entry.file()) == file;
        });
        return found == log.cend() ? CompilerResultHolder() : *found;
    };
    writeFile(less + "/variables.less", "@c: #456;\n");
    QTRY_COMPARE_WITH_TIMEOUT(log.size(), 2, Timeout);
    QVERIFY(entryFor(less + "/main.less").file().startsWith(QStringLiteral("~/site-")));
    const QList<StyledText::Run> importer = entryFor(less + "/main.less").result().runs();
    QCOMPARE(importer.size(), 2);
    QCOMPARE(importer.at(0).color, SuccessGreen);
    QCOMPARE(importer.at(1).text, QStringLiteral("  [Triggered by: variables.less]"));
    QCOMPARE(importer.at(1).color, StyledText::Grey);
    QCOMPARE(importer.at(1).pointSize, 11.0);
    QCOMPARE(entryFor(less + "/variables.less").result().runs().size(), 1);
    QVERIFY(readFile(less + "/main.css").contains("#456"));
    QCOMPARE(m_controller->activeTabViewIndex(), MainAppController::CompilerLogTab);

    m_controller->setActiveTabViewIndex(0);
    writeFile(less + "/broken.less", "a { color: @missing; }\n");
    QTRY_COMPARE_WITH_TIMEOUT(log.size(), 3, Timeout);
    const StyledText error = log.constLast().result();
    QCOMPARE(error.runs().constFirst().color, StyledText::Red);
    QVERIFY2(error.plainText().contains(QStringLiteral("@missing")), qPrintable(error.plainText()));
    QCOMPARE(m_controller->activeTabViewIndex(), MainAppController::CompilerLogTab);
    QCOMPARE(m_controller->spinnerCount(), 0);
}

// Every file stays watched; the settings the engine asks for decide whether a
// change compiles.
void TestMainAppController::togglingAutoCompileDecidesAndIsLogged()
{
    writeFile(resolved("@/site/on.less"), "a { b: c; }\n");
    writeFile(resolved("@/site/off.less"), "a { b: c; }\n");
    watch(resolved("@/site"));
    record("@/site/off.less")->setCheckboxState(false);
    const auto compiles = [this](const char *file) {
        // Looked up ignoring case, as the engine may report another spelling.
        const QString path = resolved(file).toUpper();
        return m_controller->compilingSettingsForLESSFileAtPath(path)
            .value(ZRMCompilingSettingsKey::ShouldAutoCompile)
            .toBool();
    };

    m_controller->toggleAutoCompile();
    QVERIFY(compiles("@/site/on.less"));
    QVERIFY(!compiles("@/site/off.less"));
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
}

void TestMainAppController::compileAllIgnoresTheSwitch()
{
    writeFile(resolved("@/site/on.less"), "a { b: c; }\n");
    writeFile(resolved("@/site/off.less"), "a { b: c; }\n");
    watch(resolved("@/site"));
    record("@/site/off.less")->setCheckboxState(false);
    m_controller->setJAutoCompileEnabled(false);

    m_controller->compileAllFiles();
    QVERIFY(waitUntilIdle(*m_controller));
    QCOMPARE(m_controller->appModel()->compilerResultData().size(), 1);
    QVERIFY(QFileInfo::exists(resolved("@/site/on.css")));
    QVERIFY(!QFileInfo::exists(resolved("@/site/off.css")));
}

void TestMainAppController::refreshTimerFollowsThePreference()
{
    const auto timer = [this]() -> QTimer * {
        for (QTimer *timer : m_controller->findChildren<QTimer *>(Qt::FindDirectChildrenOnly)) {
            if (timer->interval() > 0)
                return timer;
        }
        return nullptr;
    };
    QVERIFY(timer() && timer()->isActive());
    QCOMPARE(timer()->interval(), 5 * 60 * 1000);

    UserDefaults::standardUserDefaults()->setInteger(20, UserDefaultsKeys::RefreshInterval);
    QVERIFY(!timer());
    UserDefaults::standardUserDefaults()->setInteger(1, UserDefaultsKeys::RefreshInterval);
    QCOMPARE(timer()->interval(), 60 * 1000);

    // The refresh button starts the period again.
    const QPointer<QTimer> before = timer();
    m_controller->handlePathButtons(2);
    QVERIFY(before.isNull());
    QVERIFY(timer()->isActive());
    QVERIFY(waitUntilIdle(*m_controller));
}

QTEST_MAIN(TestMainAppController)
#include "TestMainAppController.moc"
