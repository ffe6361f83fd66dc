#pragma once

#include <QPainterPath>
#include <QRectF>

// Rounded rectangles whose corners never overlap: the radius is limited to
// half the smaller side, so a short rectangle becomes a capsule.
namespace RoundRect {

// An empty rectangle adds nothing; a radius of 0 or less adds a plain rectangle.
void appendRoundedRect(QPainterPath &path, const QRectF &rect, qreal radius);
QPainterPath roundedRect(const QRectF &rect, qreal radius);

} // namespace RoundRect
