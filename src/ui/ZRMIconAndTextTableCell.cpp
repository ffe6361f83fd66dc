#include "ZRMIconAndTextTableCell.h"

#include "TableCellStyle.h"

#include <QPainter>

namespace {

constexpr qreal HorizontalInset = 10;
constexpr qreal IconSize = 20;
constexpr qreal IconSpacing = 5;
constexpr qreal TextPointSize = 12;

} // namespace

ZRMIconAndTextTableCell::Layout ZRMIconAndTextTableCell::layoutFor(const QRectF &cell)
{
    const QRectF inner = cell.adjusted(HorizontalInset, 0, -HorizontalInset, 0);
    const qreal textHeight = QFontMetricsF(TableCellStyle::systemFont(TextPointSize)).height();
    return {QRectF(inner.x(), inner.center().y() - IconSize / 2, IconSize, IconSize),
            QRectF(inner.x() + IconSize + IconSpacing, inner.center().y() - textHeight / 2,
                   inner.width() - IconSize - IconSpacing, textHeight)};
}

QString ZRMIconAndTextTableCell::fittedText(const QString &text, qreal width)
{
    return QFontMetricsF(TableCellStyle::systemFont(TextPointSize)).elidedText(text, Qt::ElideRight, width);
}

void ZRMIconAndTextTableCell::paint(QPainter *painter, const QStyleOptionViewItem &option,
                                    const QModelIndex &index) const
{
    const Layout layout = layoutFor(option.rect);
    painter->save();
    index.data(Qt::DecorationRole).value<QIcon>().paint(painter, layout.icon.toRect());
    painter->setFont(TableCellStyle::systemFont(TextPointSize));
    painter->setPen(option.state.testFlag(QStyle::State_Selected) ? TableCellStyle::HighlightedText
                                                                  : QColor(Qt::black));
    painter->drawText(layout.text, Qt::AlignLeft | Qt::AlignVCenter,
                      fittedText(index.data(Qt::DisplayRole).toString(), layout.text.width()));
    painter->restore();
}
