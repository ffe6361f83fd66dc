#include "ui/ZRMDragOverlayView.h"
#include "ui/ZRMDragOverlayWindow.h"

#include <QPropertyAnimation>
#include <QTest>

#include <memory>

class TestZRMDragOverlay : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup() { m_parent.reset(); }
    void fadesReverseFromTheOpacityReached_data();
    void fadesReverseFromTheOpacityReached();
    void followsItsWindow();

private:
    std::unique_ptr<QWidget> m_parent;
    ZRMDragOverlayWindow *m_overlay = nullptr;
};

void TestZRMDragOverlay::init()
{
    m_parent = std::make_unique<QWidget>();
    m_parent->resize(500, 300);
    m_overlay = new ZRMDragOverlayWindow(m_parent.get());
    m_parent->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_parent.get()));
}

enum class Fade { In, Out };
Q_DECLARE_METATYPE(Fade)

// The fade under way is stopped at progress; the other one then starts where
// the opacity stands.
void TestZRMDragOverlay::fadesReverseFromTheOpacityReached_data()
{
    QTest::addColumn<Fade>("running");
    QTest::addColumn<double>("progress");
    QTest::addColumn<int>("reversedTime");
    QTest::newRow("fade-out reversed") << Fade::Out << 0.4 << 90;
    QTest::newRow("fade-in reversed") << Fade::In << 0.2 << 400;
    QTest::newRow("fade-out nearly done") << Fade::Out << 0.9 << 15;
}

void TestZRMDragOverlay::fadesReverseFromTheOpacityReached()
{
    QFETCH(Fade, running);
    QFETCH(double, progress);
    QFETCH(int, reversedTime);
    m_overlay->showOverlayBadgeWithIcon({}, QStringLiteral("site"), QStringLiteral("Add this folder"));
    m_overlay->fadeInAnimation()->setCurrentTime(m_overlay->fadeInAnimation()->duration());
    QCOMPARE(m_overlay->opacity(), 1.0);
    if (running == Fade::In) {
        m_overlay->fadeOut();
        m_overlay->fadeOutAnimation()->setCurrentTime(m_overlay->fadeOutAnimation()->duration());
        QVERIFY(m_overlay->isHidden());
        m_overlay->fadeIn();
    } else {
        m_overlay->fadeOut();
    }
    QPropertyAnimation *first = running == Fade::In ? m_overlay->fadeInAnimation() : m_overlay->fadeOutAnimation();
    QPropertyAnimation *second = running == Fade::In ? m_overlay->fadeOutAnimation() : m_overlay->fadeInAnimation();
    first->setCurrentTime(qRound(progress * first->duration()));

    if (running == Fade::In)
        m_overlay->fadeOut();
    else
        m_overlay->fadeIn();
    QCOMPARE(first->state(), QAbstractAnimation::Stopped);
    QCOMPARE(second->state(), QAbstractAnimation::Running);
    QCOMPARE(second->currentTime(), reversedTime);
    QVERIFY(m_overlay->isVisible());
}

void TestZRMDragOverlay::followsItsWindow()
{
    QCOMPARE(m_overlay->fadeInAnimation()->duration(), 150);
    QCOMPARE(m_overlay->fadeOutAnimation()->duration(), 500);
    m_overlay->fadeOut();
    QCOMPARE(m_overlay->fadeOutAnimation()->state(), QAbstractAnimation::Stopped);

    m_overlay->showOverlayBadgeWithIcon({}, QStringLiteral("3 LESS Files"), {});
    m_parent->resize(640, 420);
    QCOMPARE(m_overlay->geometry(), m_parent->rect());
    QCOMPARE(m_overlay->contentView()->badgeRect().size(), ZRMDragOverlayView::BadgeSize);
    QCOMPARE(m_overlay->contentView()->badgeRect().center(), m_parent->rect().center());
    QVERIFY(m_overlay->testAttribute(Qt::WA_TransparentForMouseEvents));
}

QTEST_MAIN(TestZRMDragOverlay)
#include "TestZRMDragOverlay.moc"
