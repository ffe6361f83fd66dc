#pragma once

#include <QMessageBox>

// A warning over the window, window-modal and gone once answered. It shows
// its message literally: messages hold paths and compiler output, never markup.
class ErrorSheet : public QMessageBox
{
    Q_OBJECT

public:
    ErrorSheet(const QString &title, const QString &message, QWidget *window);
};
