#include "services/JSON/JsonDecimal.h"
#include "services/JSON/SBJSON.h"
#include "services/JSON/SBJsonParser.h"
#include "services/JSON/SBJsonWriter.h"

#include <QDateTime>
#include <QRegularExpression>
#include <QTest>

#include <cmath>
#include <limits>

namespace {

JsonDecimal decimal(const QString &text)
{
    return JsonDecimal::fromString(text).value();
}

QVariant number(const char *text)
{
    return QVariant::fromValue(decimal(QString::fromLatin1(text)));
}

QString nested(int depth, const QString &open, const QString &innermost, const QString &close)
{
    return open.repeated(depth) + innermost + close.repeated(depth);
}

QVariant nestedLists(int depth)
{
    QVariant value = QVariantList();
    for (int level = 1; level < depth; ++level)
        value = QVariantList{value};
    return value;
}

// The descriptions, innermost first; "unchained" marks an error that does not wrap the one before it.
QStringList descriptions(const QList<SBJsonError> &trace)
{
    QStringList result;
    for (qsizetype i = 0; i < trace.size(); ++i) {
        const SBJsonError *under = trace.at(i).underlyingError();
        if ((i == 0 ? under != nullptr : !under || !(*under == trace.at(i - 1)))
            || trace.at(i).domain() != SBJsonError::errorDomain)
            result << "unchained";
        result << trace.at(i).localizedDescription();
    }
    return result;
}

} // namespace

class TestSBJson : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void read_data();
    void read();
    void readErrors_data();
    void readErrors();
    void write_data();
    void write();
    void writeErrors_data();
    void writeErrors();
    void depthAndFacade();
    void decimalConversions();
};

void TestSBJson::read_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QVariant>("expected");

    QTest::newRow("update feed") << R"({"latestVersion": "1.2", "latestBuild": "410"})"
                                 << QVariant(QVariantMap{{"latestVersion", "1.2"}, {"latestBuild", "410"}});
    QTest::newRow("missing comma tolerated") << R"([1 {"a":1 "b":2}])"
                                             << QVariant(QVariantList{number("1"), QVariantMap{{"a", number("1")},
                                                                                               {"b", number("2")}}});
    QTest::newRow("literals") << "[true,false,null]"
                              << QVariant(QVariantList{true, false, QVariant::fromValue(nullptr)});
    QTest::newRow("exact numbers") << "[0.1, -0, 1.50, 12345678901234567890.12345, 25E-4]"
                                   << QVariant(QVariantList{number("0.1"), number("0"), number("1.5"),
                                                            number("12345678901234567890.12345"), number("0.0025")});
    QTest::newRow("later duplicate wins") << R"({"k":1,"k":2})" << QVariant(QVariantMap{{"k", number("2")}});
    QTest::newRow("C whitespace incl. VT and FF") << " \t\n\v\f\r[ 1 ,\v2 ]\f\r\n"
                                                  << QVariant(QVariantList{number("1"), number("2")});
    QTest::newRow("escapes") << R"("\"\\\/\b\f\n\r\t caf\u00e9 \u20AC")"
                             << QVariant(u"\"\\/\b\f\n\r\t caf\u00e9 \u20ac"_qs);
    QTest::newRow("surrogate pair truncated") << R"("\ud83d\ude00")" << QVariant(QString(QChar(0xF600)));
    QTest::newRow("raw non-ASCII kept whole") << u"\"\u00e9\U0001F600\""_qs << QVariant(u"\u00e9\U0001F600"_qs);
    QTest::newRow("escaped NUL") << R"("a\u0000b")" << QVariant(QStringView(u"a\0b", 3).toString());
    QTest::newRow("empty string") << R"("")" << QVariant(QString(""));
    QTest::newRow("input ends at NUL") << QStringView(u"[1]\0x", 5).toString() << QVariant(QVariantList{number("1")});
    QTest::newRow("512 deep") << nested(512, "[", "", "]") << nestedLists(512);
}

void TestSBJson::read()
{
    QFETCH(QString, text);
    QFETCH(QVariant, expected);

    SBJsonParser parser;
    const QVariant value = parser.fragmentWithString(text);
    QCOMPARE(value, expected);
    QVERIFY(parser.errorTrace().isEmpty());
    QCOMPARE(parser.fragmentWithUtf8(text.toUtf8()), expected);
    QVERIFY(expected.typeId() != QMetaType::QString || !value.toString().isNull());
}

