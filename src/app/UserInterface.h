#pragma once

#include <QString>

// What the workflows ask of the windows. Headless runs have none: their
// errors go to standard error and their log to standard output.
class UserInterface
{
public:
    virtual ~UserInterface() = default;

    // The main window, shown and raised; with beep, after a beep.
    virtual void showMainWindowInFront(bool beep) = 0;
    // Tray mode: the tray icon, with the window ready but hidden.
    virtual void showInTray() = 0;
    // A message the user has to read; shown literally.
    virtual void showError(const QString &title, const QString &message) = 0;
};
