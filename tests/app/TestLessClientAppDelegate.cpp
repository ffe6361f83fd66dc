#include "AppTestSupport.h"
#include "app/LessClientAppDelegate.h"
#include "engine/ZRMLessCompiler.h"
#include "model/ProjectDataFile.h"
#include "support/PathUtils.h"
#include "support/UserDefaults.h"
#include "support/UserDefaultsKeys.h"
#include "ui/ZRMWindow.h"

#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <optional>

using namespace AppTestSupport;
using Mode = LessClientAppDelegate::Mode;

class TestLessClientAppDelegate : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void startsInTheChosenMode_data();
    void startsInTheChosenMode();
    void switchAndProjectSurviveARestart();
    void requestsWaitForTheProject();
    void unreadableDataFileIsLogged();

private:
    QString site() const { return m_root->filePath(QStringLiteral("site")); }

    std::unique_ptr<QTemporaryDir> m_root;
};

void TestLessClientAppDelegate::init()
{
    m_root = std::make_unique<QTemporaryDir>();
    writeFile(site() + "/less/a.less", "a { b: c; }\n");
}

void TestLessClientAppDelegate::cleanup()
{
    for (QLatin1StringView key : {UserDefaultsKeys::UIMode, UserDefaultsKeys::AutoCompileEnabled,
                                  UserDefaultsKeys::BringAppToFrontOnError})
        UserDefaults::standardUserDefaults()->removeObjectForKey(key);
    QDir(QFileInfo(ProjectDataFile::pathForDataFile()).path()).removeRecursively();
}

void TestLessClientAppDelegate::startsInTheChosenMode_data()
{
    QTest::addColumn<bool>("menuBarMode");
    QTest::addColumn<bool>("frontOnError");
    QTest::newRow("window") << false << false;
    QTest::newRow("menu bar") << true << false;
    QTest::newRow("menu bar, forward on errors") << true << true;
}

// Either way the project and the switch come back and the files are watched;
// a reopen request, or a compile error if the preference says so, shows the window.
void TestLessClientAppDelegate::startsInTheChosenMode()
{
    QFETCH(bool, menuBarMode);
    QFETCH(bool, frontOnError);

    LessModel saved;
    saved.addNewPathToModel(site(), ZRMLessCompiler::getAllLessFilesInDirectory(site()));
    QVERIFY(ProjectDataFile().saveDataToDisk(saved.pathData()));
    UserDefaults *defaults = UserDefaults::standardUserDefaults();
    defaults->setBool(menuBarMode, UserDefaultsKeys::UIMode);
    defaults->setBool(false, UserDefaultsKeys::AutoCompileEnabled);
    defaults->setBool(frontOnError, UserDefaultsKeys::BringAppToFrontOnError);

    LessClientAppDelegate delegate(Mode::Window);
    delegate.applicationWillFinishLaunching();
    MainAppController *controller = delegate.appController();
    QSignalSpy refreshed(controller, &MainAppController::refreshFinished);
    QTRY_VERIFY_WITH_TIMEOUT(delegate.hasFinishedLaunching(), Timeout);
    QVERIFY(controller->hasWindow());
    QCOMPARE(controller->window()->isVisible(), !menuBarMode);
    QCOMPARE(controller->appModel()->getAllRegisteredPaths(), QStringList{site()});
    QVERIFY(!controller->jAutoCompileEnabled());
    QVERIFY(waitUntilWatched({site() + "/less/a.less"}));
    // The silent refresh: no overlay.
    QVERIFY(waitUntilIdle(*controller));
    QCOMPARE(refreshed.size(), 1);
    QCOMPARE(refreshed.constFirst().constFirst().toBool(), false);

    writeFile(site() + "/less/a.less", "a { color: @missing; }\n");
    controller->compileAllFiles();
    QTRY_COMPARE_WITH_TIMEOUT(controller->appModel()->compilerResultData().size(), 1, Timeout);
    QCOMPARE(controller->window()->isVisible(), !menuBarMode || frontOnError);

    QVERIFY(delegate.applicationShouldHandleReopen());
    QVERIFY(controller->window()->isVisible());
}

