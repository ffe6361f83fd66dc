#include "AddFolderPanel.h"

#include <QFileInfo>

namespace {

const QString LessFilesFilter = QStringLiteral("LESS files (*.less)");

} // namespace

// Qt's own dialog: a native one would not come back through accept().
AddFolderPanel::AddFolderPanel(QWidget *parent, const QString &message, const QString &button)
    : QFileDialog(parent, message)
{
    setOption(QFileDialog::DontUseNativeDialog);
    setFileMode(QFileDialog::Directory);
    setNameFilter(LessFilesFilter);
    setLabelText(QFileDialog::Accept, button);
}

void AddFolderPanel::accept()
{
    const QStringList chosen = selectedFiles();
    if (chosen.size() == 1 && QFileInfo(chosen.constFirst()).isFile()) {
        Q_EMIT filesSelected(chosen);
        QDialog::accept();
        return;
    }
    QFileDialog::accept();
}
