#include "JsonTraceHelpers.h"

#include "services/JSON/SBJSON.h"
#include "services/JSON/SBJsonParser.h"
#include "services/JSON/SBJsonWriter.h"

#include <QDateTime>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

namespace {

// Runs one of the conveniences by name; an invalid QVariant means it failed.
QVariant runConvenience(const QString &name, const QVariant &input)
{
    if (name == "JSONValue")
        return SBJSON::JSONValue(input.toString());
    if (name == "JSONFragmentValue")
        return SBJSON::JSONFragmentValue(input.toString());
    const std::optional<QString> json = name == "JSONRepresentation" ? SBJSON::JSONRepresentation(input)
                                                                     : SBJSON::JSONFragment(input);
    return json ? QVariant(*json) : QVariant();
}

} // namespace

class TestSBJsonFacade : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void failureCopiesTrace();
    void settingsReachBothParts();
    void conveniences_data();
    void conveniences();
};

void TestSBJsonFacade::failureCopiesTrace()
{
    SBJSON json;
    QSignalSpy traceChanges(&json, &SBJsonBase::errorTraceChanged);
    SBJsonParser parser;
    SBJsonError error;
    QVERIFY(!json.objectWithString("42", false, &error).isValid());
    parser.objectWithString("42");
    QCOMPARE(json.errorTrace(), parser.errorTrace());
    QCOMPARE(error, parser.errorTrace().constLast());
    QCOMPARE(traceChanges.count(), 1);

    // Success leaves the last failure's trace and the error argument alone.
    const SBJsonError earlier = error;
    QVERIFY(json.objectWithString("42", true, &error).isValid());
    QVERIFY(json.stringWithObject("s", true, &error));
    QCOMPARE(json.errorTrace(), parser.errorTrace());
    QCOMPARE(error, earlier);

    SBJsonWriter writer;
    const QVariant unsupported = QVariantMap{{"when", QDateTime()}};
    QVERIFY(!json.stringWithFragment(unsupported, &error));
    writer.stringWithFragment(unsupported);
    QCOMPARE(json.errorTrace(), writer.errorTrace());
    QCOMPARE(error, writer.errorTrace().constLast());
    QVERIFY(!json.stringWithObject("s", false));
    QCOMPARE(json.errorTrace().constLast().code(), 4);
}

void TestSBJsonFacade::settingsReachBothParts()
{
    SBJSON json;
    QCOMPARE(json.maxDepth(), SBJsonBase::defaultMaxDepth);

    json.setMaxDepth(1);
    QVERIFY(!json.objectWithString("[[1]]").isValid());
    QCOMPARE(json.errorTrace().constFirst().localizedDescription(), "Nested too deep");
    QVERIFY(!json.stringWithObject(QVariantList{QVariantList{1}}));
    QCOMPARE(json.errorTrace().constFirst().localizedDescription(), "Nested too deep");

    json.setHumanReadable(true);
    json.setSortKeys(true);
    QCOMPARE(json.stringWithObject(QVariantHash{{"b", 2}, {"a", 1}}), "{\n  \"a\" : 1,\n  \"b\" : 2\n}");
}

void TestSBJsonFacade::conveniences_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QVariant>("input");
    QTest::addColumn<QVariant>("result"); // invalid: fails
    QTest::addColumn<QString>("trace");   // as logged

    const QString domain = SBJsonError::errorDomain;
    QTest::newRow("value") << "JSONValue" << QVariant("[\"a\"]") << QVariant(QVariantList{"a"}) << QString();
    QTest::newRow("value of scalar")
        << "JSONValue" << QVariant("42") << QVariant()
        << "(Error Domain=" + domain + " Code=4 \"Valid fragment, but not JSON\")";
    QTest::newRow("fragment value") << "JSONFragmentValue" << QVariant("\"a\"") << QVariant("a") << QString();
    QTest::newRow("fragment value of broken text")
        << "JSONFragmentValue" << QVariant("[x") << QVariant()
        << "(Error Domain=" + domain + " Code=3 \"Unrecognised leading character\", Error Domain=" + domain
               + " Code=3 \"Expected value while parsing array\")";
    QTest::newRow("representation") << "JSONRepresentation" << QVariant(QVariantList{true}) << QVariant("[true]")
                                    << QString();
    QTest::newRow("representation of scalar")
        << "JSONRepresentation" << QVariant("a") << QVariant()
        << "(Error Domain=" + domain + " Code=4 \"Not valid type for JSON\")";
    QTest::newRow("fragment") << "JSONFragment" << QVariant("a") << QVariant("\"a\"") << QString();
    QTest::newRow("fragment of unsupported")
        << "JSONFragment" << QVariant(QDateTime()) << QVariant()
        << "(Error Domain=" + domain + " Code=1 \"JSON serialisation not supported for QDateTime\")";
}

void TestSBJsonFacade::conveniences()
{
    QFETCH(QString, name);
    QFETCH(QVariant, input);
    QFETCH(QVariant, result);
    QFETCH(QString, trace);

    if (trace.isNull())
        QTest::failOnWarning(QRegularExpression(".*"));
    else
        QTest::ignoreMessage(QtWarningMsg, qPrintable("-" + name + " failed. Error trace is: " + trace));
    QCOMPARE(runConvenience(name, input), result);
}

QTEST_GUILESS_MAIN(TestSBJsonFacade)
#include "TestSBJsonFacade.moc"