void TestLessClientAppDelegate::switchAndProjectSurviveARestart()
{
    const auto run = [](std::optional<bool> autoCompile, const auto &whileRunning) {
        LessClientAppDelegate delegate(Mode::Headless);
        delegate.applicationWillFinishLaunching(autoCompile);
        QTRY_VERIFY_WITH_TIMEOUT(delegate.hasFinishedLaunching(), Timeout);
        whileRunning(*delegate.appController(), delegate);
        QVERIFY(waitUntilIdle(*delegate.appController()));
        delegate.applicationWillTerminate();
    };
    run(std::nullopt, [this](MainAppController &controller, LessClientAppDelegate &delegate) {
        QVERIFY(controller.jAutoCompileEnabled());
        QVERIFY(delegate.applicationOpenFile(site()));
        QVERIFY(waitUntilIdle(controller));
        controller.toggleAutoCompile();
    });
    run(std::nullopt, [this](MainAppController &controller, LessClientAppDelegate &) {
        QCOMPARE(controller.appModel()->getAllRegisteredPaths(), QStringList{site()});
        QVERIFY(!controller.jAutoCompileEnabled());
    });
    // A switch from the command line holds for its run only.
    run(true, [](MainAppController &controller, LessClientAppDelegate &) {
        QVERIFY(controller.jAutoCompileEnabled());
    });
    run(std::nullopt, [](MainAppController &controller, LessClientAppDelegate &) {
        QVERIFY(!controller.jAutoCompileEnabled());
    });
}

// The project is read off the GUI thread; until it is in, a quit leaves the
// data file alone and an added folder waits, so that the project cannot lose it.
void TestLessClientAppDelegate::requestsWaitForTheProject()
{
    LessModel saved;
    saved.addNewPathToModel(m_root->filePath(QStringLiteral("old")), {});
    QVERIFY(ProjectDataFile().saveDataToDisk(saved.pathData()));
    const QByteArray onDisk = readFile(ProjectDataFile::pathForDataFile());
    {
        LessClientAppDelegate delegate(Mode::Headless);
        delegate.applicationWillFinishLaunching();
        delegate.applicationWillTerminate();
    }
    QCOMPARE(readFile(ProjectDataFile::pathForDataFile()), onDisk);

    LessClientAppDelegate delegate(Mode::Headless);
    delegate.applicationWillFinishLaunching();
    delegate.applicationOpenFile(site());
    QTRY_VERIFY_WITH_TIMEOUT(delegate.hasFinishedLaunching(), Timeout);
    QVERIFY(waitUntilIdle(*delegate.appController()));
    QCOMPARE(delegate.appController()->appModel()->getAllRegisteredPaths(),
             QStringList{site()});
}

void TestLessClientAppDelegate::unreadableDataFileIsLogged()
{
    const QString dataFile = ProjectDataFile::pathForDataFile();
    writeFile(dataFile, "{ \"appModelPathData\": [");
    QTest::ignoreMessage(QtWarningMsg,
                         QRegularExpression(QStringLiteral("Could not read the project data file")));

    LessClientAppDelegate delegate(Mode::Headless);
    delegate.applicationWillFinishLaunching();
    QTRY_VERIFY_WITH_TIMEOUT(delegate.hasFinishedLaunching(), Timeout);
    const LessModel *model = delegate.appController()->appModel();
    QCOMPARE(model->numberOfPathsInModel(), 0);
    QCOMPARE(model->compilerResultData().size(), 1);
    const CompilerResultHolder entry = model->compilerResultData().constFirst();
    QCOMPARE(entry.file(), PathUtils::abbreviateWithTilde(dataFile));
    QVERIFY2(entry.result().plainText().contains(QStringLiteral("it is not valid JSON")),
             qPrintable(entry.result().plainText()));
    QCOMPARE(entry.result().runs().constFirst().color, StyledText::Grey);
}

QTEST_MAIN(TestLessClientAppDelegate)
#include "TestLessClientAppDelegate.moc"
