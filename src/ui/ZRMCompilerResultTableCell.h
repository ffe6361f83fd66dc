#pragma once

#include "support/StyledText.h"

#include <QStyledItemDelegate>

class QTextLayout;

// A compiler log message in its own colours and sizes, wrapped to the
// column; a selected row shows it in plain white.
class ZRMCompilerResultTableCell : public QStyledItemDelegate
{
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;

    // The row height that shows all of the message at a column width.
    static int heightForText(const StyledText &text, qreal columnWidth);

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;

private:
    static qreal layOut(QTextLayout &layout, qreal width);
};
