#include "ZRMLessFileTableCell.h"

#include "ItemRoles.h"
#include "TableCellStyle.h"
#include "support/PathUtils.h"

#include <QApplication>
#include <QPainter>

namespace {

constexpr qreal HorizontalInset = 6;
constexpr qreal SubtitleGap = 4;
constexpr qreal TitlePointSize = 12;
constexpr qreal SubtitlePointSize = 9;
const QColor FileNameColor = QColor::fromRgbF(0.529f, 0, 0);
const QString Ellipsis = QStringLiteral("\u2026");

QFont titleFont()
{
    return TableCellStyle::systemFont(TitlePointSize);
}

QFont fileNameFont()
{
    return TableCellStyle::systemFont(TitlePointSize, true);
}

QFont subtitleFont()
{
    return TableCellStyle::systemFont(SubtitlePointSize);
}

} // namespace

ZRMLessFileTableCell::Title ZRMLessFileTableCell::fittedTitle(const QString &title, qreal width)
{
    const QString fileName = PathUtils::lastPathComponent(title);
    const QString folder = title.left(title.size() - fileName.size());
    const QFontMetricsF nameMetrics(fileNameFont());
    const qreal nameWidth = nameMetrics.horizontalAdvance(fileName);
    const QFontMetricsF folderMetrics(titleFont());
    if (nameWidth + folderMetrics.horizontalAdvance(Ellipsis) > width && !folder.isEmpty())
        return {Ellipsis, nameMetrics.elidedText(fileName, Qt::ElideLeft, width - folderMetrics.horizontalAdvance(Ellipsis))};
    return {folderMetrics.elidedText(folder, Qt::ElideLeft, width - nameWidth),
            nameMetrics.elidedText(fileName, Qt::ElideLeft, width)};
}

void ZRMLessFileTableCell::paint(QPainter *painter, const QStyleOptionViewItem &option,
                                 const QModelIndex &index) const
{
    const QRect check = checkRect(option, index);
    const QRectF inner = QRectF(option.rect).adjusted(check.right() + 1 - option.rect.left() + HorizontalInset, 0,
                                                     -HorizontalInset, 0);
    const qreal middle = inner.y() + inner.height() / 2;
    const bool highlighted = option.state.testFlag(QStyle::State_Selected);

    painter->save();
    drawCheck(painter, option, check, index.data(Qt::CheckStateRole).value<Qt::CheckState>());
    const qreal titleHeight = QFontMetricsF(fileNameFont()).height();
    drawTitle(painter, QRectF(inner.x(), middle - titleHeight, inner.width(), titleHeight),
              index.data(Qt::DisplayRole).toString(), highlighted);

    const QFont subtitle = subtitleFont();
    const QFontMetricsF subtitleMetrics(subtitle);
    painter->setFont(subtitle);
    painter->setPen(highlighted ? TableCellStyle::HighlightedText : TableCellStyle::Grey);
    painter->drawText(QRectF(inner.x(), middle + SubtitleGap, inner.width(), subtitleMetrics.height()),
                      Qt::AlignLeft | Qt::AlignTop,
                      subtitleMetrics.elidedText(index.data(ItemRoles::SubtitleRole).toString(), Qt::ElideLeft,
                                                 inner.width()));
    painter->restore();
}

// Where the base delegate looks for clicks on the check box.
QRect ZRMLessFileTableCell::checkRect(const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    QStyleOptionViewItem checkOption = option;
    initStyleOption(&checkOption, index);
    const QStyle *style = option.widget ? option.widget->style() : QApplication::style();
    return style->subElementRect(QStyle::SE_ItemViewItemCheckIndicator, &checkOption, option.widget);
}

void ZRMLessFileTableCell::drawCheck(QPainter *painter, const QStyleOptionViewItem &option, const QRect &rect,
                                     Qt::CheckState state)
{
    QStyleOptionViewItem checkOption = option;
    checkOption.rect = rect;
    checkOption.state &= ~QStyle::State_HasFocus;
    checkOption.state |= state == Qt::Checked ? QStyle::State_On : QStyle::State_Off;
    const QStyle *style = option.widget ? option.widget->style() : QApplication::style();
    style->drawPrimitive(QStyle::PE_IndicatorItemViewItemCheck, &checkOption, painter, option.widget);
}

void ZRMLessFileTableCell::drawTitle(QPainter *painter, const QRectF &rect, const QString &title,
                                     bool highlighted)
{
    if (highlighted) {
        const QFont font = titleFont();
        painter->setFont(font);
        painter->setPen(TableCellStyle::HighlightedText);
        painter->drawText(rect, Qt::AlignLeft | Qt::AlignBottom,
                          QFontMetricsF(font).elidedText(title, Qt::ElideLeft, rect.width()));
        return;
    }
    const Title fitted = fittedTitle(title, rect.width());
    painter->setFont(titleFont());
    painter->setPen(TableCellStyle::DarkGrey);
    QRectF folderBox;
    painter->drawText(rect, Qt::AlignLeft | Qt::AlignBottom, fitted.folder, &folderBox);
    painter->setFont(fileNameFont());
    painter->setPen(FileNameColor);
    painter->drawText(rect.adjusted(folderBox.width(), 0, 0, 0), Qt::AlignLeft | Qt::AlignBottom, fitted.fileName);
}
