#include "DesktopUserInterface.h"

#include "MainMenuController.h"
#include "ZRMWindow.h"
#include "app/LessClientAppDelegate.h"
#include "app/MainAppController.h"

#include <QApplication>

DesktopUserInterface::DesktopUserInterface(LessClientAppDelegate *appDelegate)
    : m_appDelegate(appDelegate),
      m_window(std::make_unique<ZRMWindow>(appDelegate->appController())),
      m_menuController(new MainMenuController(appDelegate, m_window.get(), m_window.get()))
{
    appDelegate->setUserInterface(this);
}

DesktopUserInterface::~DesktopUserInterface()
{
    if (m_appDelegate->userInterface() == this)
        m_appDelegate->setUserInterface(nullptr);
}

void DesktopUserInterface::showMainWindowInFront(bool beep)
{
    if (beep)
        QApplication::beep();
    m_window->show();
    m_window->raise();
    m_window->activateWindow();
}

void DesktopUserInterface::showInTray()
{
    m_menuController->displayStatusItem();
}

void DesktopUserInterface::showError(const QString &title, const QString &message)
{
    m_window->showErrorSheet(title, message);
}
