#pragma once

#include "app/UserInterface.h"

#include <memory>

class LessClientAppDelegate;
class MainMenuController;
class ZRMWindow;

// Cascader on the desktop: the main window and the application's own
// commands (tray icon, preferences, help, update check), made ready at once
// and shown when the delegate asks.
class DesktopUserInterface : public UserInterface
{
public:
    // Registers itself with the delegate.
    explicit DesktopUserInterface(LessClientAppDelegate *appDelegate);
    ~DesktopUserInterface() override;

    ZRMWindow *window() const { return m_window.get(); }
    MainMenuController *menuController() const { return m_menuController; }

    void showMainWindowInFront(bool beep) override;
    void showInTray() override;
    void showError(const QString &title, const QString &message) override;

private:
    // The newest log entry of file, in front.
    void showCompilerLogOf(const QString &file);

    LessClientAppDelegate *m_appDelegate;
    std::unique_ptr<ZRMWindow> m_window;
    // A child of the window.
    MainMenuController *m_menuController;
};
