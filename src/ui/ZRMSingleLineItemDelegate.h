#pragma once

#include <QStyledItemDelegate>

// Draws a cell on one line, eliding what does not fit, in a table whose other
// columns wrap their text.
class ZRMSingleLineItemDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;

protected:
    void initStyleOption(QStyleOptionViewItem *option, const QModelIndex &index) const override;
};
