#include "app/AppTestSupport.h"
#include "services/FeedServer.h"
#include "app/LessClientAppDelegate.h"
#include "support/BundleInfo.h"
#include "support/UserDefaults.h"
#include "support/UserDefaultsKeys.h"
#include "ui/AboutWindowController.h"
#include "ui/DesktopUserInterface.h"
#include "ui/MainMenuController.h"
#include "ui/PreferencesController.h"
#include "ui/ZRMWindow.h"

#include <QAbstractButton>
#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QSignalSpy>
#include <QSlider>

using AppTestSupport::Timeout;

namespace {

QByteArray feed(const QByteArray &version, const QByteArray &build)
{
    return "{\"latestVersion\": \"" + version + "\", \"latestBuild\": \"" + build + "\"}";
}

QMessageBox *openMessageBox()
{
    for (QWidget *window : QApplication::topLevelWidgets()) {
        if (auto *box = qobject_cast<QMessageBox *>(window); box && box->isVisible())
            return box;
    }
    return nullptr;
}

} // namespace

class TestMainMenuController : public QObject
{
    Q_OBJECT

    void start(bool updateAtStartup = false)
    {
        UserDefaults::standardUserDefaults()->setBool(updateAtStartup, UserDefaultsKeys::UpdateAtStartup);
        m_delegate = std::make_unique<LessClientAppDelegate>();
        m_desktop = std::make_unique<DesktopUserInterface>(m_delegate.get());
        m_server->clock.start();
        m_delegate->applicationWillFinishLaunching();
        QTRY_VERIFY_WITH_TIMEOUT(m_delegate->hasFinishedLaunching(), Timeout);
        QVERIFY(AppTestSupport::waitUntilIdle(*controller()));
    }

    MainMenuController *menu() const { return m_desktop->menuController(); }
    MainAppController *controller() const { return m_delegate->appController(); }

    std::unique_ptr<FeedServer> m_server;
    std::unique_ptr<LessClientAppDelegate> m_delegate;
    std::unique_ptr<DesktopUserInterface> m_desktop;

private Q_SLOTS:
    void init()
    {
        m_server = std::make_unique<FeedServer>();
        UserDefaults::standardUserDefaults()->setObject(m_server->url().toString(), UserDefaultsKeys::UpdateFeedURL);
    }

    void cleanup()
    {
        while (QMessageBox *box = openMessageBox())
            box->close();
        m_desktop.reset();
        m_delegate.reset();
        for (QLatin1StringView key : {UserDefaultsKeys::UpdateFeedURL, UserDefaultsKeys::UpdateAtStartup,
                                      UserDefaultsKeys::RefreshInterval, UserDefaultsKeys::UIMode,
                                      UserDefaultsKeys::SkippedFolders})
            UserDefaults::standardUserDefaults()->removeObjectForKey(key);
    }

    void updateCheck_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<bool>("atStartup");
        QTest::addColumn<QStringList>("shown"); // title, message, buttons; empty when silent

        const QString update = QStringLiteral(
            "You're running Cascader 1.0.0 (Build 406). The latest version is %1 (Build %2). Would you like to "
            "visit the website to download it now?");
        const QString updateTitle = QStringLiteral("An App Update is Available");
        const QString failed = QStringLiteral("Could Not Check For Updates");

