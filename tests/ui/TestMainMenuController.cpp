#include "app/AppTestSupport.h"
#include "app/LessClientAppDelegate.h"
#include "support/BundleInfo.h"
#include "support/UserDefaults.h"
#include "support/UserDefaultsKeys.h"
#include "ui/AboutWindowController.h"
#include "ui/MainMenuController.h"
#include "ui/PreferencesController.h"
#include "ui/ZRMWindow.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDesktopServices>
#include <QElapsedTimer>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QSlider>
#include <QTcpServer>
#include <QTcpSocket>

using AppTestSupport::Timeout;

namespace {

const QUrl ProductPage(QStringLiteral("https://cascader.app/"));

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

QStringList texts(const QList<QAction *> &actions)
{
    QStringList texts;
    for (const QAction *action : actions)
        texts << action->text().remove(u'&');
    texts.removeAll(QString());
    return texts;
}

} // namespace

// The update feed on 127.0.0.1: every request gets the same answer.
class FeedServer : public QTcpServer
{
public:
    FeedServer()
    {
        connect(this, &QTcpServer::newConnection, this, [this] {
            QTcpSocket *socket = nextPendingConnection();
            connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            connect(socket, &QTcpSocket::readyRead, socket, [this, socket] {
                if (!socket->peek(socket->bytesAvailable()).contains("\r\n\r\n"))
                    return;
                requestTimes << clock.elapsed();
                socket->write("HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: "
                              + QByteArray::number(body.size()) + "\r\nConnection: close\r\n\r\n" + body);
                socket->disconnectFromHost();
            });
        });
        listen(QHostAddress::LocalHost);
        clock.start();
    }

    QByteArray body;
    QList<qint64> requestTimes;
    QElapsedTimer clock;
};

class TestMainMenuController : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();
    void updateCheck_data();
    void updateCheck();
    void startupCheck_data();
    void startupCheck();
    void windowMenus();
    void refreshLabel_data();
    void refreshLabel();
    void preferenceCheckBoxes_data();
    void preferenceCheckBoxes();
    void windowsAreKept();
    void webPages();

public Q_SLOTS:
    void openUrl(const QUrl &url) { m_openedUrls << url; }

private:
    void start(bool updateAtStartup = false);
    MainMenuController *menu() const { return m_delegate->menuControllerReference(); }
    MainAppController *controller() const { return m_delegate->appController(); }

    std::unique_ptr<FeedServer> m_server;
    std::unique_ptr<LessClientAppDelegate> m_delegate;
    QList<QUrl> m_openedUrls;
};

// The expected texts name the running build.
void TestMainMenuController::initTestCase()
{
    QCOMPARE(BundleInfo::value(BundleInfo::CFBundleVersion), "1.0.0");
    QCOMPARE(BundleInfo::value(BundleInfo::ZRMBuildNumber), "406");
    QDesktopServices::setUrlHandler(QStringLiteral("https"), this, "openUrl");
}

void TestMainMenuController::cleanupTestCase()
{
    QDesktopServices::unsetUrlHandler(QStringLiteral("https"));
}

void TestMainMenuController::init()
{
    m_server = std::make_unique<FeedServer>();
    UserDefaults::standardUserDefaults()->setObject(
        QStringLiteral("http://127.0.0.1:%1/cascader/appcasts/updates.php").arg(m_server->serverPort()),
        UserDefaultsKeys::UpdateFeedURL);
    m_openedUrls.clear();
}

void TestMainMenuController::cleanup()
{
    while (QMessageBox *box = openMessageBox())
        box->close();
    m_delegate.reset();
    for (QLatin1StringView key : {UserDefaultsKeys::UpdateFeedURL, UserDefaultsKeys::UpdateAtStartup,
                                  UserDefaultsKeys::RefreshInterval, UserDefaultsKeys::UIMode})
        UserDefaults::standardUserDefaults()->removeObjectForKey(key);
}

void TestMainMenuController::start(bool updateAtStartup)
{
    UserDefaults::standardUserDefaults()->setBool(updateAtStartup, UserDefaultsKeys::UpdateAtStartup);
    m_delegate = std::make_unique<LessClientAppDelegate>(LessClientAppDelegate::Mode::Window);
    m_server->clock.restart();
    m_delegate->applicationWillFinishLaunching();
    QTRY_VERIFY_WITH_TIMEOUT(m_delegate->hasFinishedLaunching(), Timeout);
    QVERIFY(AppTestSupport::waitUntilIdle(*controller()));
}

