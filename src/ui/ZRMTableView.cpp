#include "ZRMTableView.h"

#include "RoundRect.h"
#include "TableCellStyle.h"

#include <QHeaderView>
#include <QMouseEvent>
#include <QPainter>

namespace {

constexpr qreal SelectionInsetX = 2;
constexpr qreal SelectionInsetY = 1;
constexpr qreal SelectionRadius = 3;

// The table draws the selection itself; the style's own would cover it.
QPalette withoutStyleHighlight(QPalette palette)
{
    for (const auto group : {QPalette::Active, QPalette::Inactive}) {
        palette.setColor(group, QPalette::Highlight, Qt::transparent);
        palette.setColor(group, QPalette::HighlightedText, TableCellStyle::HighlightedText);
    }
    palette.setColor(QPalette::Base, TableCellStyle::EvenRow);
    // The rows stay light in a dark colour scheme too, so their text stays dark.
    palette.setColor(QPalette::Text, Qt::black);
    return palette;
}

const QColor &rowColor(int row)
{
    return row % 2 == 0 ? TableCellStyle::EvenRow : TableCellStyle::OddRow;
}

} // namespace

ZRMTableView::ZRMTableView(QWidget *parent)
    : QTableView(parent),
      m_highlightColorInFocusView(TableCellStyle::SelectionInFocus),
      m_highlightColorOutOfFocusView(TableCellStyle::SelectionOutOfFocus)
{
    setPalette(withoutStyleHighlight(palette()));
    setAlternatingRowColors(false);
    setShowGrid(false);
}

QColor ZRMTableView::currentHighlightColor() const
{
    return hasFocus() && isActiveWindow() ? m_highlightColorInFocusView : m_highlightColorOutOfFocusView;
}

void ZRMTableView::setPlaceholderText(const QString &text)
{
    m_placeholderText = text;
    viewport()->update();
}

void ZRMTableView::paintEvent(QPaintEvent *event)
{
    {
        QPainter painter(viewport());
        drawAlternatingRows(painter, event->rect());
        highlightSelectionInClipRect(painter, event->rect());
        if (!m_placeholderText.isEmpty() && (!model() || model()->rowCount(rootIndex()) == 0)) {
            painter.setPen(palette().color(QPalette::PlaceholderText));
            painter.drawText(viewport()->rect().adjusted(12, 0, -12, 0), Qt::AlignCenter | Qt::TextWordWrap,
                             m_placeholderText);
        }
    }
    QTableView::paintEvent(event);
}

// The stripes go on below the last row, as in an empty table.
void ZRMTableView::drawAlternatingRows(QPainter &painter, const QRect &clip) const
{
    const int rows = model() ? model()->rowCount(rootIndex()) : 0;
    const int width = viewport()->width();
    const int firstInClip = rowAt(clip.top());
    int row = firstInClip < 0 ? rows : firstInClip;
    for (; row < rows && rowViewportPosition(row) <= clip.bottom(); ++row)
        painter.fillRect(0, rowViewportPosition(row), width, rowHeight(row), rowColor(row));

    const int stripe = verticalHeader()->defaultSectionSize();
    row = rows;
    for (int y = rows > 0 ? rowViewportPosition(rows - 1) + rowHeight(rows - 1) : 0; y <= clip.bottom();
         y += stripe, ++row)
        painter.fillRect(0, y, width, stripe, rowColor(row));
}

void ZRMTableView::highlightSelectionInClipRect(QPainter &painter, const QRect &clip) const
{
    if (!selectionModel())
        return;
    painter.setRenderHint(QPainter::Antialiasing);
    const QColor color = currentHighlightColor();
    const int width = viewport()->width();
    for (const QModelIndex &selected : selectionModel()->selectedRows()) {
        const QRect row(0, rowViewportPosition(selected.row()), width, rowHeight(selected.row()));
        if (!row.intersects(clip))
            continue;
        const QRectF bar = QRectF(row).adjusted(SelectionInsetX, SelectionInsetY, -SelectionInsetX, -SelectionInsetY);
        painter.fillPath(RoundRect::roundedRect(bar, SelectionRadius), color);
    }
}

// The right button selects without dragging a selection, and the context
// menu then acts on what is selected.
void ZRMTableView::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::RightButton) {
        QTableView::mousePressEvent(event);
        return;
    }
    setFocus(Qt::MouseFocusReason);
    selectRowForContextMenu(event->position().toPoint());
    event->accept();
}

void ZRMTableView::selectRowForContextMenu(const QPoint &position)
{
    const QModelIndex clicked = indexAt(position);
    if (!clicked.isValid()) {
        clearSelection();
        return;
    }
    const bool inSelection = selectionModel()->isRowSelected(clicked.row(), rootIndex());
    selectionModel()->setCurrentIndex(clicked, inSelection ? QItemSelectionModel::NoUpdate
                                                           : QItemSelectionModel::ClearAndSelect
                                                                 | QItemSelectionModel::Rows);
}

// The selection changes colour with the focus.
void ZRMTableView::focusInEvent(QFocusEvent *event)
{
    QTableView::focusInEvent(event);
    viewport()->update();
}

void ZRMTableView::focusOutEvent(QFocusEvent *event)
{
    QTableView::focusOutEvent(event);
    viewport()->update();
}