void TestSBJson::readErrors_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("code"); // of the innermost error
    QTest::addColumn<QStringList>("trace");

    const QString inArray = "Expected value while parsing array";
    const QString broken = "Broken unicode character";
    QTest::newRow("nil") << QString() << 12 << QStringList{"Input was 'nil'"};
    QTest::newRow("empty") << "" << 11 << QStringList{"Unexpected end of string"};
    QTest::newRow("leading plus") << "+1" << 2 << QStringList{"Leading + disallowed in number"};
    QTest::newRow("leading zero") << "01" << 2 << QStringList{"Leading 0 disallowed in number"};
    QTest::newRow("lone minus") << "-x" << 2 << QStringList{"No digits after initial minus"};
    QTest::newRow("bare point") << "1." << 2 << QStringList{"No digits after decimal point"};
    QTest::newRow("bare exponent") << "1E+" << 2 << QStringList{"No digits after exponent"};
    QTest::newRow("huge exponent") << "1e9999999999" << 2 << QStringList{"Failed creating decimal instance"};
    QTest::newRow("unknown leading") << "x" << 3 << QStringList{"Unrecognised leading character"};
    QTest::newRow("true cut short") << "tru" << 3 << QStringList{"Expected 'true'"};
    QTest::newRow("null cut short") << "nul" << 3 << QStringList{"Expected 'null'"};
    QTest::newRow("unquoted key") << "{a:1}" << 3 << QStringList{"Object key string expected"};
    QTest::newRow("broken key") << R"({"a)" << 11
                                << QStringList{"Unexpected EOF while parsing string", "Object key string expected"};
    QTest::newRow("missing colon") << R"({"a" 1})" << 3 << QStringList{"Expected ':' separating key and value"};
    QTest::newRow("nested chain") << R"({"list":[1,{"k":tru}]})" << 3
                                  << QStringList{"Expected 'true'", "Object value expected for key: k", inArray,
                                                 "Object value expected for key: list"};
    QTest::newRow("raw tab") << "\"a\tb\"" << 5 << QStringList{"Unescaped control character '0x9'"};
    QTest::newRow("low surrogate first") << R"("\ude00")" << 6
                                         << QStringList{"Invalid high character in surrogate pair", broken};
    QTest::newRow("low surrogate DFFF") << R"("\ud83d\udfff")" << 6
                                        << QStringList{"Invalid low surrogate char", broken};
    QTest::newRow("high surrogate alone") << R"("\ud83dx")" << 6
                                          << QStringList{"Missing low character in surrogate pair", broken};
    QTest::newRow("short low quad") << R"("\ud83d\ude0")" << 6 << QStringList{"Missing hex digit in quad",
                                                   "Missing low character in surrogate pair", broken};
    QTest::newRow("bad hex digit") << R"("\u12g4")" << 6
                                   << QStringList{"Missing hex digit in quad", "Missing hex quad", broken};
    QTest::newRow("quad at end") << R"("\u12)" << 6
                                 << QStringList{"Missing hex digit in quad", "Missing hex quad", broken};
    QTest::newRow("nested too deep") << nested(513, "[", "", "]") << 7
                                     << QStringList{"Nested too deep"} + QStringList(512, inArray);
    QTest::newRow("illegal escape") << R"("\x")" << 8 << QStringList{"Illegal escape sequence '0x78'"};
    QTest::newRow("escape at end") << "\"\\" << 8 << QStringList{"Illegal escape sequence '0x0'"};
    QTest::newRow("array trailing comma") << "[1, ]" << 9 << QStringList{"Trailing comma disallowed in array"};
    QTest::newRow("object trailing comma") << R"({"a":1,})" << 9 << QStringList{"Trailing comma disallowed in object"};
    QTest::newRow("garbage") << "[1] x" << 10 << QStringList{"Garbage after JSON"};
    QTest::newRow("literal run on") << "truex" << 10 << QStringList{"Garbage after JSON"};
    QTest::newRow("open array") << "[1," << 11 << QStringList{"End of input while parsing array"};
    QTest::newRow("array open with space") << "[ " << 11 << QStringList{"Unexpected end of string", inArray};
    QTest::newRow("open object") << R"({"a":1)" << 11 << QStringList{"End of input while parsing object"};
    QTest::newRow("open string") << R"("abc)" << 11 << QStringList{"Unexpected EOF while parsing string"};
    QTest::newRow("NUL ends string") << QStringView(u"\"a\0b\"", 5).toString() << 11
                                     << QStringList{"Unexpected EOF while parsing string"};
}

void TestSBJson::readErrors()
{
    QFETCH(QString, text);
    QFETCH(int, code);
    QFETCH(QStringList, trace);

    SBJsonParser parser;
    QVERIFY(!parser.fragmentWithString(text).isValid());
    QCOMPARE(descriptions(parser.errorTrace()), trace);
    QCOMPARE(parser.errorTrace().constFirst().code(), code);
    QVERIFY(!parser.fragmentWithUtf8(text.toUtf8()).isValid());
    QCOMPARE(descriptions(parser.errorTrace()), trace);
    QVERIFY(parser.fragmentWithString("[]").isValid());
    QVERIFY(parser.errorTrace().isEmpty());
}

