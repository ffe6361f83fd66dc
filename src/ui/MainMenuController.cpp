#include "MainMenuController.h"

#include "AboutWindowController.h"
#include "ApplicationIcon.h"
#include "PreferencesController.h"
#include "ZRMWindow.h"
#include "app/LessClientAppDelegate.h"
#include "app/MainAppController.h"
#include "services/UpdatesHelper.h"
#include "support/BundleInfo.h"
#include "support/UserDefaults.h"
#include "support/UserDefaultsKeys.h"

#include <QAction>
#include <QApplication>
#include <QDesktopServices>
#include <QLabel>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QSystemTrayIcon>
#include <QThread>
#include <QTimer>

#include <utility>

namespace {

const QString AppName = BundleInfo::ApplicationName;
const QString ShowAppWindowText = QStringLiteral("Show Window");
const QString PreferencesText = QStringLiteral("&Preferences…");
const QString AboutText = QStringLiteral("&About Cascader");
const QString HelpText = QStringLiteral("Cascader &Help");
const QString CheckForUpdatesText = QStringLiteral("Check for &Updates…");
const QString QuitText = QStringLiteral("&Quit Cascader");

const QString CheckingForUpdatesMessage = QStringLiteral("Checking for Updates");
const QString UpdateAvailableTitle = QStringLiteral("An App Update is Available");
const QString UpdateAvailableMessage = QStringLiteral(
    "You're running Cascader %1 (Build %2). The latest version is %3 (Build %4). Would you like to visit the "
    "website to download it now?");
const QString UpdateAvailableYes = QStringLiteral("Yes");
const QString UpdateAvailableNo = QStringLiteral("No");
const QString NoUpdatesTitle = QStringLiteral("No Updates Available");
const QString NoUpdatesMessage = QStringLiteral("You're running the latest version of Cascader!");
const QString NoUpdatesButton = QStringLiteral("Awesome");
const QString NewerThanOnlineTitle = QStringLiteral("Keeping Up With The Fenwicks, eh?");
const QString NewerThanOnlineMessage =
    QStringLiteral("You're running a version of Cascader that's NEWER than the one online.");
const QString NewerThanOnlineButton = QStringLiteral("Incredible");
const QString CouldNotCheckTitle = QStringLiteral("Could Not Check For Updates");

// The check's parameters and what it hands back to the GUI thread.
const QString SilentFailKey = QStringLiteral("silentFail");
const QString ResultDictKey = QStringLiteral("resultDict");
// The members of the update feed that are read.
const QString LatestVersionKey = QStringLiteral("latestVersion");
const QString LatestBuildKey = QStringLiteral("latestBuild");

constexpr int AlertIconSize = 64;
// Themes other than KDE's and GNOME's give QKeySequence::Preferences no keys.
const QKeySequence PreferencesShortcut(Qt::CTRL | Qt::Key_Comma);

// Free-standing, shown without blocking; the texts come from the network and
// are shown literally.
QMessageBox *createAlert(const QString &title, const QString &message)
{
    auto *alert = new QMessageBox(QMessageBox::NoIcon, AppName, title);
    alert->setAttribute(Qt::WA_DeleteOnClose);
    alert->setWindowModality(Qt::NonModal);
    alert->setIconPixmap(ApplicationIcon::pixmap(AlertIconSize, alert->devicePixelRatio()));
    alert->setTextFormat(Qt::PlainText);
    alert->setInformativeText(message);
    for (QLabel *label : alert->findChildren<QLabel *>())
        label->setTextFormat(Qt::PlainText);
    return alert;
}

void showAlertWithButton(const QString &title, const QString &message, const QString &button)
{
    QMessageBox *alert = createAlert(title, message);
    alert->setDefaultButton(alert->addButton(button, QMessageBox::AcceptRole));
    alert->show();
}

} // namespace

