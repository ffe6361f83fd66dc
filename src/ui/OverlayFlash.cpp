#include "OverlayFlash.h"

#include "ImageResources.h"
#include "ZRMDragOverlayWindow.h"

#include <QTimer>

#include <chrono>

namespace {

constexpr std::chrono::milliseconds DefaultFlashDuration{1000};
const QString DefaultFlashIconName = QStringLiteral("lesslogo.png");
const QString FlashTimerName = QStringLiteral("flashTimer");

} // namespace

OverlayFlash::OverlayFlash(QWidget *window)
    : QObject(window),
      m_overlayWindow(new ZRMDragOverlayWindow(window)),
      m_timer(new QTimer(this))
{
    m_timer->setObjectName(FlashTimerName);
    m_timer->setSingleShot(true);
    connect(m_timer, &QTimer::timeout, this, &OverlayFlash::hide);
}

void OverlayFlash::flash(double duration, const QString &iconName, const QString &title, const QString &subtitle)
{
    const auto shownFor = duration > 0 ? std::chrono::milliseconds(qRound(duration * 1000)) : DefaultFlashDuration;
    m_overlayWindow->showOverlayBadgeWithIcon(
        ImageResources::icon(iconName.isEmpty() ? DefaultFlashIconName : iconName), title, subtitle);
    m_timer->start(shownFor);
}

void OverlayFlash::hide()
{
    m_overlayWindow->fadeOut();
    m_timer->stop();
}
