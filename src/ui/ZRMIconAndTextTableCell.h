#pragma once

#include <QStyledItemDelegate>

// A simple list row: a 20-point icon and a line of text that loses its end
// when too long.
class ZRMIconAndTextTableCell : public QStyledItemDelegate
{
    Q_OBJECT

public:
    struct Layout
    {
        QRectF icon;
        QRectF text;
    };

    using QStyledItemDelegate::QStyledItemDelegate;

    static Layout layoutFor(const QRectF &cell);
    static QString fittedText(const QString &text, qreal width);

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
};
