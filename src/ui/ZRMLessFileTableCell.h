#pragma once

#include <QStyledItemDelegate>

// A LESS file's row: its check box at the left, its path with the file name in
// bold dark red on the middle line and the output line in small grey type
// below. A path too long for the row loses its start.
class ZRMLessFileTableCell : public QStyledItemDelegate
{
    Q_OBJECT

public:
    // The title as shown: the folder part, shortened at its start, and the
    // file name, which gives way only when nothing else is left.
    struct Title
    {
        QString folder;
        QString fileName;
    };

    static constexpr int RowHeight = 40;

    using QStyledItemDelegate::QStyledItemDelegate;

    static Title fittedTitle(const QString &title, qreal width);

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;

private:
    QRect checkRect(const QStyleOptionViewItem &option, const QModelIndex &index) const;
    static void drawCheck(QPainter *painter, const QStyleOptionViewItem &option, const QRect &rect,
                          Qt::CheckState state);
    static void drawTitle(QPainter *painter, const QRectF &rect, const QString &title, bool highlighted);
};
