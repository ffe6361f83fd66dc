#pragma once

#include <QWidget>

#include <chrono>

class QGraphicsOpacityEffect;
class QPropertyAnimation;
class ZRMDragOverlayView;

// A dimming layer over the whole main window with a badge in its middle. It
// fades in and out, reversing a running fade from the opacity reached, and
// lets the mouse and drags through to the window beneath.
class ZRMDragOverlayWindow : public QWidget
{
    Q_OBJECT

public:
    static constexpr std::chrono::milliseconds FadeInDuration{150};
    static constexpr std::chrono::milliseconds FadeOutDuration{500};

    explicit ZRMDragOverlayWindow(QWidget *parentWindow);

    // A null icon shows the desktop's generic document icon.
    void showOverlayBadgeWithIcon(const QIcon &icon, const QString &title, const QString &subtitle);
    void fadeIn();
    void fadeOut();

    qreal opacity() const;
    ZRMDragOverlayView *contentView() const { return m_contentView; }
    QPropertyAnimation *fadeInAnimation() const { return m_fadeInAnimation; }
    QPropertyAnimation *fadeOutAnimation() const { return m_fadeOutAnimation; }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    QPropertyAnimation *createFade(qreal from, qreal to, std::chrono::milliseconds duration);
    void followParentWindow();
    static void startFrom(QPropertyAnimation *fade, qreal progress);

    QGraphicsOpacityEffect *m_opacityEffect;
    ZRMDragOverlayView *m_contentView;
    QPropertyAnimation *m_fadeInAnimation;
    QPropertyAnimation *m_fadeOutAnimation;
};
