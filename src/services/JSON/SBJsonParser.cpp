#include "services/JSON/SBJsonParser.h"

#include "services/JSON/JsonDecimal.h"

#include <QChar>
#include <QVariantList>
#include <QVariantMap>

#include <map>

namespace {

constexpr qsizetype initialArrayCapacity = 8;
constexpr int hexQuadDigits = 4;
// Adding this to a low surrogate (modulo 2^16) maps 0xDC00... onto 0...
constexpr char16_t lowSurrogateOffset = 0x2400;
// ...and the mapped value must stay below this, which refuses 0xDFFF too.
constexpr char16_t lowSurrogateSpan = 0x3FF;
constexpr int surrogateShift = 1024;

// The C library's isspace() in the C locale: JSON's four plus \v and \f.
bool isSpace(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

// Bytes that end a plain run inside a string: the quote, the backslash and
// the control characters (NUL among them, which ends the input).
bool isStringStop(char c)
{
    return static_cast<unsigned char>(c) < 0x20 || c == '"' || c == '\\';
}

int hexDigitValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

QString hexByte(char c)
{
    return QString::number(static_cast<unsigned char>(c), 16);
}

bool isContainer(const QVariant &value)
{
    const int type = value.typeId();
    return type == QMetaType::QVariantMap || type == QMetaType::QVariantList;
}

} // namespace

SBJsonParser::SBJsonParser(QObject *parent)
    : SBJsonBase(parent)
{
}

QVariant SBJsonParser::fragmentWithString(const QString &text)
{
    clearErrorTrace();
    if (text.isNull())
        return refuseNoInput();
    const QByteArray utf8 = text.toUtf8();
    return scanDocument(utf8.constData());
}

QVariant SBJsonParser::objectWithString(const QString &text)
{
    return requireContainer(fragmentWithString(text));
}

QVariant SBJsonParser::fragmentWithUtf8(const QByteArray &utf8)
{
    clearErrorTrace();
    if (utf8.isNull())
        return refuseNoInput();
    return scanDocument(utf8.constData());
}

QVariant SBJsonParser::objectWithUtf8(const QByteArray &utf8)
{
    return requireContainer(fragmentWithUtf8(utf8));
}

QVariant SBJsonParser::refuseNoInput()
{
    addErrorWithCode(SBJsonError::NoInput, QStringLiteral("Input was 'nil'"));
    return {};
}

QVariant SBJsonParser::requireContainer(const QVariant &value)
{
    if (!value.isValid() || isContainer(value))
        return value;
    addErrorWithCode(SBJsonError::NotContainer, QStringLiteral("Valid fragment, but not JSON"));
    return {};
}

QVariant SBJsonParser::scanDocument(const char *utf8)
{
    resetDepth();
    m_c = utf8;
    QVariant value;
    const bool scanned = scanValue(value);
    // The cached keys point into this text.
    m_keys.clear();
    if (!scanned)
        return {};
    if (!scanIsAtEnd()) {
        addErrorWithCode(SBJsonError::TrailingGarbage, QStringLiteral("Garbage after JSON"));
        return {};
    }
    Q_ASSERT_X(value.isValid(), "SBJsonParser", "Should have a valid object");
    return value;
}

bool SBJsonParser::scanValue(QVariant &value)
{
    skipWhitespace();
    switch (*m_c++) {
    case '"': {
        QString string;
        if (!scanRestOfString(string))
            return false;
        value = std::move(string);
        return true;
    }
    case '{':
        return scanRestOfDictionary(value);
    case '[':
        return scanRestOfArray(value);
    case 't':
        return scanRestOfTrue(value);
    case 'f':
        return scanRestOfFalse(value);
    case 'n':
        return scanRestOfNull(value);
    case '-':
    case '0': case '1': case '2': case '3': case '4':
    case '5': case '6': case '7': case '8': case '9':
        --m_c;
        return scanNumber(value);
    case '+':
        addErrorWithCode(SBJsonError::BadNumber, QStringLiteral("Leading + disallowed in number"));
        return false;
    case '\0':
        addErrorWithCode(SBJsonError::EndOfInput, QStringLiteral("Unexpected end of string"));
        return false;
    default:
        addErrorWithCode(SBJsonError::Parse, QStringLiteral("Unrecognised leading character"));
        return false;
    }
}

bool SBJsonParser::scanRestOfArray(QVariant &value)
{
    if (!enterNesting())
        return false;
    QVariantList list;
    list.reserve(initialArrayCapacity);
    while (!atEnd()) {
        skipWhitespace();
        if (*m_c == ']') {
            ++m_c;
            leaveNesting();
            value = std::move(list);
            return true;
        }
        QVariant element;
        if (!scanValue(element)) {
            addErrorWithCode(SBJsonError::Parse, QStringLiteral("Expected value while parsing array"));
            return false;
        }
        list.append(std::move(element));
        // No comma is no error: "[1 2]" has always read as two elements.
        skipWhitespace();
        if (*m_c == ',') {
            ++m_c;
            skipWhitespace();
            if (*m_c == ']') {
                addErrorWithCode(SBJsonError::TrailingComma,
                                 QStringLiteral("Trailing comma disallowed in array"));
                return false;
            }
        }
    }
    addErrorWithCode(SBJsonError::EndOfInput, QStringLiteral("End of input while parsing array"));
    return false;
}

bool SBJsonParser::scanRestOfDictionary(QVariant &value)
{
    if (!enterNesting())
        return false;
    // Built as a std::map, which takes keys and values by move, and handed
    // over to the QVariantMap whole.
    std::map<QString, QVariant> members;
    for (;;) {
        if (atEnd()) {
            addErrorWithCode(SBJsonError::EndOfInput, QStringLiteral("End of input while parsing object"));
            return false;
        }
        skipWhitespace();
        if (*m_c == '}') {
            ++m_c;
            leaveNesting();
            value = QVariantMap(std::move(members));
            return true;
        }
        QString key;
        if (!scanKey(key)) {
            addErrorWithCode(SBJsonError::Parse, QStringLiteral("Object key string expected"));
            return false;
        }
        skipWhitespace();
        if (*m_c != ':') {
            addErrorWithCode(SBJsonError::Parse, QStringLiteral("Expected ':' separating key and value"));
            return false;
        }
        ++m_c;
        QVariant member;
        if (!scanValue(member)) {
            addErrorWithCode(SBJsonError::Parse, QStringLiteral("Object value expected for key: %1").arg(key));
            return false;
        }
        // Keys mostly arrive in order (our writer sorts them), so the end is
        // the right hint; a repeated key replaces the earlier value.
        members.insert_or_assign(members.end(), std::move(key), std::move(member));
        skipWhitespace();
        if (*m_c == ',') {
            ++m_c;
            skipWhitespace();
            if (*m_c == '}') {
                addErrorWithCode(SBJsonError::TrailingComma,
                                 QStringLiteral("Trailing comma disallowed in object"));
                return false;
            }
        }
    }
}

bool SBJsonParser::scanKey(QString &key)
{
    if (*m_c != '"')
        return false;
    ++m_c;
    const char *end = m_c;
    while (!isStringStop(*end))
        ++end;
    if (*end != '"')
        return scanRestOfString(key);
    // Records repeat the same few keys: one shared QString per key text saves
    // an allocation and a conversion for every member.
    const auto [known, added] = m_keys.try_emplace(std::string_view(m_c, end - m_c));
    if (added)
        known->second = QString::fromUtf8(m_c, end - m_c);
    key = known->second;
    m_c = end + 1;
    return true;
}

bool SBJsonParser::scanRestOfString(QString &string)
{
    for (;;) {
        const char *run = m_c;
        while (!isStringStop(*m_c))
            ++m_c;
        // The input is whole UTF-8 and every stop byte is ASCII, so a run
        // never splits a character. Converting even an empty first run makes
        // "" a non-null string.
        if (m_c != run || string.isNull())
            string += QString::fromUtf8(run, m_c - run);
        switch (*m_c) {
        case '"':
            ++m_c;
            return true;
        case '\\':
            ++m_c;
            if (!scanEscape(string))
                return false;
            break;
        case '\0':
            addErrorWithCode(SBJsonError::EndOfInput, QStringLiteral("Unexpected EOF while parsing string"));
            return false;
        default:
            addErrorWithCode(SBJsonError::ControlCharacter,
                             QStringLiteral("Unescaped control character '0x%1'").arg(hexByte(*m_c)));
            return false;
        }
    }
}

bool SBJsonParser::scanEscape(QString &string)
{
    const char escaped = *m_c++;
    switch (escaped) {
    case '"':
    case '\\':
    case '/':
        string += QLatin1Char(escaped);
        return true;
    case 'b':
        string += u'\b';
        return true;
    case 'f':
        string += u'\f';
        return true;
    case 'n':
        string += u'\n';
        return true;
    case 'r':
        string += u'\r';
        return true;
    case 't':
        string += u'\t';
        return true;
    case 'u': {
        char16_t unit = 0;
        if (!scanUnicodeChar(unit)) {
            addErrorWithCode(SBJsonError::Unicode, QStringLiteral("Broken unicode character"));
            return false;
        }
        string += QChar(unit);
        return true;
    }
    default:
        addErrorWithCode(SBJsonError::Escape,
                         QStringLiteral("Illegal escape sequence '0x%1'").arg(hexByte(escaped)));
        return false;
    }
}

bool SBJsonParser::scanRestOfTrue(QVariant &value)
{
    if (!scanLiteralTail("rue", QStringLiteral("Expected 'true'")))
        return false;
    value = true;
    return true;
}

bool SBJsonParser::scanRestOfFalse(QVariant &value)
{
    if (!scanLiteralTail("alse", QStringLiteral("Expected 'false'")))
        return false;
    value = false;
    return true;
}

bool SBJsonParser::scanRestOfNull(QVariant &value)
{
    if (!scanLiteralTail("ull", QStringLiteral("Expected 'null'")))
        return false;
    value = QVariant::fromValue(nullptr);
    return true;
}

bool SBJsonParser::scanLiteralTail(const char *tail, const QString &failure)
{
    for (; *tail; ++tail, ++m_c) {
        if (*m_c != *tail) {
            addErrorWithCode(SBJsonError::Parse, failure);
            return false;
        }
    }
    return true;
}

bool SBJsonParser::scanNumber(QVariant &value)
{
    const char *start = m_c;
    if (*m_c == '-')
        ++m_c;
    if (*m_c == '0') {
        ++m_c;
        if (isDigit(*m_c)) {
            addErrorWithCode(SBJsonError::BadNumber, QStringLiteral("Leading 0 disallowed in number"));
            return false;
        }
    } else if (!scanDigits(QStringLiteral("No digits after initial minus"))) {
        return false;
    }
    if (*m_c == '.') {
        ++m_c;
        if (!scanDigits(QStringLiteral("No digits after decimal point")))
            return false;
    }
    if (*m_c == 'e' || *m_c == 'E') {
        ++m_c;
        if (*m_c == '+' || *m_c == '-')
            ++m_c;
        if (!scanDigits(QStringLiteral("No digits after exponent")))
            return false;
    }
    const std::optional<JsonDecimal> number = JsonDecimal::fromUtf8(QByteArrayView(start, m_c));
    if (!number) {
        addErrorWithCode(SBJsonError::BadNumber, QStringLiteral("Failed creating decimal instance"));
        return false;
    }
    value = QVariant::fromValue(*number);
    return true;
}

bool SBJsonParser::scanDigits(const QString &failure)
{
    if (!isDigit(*m_c)) {
        addErrorWithCode(SBJsonError::BadNumber, failure);
        return false;
    }
    while (isDigit(*m_c))
        ++m_c;
    return true;
}

bool SBJsonParser::scanUnicodeChar(char16_t &unit)
{
    char16_t high = 0;
    if (!scanHexQuad(high)) {
        addErrorWithCode(SBJsonError::Unicode, QStringLiteral("Missing hex quad"));
        return false;
    }
    if (!QChar::isSurrogate(high)) {
        unit = high;
        return true;
    }
    if (QChar::isLowSurrogate(high)) {
        addErrorWithCode(SBJsonError::Unicode, QStringLiteral("Invalid high character in surrogate pair"));
        return false;
    }
    char16_t low = 0;
    // Short-circuited so that a NUL after the backslash is never passed.
    if (*m_c++ != '\\' || *m_c++ != 'u' || !scanHexQuad(low)) {
        addErrorWithCode(SBJsonError::Unicode, QStringLiteral("Missing low character in surrogate pair"));
        return false;
    }
    if (char16_t(low + lowSurrogateOffset) >= lowSurrogateSpan) {
        addErrorWithCode(SBJsonError::Unicode, QStringLiteral("Invalid low surrogate char"));
        return false;
    }
    // Only the low 16 bits of the code point survive (U+1F600 gives U+F600).
    // Readers of our data have always seen it this way, so it stays.
    unit = char16_t(high * surrogateShift + low + lowSurrogateOffset);
    return true;
}

bool SBJsonParser::scanHexQuad(char16_t &quad)
{
    quad = 0;
    for (int i = 0; i < hexQuadDigits; ++i) {
        const int digit = hexDigitValue(*m_c++);
        if (digit < 0) {
            addErrorWithCode(SBJsonError::Unicode, QStringLiteral("Missing hex digit in quad"));
            return false;
        }
        quad = char16_t(quad * 16 + digit);
    }
    return true;
}

bool SBJsonParser::scanIsAtEnd()
{
    skipWhitespace();
    return atEnd();
}

void SBJsonParser::skipWhitespace()
{
    while (isSpace(*m_c))
        ++m_c;
}
