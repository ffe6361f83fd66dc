#include "JsonTraceHelpers.h"

#include "services/JSON/JsonDecimal.h"
#include "services/JSON/SBJsonParser.h"
#include "services/JSON/SBJsonWriter.h"

#include <QDateTime>
#include <QTest>
#include <QUrl>

#include <cmath>
#include <limits>
#include <vector>

namespace {

QVariant decimal(const char *text)
{
    return QVariant::fromValue(*JsonDecimal::fromString(QString::fromLatin1(text)));
}

QVariant nestedLists(int depth)
{
    QVariant value = QVariantList();
    for (int level = 1; level < depth; ++level)
        value = QVariantList{value};
    return value;
}

} // namespace

class TestSBJsonWriter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void fragments_data();
    void fragments();
    void formatting_data();
    void formatting();
    void errors_data();
    void errors();
    void roundTrip_data();
    void roundTrip();
};

void TestSBJsonWriter::fragments_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("json");

    QTest::newRow("string") << QVariant("text") << R"("text")";
    QTest::newRow("true is not 1") << QVariant(true) << "true";
    QTest::newRow("1 is not true") << QVariant(1) << "1";
    QTest::newRow("false") << QVariant(false) << "false";
    QTest::newRow("null") << QVariant::fromValue(nullptr) << "null";
    QTest::newRow("smallest qint64") << QVariant(std::numeric_limits<qint64>::min()) << "-9223372036854775808";
    QTest::newRow("largest quint64") << QVariant(std::numeric_limits<quint64>::max()) << "18446744073709551615";
    QTest::newRow("double shortest") << QVariant(0.1) << "0.1";
    QTest::newRow("integral double") << QVariant(406.0) << "406";
    QTest::newRow("float shortest") << QVariant(0.1f) << "0.1";
    QTest::newRow("exact decimal") << decimal("12345678901234567890.12345") << "12345678901234567890.12345";
    QTest::newRow("string list") << QVariant(QStringList{"a", "b"}) << R"(["a","b"])";
    QTest::newRow("other sequence") << QVariant::fromValue(std::vector<int>{1, 2}) << "[1,2]";
    QTest::newRow("other map") << QVariant::fromValue(QMap<QString, int>{{"b", 2}, {"a", 1}}) << R"({"a":1,"b":2})";
    QTest::newRow("hash") << QVariant(QVariantHash{{"k", QVariantList{}}}) << R"({"k":[]})";
    QTest::newRow("escapes") << QVariant("q\" b\\ \b\t\n\f\r") << R"("q\" b\\ \b\t\n\f\r")";
    QTest::newRow("other controls") << QVariant(QStringView(u"\0\x01\x1f", 3).toString()) << R"("\u0000\u0001\u001f")";
    QTest::newRow("slash and non-ASCII plain") << QVariant(u"a/b \u00e9\U0001F600 \x7f"_qs)
                                               << u"\"a/b \u00e9\U0001F600 \x7f\""_qs;
}

void TestSBJsonWriter::fragments()
{
    QFETCH(QVariant, value);
    QFETCH(QString, json);

    SBJsonWriter writer;
    QCOMPARE(writer.stringWithFragment(value), json);
    QVERIFY(writer.errorTrace().isEmpty());
}

void TestSBJsonWriter::formatting_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<bool>("humanReadable");
    QTest::addColumn<bool>("sortKeys");
    QTest::addColumn<uint>("maxDepth");
    QTest::addColumn<QString>("json");

    const QVariant unsorted = QVariantHash{{"b", 2}, {"a", 1}};
    const QVariant document = QVariantMap{{"list", QVariantList{1, QVariantMap{{"k", true}}}},
                                          {"empty", QVariantList{}},
                                          {"obj", QVariantMap{}}};
    const QString indented = "{\n"
                             "  \"empty\" : [],\n"
                             "  \"list\" : [\n"
                             "    1,\n"
                             "    {\n"
                             "      \"k\" : true\n"
                             "    }\n"
                             "  ],\n"
                             "  \"obj\" : {}\n"
                             "}";

    QTest::newRow("sorted compact") << unsorted << false << true << 512u << R"({"a":1,"b":2})";
    QTest::newRow("sorted readable") << unsorted << true << true << 512u << "{\n  \"a\" : 1,\n  \"b\" : 2\n}";
    QTest::newRow("code-unit order") << QVariant(QVariantHash{{"b", 1}, {"B", 2}, {"\u00e9", 3}, {"a", 4}}) << false
                                     << true << 512u << u"{\"B\":2,\"a\":4,\"b\":1,\"\u00e9\":3}"_qs;
    QTest::newRow("nested compact") << document << false << false << 512u
                                    << R"({"empty":[],"list":[1,{"k":true}],"obj":{}})";
    QTest::newRow("nested readable") << document << true << false << 512u << indented;
    QTest::newRow("readable without depth limit") << document << true << false << 0u << indented;
    QTest::newRow("readable scalar") << QVariant("s") << true << false << 512u << R"("s")";
}

