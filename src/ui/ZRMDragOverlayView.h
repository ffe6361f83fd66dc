#pragma once

#include <QIcon>
#include <QImage>
#include <QWidget>

// The dark rounded badge in the middle of the drag overlay: an icon, a bold
// title and a subtitle in white with a soft shadow.
class ZRMDragOverlayView : public QWidget
{
    Q_OBJECT

public:
    static constexpr QSize BadgeSize{325, 84};

    explicit ZRMDragOverlayView(QWidget *parent = nullptr);

    // An empty subLine leaves the title alone in the middle.
    void setOverlay(const QIcon &icon, const QString &mainLine, const QString &subLine);
    QRect badgeRect() const;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QImage backBadge(qreal devicePixelRatio);
    QImage textWithShadow(const QString &mainLine, const QString &subLine, qreal devicePixelRatio) const;

    QImage m_backBadge;
    QImage m_badge;
};
