#include "ui/ImageResources.h"
#include "ui/RoundRect.h"
#include "ui/ZRMIconAndBadgeTableCell.h"
#include "ui/ZRMIconAndTextTableCell.h"
#include "ui/ZRMLessFileTableCell.h"
#include "ui/ZRMStaticImageView.h"

#include <QFontMetricsF>
#include <QImage>
#include <QPainterPath>
#include <QTest>

#include <cmath>

class TestZRMTableCells : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void badgeFitsItsCount_data();
    void badgeFitsItsCount();
    void longTitlesLoseTheRightEnd_data();
    void longTitlesLoseTheRightEnd();
    void roundedRectKeepsItsCornersApart_data();
    void roundedRectKeepsItsCornersApart();
    void titlebarIsDrawnUnscaled();
};

void TestZRMTableCells::badgeFitsItsCount_data()
{
    QTest::addColumn<QString>("count");
    QTest::addColumn<bool>("shown");
    QTest::addColumn<bool>("narrow");
    QTest::newRow("none") << QStringLiteral("0") << false << true;
    QTest::newRow("one digit") << QStringLiteral("7") << true << true;
    QTest::newRow("four digits") << QStringLiteral("1234") << true << false;
}

void TestZRMTableCells::badgeFitsItsCount()
{
    QFETCH(QString, count);
    QFETCH(bool, shown);
    QFETCH(bool, narrow);
    const QRectF cell(0, 30, 200, 24);
    const auto layout = ZRMIconAndBadgeTableCell::layoutFor(cell, count);
    const auto oneDigit = ZRMIconAndBadgeTableCell::layoutFor(cell, QStringLiteral("7"));

    QCOMPARE(layout.showsBadge, shown);
    QCOMPARE(layout.badge.height(), 14.0);
    QCOMPARE(layout.badge.y(), std::floor(cell.y() + cell.height() / 2 - 7));
    QCOMPARE(layout.badge.right(), cell.right() - 5);
    QCOMPARE(layout.badge.width() == 20, narrow);
    QCOMPARE(layout.badgeText.x() - layout.badge.x(), narrow ? 6.0 : 4.0);
    QCOMPARE(layout.title.right(), cell.right() - 8 - layout.badge.width() - 10);
    QCOMPARE(layout.title.width() < oneDigit.title.width(), !narrow);
    QCOMPARE(layout.icon, QRectF(8, 34, 16, 16));
}

void TestZRMTableCells::longTitlesLoseTheRightEnd_data()
{
    QTest::addColumn<qreal>("width");
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QString>("fileName");
    const QString name = QStringLiteral("main.less");
    QTest::newRow("fits") << 600.0 << QStringLiteral("/site/styles/") << name;
    QTest::newRow("folder shortened at its start") << 150.0 << QStringLiteral("\u2026") << name;
    QTest::newRow("no room for the folder") << 40.0 << QStringLiteral("\u2026") << QStringLiteral("\u2026");
}

// File rows keep the file name, folder rows keep the end; the icon-and-text
// cell keeps the start.
void TestZRMTableCells::longTitlesLoseTheRightEnd()
{
    QFETCH(qreal, width);
    QFETCH(QString, folder);
    QFETCH(QString, fileName);
    const auto title = ZRMLessFileTableCell::fittedTitle(QStringLiteral("/site/styles/main.less"), width);
    QVERIFY2(title.folder.startsWith(folder), qPrintable(title.folder));
    QVERIFY2(title.fileName.startsWith(fileName), qPrintable(title.fileName));
    QVERIFY(title.folder.endsWith(u'/') || title.folder == QStringLiteral("\u2026"));

    const QString text = QStringLiteral("Cascader watches these folders");
    const QString fitted = ZRMIconAndTextTableCell::fittedText(text, width);
    QVERIFY(fitted == text || (fitted.endsWith(QStringLiteral("\u2026")) && text.startsWith(fitted.chopped(1))));
    const auto layout = ZRMIconAndTextTableCell::layoutFor(QRectF(0, 0, width + 100, 30));
    QCOMPARE(layout.icon, QRectF(10, 5, 20, 20));
    QCOMPARE(layout.text.x(), 35.0);
}

void TestZRMTableCells::roundedRectKeepsItsCornersApart_data()
{
    QTest::addColumn<QRectF>("rect");
    QTest::addColumn<qreal>("radius");
    QTest::addColumn<qreal>("usedRadius");
    QTest::newRow("radius beyond half the height") << QRectF(0, 0, 10, 4) << 8.0 << 2.0;
    QTest::newRow("radius that fits") << QRectF(5, 5, 40, 20) << 3.0 << 3.0;
    QTest::newRow("no radius") << QRectF(0, 0, 10, 4) << 0.0 << 0.0;
    QTest::newRow("empty rectangle") << QRectF(0, 0, 0, 4) << 3.0 << 0.0;
}

void TestZRMTableCells::roundedRectKeepsItsCornersApart()
{
    QFETCH(QRectF, rect);
    QFETCH(qreal, radius);
    QFETCH(qreal, usedRadius);
    const QPainterPath path = RoundRect::roundedRect(rect, radius);
    if (rect.isEmpty()) {
        QVERIFY(path.isEmpty());
        return;
    }
    QPainterPath expected;
    expected.addRoundedRect(rect, usedRadius, usedRadius);
    QCOMPARE(path.boundingRect(), rect);
    for (qreal x = rect.left() + 0.25; x < rect.right(); x += 0.5) {
        for (qreal y = rect.top() + 0.25; y < rect.bottom(); y += 0.5)
            QCOMPARE(path.contains(QPointF(x, y)), expected.contains(QPointF(x, y)));
    }
}

void TestZRMTableCells::titlebarIsDrawnUnscaled()
{
    const QImage titlebar = ImageResources::pixmap(ZRMStaticImageView::ImageName, 1).toImage();
    QVERIFY(!titlebar.isNull());
    ZRMStaticImageView view;
    QCOMPARE(view.sizeHint(), titlebar.size());
    view.resize(titlebar.width() / 4, titlebar.height() * 3);
    const QImage drawn = view.grab().toImage();
    for (int y = 0; y < titlebar.height(); ++y)
        QCOMPARE(drawn.pixel(titlebar.width() / 8, y), titlebar.pixel(titlebar.width() / 8, y));
}

QTEST_MAIN(TestZRMTableCells)
#include "TestZRMTableCells.moc"
