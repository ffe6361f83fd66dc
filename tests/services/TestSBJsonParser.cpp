#include "JsonTraceHelpers.h"

#include "services/JSON/JsonDecimal.h"
#include "services/JSON/SBJsonParser.h"

#include <QTest>

namespace {

QVariant number(const char *text)
{
    return QVariant::fromValue(*JsonDecimal::fromString(QString::fromLatin1(text)));
}

QString nested(int depth, const QString &open, const QString &innermost, const QString &close)
{
    return open.repeated(depth) + innermost + close.repeated(depth);
}

} // namespace

class TestSBJsonParser : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void values_data();
    void values();
    void errors_data();
    void errors();
    void objectRequiresContainer();
    void depthLimit_data();
    void depthLimit();
};

void TestSBJsonParser::values_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QVariant>("expected");

    const QVariant null = QVariant::fromValue(nullptr);
    QTest::newRow("update feed") << R"({"latestVersion": "1.2", "latestBuild": "410"})"
                                 << QVariant(QVariantMap{{"latestVersion", "1.2"}, {"latestBuild", "410"}});
    QTest::newRow("missing comma tolerated") << "[1 2]" << QVariant(QVariantList{number("1"), number("2")});
    QTest::newRow("missing comma in object") << R"({"a":1 "b":2})"
                                             << QVariant(QVariantMap{{"a", number("1")}, {"b", number("2")}});
    QTest::newRow("literals") << "[true,false,null]" << QVariant(QVariantList{true, false, null});
    QTest::newRow("exact numbers") << "[0.1, -0, 1.50, 12345678901234567890.12345, 25E-4]"
                                   << QVariant(QVariantList{number("0.1"), number("0"), number("1.5"),
                                                            number("12345678901234567890.12345"), number("0.0025")});
    QTest::newRow("bare string") << R"("text")" << QVariant("text");
    QTest::newRow("empty containers") << R"({"a":[],"b":{}})"
                                      << QVariant(QVariantMap{{"a", QVariantList()}, {"b", QVariantMap()}});
    QTest::newRow("later duplicate wins") << R"({"k":1,"k":2})" << QVariant(QVariantMap{{"k", number("2")}});
    QTest::newRow("C whitespace incl. VT and FF") << " \t\n\v\f\r[ 1 ,\v2 ]\f\r\n"
                                                  << QVariant(QVariantList{number("1"), number("2")});
    QTest::newRow("simple escapes") << R"("\"\\\/\b\f\n\r\t")" << QVariant("\"\\/\b\f\n\r\t");
    QTest::newRow("BMP escape") << R"("caf\u00e9 \u20AC")" << QVariant(u"caf\u00e9 \u20ac"_qs);
    QTest::newRow("surrogate pair truncated") << R"("\ud83d\ude00")" << QVariant(QString(QChar(0xF600)));
    QTest::newRow("raw non-ASCII kept whole") << u"\"\u00e9\u20ac\U0001F600\""_qs
                                              << QVariant(u"\u00e9\u20ac\U0001F600"_qs);
    QTest::newRow("escaped NUL") << R"("a\u0000b")" << QVariant(QStringView(u"a\0b", 3).toString());
    QTest::newRow("empty string") << R"("")" << QVariant(QString(""));
    QTest::newRow("input ends at NUL") << QStringView(u"[1]\0garbage", 11).toString()
                                       << QVariant(QVariantList{number("1")});
}

void TestSBJsonParser::values()
{
    QFETCH(QString, text);
    QFETCH(QVariant, expected);

    SBJsonParser parser;
    const QVariant value = parser.fragmentWithString(text);
    QCOMPARE(value, expected);
    QVERIFY(parser.errorTrace().isEmpty());
    QCOMPARE(parser.fragmentWithUtf8(text.toUtf8()), expected);
    if (expected.typeId() == QMetaType::QString)
        QVERIFY(!value.toString().isNull());
}

