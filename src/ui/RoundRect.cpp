#include "RoundRect.h"

#include <algorithm>

namespace RoundRect {

void appendRoundedRect(QPainterPath &path, const QRectF &rect, qreal radius)
{
    if (rect.isEmpty())
        return;
    if (radius <= 0) {
        path.addRect(rect);
        return;
    }
    const qreal limited = std::min({radius, rect.width() / 2, rect.height() / 2});
    path.addRoundedRect(rect, limited, limited);
}

QPainterPath roundedRect(const QRectF &rect, qreal radius)
{
    QPainterPath path;
    appendRoundedRect(path, rect, radius);
    return path;
}

} // namespace RoundRect
