#pragma once

#include <QObject>

class QTimer;
class ZRMDragOverlayWindow;

// The overlay over the main window, and the short confirmations it flashes.
class OverlayFlash : public QObject
{
    Q_OBJECT

public:
    explicit OverlayFlash(QWidget *window);

    // Hidden after duration seconds (1 second when duration is 0). iconName
    // names an image resource; none shows the LESS logo. A new flash replaces
    // the one showing.
    void flash(double duration, const QString &iconName, const QString &title, const QString &subtitle = {});
    void hide();

    ZRMDragOverlayWindow *overlayWindow() const { return m_overlayWindow; }
    QTimer *timer() const { return m_timer; }

private:
    ZRMDragOverlayWindow *m_overlayWindow;
    QTimer *m_timer;
};
