#include "DesktopUserInterface.h"

#include "CompilerArrayController.h"
#include "MainMenuController.h"
#include "ZRMWindow.h"
#include "app/LessClientAppDelegate.h"
#include "app/MainAppController.h"
#include "services/GrowlHelper.h"
#include "support/PathUtils.h"

#include <QApplication>
#include <QTableView>

DesktopUserInterface::DesktopUserInterface(LessClientAppDelegate *appDelegate)
    : m_appDelegate(appDelegate),
      m_window(std::make_unique<ZRMWindow>(appDelegate->appController())),
      m_menuController(new MainMenuController(appDelegate, m_window.get(), m_window.get()))
{
    appDelegate->setUserInterface(this);
    QObject::connect(appDelegate->growler(), &GrowlHelper::notificationActivated, m_window.get(),
                     [this](const QString &file) { showCompilerLogOf(file); });
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

void DesktopUserInterface::showCompilerLogOf(const QString &file)
{
    showMainWindowInFront(false);
    m_appDelegate->appController()->setActiveTabViewIndex(MainAppController::CompilerLogTab);
    // As the log shows the file.
    const QString logged = PathUtils::printablePath(PathUtils::abbreviateWithTilde(file));
    QTableView *log = m_window->compilerResultTableView();
    for (int row = log->model()->rowCount() - 1; row >= 0; --row) {
        const QModelIndex index = log->model()->index(row, CompilerArrayController::FileColumn);
        if (index.data().toString() == logged) {
            log->selectRow(row);
            log->scrollTo(index);
            return;
        }
    }
}
