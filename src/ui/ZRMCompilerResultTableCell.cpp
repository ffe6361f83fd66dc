#include "ZRMCompilerResultTableCell.h"

#include "TableCellStyle.h"

#include <QPainter>
#include <QTextLayout>

#include <cmath>

namespace {

constexpr qreal Inset = 1;
constexpr qreal HighlightedPointSize = 11;

// QTextLayout breaks lines at line separators only.
QString withLineSeparators(QString text)
{
    return text.replace(u'\n', QChar::LineSeparator);
}

QList<QTextLayout::FormatRange> formatsOf(const StyledText &text)
{
    QList<QTextLayout::FormatRange> formats;
    int start = 0;
    for (const StyledText::Run &run : text.runs()) {
        QTextCharFormat format;
        format.setFont(TableCellStyle::systemFont(run.pointSize, run.bold));
        format.setForeground(QColor::fromRgbF(float(run.color.red), float(run.color.green),
                                              float(run.color.blue), float(run.color.alpha)));
        formats.append({start, int(run.text.size()), format});
        start += int(run.text.size());
    }
    return formats;
}

} // namespace

qreal ZRMCompilerResultTableCell::layOut(QTextLayout &layout, qreal width)
{
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    qreal height = 0;
    layout.beginLayout();
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(width);
        line.setPosition(QPointF(0, height));
        height += line.height();
    }
    layout.endLayout();
    return height;
}

int ZRMCompilerResultTableCell::heightForText(const StyledText &text, qreal columnWidth)
{
    QTextLayout layout(withLineSeparators(text.plainText()), TableCellStyle::systemFont(StyledText::DefaultPointSize));
    layout.setFormats(formatsOf(text));
    return int(std::ceil(layOut(layout, columnWidth - 2 * Inset) + 2 * Inset));
}

void ZRMCompilerResultTableCell::paint(QPainter *painter, const QStyleOptionViewItem &option,
                                       const QModelIndex &index) const
{
    const StyledText text = index.data(Qt::UserRole).value<StyledText>();
    const QRectF bounds = QRectF(option.rect).adjusted(Inset, Inset, -Inset, -Inset);
    const bool highlighted = option.state.testFlag(QStyle::State_Selected);
    QTextLayout layout(withLineSeparators(text.plainText()), TableCellStyle::systemFont(HighlightedPointSize));
    if (!highlighted)
        layout.setFormats(formatsOf(text));
    layOut(layout, bounds.width());

    painter->save();
    painter->setClipRect(bounds);
    painter->setPen(TableCellStyle::HighlightedText);
    layout.draw(painter, bounds.topLeft());
    painter->restore();
}

QSize ZRMCompilerResultTableCell::sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    const int width = option.rect.width();
    return {width, heightForText(index.data(Qt::UserRole).value<StyledText>(), width)};
}
