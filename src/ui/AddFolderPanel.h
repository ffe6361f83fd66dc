#pragma once

#include <QFileDialog>

// The open panel for adding a folder: it chooses a folder, or a LESS file
// that stands for the folder holding it, which Qt's folder mode refuses.
class AddFolderPanel : public QFileDialog
{
    Q_OBJECT

public:
    AddFolderPanel(QWidget *parent, const QString &message, const QString &button);

    void accept() override;
};