void TestMainMenuController::updateCheck_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<bool>("atStartup");
    // Title, message and buttons; empty when nothing is shown.
    QTest::addColumn<QStringList>("shown");

    const QString update = QStringLiteral(
        "You're running CASCADER.app 1.0.0 (Build 406). The latest version is %1 (Build %2). Would you like to "
        "visit the website to download it now?");
    const QString updateTitle = QStringLiteral("An App Update is Available");
    const QStringList noUpdates{"No Updates Available", "You're running the latest version of Cascader.app!",
                                "Awesome"};
    const QString malformed = QStringLiteral(
        "The update server did not respond or the data it sent was malformed. It may be down or busy so please "
        "try again later.");

    QTest::newRow("newer") << feed("1.1", "500") << false
                           << QStringList{updateTitle, update.arg("1.1", "500"), "Yes", "No"};
    QTest::newRow("newer, at start-up") << feed("1.1", "500") << true
                                        << QStringList{updateTitle, update.arg("1.1", "500"), "Yes", "No"};
    QTest::newRow("99 orders after 406") << feed("0.9", "99") << false
                                         << QStringList{updateTitle, update.arg("0.9", "99"), "Yes", "No"};
    QTest::newRow("texts shown literally") << feed("2 %1 <b>x</b>", "5%") << false
                                           << QStringList{updateTitle, update.arg("2 %1 <b>x</b>", "5%"), "Yes", "No"};
    QTest::newRow("same") << feed("1.0", "406") << false << noUpdates;
    QTest::newRow("same, at start-up") << feed("1.0", "406") << true << QStringList();
    QTest::newRow("no build in the feed") << QByteArray("{\"latestVersion\": \"9.0\"}") << false << noUpdates;
    QTest::newRow("1000 orders before 406")
        << feed("2.0", "1000") << false
        << QStringList{"Keeping Up With The Fenwicks, eh?",
                       "You're running a version of Cascader.app that's NEWER than the one online.", "Incredible"};
    QTest::newRow("older, at start-up") << feed("0.5", "300") << true << QStringList();
    QTest::newRow("HTML") << QByteArray("<html><body>Busy</body></html>") << false
                          << QStringList{"Could Not Check For Updates", malformed, "OK"};
    QTest::newRow("HTML, at start-up") << QByteArray("<html></html>") << true << QStringList();
    // An empty body stands for a server that is gone.
    QTest::newRow("no connection")
        << QByteArray() << false
        << QStringList{"Could Not Check For Updates",
                       "We could not check for updates because your computer is not connected to the internet.", "OK"};
}

// Every outcome lowers the spinner; failures are sheets on the main window,
// other outcomes free-standing alerts that block nothing.
void TestMainMenuController::updateCheck()
{
    QFETCH(QByteArray, body);
    QFETCH(bool, atStartup);
    QFETCH(QStringList, shown);

    if (body.isEmpty())
        m_server->close();
    m_server->body = body;
    start();
    QSignalSpy spinner(controller(), &MainAppController::spinnerStarted);
    atStartup ? menu()->checkForApplicationUpdatesAtStartup() : menu()->checkForApplicationUpdates();
    QCOMPARE(spinner.size(), 1);
    QCOMPARE(spinner.constFirst().constFirst(), "Checking for Updates");
    QTRY_COMPARE_WITH_TIMEOUT(controller()->spinnerCount(), 0, Timeout);
    QCOMPARE(m_server->requestTimes.size(), body.isEmpty() ? 0 : 1);

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
    QCOMPARE(box->parentWidget(), sheet ? controller()->window() : nullptr);
    QCOMPARE(box->windowModality(), sheet ? Qt::WindowModal : Qt::NonModal);
}

void TestMainMenuController::startupCheck_data()
{
    QTest::addColumn<bool>("checkByHand");
    QTest::newRow("left alone") << false;
    QTest::newRow("checked by hand first") << true;
}

// Nine seconds after start, unless the user checked before.
void TestMainMenuController::startupCheck()
{
    QFETCH(bool, checkByHand);

    m_server->body = feed("1.1", "500");
    start(true);
    if (checkByHand) {
        menu()->checkForApplicationUpdates();
        QTRY_VERIFY_WITH_TIMEOUT(openMessageBox(), Timeout);
        openMessageBox()->close();
    }
    QTest::qWait(int(MainMenuController::StartupUpdateCheckDelayMs - m_server->clock.elapsed()) + 1000);
    QCOMPARE(m_server->requestTimes.size(), 1);
    QCOMPARE(openMessageBox() != nullptr, !checkByHand);
    // Coarse timers may fire up to 5% early.
    QVERIFY(checkByHand || m_server->requestTimes.constFirst() >= 8500);
}

// Window mode: the commands are in the window's menus, and there is no tray icon.
void TestMainMenuController::windowMenus()
{
    start();
    const QList<QAction *> menus = controller()->window()->menuBar()->actions();
    QCOMPARE(menus.constLast()->text(), "&Help");
    QCOMPARE(texts(menus.constLast()->menu()->actions()),
             QStringList({"Cascader Help", "Check for Updates…", "About Cascader"}));
    const QList<QAction *> file = menus.constFirst()->menu()->actions();
    QAction *preferences = file.at(file.size() - 3);
    QCOMPARE(texts({preferences, file.constLast()}), QStringList({"Preferences…", "Quit"}));
    QCOMPARE(preferences->shortcut(), QKeySequence(Qt::CTRL | Qt::Key_Comma));
    preferences->trigger();
    QVERIFY(menu()->prefController()->isVisible());
    QVERIFY(!menu()->statusItem());
}

