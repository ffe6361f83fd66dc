#pragma once

#include <QApplication>
#include <QColor>
#include <QFont>

// What the table cells share: the system font at a given size and the
// colours of the application's tables.
namespace TableCellStyle {

inline QFont systemFont(qreal pointSize, bool bold = false)
{
    QFont font = QApplication::font();
    font.setPointSizeF(pointSize);
    font.setBold(bold);
    return font;
}

inline const QColor SelectionInFocus = QColor::fromRgbF(0.263f, 0.424f, 0.639f);
inline const QColor SelectionOutOfFocus = QColor::fromRgbF(0.584f, 0.659f, 0.753f);
inline const QColor EvenRow = QColor::fromRgbF(0.98f, 0.98f, 0.98f);
inline const QColor OddRow = QColor::fromRgbF(0.92f, 0.92f, 0.97f);
inline const QColor HighlightedText = Qt::white;
inline const QColor DarkGrey = QColor::fromRgbF(0.33f, 0.33f, 0.33f);
inline const QColor Grey = QColor::fromRgbF(0.5f, 0.5f, 0.5f);
inline const QColor DisabledText = QColor::fromRgbF(0.62f, 0.62f, 0.62f);

} // namespace TableCellStyle
