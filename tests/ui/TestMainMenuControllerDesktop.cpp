#include "app/AppTestSupport.h"
#include "app/LessClientAppDelegate.h"
#include "support/UserDefaults.h"
#include "support/UserDefaultsKeys.h"
#include "ui/DesktopUserInterface.h"
#include "ui/MainMenuController.h"
#include "ui/ZRMWindow.h"

#include <QMenu>
#include <QSystemTrayIcon>

using namespace AppTestSupport;

class TestMainMenuControllerDesktop : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        if (QGuiApplication::platformName() != u"xcb")
            QSKIP("Needs run-with-tray with Xvfb and trayer (Debian packages xvfb and trayer).");
    }

    void cleanup() { UserDefaults::standardUserDefaults()->removeObjectForKey(UserDefaultsKeys::UIMode); }

    // The window stays hidden until the tray icon's menu or a click on the icon asks for it.
    void trayMode()
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
};

QTEST_MAIN(TestMainMenuControllerDesktop)
#include "TestMainMenuControllerDesktop.moc"
