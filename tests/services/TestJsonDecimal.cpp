#include "services/JSON/JsonDecimal.h"

#include <QTest>

#include <limits>

namespace {

JsonDecimal decimal(const QString &text)
{
    return JsonDecimal::fromString(text).value();
}

} // namespace

class TestJsonDecimal : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void text_data();
    void text();
    void integers_data();
    void integers();
    void variantConversions();
};

void TestJsonDecimal::text_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("printed"); // null: refused

    QTest::newRow("negative zero") << "-0.000" << "0";
    QTest::newRow("plus sign") << "+5" << "5";
    QTest::newRow("leading zeros") << "007.50" << "7.5";
    QTest::newRow("long exact") << "-12345678901234567890.12345" << "-12345678901234567890.12345";
    QTest::newRow("positive exponent") << "25E+18" << "25000000000000000000";
    QTest::newRow("small") << "1.5e-7" << "0.00000015";
    QTest::newRow("huge") << "1e200" << "1e200";
    QTest::newRow("tiny") << "-1.5e-300" << "-1.5e-300";
    QTest::newRow("zero with huge exponent") << "0e99999999999" << "0";
    QTest::newRow("empty") << "" << QString();
    QTest::newRow("bare exponent") << "1e" << QString();
    QTest::newRow("space") << " 1" << QString();
    QTest::newRow("two points") << "1.2.3" << QString();
    QTest::newRow("exponent too large") << "1e9999999999" << QString();
}

void TestJsonDecimal::text()
{
    QFETCH(QString, text);
    QFETCH(QString, printed);

    const std::optional<JsonDecimal> fromString = JsonDecimal::fromString(text);
    QCOMPARE(fromString.has_value(), !printed.isNull());
    QCOMPARE(JsonDecimal::fromUtf8(text.toUtf8()), fromString);
    if (!fromString)
        return;
    QCOMPARE(fromString->toString(), printed);
    // The printed form reads back as the same number.
    QCOMPARE(decimal(printed), *fromString);
}

void TestJsonDecimal::integers_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("isLongLong");
    QTest::addColumn<qint64>("longLong");
    QTest::addColumn<bool>("isInt");

    QTest::newRow("build number") << "406" << true << qint64(406) << true;
    QTest::newRow("written with fraction") << "1.0e3" << true << qint64(1000) << true;
    QTest::newRow("fraction") << "1.5" << false << qint64(0) << false;
    QTest::newRow("past int max") << "2147483648" << true << qint64(2147483648) << false;
    QTest::newRow("qint64 max") << "9223372036854775807" << true << std::numeric_limits<qint64>::max() << false;
    QTest::newRow("qint64 min") << "-9223372036854775808" << true << std::numeric_limits<qint64>::min() << false;
    QTest::newRow("past qint64 max") << "9223372036854775808" << false << qint64(0) << false;
}

void TestJsonDecimal::integers()
{
    QFETCH(QString, text);
    QFETCH(bool, isLongLong);
    QFETCH(qint64, longLong);
    QFETCH(bool, isInt);

    const JsonDecimal value = decimal(text);
    bool ok = !isLongLong;
    QCOMPARE(value.toLongLong(&ok), longLong);
    QCOMPARE(ok, isLongLong);
    ok = !isInt;
    QCOMPARE(value.toInt(&ok), isInt ? int(longLong) : 0);
    QCOMPARE(ok, isInt);
    if (isLongLong)
        QCOMPARE(JsonDecimal(longLong), value);
}

void TestJsonDecimal::variantConversions()
{
    const QVariantMap record{{"creatorBuildNumber", QVariant::fromValue(decimal("406"))},
                             {"ratio", QVariant::fromValue(decimal("0.1"))}};
    QCOMPARE(record.value("creatorBuildNumber").toInt(), 406);
    QCOMPARE(record.value("creatorBuildNumber").toLongLong(), 406);
    QCOMPARE(record.value("creatorBuildNumber").toString(), "406");
    QCOMPARE(record.value("ratio").toString(), "0.1");
    // The nearest double, not merely a close one.
    QCOMPARE(record.value("ratio").toDouble(), 0.1);
    QCOMPARE(decimal("12345678901234567890.12345").toDouble(), 12345678901234567890.12345);
    QCOMPARE(decimal("-1e400").toDouble(), -std::numeric_limits<double>::infinity());

    bool ok = true;
    QCOMPARE(record.value("ratio").toInt(&ok), 0);
    QVERIFY(!ok);

    QCOMPARE(QVariant::fromValue(decimal("1.50")), QVariant::fromValue(decimal("1.5")));
    QVERIFY(QVariant::fromValue(decimal("0.1")) != QVariant::fromValue(decimal("0.10000000000000001")));
}

QTEST_GUILESS_MAIN(TestJsonDecimal)
#include "TestJsonDecimal.moc"
