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
    void write_data();
    void write();
    void facade();
    void decimalConversions();
};

// Errors give no value, and a trace of descriptions with the innermost error's code.
void TestSBJson::read_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("code");
    QTest::addColumn<QStringList>("trace");
    QTest::addColumn<QVariant>("expected");

    const auto parses = [](const char *tag, const QString &text, const QVariant &expected) {
        QTest::newRow(tag) << text << 0 << QStringList() << expected;
    };
    parses("missing comma tolerated", R"([1 {"a":1 "b":2}])",
           QVariantList{number("1"), QVariantMap{{"a", number("1")}, {"b", number("2")}}});
    parses("literals", "[true,false,null]", QVariantList{true, false, QVariant::fromValue(nullptr)});
    parses("exact numbers", "[0.1, -0, 1.50, 12345678901234567890.12345, 25E-4]",
           QVariantList{number("0.1"), number("0"), number("1.5"), number("12345678901234567890.12345"),
                        number("0.0025")});
    parses("later duplicate wins", R"({"k":1,"k":2})", QVariantMap{{"k", number("2")}});
    parses("C whitespace incl. VT and FF", " \t\n\v\f\r[ 1 ,\v2 ]\f\r\n", QVariantList{number("1"), number("2")});
    parses("escapes", R"("\"\\\/\b\f\n\r\t caf\u00e9 \u20AC")", u"\"\\/\b\f\n\r\t caf\u00e9 \u20ac"_qs);
    parses("surrogate pair truncated", R"("\ud83d\ude00")", QString(QChar(0xF600)));
    parses("raw non-ASCII kept whole", u"\"\u00e9\U0001F600\""_qs, u"\u00e9\U0001F600"_qs);
    parses("escaped NUL", R"("a\u0000b")", QStringView(u"a\0b", 3).toString());
    parses("empty string", R"("")", QString(""));
    parses("input ends at NUL", QStringView(u"[1]\0x", 5).toString(), QVariantList{number("1")});
    parses("512 deep", nested(512, "[", "", "]"), nestedLists(512));

    const auto fails = [](const char *tag, const QString &text, int code, const QStringList &trace) {
        QTest::newRow(tag) << text << code << trace << QVariant();
    };
    const QString inArray = "Expected value while parsing array";
    const QString broken = "Broken unicode character";
    fails("nil", QString(), 12, {"Input was 'nil'"});
    fails("empty", "", 11, {"Unexpected end of string"});
    fails("leading plus", "+1", 2, {"Leading + disallowed in number"});
    fails("leading zero", "01", 2, {"Leading 0 disallowed in number"});
    fails("lone minus", "-x", 2, {"No digits after initial minus"});
    fails("bare point", "1.", 2, {"No digits after decimal point"});
    fails("bare exponent", "1E+", 2, {"No digits after exponent"});
    fails("huge exponent", "1e9999999999", 2, {"Failed creating decimal instance"});
    fails("unknown leading", "x", 3, {"Unrecognised leading character"});
    fails("true cut short", "tru", 3, {"Expected 'true'"});
    fails("null cut short", "nul", 3, {"Expected 'null'"});
    fails("unquoted key", "{a:1}", 3, {"Object key string expected"});
    fails("broken key", R"({"a)", 11, {"Unexpected EOF while parsing string", "Object key string expected"});
    fails("missing colon", R"({"a" 1})", 3, {"Expected ':' separating key and value"});
    fails("nested chain", R"({"list":[1,{"k":tru}]})", 3,
          {"Expected 'true'", "Object value expected for key: k", inArray,
           "Object value expected for key: list"});
    fails("raw tab", "\"a\tb\"", 5, {"Unescaped control character '0x9'"});
    fails("low surrogate first", R"("\ude00")", 6, {"Invalid high character in surrogate pair", broken});
    fails("low surrogate DFFF", R"("\ud83d\udfff")", 6, {"Invalid low surrogate char", broken});
    fails("high surrogate alone", R"("\ud83dx")", 6, {"Missing low character in surrogate pair", broken});
    fails("short low quad", R"("\ud83d\ude0")", 6,
          {"Missing hex digit in quad", "Missing low character in surrogate pair", broken});
    fails("bad hex digit", R"("\u12g4")", 6, {"Missing hex digit in quad", "Missing hex quad", broken});
    fails("nested too deep", nested(513, "[", "", "]"), 7,
          QStringList{"Nested too deep"} + QStringList(512, inArray));
    fails("illegal escape", R"("\x")", 8, {"Illegal escape sequence '0x78'"});
    fails("escape at end", "\"\\", 8, {"Illegal escape sequence '0x0'"});
    fails("array trailing comma", "[1, ]", 9, {"Trailing comma disallowed in array"});
    fails("object trailing comma", R"({"a":1,})", 9, {"Trailing comma disallowed in object"});
    fails("garbage", "[1] x", 10, {"Garbage after JSON"});
    fails("literal run on", "truex", 10, {"Garbage after JSON"});
    fails("open array", "[1,", 11, {"End of input while parsing array"});
    fails("array open with space", "[ ", 11, {"Unexpected end of string", inArray});
    fails("open object", R"({"a":1)", 11, {"End of input while parsing object"});
    fails("open string", R"("abc)", 11, {"Unexpected EOF while parsing string"});
    fails("NUL ends string", QStringView(u"\"a\0b\"", 5).toString(), 11, {"Unexpected EOF while parsing string"});
}

