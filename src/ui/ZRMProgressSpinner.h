#pragma once

#include <QTimer>
#include <QWidget>

// A small spinning busy indicator, hidden while it is stopped.
class ZRMProgressSpinner : public QWidget
{
    Q_OBJECT

public:
    explicit ZRMProgressSpinner(QWidget *parent = nullptr);

    void startAnimation();
    void stopAnimation();
    bool isAnimating() const { return m_timer.isActive(); }

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    void advance();

    QTimer m_timer;
    int m_step = 0;
};
