#include "AppTestSupport.h"
#include "app/FolderRefresher.h"
#include "app/LessClientAppDelegate.h"
#include "model/ProjectDataFile.h"
#include "support/UserDefaults.h"
#include "support/UserDefaultsKeys.h"
#include "ui/DesktopUserInterface.h"
#include "ui/ZRMWindow.h"

#include <QApplication>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>

using namespace AppTestSupport;

namespace {

// This program, started with it and a folder, is a run that the test kills.
const QString KilledRunOption = QStringLiteral("--run-until-killed");

// Adds the folder, switches auto-compile off (it is on by default) and clears
// the file's check mark.
int runUntilKilled(const QString &folder)
{
    LessClientAppDelegate delegate;
    delegate.applicationWillFinishLaunching();
    delegate.applicationOpenFile(folder);
    const LessModel *model = delegate.appController()->appModel();
    const auto file = [&] { return model->getLessHolderForLessFileAtPath(folder + "/less/a.less"); };
    if (!QTest::qWaitFor([&] { return file(); }, Timeout))
        return 1;
    delegate.appController()->toggleAutoCompile();
    file()->chooseCheckboxState(false);
    return QCoreApplication::exec();
}

} // namespace

class TestLessClientAppDelegate : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_root = std::make_unique<QTemporaryDir>();
        writeFile(lessFile(), "a { b: c; }\n");
    }
    void cleanup()
    {
        for (QLatin1StringView key : {UserDefaultsKeys::UIMode, UserDefaultsKeys::AutoCompileEnabled,
                                      UserDefaultsKeys::BringAppToFrontOnError})
            UserDefaults::standardUserDefaults()->removeObjectForKey(key);
        UserDefaults::standardUserDefaults()->synchronize();
        QDir(QFileInfo(ProjectDataFile::pathForDataFile()).path()).removeRecursively();
    }

    void startsInTheChosenMode_data()
    {
        QTest::addColumn<bool>("menuBarMode");
        QTest::addColumn<bool>("frontOnError");
        QTest::newRow("window") << false << false;
        QTest::newRow("menu bar") << true << false;
        QTest::newRow("menu bar, forward on errors") << true << true;
    }

    // The project and the switch come back, the refresh is silent; a reopen, or a
    // compile error if the preference says so, shows the window.
    void startsInTheChosenMode()
    {
        QFETCH(bool, menuBarMode);
        QFETCH(bool, frontOnError);
        saveProject(site());
        UserDefaults *defaults = UserDefaults::standardUserDefaults();
        defaults->setBool(menuBarMode, UserDefaultsKeys::UIMode);
        defaults->setBool(false, UserDefaultsKeys::AutoCompileEnabled);
        defaults->setBool(frontOnError, UserDefaultsKeys::BringAppToFrontOnError);

        LessClientAppDelegate delegate;
        DesktopUserInterface desktop(&delegate);
        delegate.applicationWillFinishLaunching();
        MainAppController *controller = delegate.appController();
        QSignalSpy refreshed(controller->folderRefresher(), &FolderRefresher::refreshFinished);
        QTRY_VERIFY_WITH_TIMEOUT(delegate.hasFinishedLaunching(), Timeout);
        QCOMPARE(desktop.window()->isVisible(), !menuBarMode);
        QCOMPARE(controller->appModel()->getAllRegisteredPaths(), QStringList{site()});
        QVERIFY(!controller->jAutoCompileEnabled());
        QVERIFY(waitUntilWatched({lessFile()}));
        QVERIFY(waitUntilIdle(*controller));
        QCOMPARE(refreshed, QList<QList<QVariant>>{{false}});

        writeFile(lessFile(), "a { color: @missing; }\n");
        controller->compileAllFiles();
        QTRY_COMPARE_WITH_TIMEOUT(controller->appModel()->compilerResultData().size(), 1, Timeout);
        QCOMPARE(desktop.window()->isVisible(), !menuBarMode || frontOnError);
        QVERIFY(delegate.applicationShouldHandleReopen());
        QVERIFY(desktop.window()->isVisible());
    }

    // Until the project is read, a quit leaves the data file alone and an added
    // folder waits, so that loading cannot lose it.
    void requestsWaitForTheProject()
    {
        saveProject(m_root->filePath(QStringLiteral("old")));
        const QByteArray onDisk = readFile(ProjectDataFile::pathForDataFile());
        {
            LessClientAppDelegate delegate;
            delegate.applicationWillFinishLaunching();
            delegate.applicationWillTerminate();
        }
        QCOMPARE(readFile(ProjectDataFile::pathForDataFile()), onDisk);

        LessClientAppDelegate delegate;
        delegate.applicationWillFinishLaunching();
        delegate.applicationOpenFile(site());
        QTRY_VERIFY_WITH_TIMEOUT(delegate.hasFinishedLaunching(), Timeout);
        QVERIFY(waitUntilIdle(*delegate.appController()));
        // The project's folder is not on disk: it stays, missing, before the one added.
        QCOMPARE(delegate.appController()->appModel()->getAllRegisteredPaths(),
                 (QStringList{m_root->filePath(QStringLiteral("old")), site()}));
    }

    // Killed as soon as the data file shows the changes.
    void killedRunKeepsItsChanges()
    {
        QProcess run;
        run.start(QCoreApplication::applicationFilePath(), {KilledRunOption, site()});
        QTRY_VERIFY_WITH_TIMEOUT([&] {
            const ProjectDataFile::LoadResult saved = ProjectDataFile().loadDataFromDisk();
            return saved.pathData.size() == 1 && saved.pathData.at(0)->lessFiles().size() == 1
                && !saved.pathData.at(0)->lessFiles().at(0)->checkboxState();
        }(), Timeout);
        run.kill();
        QVERIFY(run.waitForFinished() && run.exitStatus() == QProcess::CrashExit);
        UserDefaults::standardUserDefaults()->synchronize(); // reads what the killed run wrote

        LessClientAppDelegate delegate;
        delegate.applicationWillFinishLaunching();
        QTRY_VERIFY_WITH_TIMEOUT(delegate.hasFinishedLaunching(), Timeout);
        MainAppController *controller = delegate.appController();
        QCOMPARE(controller->appModel()->getAllRegisteredPaths(), QStringList{site()});
        QVERIFY(!controller->appModel()->getLessHolderForLessFileAtPath(lessFile())->checkboxState());
        QVERIFY(!controller->jAutoCompileEnabled());
    }

private:
    QString site() const { return m_root->filePath(QStringLiteral("site")); }
    QString lessFile() const { return site() + "/less/a.less"; }
    void saveProject(const QString &folder)
    {
        LessModel saved;
        saved.addNewPathToModel(folder, ZRMLessCompiler::getAllLessFilesInDirectory(folder));
        QVERIFY(ProjectDataFile().saveDataToDisk(saved.pathData()));
    }

    std::unique_ptr<QTemporaryDir> m_root;
};

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    if (argc == 3 && QString::fromLocal8Bit(argv[1]) == KilledRunOption)
        return runUntilKilled(QString::fromLocal8Bit(argv[2]));
    TestLessClientAppDelegate test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}
#include "TestLessClientAppDelegate.moc"
