#include "ErrorSheet.h"

#include <QGridLayout>
#include <QLabel>

namespace {

constexpr int MessageSheetWidth = 420;

} // namespace

ErrorSheet::ErrorSheet(const QString &title, const QString &message, QWidget *window)
    : QMessageBox(QMessageBox::Warning, window->windowTitle(), title, QMessageBox::Ok, window)
{
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowModality(Qt::WindowModal);
    setTextFormat(Qt::PlainText);
    setInformativeText(message);
    for (QLabel *label : findChildren<QLabel *>())
        label->setTextFormat(Qt::PlainText);
    // The box takes its width from the title; long messages read better wider.
    if (auto *grid = qobject_cast<QGridLayout *>(layout()))
        grid->addItem(new QSpacerItem(MessageSheetWidth, 0, QSizePolicy::Minimum), grid->rowCount(), 0, 1,
                      grid->columnCount());
}