void TestSBJsonWriter::formatting()
{
    QFETCH(QVariant, value);
    QFETCH(bool, humanReadable);
    QFETCH(bool, sortKeys);
    QFETCH(uint, maxDepth);
    QFETCH(QString, json);

    SBJsonWriter writer;
    writer.setHumanReadable(humanReadable);
    writer.setSortKeys(sortKeys);
    writer.setMaxDepth(maxDepth);
    QCOMPARE(writer.stringWithFragment(value), json);
}

void TestSBJsonWriter::errors_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<bool>("asObject");
    QTest::addColumn<int>("code");
    QTest::addColumn<QStringList>("trace");

    const QVariant dateTime = QDateTime(QDate(2024, 1, 1), QTime(0, 0));
    QTest::newRow("unsupported type") << dateTime << false << 1
                                      << QStringList{"JSON serialisation not supported for QDateTime"};
    QTest::newRow("unsupported member") << QVariant(QVariantMap{{"link", QUrl("https://less.org")}}) << false << 1
                                        << QStringList{"JSON serialisation not supported for QUrl",
                                                       "Unsupported value for key link in object"};
    QTest::newRow("unsupported deep in a member")
        << QVariant(QVariantMap{{"outer", QVariantList{1, QVariantMap{{"inner", dateTime}}}}}) << false << 1
        << QStringList{"JSON serialisation not supported for QDateTime", "Unsupported value for key inner in object",
                       "Unsupported value for key outer in object"};
    QTest::newRow("byte array is no list") << QVariant(QByteArray("ab")) << false << 1
                                           << QStringList{"JSON serialisation not supported for QByteArray"};
    QTest::newRow("NaN") << QVariant(std::nan("")) << false << 1
                         << QStringList{"JSON serialisation not supported for double"};
    QTest::newRow("invalid") << QVariant() << false << 1
                             << QStringList{"JSON serialisation not supported for invalid QVariant"};
    QTest::newRow("number key") << QVariant::fromValue(QMap<int, QString>{{1, "a"}}) << false << 1
                                << QStringList{"JSON object key must be string"};
    QTest::newRow("string as object") << QVariant("s") << true << 4 << QStringList{"Not valid type for JSON"};
    QTest::newRow("null as object") << QVariant::fromValue(nullptr) << true << 4
                                    << QStringList{"Not valid type for JSON"};
    QTest::newRow("too deep") << nestedLists(513) << true << 7 << QStringList{"Nested too deep"};
    QTest::newRow("too deep in a member") << QVariant(QVariantMap{{"deep", nestedLists(512)}}) << true << 7
                                          << QStringList{"Nested too deep", "Unsupported value for key deep in object"};
}

void TestSBJsonWriter::errors()
{
    QFETCH(QVariant, value);
    QFETCH(bool, asObject);
    QFETCH(int, code);
    QFETCH(QStringList, trace);

    SBJsonWriter writer;
    QCOMPARE(asObject ? writer.stringWithObject(value) : writer.stringWithFragment(value), std::nullopt);
    QCOMPARE(traceDescriptions(writer.errorTrace()), trace);
    QCOMPARE(writer.errorTrace().constFirst().code(), code);
    QVERIFY(traceIsChained(writer.errorTrace()));

    QVERIFY(writer.stringWithObject(QVariantList{}));
    QVERIFY(writer.errorTrace().isEmpty());
}

void TestSBJsonWriter::roundTrip_data()
{
    QTest::addColumn<QString>("json");

    QTest::newRow("update feed") << R"({"latestBuild":"410","latestVersion":"1.2"})";
    QTest::newRow("exact numbers") << "[0.1,12345678901234567890.12345,-7,0,1e-200,3e400]";
    QTest::newRow("escapes") << R"(["q\"\\\b\f\n\r\t\u0001","a/b"])";
    QTest::newRow("non-ASCII") << u"[\"\u00e9\U0001F600\"]"_qs;
    QTest::newRow("literals and nesting") << R"({"a":[true,false,null,{}],"b":{"c":[[]]}})";
    QTest::newRow("data file record") << R"({"$class":"LessHolder","checkboxState":true,)"
                                         R"("lessFileFullPath":"/home/alex/site/a.less",)"
                                         R"("shouldCompressCSSOutput":false})";
}

void TestSBJsonWriter::roundTrip()
{
    QFETCH(QString, json);

    SBJsonParser parser;
    SBJsonWriter writer;
    const QVariant value = parser.objectWithString(json);
    QVERIFY2(value.isValid(), qPrintable(SBJsonError::describeTrace(parser.errorTrace())));
    QCOMPARE(writer.stringWithObject(value), json);
}

QTEST_GUILESS_MAIN(TestSBJsonWriter)
#include "TestSBJsonWriter.moc"
