#include "app/MainAppController.h"
#include "ui/CompilerArrayController.h"

#include <QAbstractItemModelTester>
#include <QColor>
#include <QFont>
#include <QTest>

#include <memory>

using Column = CompilerArrayController::Column;

class TestCompilerArrayController : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_controller = std::make_unique<MainAppController>(nullptr); }
    void cleanup() { m_controller.reset(); }
    void cells_data();
    void cells();
    void appendsAndClears();

private:
    LessModel *model() { return m_controller->appModel(); }
    CompilerArrayController *log() { return m_controller->compilerController(); }

    std::unique_ptr<MainAppController> m_controller;
};

void TestCompilerArrayController::cells_data()
{
    QTest::addColumn<StyledText>("result");
    QTest::addColumn<QColor>("expectedColor");

    const RgbaColor green{0, 0.573, 0, 1};
    QTest::newRow("success") << StyledText(QStringLiteral("Compiled."), green) << QColor::fromRgbF(0, 0.573f, 0);
    QTest::newRow("success through an import")
        << StyledText(QStringLiteral("Compiled."), green).append(QStringLiteral("  via main.less"), StyledText::Grey)
        << QColor::fromRgbF(0, 0.573f, 0);
    QTest::newRow("error") << StyledText(QStringLiteral("ParseError: missing }\n  at line 3"), StyledText::Red)
                           << QColor::fromRgbF(0.8f, 0.1f, 0.1f);
}

void TestCompilerArrayController::cells()
{
    QFETCH(StyledText, result);
    QFETCH(QColor, expectedColor);
    const QDateTime time(QDate(2024, 3, 9), QTime(7, 5, 3));
    model()->addNewCompilerResultWithTime(time, QStringLiteral("~/site/main.less"), result);

    QCOMPARE(log()->headerData(Column::ResultColumn, Qt::Horizontal).toString(), QStringLiteral("Result"));
    QCOMPARE(log()->index(0, Column::TimeColumn).data().toString(), QStringLiteral("07:05:03"));
    QCOMPARE(log()->index(0, Column::FileColumn).data().toString(), QStringLiteral("~/site/main.less"));
    const QModelIndex cell = log()->index(0, Column::ResultColumn);
    QCOMPARE(cell.data().toString(), result.plainText());
    QCOMPARE(cell.data(Qt::UserRole).value<StyledText>(), result);
    QCOMPARE(cell.data(Qt::ForegroundRole).value<QColor>(), expectedColor);
    QCOMPARE(cell.data(Qt::FontRole).value<QFont>().pointSizeF(), 11.0);
}

void TestCompilerArrayController::appendsAndClears()
{
    QAbstractItemModelTester tester(log(), QAbstractItemModelTester::FailureReportingMode::QtTest);
    const QDateTime now = QDateTime::currentDateTime();
    for (const QString &file : {QStringLiteral("a.less"), QStringLiteral("b.less"), QStringLiteral("c.less")})
        model()->addNewCompilerResultWithTime(now, file, StyledText(QStringLiteral("ok"), StyledText::Black));
    QCOMPARE(log()->rowCount(), 3);
    QCOMPARE(log()->index(2, Column::FileColumn).data().toString(), QStringLiteral("c.less"));

    m_controller->clearCompilerLog();
    QCOMPARE(log()->rowCount(), 0);

    model()->addNewCompilerResultWithTime(now, QStringLiteral("d.less"), StyledText());
    QCOMPARE(log()->index(0, Column::ResultColumn).data().toString(), QString());
    QVERIFY(!log()->index(0, Column::ResultColumn).data(Qt::ForegroundRole).isValid());
}

QTEST_MAIN(TestCompilerArrayController)
#include "TestCompilerArrayController.moc"