MainMenuController::MainMenuController(LessClientAppDelegate *appDelegate, ZRMWindow *window, QObject *parent)
    : QObject(parent), m_appDelegate(appDelegate), m_statusBarImage(ApplicationIcon::icon())
{
    scheduleStartupUpdateCheck();
    createActions();
    buildStatusBarMenu();
    window->addApplicationCommands(m_preferencesAction, {m_helpAction, m_checkForUpdatesAction, m_aboutAction});
}

MainMenuController::~MainMenuController() = default;

void MainMenuController::displayStatusItem()
{
    m_statusItem = new QSystemTrayIcon(m_statusBarImage, this);
    m_statusItem->setToolTip(AppName);
    m_statusItem->setContextMenu(m_statusBarMenu.get());
    connect(m_statusItem, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason == QSystemTrayIcon::Trigger)
            showAppWindow();
    });
    m_statusItem->show();
}

void MainMenuController::showAppWindow()
{
    m_appDelegate->bringAppToFrontWithBeep(false);
}

// Created once and kept, so the window keeps its place between openings.
void MainMenuController::openPreferencesWindow()
{
    if (!m_prefController)
        m_prefController = std::make_unique<PreferencesController>();
    m_prefController->show();
    m_prefController->raise();
    m_prefController->activateWindow();
}

void MainMenuController::openAboutWindow()
{
    if (!m_aboutController)
        m_aboutController = std::make_unique<AboutWindowController>();
    m_aboutController->show();
    m_aboutController->raise();
    m_aboutController->activateWindow();
}

void MainMenuController::openHelp()
{
    QDesktopServices::openUrl(AboutWindowController::AppWebsite);
}

void MainMenuController::checkForApplicationUpdates()
{
    beginCheckingForUpdates(false);
}

// Keeps quiet unless there is an update.
void MainMenuController::checkForApplicationUpdatesAtStartup()
{
    beginCheckingForUpdates(true);
}

// The normal shutdown saves the switch and the project.
void MainMenuController::quitApp()
{
    QCoreApplication::quit();
}

QAction *MainMenuController::createAction(const QString &text, void (MainMenuController::*command)(),
                                          const QKeySequence &shortcut)
{
    auto *action = new QAction(text, this);
    action->setObjectName(action->iconText());
    action->setShortcut(shortcut);
    connect(action, &QAction::triggered, this, command);
    return action;
}

void MainMenuController::createActions()
{
    m_showAppWindowAction = createAction(ShowAppWindowText, &MainMenuController::showAppWindow);
    m_preferencesAction =
        createAction(PreferencesText, &MainMenuController::openPreferencesWindow, PreferencesShortcut);
    m_aboutAction = createAction(AboutText, &MainMenuController::openAboutWindow);
    m_helpAction = createAction(HelpText, &MainMenuController::openHelp, QKeySequence::HelpContents);
    m_checkForUpdatesAction = createAction(CheckForUpdatesText, &MainMenuController::checkForApplicationUpdates);
    m_quitAction = createAction(QuitText, &MainMenuController::quitApp);
}

void MainMenuController::buildStatusBarMenu()
{
    m_statusBarMenu = std::make_unique<QMenu>();
    m_statusBarMenu->addAction(m_showAppWindowAction);
    m_statusBarMenu->addSeparator();
    m_statusBarMenu->addActions({m_preferencesAction, m_aboutAction, m_helpAction, m_checkForUpdatesAction});
    m_statusBarMenu->addSeparator();
    m_statusBarMenu->addAction(m_quitAction);
}

void MainMenuController::scheduleStartupUpdateCheck()
{
    if (!UserDefaults::standardUserDefaults()->boolForKey(UserDefaultsKeys::UpdateAtStartup))
        return;
    m_updateTimer = new QTimer(this);
    m_updateTimer->setSingleShot(true);
    connect(m_updateTimer, &QTimer::timeout, this, &MainMenuController::checkForApplicationUpdatesAtStartup);
    m_updateTimer->start(StartupUpdateCheckDelayMs);
}