void TestSBJsonParser::errors_data()
{
    QTest::addColumn<QString>("text");
    // The code of the innermost error, the one that names the fault.
    QTest::addColumn<int>("code");
    QTest::addColumn<QStringList>("trace");

    const QString expectedValue = "Expected value while parsing array";
    const QString brokenUnicode = "Broken unicode character";

    QTest::newRow("nil") << QString() << 12 << QStringList{"Input was 'nil'"};
    QTest::newRow("empty") << "" << 11 << QStringList{"Unexpected end of string"};
    QTest::newRow("leading plus") << "+1" << 2 << QStringList{"Leading + disallowed in number"};
    QTest::newRow("leading zero") << "01" << 2 << QStringList{"Leading 0 disallowed in number"};
    QTest::newRow("lone minus") << "-x" << 2 << QStringList{"No digits after initial minus"};
    QTest::newRow("bare point") << "1." << 2 << QStringList{"No digits after decimal point"};
    QTest::newRow("bare exponent") << "1e" << 2 << QStringList{"No digits after exponent"};
    QTest::newRow("signed bare exponent") << "1E+" << 2 << QStringList{"No digits after exponent"};
    QTest::newRow("exponent beyond decimal") << "1e9999999999" << 2 << QStringList{"Failed creating decimal instance"};
    QTest::newRow("unknown leading") << "x" << 3 << QStringList{"Unrecognised leading character"};
    QTest::newRow("true cut short") << "tru" << 3 << QStringList{"Expected 'true'"};
    QTest::newRow("false misspelt") << "falze" << 3 << QStringList{"Expected 'false'"};
    QTest::newRow("null cut short") << "nul" << 3 << QStringList{"Expected 'null'"};
    QTest::newRow("bad element") << "[1,?]" << 3 << QStringList{"Unrecognised leading character", expectedValue};
    QTest::newRow("unquoted key") << "{a:1}" << 3 << QStringList{"Object key string expected"};
    QTest::newRow("broken key") << R"({"a)" << 11
                                << QStringList{"Unexpected EOF while parsing string", "Object key string expected"};
    QTest::newRow("whitespace then end in object") << "{ " << 3 << QStringList{"Object key string expected"};
    QTest::newRow("missing colon") << R"({"a" 1})" << 3 << QStringList{"Expected ':' separating key and value"};
    QTest::newRow("missing member value") << R"({"a":})" << 3
                                          << QStringList{"Unrecognised leading character",
                                                         "Object value expected for key: a"};
    QTest::newRow("nested chain") << R"({"list":[1,{"k":tru}]})" << 3
                                  << QStringList{"Expected 'true'", "Object value expected for key: k",
                                                 expectedValue, "Object value expected for key: list"};
    QTest::newRow("raw tab") << "\"a\tb\"" << 5 << QStringList{"Unescaped control character '0x9'"};
    QTest::newRow("raw unit separator") << "\"\x1f\"" << 5 << QStringList{"Unescaped control character '0x1f'"};
    QTest::newRow("low surrogate first") << R"("\ude00")" << 6
                                         << QStringList{"Invalid high character in surrogate pair", brokenUnicode};
    QTest::newRow("low surrogate DFFF") << R"("\ud83d\udfff")" << 6
                                        << QStringList{"Invalid low surrogate char", brokenUnicode};
    QTest::newRow("low surrogate not low") << R"("\ud83d\u0041")" << 6
                                           << QStringList{"Invalid low surrogate char", brokenUnicode};
    QTest::newRow("high surrogate alone") << R"("\ud83dx")" << 6
                                          << QStringList{"Missing low character in surrogate pair", brokenUnicode};
    QTest::newRow("short low quad") << R"("\ud83d\ude0")" << 6
                                    << QStringList{"Missing hex digit in quad",
                                                   "Missing low character in surrogate pair", brokenUnicode};
    QTest::newRow("bad hex digit") << R"("\u12g4")" << 6
                                   << QStringList{"Missing hex digit in quad", "Missing hex quad", brokenUnicode};
    QTest::newRow("quad at end") << R"("\u12)" << 6
                                 << QStringList{"Missing hex digit in quad", "Missing hex quad", brokenUnicode};
    QTest::newRow("nested too deep") << nested(513, "[", "", "]") << 7
                                     << QStringList{"Nested too deep"} + QStringList(512, expectedValue);
    QTest::newRow("illegal escape") << R"("\x")" << 8 << QStringList{"Illegal escape sequence '0x78'"};
    QTest::newRow("escape at end") << "\"\\" << 8 << QStringList{"Illegal escape sequence '0x0'"};
    QTest::newRow("array trailing comma") << "[1, ]" << 9 << QStringList{"Trailing comma disallowed in array"};
    QTest::newRow("object trailing comma") << R"({"a":1,})" << 9 << QStringList{"Trailing comma disallowed in object"};
    QTest::newRow("garbage") << "[1] x" << 10 << QStringList{"Garbage after JSON"};
    QTest::newRow("literal run on") << "truex" << 10 << QStringList{"Garbage after JSON"};
    QTest::newRow("open array") << "[" << 11 << QStringList{"End of input while parsing array"};
    QTest::newRow("array after comma") << "[1," << 11 << QStringList{"End of input while parsing array"};
    QTest::newRow("array open with space") << "[ " << 11 << QStringList{"Unexpected end of string", expectedValue};
    QTest::newRow("open object") << "{" << 11 << QStringList{"End of input while parsing object"};
    QTest::newRow("object after member") << R"({"a":1)" << 11 << QStringList{"End of input while parsing object"};
    QTest::newRow("open string") << R"("abc)" << 11 << QStringList{"Unexpected EOF while parsing string"};
    QTest::newRow("NUL ends string") << QStringView(u"\"a\0b\"", 5).toString() << 11
                                     << QStringList{"Unexpected EOF while parsing string"};
}