void TestMainMenuController::refreshLabel_data()
{
    QTest::addColumn<int>("minutes");
    QTest::addColumn<QString>("label");
    QTest::newRow("1") << 1 << "every 1 minute";
    QTest::newRow("5") << 5 << "every 5 minutes";
    QTest::newRow("20") << 20 << "never";
}

// The slider writes the interval; the label reads it back.
void TestMainMenuController::refreshLabel()
{
    QFETCH(int, minutes);
    QFETCH(QString, label);

    UserDefaults::standardUserDefaults()->setInteger(10, UserDefaultsKeys::RefreshInterval);
    PreferencesController preferences;
    QSignalSpy changed(&preferences, &PreferencesController::jRefreshLabelStringChanged);
    preferences.refreshSlider()->setValue(minutes);
    QCOMPARE(UserDefaults::standardUserDefaults()->integerForKey(UserDefaultsKeys::RefreshInterval), minutes);
    QCOMPARE(changed.size(), 1);
    QCOMPARE(preferences.jRefreshLabelString(), label);
    QCOMPARE(preferences.refreshLabel()->text(), label);
}

void TestMainMenuController::preferenceCheckBoxes_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("key");
    QTest::newRow("updates") << "Check for updates at start-up" << QString(UserDefaultsKeys::UpdateAtStartup);
    QTest::newRow("front") << "Bring Cascader to the front when a compile fails"
                           << QString(UserDefaultsKeys::BringAppToFrontOnError);
    QTest::newRow("compress") << "Compress the CSS of newly added files"
                              << QString(UserDefaultsKeys::ShouldCompressCSSOutput);
    QTest::newRow("css folder") << "Write CSS into the “css” folder beside a LESS folder, when there is one"
                                << QString(UserDefaultsKeys::AutoSetCustomCSSPaths);
}

// Each opening shows the stored value; a click stores the new one.
void TestMainMenuController::preferenceCheckBoxes()
{
    QFETCH(QString, text);
    QFETCH(QString, key);

    start();
    UserDefaults *defaults = UserDefaults::standardUserDefaults();
    defaults->setBool(true, key);
    menu()->openPreferencesWindow();
    const QList<QCheckBox *> boxes = menu()->prefController()->findChildren<QCheckBox *>();
    const auto checkBox = std::find_if(boxes.begin(), boxes.end(), [&](auto *box) { return box->text() == text; });
    QVERIFY(checkBox != boxes.end());
    QVERIFY((*checkBox)->isChecked());
    (*checkBox)->click();
    QCOMPARE(defaults->objectForKey(key), false);

    menu()->prefController()->close();
    defaults->setBool(true, key);
    menu()->openPreferencesWindow();
    QVERIFY((*checkBox)->isChecked());
    defaults->removeObjectForKey(key);
}

// Opening a window again shows the same one, in the state it was left.
void TestMainMenuController::windowsAreKept()
{
    UserDefaults::standardUserDefaults()->setBool(true, UserDefaultsKeys::UIMode);
    start();
    menu()->openPreferencesWindow();
    menu()->openAboutWindow();
    PreferencesController *preferences = menu()->prefController();
    AboutWindowController *about = menu()->aboutController();
    QCOMPARE(preferences->appModePopUpButton()->currentIndex(), int(PreferencesController::TrayMode));
    preferences->appModePopUpButton()->setCurrentIndex(PreferencesController::WindowMode);
    QCOMPARE(UserDefaults::standardUserDefaults()->objectForKey(UserDefaultsKeys::UIMode), false);
    QCOMPARE(about->versionLabel()->text(),
             QStringLiteral("Version %1 (406)").arg(BundleInfo::value(BundleInfo::CFBundleShortVersionString)));

    preferences->close();
    about->close();
    menu()->openPreferencesWindow();
    menu()->openAboutWindow();
    QCOMPARE(menu()->prefController(), preferences);
    QCOMPARE(menu()->aboutController(), about);
    QVERIFY(preferences->isVisible() && about->isVisible());
}

// Help, the about window's buttons and "Yes" in the update alert; "No" opens nothing.
void TestMainMenuController::webPages()
{
    m_server->body = feed("1.1", "500");
    start();
    menu()->openHelp();
    menu()->openAboutWindow();
    menu()->aboutController()->appWebsiteButton()->click();
    menu()->aboutController()->lessWebsiteButton()->click();
    for (const QString answer : {"No", "Yes"}) {
        menu()->checkForApplicationUpdates();
        QTRY_VERIFY_WITH_TIMEOUT(openMessageBox(), Timeout);
        for (QAbstractButton *button : openMessageBox()->buttons()) {
            if (button->text() == answer)
                button->click();
        }
        QTRY_VERIFY(!openMessageBox());
    }
    QCOMPARE(m_openedUrls, QList<QUrl>({ProductPage, ProductPage, QUrl("https://lesscss.org/"), ProductPage}));
}

QTEST_MAIN(TestMainMenuController)
#include "TestMainMenuController.moc"