// The timer itself may be calling.
void MainMenuController::cancelStartupUpdateCheck()
{
    if (QTimer *timer = std::exchange(m_updateTimer, nullptr)) {
        timer->stop();
        timer->deleteLater();
    }
}

// A check the user starts replaces the start-up check; checks that overlap
// each run to the end.
void MainMenuController::beginCheckingForUpdates(bool silentFail)
{
    cancelStartupUpdateCheck();
    const QVariantMap parameters{{SilentFailKey, silentFail}};
    m_appDelegate->appController()->showSpinnerWithMessage(CheckingForUpdatesMessage);

    auto handBack = std::make_shared<QVariantMap>();
    QThread *thread = QThread::create(
        [parameters, handBack] { *handBack = asynchronouslyFetchAppUpdateInfoWithParameters(parameters); });
    connect(thread, &QThread::finished, this,
            [this, handBack] { didFinishFetchingAppUpdateInfoWithResult(*handBack); });
    connect(thread, &QThread::finished, thread, &QObject::deleteLater);
    thread->start();
}

QVariantMap MainMenuController::asynchronouslyFetchAppUpdateInfoWithParameters(const QVariantMap &parameters)
{
    return {{SilentFailKey, parameters.value(SilentFailKey)},
            {ResultDictKey, UpdatesHelper::fetchUpdateInformationFromURL(UpdatesHelper::updateFeedURL())}};
}

void MainMenuController::didFinishFetchingAppUpdateInfoWithResult(const QVariantMap &handBack)
{
    const QVariantMap result = handBack.value(ResultDictKey).toMap();
    const bool silentFail = handBack.value(SilentFailKey).toBool();
    if (result.value(UpdatesHelperKey::Success).toBool())
        showUpdateResult(result.value(UpdatesHelperKey::ResultDictionary).toMap(), silentFail);
    else if (!silentFail)
        m_appDelegate->appController()->reportError(
            CouldNotCheckTitle, result.value(UpdatesHelperKey::ErrorMessage).toString());
    m_appDelegate->appController()->hideSpinner();
}

// Builds compare as plain strings: "99" is later than "406". A feed without a
// build reads as the same build.
void MainMenuController::showUpdateResult(const QVariantMap &feed, bool silentFail)
{
    const QString runningVersion = BundleInfo::value(BundleInfo::CFBundleVersion);
    const QString runningBuild = BundleInfo::value(BundleInfo::ZRMBuildNumber);
    const QVariant latestBuild = feed.value(LatestBuildKey);
    const int ordering = latestBuild.isNull() ? 0 : QString::compare(latestBuild.toString(), runningBuild);

    if (ordering > 0) {
        QMessageBox *alert = createAlert(
            UpdateAvailableTitle, UpdateAvailableMessage.arg(runningVersion, runningBuild,
                                                             feed.value(LatestVersionKey).toString(),
                                                             latestBuild.toString()));
        QPushButton *yes = alert->addButton(UpdateAvailableYes, QMessageBox::AcceptRole);
        alert->addButton(UpdateAvailableNo, QMessageBox::RejectRole);
        alert->setDefaultButton(yes);
        connect(alert, &QMessageBox::buttonClicked, this,
                [this, yes](QAbstractButton *clicked) { appUpgradeSheetDidEnd(clicked == yes); });
        alert->show();
    } else if (silentFail) {
        return;
    } else if (ordering == 0) {
        showAlertWithButton(NoUpdatesTitle, NoUpdatesMessage, NoUpdatesButton);
    } else {
        showAlertWithButton(NewerThanOnlineTitle, NewerThanOnlineMessage, NewerThanOnlineButton);
    }
}

void MainMenuController::appUpgradeSheetDidEnd(bool accepted)
{
    if (accepted)
        QDesktopServices::openUrl(AboutWindowController::AppWebsite);
}