void TestSBJsonParser::errors()
{
    QFETCH(QString, text);
    QFETCH(int, code);
    QFETCH(QStringList, trace);

    SBJsonParser parser;
    QVERIFY(!parser.fragmentWithString(text).isValid());
    QCOMPARE(traceDescriptions(parser.errorTrace()), trace);
    QCOMPARE(parser.errorTrace().constFirst().code(), code);
    QVERIFY(traceIsChained(parser.errorTrace()));

    QVERIFY(!parser.fragmentWithUtf8(text.toUtf8()).isValid());
    QCOMPARE(traceDescriptions(parser.errorTrace()), trace);

    // A reader is reusable: the next read starts from an empty trace.
    QVERIFY(parser.fragmentWithString("[]").isValid());
    QVERIFY(parser.errorTrace().isEmpty());
}

void TestSBJsonParser::objectRequiresContainer()
{
    SBJsonParser parser;
    for (const QString text : {R"("s")", "42", "null", "true"}) {
        QVERIFY(parser.fragmentWithString(text).isValid());
        QVERIFY(!parser.objectWithString(text).isValid());
        QCOMPARE(traceDescriptions(parser.errorTrace()), QStringList{"Valid fragment, but not JSON"});
        QCOMPARE(parser.errorTrace().constLast().code(), 4);
        QVERIFY(!parser.objectWithUtf8(text.toUtf8()).isValid());
    }
}

void TestSBJsonParser::depthLimit_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<uint>("maxDepth");
    QTest::addColumn<bool>("accepted");

    const QString arrays512 = nested(512, "[", "", "]");
    const QString arrays513 = nested(513, "[", "", "]");
    QTest::newRow("512 arrays at default") << arrays512 << SBJsonBase::defaultMaxDepth << true;
    QTest::newRow("513 arrays at default") << arrays513 << SBJsonBase::defaultMaxDepth << false;
    QTest::newRow("513 arrays unlimited") << arrays513 << 0u << true;
    QTest::newRow("objects within limit") << nested(3, R"({"a":)", "1", "}") << 3u << true;
    QTest::newRow("objects over limit") << nested(4, R"({"a":)", "1", "}") << 3u << false;
    QTest::newRow("siblings do not add up") << "[[],[],[[]]]" << 3u << true;
}

void TestSBJsonParser::depthLimit()
{
    QFETCH(QString, text);
    QFETCH(uint, maxDepth);
    QFETCH(bool, accepted);

    SBJsonParser parser;
    parser.setMaxDepth(maxDepth);
    QCOMPARE(parser.objectWithString(text).isValid(), accepted);
    if (!accepted) {
        QCOMPARE(parser.errorTrace().constFirst().code(), 7);
        QCOMPARE(parser.errorTrace().constFirst().localizedDescription(), "Nested too deep");
    }
}

QTEST_GUILESS_MAIN(TestSBJsonParser)
#include "TestSBJsonParser.moc"
