#include "app/AppTestSupport.h"
#include "app/LessClientAppDelegate.h"
#include "services/GrowlHelper.h"
#include "support/UserDefaults.h"
#include "support/UserDefaultsKeys.h"
#include "ui/DesktopUserInterface.h"
#include "ui/MainMenuController.h"
#include "ui/ZRMWindow.h"

#include <QMenu>
#include <QProcess>
#include <QStandardPaths>
#include <QSystemTrayIcon>
#include <QTemporaryDir>
#include <QTemporaryFile>

using namespace AppTestSupport;

class TestMainMenuControllerDesktop : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup() { UserDefaults::standardUserDefaults()->removeObjectForKey(UserDefaultsKeys::UIMode); }
    void trayMode();
    void compileNotificationReachesDunst();
};

void TestMainMenuControllerDesktop::initTestCase()
{
    if (QGuiApplication::platformName() != u"xcb")
        QSKIP("Needs run-with-tray with Xvfb and trayer (Debian packages xvfb and trayer).");
}

// The window stays hidden until the tray icon's menu or a click on the icon asks for it.
void TestMainMenuControllerDesktop::trayMode()
{
    UserDefaults::standardUserDefaults()->setBool(true, UserDefaultsKeys::UIMode);
    LessClientAppDelegate delegate;
    DesktopUserInterface desktop(&delegate);
    delegate.applicationWillFinishLaunching();
    QTRY_VERIFY_WITH_TIMEOUT(delegate.hasFinishedLaunching(), Timeout);
    ZRMWindow *window = desktop.window();
    QVERIFY(!window->isVisible());

    QTRY_VERIFY_WITH_TIMEOUT(QSystemTrayIcon::isSystemTrayAvailable(), 10000);
    QSystemTrayIcon *statusItem = desktop.menuController()->statusItem();
    QVERIFY(statusItem && statusItem->isVisible() && !statusItem->icon().isNull());
    QTRY_VERIFY(!statusItem->geometry().isEmpty());
    QStringList items;
    for (const QAction *action : statusItem->contextMenu()->actions())
        items << action->text().remove(u'&');
    QCOMPARE(items, QStringList({"Show Window", "", "Preferences…", "About Cascader", "Cascader Help",
                                 "Check for Updates…", "", "Quit Cascader"}));

    statusItem->contextMenu()->actions().constFirst()->trigger();
    QTRY_VERIFY(window->isVisible());
    window->close();
    QVERIFY(!window->isVisible());
    Q_EMIT statusItem->activated(QSystemTrayIcon::Trigger);
    QTRY_VERIFY(window->isVisible());
}

// A compile in window mode, end to end, up to a real notification daemon.
void TestMainMenuControllerDesktop::compileNotificationReachesDunst()
{
    if (QStandardPaths::findExecutable("dunst").isEmpty())
        QSKIP("Needs dunst (Debian package dunst).");
    QTemporaryFile config;
    QVERIFY(config.open() && config.write("[global]\n") && config.flush());
    QProcess dunst;
    dunst.start("dunst", {"-print", "-config", config.fileName()});

    QTemporaryDir site;
    writeFile(site.filePath("less/style.less"), "@c: #123; a { color: @c; }\n");
    LessClientAppDelegate delegate;
    DesktopUserInterface desktop(&delegate);
    delegate.applicationWillFinishLaunching();
    QTRY_VERIFY_WITH_TIMEOUT(delegate.hasFinishedLaunching(), Timeout);
    QTRY_VERIFY_WITH_TIMEOUT(!delegate.growler()->jGrowlNotifications().isEmpty(), 20000);
    delegate.applicationOpenFile(site.path());
    QVERIFY(waitUntilIdle(*delegate.appController()));
    delegate.appController()->compileAllFiles();

    QByteArray printed;
    QTRY_VERIFY_WITH_TIMEOUT((printed += dunst.readAllStandardOutput()).contains("Successfully compiled style.less."),
                             Timeout);
    QVERIFY2(printed.contains("summary: 'Compiler Success'"), printed.constData());
    dunst.terminate();
    QVERIFY(dunst.waitForFinished());
}

QTEST_MAIN(TestMainMenuControllerDesktop)
#include "TestMainMenuControllerDesktop.moc"
