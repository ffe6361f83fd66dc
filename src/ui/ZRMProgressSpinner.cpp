#include "ZRMProgressSpinner.h"

#include <QPainter>

#include <algorithm>
#include <chrono>

namespace {

constexpr int SpokeCount = 12;
constexpr std::chrono::milliseconds StepInterval{80};
constexpr int Diameter = 16;
// The spoke at the head is opaque; the ones behind it fade to this.
constexpr double FaintestOpacity = 0.15;
// Spoke geometry as fractions of the radius.
constexpr double SpokeStart = 0.45;
constexpr double SpokeEnd = 0.85;
constexpr double SpokeWidth = 0.25;

} // namespace

ZRMProgressSpinner::ZRMProgressSpinner(QWidget *parent) : QWidget(parent)
{
    m_timer.setInterval(StepInterval);
    connect(&m_timer, &QTimer::timeout, this, &ZRMProgressSpinner::advance);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    hide();
}

void ZRMProgressSpinner::startAnimation()
{
    m_timer.start();
    show();
}

void ZRMProgressSpinner::stopAnimation()
{
    m_timer.stop();
    hide();
}

QSize ZRMProgressSpinner::sizeHint() const
{
    return {Diameter, Diameter};
}

void ZRMProgressSpinner::advance()
{
    m_step = (m_step + 1) % SpokeCount;
    update();
}

void ZRMProgressSpinner::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const double radius = std::min(width(), height()) / 2.0;
    painter.translate(width() / 2.0, height() / 2.0);
    QPen pen(palette().color(QPalette::WindowText));
    pen.setWidthF(radius * SpokeWidth);
    pen.setCapStyle(Qt::RoundCap);
    for (int spoke = 0; spoke < SpokeCount; ++spoke) {
        const int age = (m_step - spoke + SpokeCount) % SpokeCount;
        QColor color = pen.color();
        color.setAlphaF(float(1.0 - (1.0 - FaintestOpacity) * age / (SpokeCount - 1)));
        pen.setColor(color);
        painter.setPen(pen);
        painter.save();
        painter.rotate(360.0 * spoke / SpokeCount);
        painter.drawLine(QPointF(0, -radius * SpokeStart), QPointF(0, -radius * SpokeEnd));
        painter.restore();
    }
}