void TestSBJson::write_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<bool>("humanReadable");
    QTest::addColumn<bool>("sortKeys");
    QTest::addColumn<QString>("json");

    const QVariant doc = QVariantMap{{"list", QVariantList{1, QVariantMap{{"k", true}}}},
                                     {"empty", QVariantList{}}, {"obj", QVariantMap{}}};
    QTest::newRow("scalars") << QVariant(QVariantList{"text", true, 1, QVariant::fromValue(nullptr)}) << false << false
                             << R"(["text",true,1,null])";
    QTest::newRow("wide integers") << QVariant(QVariantList{std::numeric_limits<qint64>::min(),
                                                            std::numeric_limits<quint64>::max()})
                                   << false << false << "[-9223372036854775808,18446744073709551615]";
    QTest::newRow("shortest doubles") << QVariant(QVariantList{0.1, 406.0, 0.1f}) << false << false << "[0.1,406,0.1]";
    QTest::newRow("exact decimals")
        << QVariant(QVariantList{number("12345678901234567890.12345"), number("-0.000"), number("25E+18"),
                                 number("1.5e-7"), number("1e200"), number("-1.5e-300"), number("0e99999999999")})
        << false << false << "[12345678901234567890.12345,0,25000000000000000000,0.00000015,1e200,-1.5e-300,0]";
    QTest::newRow("string list") << QVariant(QStringList{"a", "b"}) << false << false << R"(["a","b"])";
    QTest::newRow("other map") << QVariant::fromValue(QMap<QString, int>{{"b", 2}, {"a", 1}}) << false << false
                               << R"({"a":1,"b":2})";
    QTest::newRow("escapes") << QVariant("q\" b\\ \b\t\n\f\r") << false << false << R"("q\" b\\ \b\t\n\f\r")";
    QTest::newRow("other controls") << QVariant(QStringView(u"\0\x01\x1f", 3).toString()) << false << false
                                    << R"("\u0000\u0001\u001f")";
    QTest::newRow("slash and non-ASCII plain") << QVariant(u"a/b \u00e9\U0001F600 \x7f"_qs) << false << false
                                               << u"\"a/b \u00e9\U0001F600 \x7f\""_qs;
    QTest::newRow("sorted by code unit") << QVariant(QVariantHash{{"b", 1}, {"B", 2}, {"\u00e9", 3}, {"a", 4}})
                                         << false << true << u"{\"B\":2,\"a\":4,\"b\":1,\"\u00e9\":3}"_qs;
    QTest::newRow("sorted readable") << QVariant(QVariantHash{{"b", 2}, {"a", 1}}) << true << true
                                     << "{\n  \"a\" : 1,\n  \"b\" : 2\n}";
    QTest::newRow("nested compact") << doc << false << false << R"({"empty":[],"list":[1,{"k":true}],"obj":{}})";
    QTest::newRow("nested readable") << doc << true << false
        << "{\n  \"empty\" : [],\n  \"list\" : [\n    1,\n    {\n      \"k\" : true\n    }\n  ],\n  \"obj\" : {}\n}";
}

void TestSBJson::write()
{
    QFETCH(QVariant, value);
    QFETCH(bool, humanReadable);
    QFETCH(bool, sortKeys);
    QFETCH(QString, json);

    SBJsonWriter writer;
    writer.setHumanReadable(humanReadable);
    writer.setSortKeys(sortKeys);
    QCOMPARE(writer.stringWithFragment(value), json);
    QVERIFY(writer.errorTrace().isEmpty());
}

void TestSBJson::writeErrors_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<bool>("asObject");
    QTest::addColumn<int>("code");
    QTest::addColumn<QStringList>("trace");

    const QVariant dateTime = QDateTime(QDate(2024, 1, 1), QTime(0, 0));
    const QString unsupported = "JSON serialisation not supported for ";
    QTest::newRow("unsupported type") << dateTime << false << 1 << QStringList{unsupported + "QDateTime"};
    QTest::newRow("unsupported deep in a member")
        << QVariant(QVariantMap{{"outer", QVariantList{1, QVariantMap{{"inner", dateTime}}}}})
        << false << 1
        << QStringList{unsupported + "QDateTime", "Unsupported value for key inner in object",
                       "Unsupported value for key outer in object"};
    QTest::newRow("byte array is no list") << QVariant(QByteArray("ab")) << false << 1
                                           << QStringList{unsupported + "QByteArray"};
    QTest::newRow("NaN") << QVariant(std::nan("")) << false << 1 << QStringList{unsupported + "double"};
    QTest::newRow("invalid") << QVariant() << false << 1 << QStringList{unsupported + "invalid QVariant"};
    QTest::newRow("number key") << QVariant::fromValue(QMap<int, QString>{{1, "a"}}) << false << 1
                                << QStringList{"JSON object key must be string"};
    QTest::newRow("string as object") << QVariant("s") << true << 4 << QStringList{"Not valid type for JSON"};
    QTest::newRow("too deep") << nestedLists(513) << true << 7 << QStringList{"Nested too deep"};
    QTest::newRow("too deep in a member") << QVariant(QVariantMap{{"deep", nestedLists(512)}}) << true << 7
                                          << QStringList{"Nested too deep", "Unsupported value for key deep in object"};
}

