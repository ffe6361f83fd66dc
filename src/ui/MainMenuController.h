#pragma once

#include <QIcon>
#include <QKeySequence>
#include <QObject>
#include <QVariantMap>

#include <memory>

class AboutWindowController;
class LessClientAppDelegate;
class PreferencesController;
class QAction;
class QMenu;
class QSystemTrayIcon;
class QTimer;
class ZRMWindow;

// The application's own commands: the tray icon and its menu in tray mode,
// the Preferences and Help commands of the main window, the preferences and
// about windows, and the update check.
class MainMenuController : public QObject
{
    Q_OBJECT

public:
    // Wait after start-up before the automatic update check.
    static constexpr int StartupUpdateCheckDelayMs = 9000;

    // Adds its commands to the main window.
    MainMenuController(LessClientAppDelegate *appDelegate, ZRMWindow *window, QObject *parent = nullptr);
    ~MainMenuController() override;

    // Tray mode: the icon with the menu.
    void displayStatusItem();

    void showAppWindow();
    void openPreferencesWindow();
    void openAboutWindow();
    void openHelp();
    void checkForApplicationUpdates();
    void checkForApplicationUpdatesAtStartup();
    void quitApp();

    QSystemTrayIcon *statusItem() const { return m_statusItem; }
    PreferencesController *prefController() const { return m_prefController.get(); }
    AboutWindowController *aboutController() const { return m_aboutController.get(); }

private:
    QAction *createAction(const QString &text, void (MainMenuController::*command)(),
                          const QKeySequence &shortcut = {});
    void createActions();
    void buildStatusBarMenu();
    void scheduleStartupUpdateCheck();
    void cancelStartupUpdateCheck();
    void beginCheckingForUpdates(bool silentFail);
    static QVariantMap asynchronouslyFetchAppUpdateInfoWithParameters(const QVariantMap &parameters);
    void didFinishFetchingAppUpdateInfoWithResult(const QVariantMap &handBack);
    void showUpdateResult(const QVariantMap &feed, bool silentFail);
    void appUpgradeSheetDidEnd(bool accepted);

    LessClientAppDelegate *m_appDelegate;
    std::unique_ptr<PreferencesController> m_prefController;
    std::unique_ptr<AboutWindowController> m_aboutController;
    QTimer *m_updateTimer = nullptr;
    std::unique_ptr<QMenu> m_statusBarMenu;
    QSystemTrayIcon *m_statusItem = nullptr;
    QIcon m_statusBarImage;

    QAction *m_showAppWindowAction = nullptr;
    QAction *m_preferencesAction = nullptr;
    QAction *m_aboutAction = nullptr;
    QAction *m_helpAction = nullptr;
    QAction *m_checkForUpdatesAction = nullptr;
    QAction *m_quitAction = nullptr;
};
