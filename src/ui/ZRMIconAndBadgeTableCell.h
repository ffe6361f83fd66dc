#pragma once

#include <QStyledItemDelegate>

// A watched folder's row: its icon, its capitalised name (losing its start
// when too long) and a rounded badge with the number of LESS files, which a
// count of "0" leaves out. A row with its own foreground colour is greyed:
// its title takes that colour and its icon is drawn disabled.
class ZRMIconAndBadgeTableCell : public QStyledItemDelegate
{
    Q_OBJECT

public:
    struct Layout
    {
        QRectF icon;
        QRectF title;
        QRectF badge;
        QPointF badgeText;
        bool showsBadge = false;
    };

    static constexpr int RowHeight = 24;

    using QStyledItemDelegate::QStyledItemDelegate;

    // Every word starts upper case, the rest is lower case: "acme-shop" is "Acme-Shop".
    static QString capitalizedTitle(const QString &title);
    static Layout layoutFor(const QRectF &cell, const QString &badgeText);

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;

private:
    static void drawBadge(QPainter *painter, const Layout &layout, const QString &text,
                          const QStyleOptionViewItem &option, bool greyed);
};
