#include "ZRMStaticImageView.h"

#include "ImageResources.h"

#include <QPaintEvent>
#include <QPainter>

// As high as the image; as wide as its place, showing no more than the image has.
ZRMStaticImageView::ZRMStaticImageView(QWidget *parent) : QWidget(parent)
{
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
}

QPixmap ZRMStaticImageView::image() const
{
    return ImageResources::pixmap(ImageName, devicePixelRatioF());
}

QSize ZRMStaticImageView::sizeHint() const
{
    return image().deviceIndependentSize().toSize();
}

void ZRMStaticImageView::paintEvent(QPaintEvent *event)
{
    const QPixmap titlebar = image();
    const QRectF area = event->rect();
    const qreal ratio = titlebar.devicePixelRatio();
    QPainter(this).drawPixmap(area, titlebar,
                              QRectF(area.topLeft() * ratio, area.size() * ratio));
}