void TestSBJson::writeErrors()
{
    QFETCH(QVariant, value);
    QFETCH(bool, asObject);
    QFETCH(int, code);
    QFETCH(QStringList, trace);

    SBJsonWriter writer;
    QCOMPARE(asObject ? writer.stringWithObject(value) : writer.stringWithFragment(value), std::nullopt);
    QCOMPARE(descriptions(writer.errorTrace()), trace);
    QCOMPARE(writer.errorTrace().constFirst().code(), code);
    QVERIFY(writer.stringWithObject(QVariantList{}));
    QVERIFY(writer.errorTrace().isEmpty());
}

void TestSBJson::depthAndFacade()
{
    SBJsonParser parser;
    parser.setMaxDepth(0);
    QVERIFY(parser.objectWithString(nested(513, "[", "", "]")).isValid());
    SBJsonWriter writer;
    writer.setMaxDepth(0);
    QVERIFY(writer.stringWithObject(nestedLists(513)));

    SBJSON json;
    json.setMaxDepth(3);
    QVERIFY(json.objectWithString("[[],[],[[]]]").isValid());
    QVERIFY(!json.objectWithString(nested(4, R"({"a":)", "1", "}")).isValid());
    QCOMPARE(json.errorTrace().constFirst().code(), 7);
    QVERIFY(!json.stringWithObject(nestedLists(4)));
    QCOMPARE(json.errorTrace().constFirst().code(), 7);

    SBJsonError error;
    QVERIFY(!json.objectWithString("42", false, &error).isValid());
    QVERIFY(!parser.objectWithString("42").isValid());
    QCOMPARE(descriptions(parser.errorTrace()), QStringList{"Valid fragment, but not JSON"});
    QCOMPARE(parser.errorTrace().constFirst().code(), 4);
    QCOMPARE(json.errorTrace(), parser.errorTrace());
    QVERIFY(json.objectWithString("42", true, &error).isValid());
    QCOMPARE(json.errorTrace(), parser.errorTrace());
    QCOMPARE(error, parser.errorTrace().constLast());

    QTest::failOnWarning(QRegularExpression(".*"));
    const QString domain = "Error Domain=" + SBJsonError::errorDomain;
    QTest::ignoreMessage(QtWarningMsg, qPrintable("-JSONFragmentValue failed. Error trace is: (" + domain
                                                  + " Code=3 \"Unrecognised leading character\", " + domain
                                                  + " Code=3 \"Expected value while parsing array\")"));
    QVERIFY(!SBJSON::JSONFragmentValue("[x").isValid());
    QTest::ignoreMessage(QtWarningMsg, qPrintable("-JSONRepresentation failed. Error trace is: (" + domain
                                                  + " Code=4 \"Not valid type for JSON\")"));
    QCOMPARE(SBJSON::JSONRepresentation("a"), std::nullopt);
    QCOMPARE(SBJSON::JSONValue(R"(["a"])"), QVariant(QVariantList{"a"}));
    QCOMPARE(SBJSON::JSONFragment("a"), R"("a")");
}

void TestSBJson::decimalConversions()
{
    QCOMPARE(number("0.1").toString(), "0.1");
    QCOMPARE(number("0.1").toDouble(), 0.1); // the nearest double
    QCOMPARE(decimal("12345678901234567890.12345").toDouble(), 12345678901234567890.12345);
    QCOMPARE(decimal("-1e400").toDouble(), -std::numeric_limits<double>::infinity());
    bool ok = true;
    QCOMPARE(number("0.1").toInt(&ok), 0);
    QVERIFY(!ok);
    QCOMPARE(number("1.0e3").toInt(&ok), 1000);
    QVERIFY(ok);
    QCOMPARE(decimal("-9223372036854775808").toLongLong(&ok), std::numeric_limits<qint64>::min());
    QVERIFY(ok);
    QCOMPARE(decimal("9223372036854775808").toLongLong(&ok), 0);
    QVERIFY(!ok);
    QVERIFY(number("0.1") != number("0.10000000000000001"));
}

QTEST_GUILESS_MAIN(TestSBJson)
#include "TestSBJson.moc"