        QTest::newRow("99 orders after 406")
            << feed("0.9", "99") << false << QStringList{updateTitle, update.arg("0.9", "99"), "Yes", "No"};
        QTest::newRow("same")
            << feed("1.0", "406") << false
            << QStringList{"No Updates Available", "You're running the latest version of Cascader!", "Awesome"};
        QTest::newRow("same, at start-up") << feed("1.0", "406") << true << QStringList();
        QTest::newRow("1000 orders before 406")
            << feed("2.0", "1000") << false
            << QStringList{"Keeping Up With The Fenwicks, eh?",
                           "You're running a version of Cascader that's NEWER than the one online.", "Incredible"};
        QTest::newRow("HTML, at start-up") << QByteArray("<html></html>") << true << QStringList();
        QTest::newRow("HTML") << QByteArray("<html><body>Busy</body></html>") << false
                              << QStringList{failed,
                                             "The update server did not respond or the data it sent was malformed. "
                                             "It may be down or busy so please try again later.",
                                             "OK"};
    }

    // Every outcome lowers the spinner; failures are window-modal sheets, the rest free-standing alerts.
    void updateCheck()
    {
        QFETCH(QByteArray, body);
        QFETCH(bool, atStartup);
        QFETCH(QStringList, shown);
        m_server->response = httpResponse("200 OK", body);
        start();
        QSignalSpy spinner(controller(), &MainAppController::spinnerStarted);
        atStartup ? menu()->checkForApplicationUpdatesAtStartup() : menu()->checkForApplicationUpdates();
        QCOMPARE(spinner.size(), 1);
        QCOMPARE(spinner.constFirst().constFirst(), "Checking for Updates");
        QTRY_COMPARE_WITH_TIMEOUT(controller()->spinnerCount(), 0, Timeout);
        QCOMPARE(m_server->requestTimes.size(), 1);

        QMessageBox *box = openMessageBox();
        QCOMPARE(box != nullptr, !shown.isEmpty());
        if (!box)
            return;
        QStringList texts{box->text(), box->informativeText()};
        for (const QAbstractButton *button : box->buttons())
            texts << button->text().remove(u'&');
        QCOMPARE(texts, shown);
        QCOMPARE(box->textFormat(), Qt::PlainText);
        const bool sheet = box->text() == u"Could Not Check For Updates";
        QCOMPARE(box->parentWidget(), sheet ? m_desktop->window() : nullptr);
        QCOMPARE(box->windowModality(), sheet ? Qt::WindowModal : Qt::NonModal);
    }

    void startupCheck_data()
    {
        QTest::addColumn<bool>("checkByHand");
        QTest::newRow("left alone") << false;
        QTest::newRow("checked by hand first") << true;
    }

    // Nine seconds after start, unless the user checked before.
    void startupCheck()
    {
        QFETCH(bool, checkByHand);
        m_server->response = httpResponse("200 OK", feed("1.1", "500"));
        start(true);
        if (checkByHand) {
            menu()->checkForApplicationUpdates();
            QTRY_VERIFY_WITH_TIMEOUT(openMessageBox(), Timeout);
            openMessageBox()->close();
        }
        QTest::qWait(int(MainMenuController::StartupUpdateCheckDelayMs - m_server->clock.elapsed()) + 1000);
        QCOMPARE(m_server->requestTimes.size(), 1);
        QCOMPARE(openMessageBox() != nullptr, !checkByHand);
        QVERIFY(checkByHand || m_server->requestTimes.constFirst() >= 8500); // coarse timers fire up to 5% early
    }

    void refreshLabel_data()
    {
        QTest::addColumn<int>("minutes");
        QTest::addColumn<QString>("label");
        QTest::newRow("1") << 1 << "every 1 minute";
        QTest::newRow("5") << 5 << "every 5 minutes";
        QTest::newRow("20") << 20 << "never";
    }

    // The slider writes the interval; the label reads it back.
    void refreshLabel()
    {
        QFETCH(int, minutes);
        QFETCH(QString, label);
        UserDefaults::standardUserDefaults()->setInteger(10, UserDefaultsKeys::RefreshInterval);
        PreferencesController preferences;
        QSignalSpy changed(&preferences, &PreferencesController::jRefreshLabelStringChanged);
        preferences.refreshSlider()->setValue(minutes);
        QCOMPARE(UserDefaults::standardUserDefaults()->integerForKey(UserDefaultsKeys::RefreshInterval), minutes);
        QCOMPARE(changed.size(), 1);
        QCOMPARE(preferences.refreshLabel()->text(), label);
    }

    // The field lists the names; what is typed is stored trimmed, without empty names.
    void skippedFoldersField()
    {
        UserDefaults *defaults = UserDefaults::standardUserDefaults();
        defaults->setObject(QStringList{"node_modules", ".*"}, UserDefaultsKeys::SkippedFolders);
        PreferencesController preferences;
        QCOMPARE(preferences.skippedFoldersField()->text(), "node_modules, .*");
        preferences.skippedFoldersField()->setText(" build ,, cache?* ,");
        Q_EMIT preferences.skippedFoldersField()->editingFinished();
        QCOMPARE(defaults->objectForKey(UserDefaultsKeys::SkippedFolders).toStringList(), QStringList({"build", "cache?*"}));
    }

    // Opening a window again shows the same one, in the state it was left.
    void windowsAreKept()
    {
        UserDefaults::standardUserDefaults()->setBool(true, UserDefaultsKeys::UIMode);
        start();
        menu()->openPreferencesWindow();
        menu()->openAboutWindow();
        PreferencesController *preferences = menu()->prefController();
        AboutWindowController *about = menu()->aboutController();
        QCOMPARE(preferences->appModePopUpButton()->currentIndex(), int(PreferencesController::TrayMode));
        preferences->appModePopUpButton()->setCurrentIndex(PreferencesController::WindowMode);
        QCOMPARE(about->versionLabel()->text(),
                 QStringLiteral("Version %1 (406)").arg(BundleInfo::value(BundleInfo::CFBundleShortVersionString)));

        preferences->close();
        about->close();
        menu()->openPreferencesWindow();
        menu()->openAboutWindow();
        QCOMPARE(menu()->prefController(), preferences);
        QCOMPARE(menu()->aboutController(), about);
        QVERIFY(preferences->isVisible() && about->isVisible());
        QCOMPARE(preferences->appModePopUpButton()->currentIndex(), int(PreferencesController::WindowMode));
    }
};

QTEST_MAIN(TestMainMenuController)
#include "TestMainMenuController.moc"
