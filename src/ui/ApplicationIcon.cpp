#include "ApplicationIcon.h"

#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>

namespace {

// The drawing is laid out on a 256-unit square.
constexpr qreal DesignSize = 256;
constexpr QRectF Tile{16, 16, 224, 224};
constexpr qreal TileRadius = 44;
constexpr qreal ShineOpacity = 0.08;
constexpr QSizeF StepSize{96, 30};
constexpr qreal StepRadius = 10;
constexpr qreal ConnectorWidth = 7;
constexpr qreal ConnectorRadius = 8;
constexpr qreal ConnectorDrop = 30;
constexpr qreal ConnectorReach = 14;
const QColor TileTop(0x3d, 0x7f, 0xc4);
const QColor TileBottom(0x1d, 0x4f, 0x8a);
const QColor StepLeft(Qt::white);
const QColor StepRight(0xd6, 0xe6, 0xf7);

struct Step
{
    QPointF topLeft;
    qreal opacity;
};
constexpr Step Steps[] = {{{52, 60}, 1.0}, {{80, 113}, 0.9}, {{108, 166}, 0.8}};

constexpr int IconSizes[] = {16, 22, 24, 32, 48, 64, 128, 256};

void drawTile(QPainter &painter)
{
    QLinearGradient gradient(Tile.topLeft(), Tile.bottomLeft());
    gradient.setColorAt(0, TileTop);
    gradient.setColorAt(1, TileBottom);
    painter.setBrush(gradient);
    painter.drawRoundedRect(Tile, TileRadius, TileRadius);

    // A faint light on the upper half.
    painter.setOpacity(ShineOpacity);
    painter.setBrush(Qt::white);
    painter.drawRoundedRect(QRectF(Tile.topLeft(), QSizeF(Tile.width(), Tile.height() / 2)), TileRadius,
                            TileRadius);
    painter.setOpacity(1);
}

void drawSteps(QPainter &painter)
{
    for (const Step &step : Steps) {
        const QRectF rect(step.topLeft, StepSize);
        QLinearGradient gradient(rect.topLeft(), rect.topRight());
        gradient.setColorAt(0, StepLeft);
        gradient.setColorAt(1, StepRight);
        painter.setOpacity(step.opacity);
        painter.setBrush(gradient);
        painter.drawRoundedRect(rect, StepRadius, StepRadius);
    }
    painter.setOpacity(1);
}

// From under each step but the last, a rounded elbow down to the next one.
void drawConnectors(QPainter &painter)
{
    painter.setPen(QPen(StepRight, ConnectorWidth, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(Qt::NoBrush);
    for (int index = 0; index + 1 < int(std::size(Steps)); ++index) {
        const QPointF start = Steps[index].topLeft + QPointF(ConnectorReach, StepSize.height());
        QPainterPath elbow(start);
        elbow.lineTo(start + QPointF(0, ConnectorDrop));
        elbow.arcTo(QRectF(start.x(), start.y() + ConnectorDrop - ConnectorRadius, 2 * ConnectorRadius,
                           2 * ConnectorRadius),
                    180, 90);
        elbow.lineTo(Steps[index + 1].topLeft.x(), elbow.currentPosition().y());
        painter.drawPath(elbow);
    }
}

} // namespace

namespace ApplicationIcon {

QPixmap pixmap(int size, qreal devicePixelRatio)
{
    QPixmap picture(QSize(size, size) * devicePixelRatio);
    picture.setDevicePixelRatio(devicePixelRatio);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(size / DesignSize, size / DesignSize);
    painter.setPen(Qt::NoPen);
    drawTile(painter);
    drawSteps(painter);
    drawConnectors(painter);
    return picture;
}

QIcon icon()
{
    QIcon icon;
    for (int size : IconSizes)
        icon.addPixmap(pixmap(size));
    return icon;
}

} // namespace ApplicationIcon
