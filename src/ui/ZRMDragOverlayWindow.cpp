#include "ZRMDragOverlayWindow.h"

#include "ZRMDragOverlayView.h"

#include <QApplication>
#include <QEvent>
#include <QGraphicsOpacityEffect>
#include <QPainter>
#include <QPropertyAnimation>
#include <QStyle>
#include <QVBoxLayout>

namespace {

const QColor DimmingColor = QColor::fromRgbF(0, 0, 0, 0.5f);
const QByteArray OpacityProperty = QByteArrayLiteral("opacity");
const QString GenericDocumentIconName = QStringLiteral("text-x-generic");

QIcon genericDocumentIcon()
{
    return QIcon::fromTheme(GenericDocumentIconName, QApplication::style()->standardIcon(QStyle::SP_FileIcon));
}

} // namespace

ZRMDragOverlayWindow::ZRMDragOverlayWindow(QWidget *parentWindow)
    : QWidget(parentWindow),
      m_opacityEffect(new QGraphicsOpacityEffect(this)),
      m_contentView(new ZRMDragOverlayView(this)),
      m_fadeInAnimation(createFade(0, 1, FadeInDuration)),
      m_fadeOutAnimation(createFade(1, 0, FadeOutDuration))
{
    setAttribute(Qt::WA_TransparentForMouseEvents);
    m_opacityEffect->setOpacity(0);
    setGraphicsEffect(m_opacityEffect);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_contentView);
    connect(m_fadeOutAnimation, &QAbstractAnimation::finished, this, &QWidget::hide);
    parentWindow->installEventFilter(this);
    followParentWindow();
    hide();
}

QPropertyAnimation *ZRMDragOverlayWindow::createFade(qreal from, qreal to, std::chrono::milliseconds duration)
{
    auto *fade = new QPropertyAnimation(m_opacityEffect, OpacityProperty, this);
    fade->setStartValue(from);
    fade->setEndValue(to);
    fade->setDuration(int(duration.count()));
    return fade;
}

void ZRMDragOverlayWindow::showOverlayBadgeWithIcon(const QIcon &icon, const QString &title,
                                                    const QString &subtitle)
{
    m_contentView->setOverlay(icon.isNull() ? genericDocumentIcon() : icon, title, subtitle);
    fadeIn();
}

// Both fades are linear, so the opacity reached tells how far the other fade
// has to go back.
void ZRMDragOverlayWindow::fadeIn()
{
    const qreal reached = opacity();
    m_fadeOutAnimation->stop();
    followParentWindow();
    show();
    raise();
    if (m_fadeInAnimation->state() != QAbstractAnimation::Running)
        startFrom(m_fadeInAnimation, reached);
}

// A hidden overlay is not faded again.
void ZRMDragOverlayWindow::fadeOut()
{
    const qreal reached = opacity();
    m_fadeInAnimation->stop();
    if (reached <= 0)
        hide();
    else if (m_fadeOutAnimation->state() != QAbstractAnimation::Running)
        startFrom(m_fadeOutAnimation, 1 - reached);
}

// Starting rewinds an animation, so the time is set once it runs.
void ZRMDragOverlayWindow::startFrom(QPropertyAnimation *fade, qreal progress)
{
    fade->start();
    fade->setCurrentTime(qRound(progress * fade->duration()));
}

qreal ZRMDragOverlayWindow::opacity() const
{
    return m_opacityEffect->opacity();
}

void ZRMDragOverlayWindow::followParentWindow()
{
    setGeometry(parentWidget()->rect());
}

bool ZRMDragOverlayWindow::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == parentWidget() && event->type() == QEvent::Resize)
        followParentWindow();
    return QWidget::eventFilter(watched, event);
}

void ZRMDragOverlayWindow::paintEvent(QPaintEvent *)
{
    QPainter(this).fillRect(rect(), DimmingColor);
}
