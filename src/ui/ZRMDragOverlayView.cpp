#include "ZRMDragOverlayView.h"

#include "RoundRect.h"

#include <QApplication>
#include <QPainter>

namespace {

constexpr qreal CornerRadius = 15;
constexpr qreal BadgeAlpha = 0.75;
constexpr QRectF IconRect{10, (ZRMDragOverlayView::BadgeSize.height() - 64) / 2.0, 64, 64};
constexpr qreal TextX = 87;
constexpr qreal TextWidth = ZRMDragOverlayView::BadgeSize.width() - 84 - 10;
constexpr qreal LineGap = 2;
constexpr int TitlePixelSize = 18;
constexpr int SubtitlePixelSize = 14;
constexpr QPointF ShadowOffset{2, 2};
constexpr int ShadowBlur = 4;
const QColor ShadowColor = QColor::fromRgbF(0, 0, 0, 1.0f / 3);

QFont overlayFont(int pixelSize, bool bold)
{
    QFont font = QApplication::font();
    font.setPixelSize(pixelSize);
    font.setBold(bold);
    return font;
}

QImage transparentImage(QSize size, qreal devicePixelRatio)
{
    QImage image(size * devicePixelRatio, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(devicePixelRatio);
    image.fill(Qt::transparent);
    return image;
}

// Shrinking and growing again smooths the edges about as far as the blur radius.
QImage blurred(const QImage &image, int radius)
{
    const QSize size = image.size();
    QImage result = image.scaled(size / radius, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
                        .scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    result.setDevicePixelRatio(image.devicePixelRatio());
    return result;
}

QImage shadowOf(const QImage &text)
{
    QImage shadow = text;
    QPainter painter(&shadow);
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(QRectF(QPointF(), ZRMDragOverlayView::BadgeSize), ShadowColor);
    painter.end();
    return blurred(shadow, ShadowBlur);
}

} // namespace

ZRMDragOverlayView::ZRMDragOverlayView(QWidget *parent) : QWidget(parent)
{
    setAttribute(Qt::WA_TransparentForMouseEvents);
}

QImage ZRMDragOverlayView::backBadge(qreal devicePixelRatio)
{
    if (m_backBadge.isNull() || m_backBadge.devicePixelRatio() != devicePixelRatio) {
        m_backBadge = transparentImage(BadgeSize, devicePixelRatio);
        QPainter painter(&m_backBadge);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.fillPath(RoundRect::roundedRect(QRectF(QPointF(), BadgeSize), CornerRadius),
                         QColor::fromRgbF(0, 0, 0, BadgeAlpha));
    }
    return m_backBadge;
}

QImage ZRMDragOverlayView::textWithShadow(const QString &mainLine, const QString &subLine,
                                          qreal devicePixelRatio) const
{
    const QFont titleFont = overlayFont(TitlePixelSize, true);
    const QFont subtitleFont = overlayFont(SubtitlePixelSize, false);
    const QFontMetricsF titleMetrics(titleFont);
    const QFontMetricsF subtitleMetrics(subtitleFont);
    const qreal titleHeight = titleMetrics.height();
    const qreal subtitleHeight = subtitleMetrics.height();
    const qreal height = BadgeSize.height();
    const qreal titleY = subLine.isEmpty() ? (height - titleHeight) / 2
                                           : (height - titleHeight - LineGap - subtitleHeight) / 2;

    QImage text = transparentImage(BadgeSize, devicePixelRatio);
    QPainter painter(&text);
    painter.setPen(Qt::white);
    painter.setFont(titleFont);
    painter.drawText(QRectF(TextX, titleY, TextWidth, titleHeight), Qt::AlignLeft | Qt::AlignVCenter,
                     titleMetrics.elidedText(mainLine, Qt::ElideRight, TextWidth));
    painter.setFont(subtitleFont);
    painter.drawText(QRectF(TextX, titleY + titleHeight + LineGap, TextWidth, subtitleHeight),
                     Qt::AlignLeft | Qt::AlignVCenter,
                     subtitleMetrics.elidedText(subLine, Qt::ElideRight, TextWidth));
    painter.end();

    QImage withShadow = transparentImage(BadgeSize, devicePixelRatio);
    QPainter composer(&withShadow);
    composer.drawImage(ShadowOffset, shadowOf(text));
    composer.drawImage(QPointF(), text);
    composer.end();
    return withShadow;
}

void ZRMDragOverlayView::setOverlay(const QIcon &icon, const QString &mainLine, const QString &subLine)
{
    const qreal ratio = devicePixelRatioF();
    m_badge = backBadge(ratio);
    QPainter painter(&m_badge);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    icon.paint(&painter, IconRect.toRect());
    painter.drawImage(QPointF(), textWithShadow(mainLine, subLine, ratio));
    painter.end();
    setAccessibleName(mainLine);
    setAccessibleDescription(subLine);
    update();
}

QRect ZRMDragOverlayView::badgeRect() const
{
    QRect badge(QPoint(), BadgeSize);
    badge.moveCenter(rect().center());
    return badge;
}

void ZRMDragOverlayView::paintEvent(QPaintEvent *)
{
    if (m_badge.isNull())
        return;
    QPainter painter(this);
    painter.drawImage(badgeRect().topLeft(), m_badge);
}
