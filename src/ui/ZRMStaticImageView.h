#pragma once

#include <QPixmap>
#include <QWidget>

// Shows "titlebar.png" at its own size from the top left, never scaled;
// a wider view shows no more than the image has.
class ZRMStaticImageView : public QWidget
{
    Q_OBJECT

public:
    static inline const QString ImageName = QStringLiteral("titlebar.png");

    explicit ZRMStaticImageView(QWidget *parent = nullptr);

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QPixmap image() const;
};