void TestSBJson::read()
{
    QFETCH(QString, text);
    QFETCH(int, code);
    QFETCH(QStringList, trace);
    QFETCH(QVariant, expected);

    SBJsonParser parser;
    const QVariant value = parser.fragmentWithString(text);
    QCOMPARE(value, expected);
    QCOMPARE(descriptions(parser.errorTrace()), trace);
    if (code)
        QCOMPARE(parser.errorTrace().constFirst().code(), code);
    QCOMPARE(parser.fragmentWithUtf8(text.toUtf8()), expected);
    QCOMPARE(descriptions(parser.errorTrace()), trace);
    QVERIFY(expected.typeId() != QMetaType::QString || !value.toString().isNull());
    QVERIFY(parser.fragmentWithString("[]").isValid());
    QVERIFY(parser.errorTrace().isEmpty());
}

// Options: 1 human readable, 2 sorted keys, 4 as an object. Failures write nothing.
void TestSBJson::write_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<int>("options");
    QTest::addColumn<QString>("json");
    QTest::addColumn<int>("code");
    QTest::addColumn<QStringList>("trace");

    const auto writes = [](const char *tag, const QVariant &value, const QString &json, int options = 0) {
        QTest::newRow(tag) << value << options << json << 0 << QStringList();
    };
    const QVariant doc = QVariantMap{{"list", QVariantList{1, QVariantMap{{"k", true}}}},
                                     {"empty", QVariantList{}}, {"obj", QVariantMap{}}};
    writes("scalars", QVariantList{"text", true, 1, QVariant::fromValue(nullptr)}, R"(["text",true,1,null])");
    writes("wide integers", QVariantList{std::numeric_limits<qint64>::min(), std::numeric_limits<quint64>::max()},
           "[-9223372036854775808,18446744073709551615]");
    writes("shortest doubles", QVariantList{0.1, 406.0, 0.1f}, "[0.1,406,0.1]");
    writes("exact decimals",
           QVariantList{number("12345678901234567890.12345"), number("-0.000"), number("25E+18"), number("1.5e-7"),
                        number("1e200"), number("-1.5e-300"), number("0e99999999999")},
           "[12345678901234567890.12345,0,25000000000000000000,0.00000015,1e200,-1.5e-300,0]");
    writes("string list", QStringList{"a", "b"}, R"(["a","b"])");
    writes("other map", QVariant::fromValue(QMap<QString, int>{{"b", 2}, {"a", 1}}), R"({"a":1,"b":2})");
    writes("escapes and controls", QStringView(u"q\" b\\ \b\t\n\f\r\0\x01\x1f", 14).toString(),
           R"("q\" b\\ \b\t\n\f\r\u0000\u0001\u001f")");
    writes("slash and non-ASCII plain", u"a/b \u00e9\U0001F600 \x7f"_qs, u"\"a/b \u00e9\U0001F600 \x7f\""_qs);
    writes("sorted by code unit", QVariantHash{{"b", 1}, {"B", 2}, {"\u00e9", 3}, {"a", 4}},
           u"{\"B\":2,\"a\":4,\"b\":1,\"\u00e9\":3}"_qs, 2);
    writes("nested compact", doc, R"({"empty":[],"list":[1,{"k":true}],"obj":{}})");
    writes("nested readable", doc,
           "{\n  \"empty\" : [],\n  \"list\" : [\n    1,\n    {\n      \"k\" : true\n    }\n  ],\n  \"obj\" : {}\n}", 1);

    const auto fails = [](const char *tag, const QVariant &value, int options, int code, const QStringList &trace) {
        QTest::newRow(tag) << value << options << QString() << code << trace;
    };
    const QVariant dateTime = QDateTime(QDate(2024, 1, 1), QTime(0, 0));
    const QString unsupported = "JSON serialisation not supported for ";
    fails("unsupported deep in a member", QVariantMap{{"outer", QVariantList{1, QVariantMap{{"inner", dateTime}}}}},
          0, 1, {unsupported + "QDateTime", "Unsupported value for key inner in object",
                 "Unsupported value for key outer in object"});
    fails("byte array is no list", QByteArray("ab"), 0, 1, {unsupported + "QByteArray"});
    fails("NaN", std::nan(""), 0, 1, {unsupported + "double"});
    fails("invalid", QVariant(), 0, 1, {unsupported + "invalid QVariant"});
    fails("number key", QVariant::fromValue(QMap<int, QString>{{1, "a"}}), 0, 1, {"JSON object key must be string"});
    fails("string as object", "s", 4, 4, {"Not valid type for JSON"});
    fails("too deep", nestedLists(513), 4, 7, {"Nested too deep"});
    fails("too deep in a member", QVariantMap{{"deep", nestedLists(512)}}, 4, 7,
          {"Nested too deep", "Unsupported value for key deep in object"});
}

void TestSBJson::write()
{
    QFETCH(QVariant, value);
    QFETCH(int, options);
    QFETCH(QString, json);
    QFETCH(int, code);
    QFETCH(QStringList, trace);

    SBJsonWriter writer;
    writer.setHumanReadable(options & 1);
    writer.setSortKeys(options & 2);
    const auto written = options & 4 ? writer.stringWithObject(value) : writer.stringWithFragment(value);
    QCOMPARE(written, json.isNull() ? std::nullopt : std::optional(json));
    QCOMPARE(descriptions(writer.errorTrace()), trace);
    if (code)
        QCOMPARE(writer.errorTrace().constFirst().code(), code);
    QVERIFY(writer.stringWithObject(QVariantList{}));
    QVERIFY(writer.errorTrace().isEmpty());
}

void TestSBJson::facade()
{
    SBJsonParser parser;
    SBJSON json;
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
