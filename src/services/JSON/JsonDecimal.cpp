#include "services/JSON/JsonDecimal.h"

#include <QDebug>
#include <QtNumeric>

#include <cstdlib>
#include <limits>
#include <string>

namespace {

// Exponents beyond this (after normalising) are refused: far past any real
// number, and it keeps the digit arithmetic clear of overflow.
constexpr qint64 maxExponent = 999'999'999;
// Past this many padding zeros toString() switches to scientific notation,
// so that a text such as 1e999999 does not print a megabyte of zeros.
constexpr qint64 maxPlainPadding = 128;
constexpr qsizetype maxInt64Digits = 19;

template <typename Char>
bool isDigit(Char c)
{
    return c >= '0' && c <= '9';
}

struct DecimalText
{
    bool negative = false;
    QByteArray digits;
    qint64 exponent = 0;
};

template <typename Char>
std::optional<DecimalText> parseDecimal(const Char *p, const Char *end)
{
    bool negative = false;
    if (p != end && (*p == '-' || *p == '+')) {
        negative = *p == '-';
        ++p;
    }
    QByteArray digits;
    digits.reserve(end - p);
    bool sawDigit = false;
    for (; p != end && isDigit(*p); ++p, sawDigit = true)
        digits.append(char(*p));
    qint64 fractionDigits = 0;
    if (p != end && *p == '.') {
        for (++p; p != end && isDigit(*p); ++p, ++fractionDigits, sawDigit = true)
            digits.append(char(*p));
    }
    if (!sawDigit)
        return std::nullopt;

    qint64 exponent = 0;
    if (p != end && (*p == 'e' || *p == 'E')) {
        ++p;
        bool negativeExponent = false;
        if (p != end && (*p == '-' || *p == '+')) {
            negativeExponent = *p == '-';
            ++p;
        }
        if (p == end || !isDigit(*p))
            return std::nullopt;
        for (; p != end && isDigit(*p); ++p) {
            // Saturate: anything this large is refused or, for zero, ignored.
            if (exponent <= maxExponent * 10)
                exponent = exponent * 10 + (*p - '0');
        }
        if (negativeExponent)
            exponent = -exponent;
    }
    if (p != end)
        return std::nullopt;
    return DecimalText{negative, std::move(digits), exponent - fractionDigits};
}

QString zeros(qint64 count)
{
    return QString(count, u'0');
}

} // namespace

std::optional<JsonDecimal> JsonDecimal::normalised(bool negative, const QByteArray &digits, qint64 exponent)
{
    qsizetype first = 0;
    while (first < digits.size() && digits.at(first) == '0')
        ++first;
    qsizetype last = digits.size();
    while (last > first && digits.at(last - 1) == '0') {
        --last;
        ++exponent;
    }
    JsonDecimal result;
    if (first == last)
        return result;
    if (exponent > maxExponent || exponent < -maxExponent)
        return std::nullopt;
    result.m_negative = negative;
    result.m_digits = digits.sliced(first, last - first);
    result.m_exponent = qint32(exponent);
    return result;
}

JsonDecimal::JsonDecimal(qint64 value)
{
    const bool negative = value < 0;
    // Through unsigned, so that the smallest qint64 negates safely.
    const quint64 magnitude = negative ? 0 - quint64(value) : quint64(value);
    *this = *normalised(negative, QByteArray::number(magnitude), 0);
}

std::optional<JsonDecimal> JsonDecimal::fromString(QStringView text)
{
    const auto parsed = parseDecimal(text.utf16(), text.utf16() + text.size());
    return parsed ? normalised(parsed->negative, parsed->digits, parsed->exponent) : std::nullopt;
}

std::optional<JsonDecimal> JsonDecimal::fromUtf8(QByteArrayView text)
{
    const auto parsed = parseDecimal(text.data(), text.data() + text.size());
    return parsed ? normalised(parsed->negative, parsed->digits, parsed->exponent) : std::nullopt;
}

QString JsonDecimal::toString() const
{
    if (m_digits.isEmpty())
        return QStringLiteral("0");
    const QString digits = QString::fromLatin1(m_digits);
    const QString sign = m_negative ? QStringLiteral("-") : QString();
    const qint64 pointPosition = qint64(digits.size()) + m_exponent;
    if (m_exponent >= 0 && m_exponent <= maxPlainPadding)
        return sign + digits + zeros(m_exponent);
    if (m_exponent < 0 && pointPosition > 0)
        return sign + digits.left(pointPosition) + u'.' + digits.mid(pointPosition);
    if (m_exponent < 0 && -pointPosition <= maxPlainPadding)
        return sign + QStringLiteral("0.") + zeros(-pointPosition) + digits;

    const QString fraction = digits.size() > 1 ? u'.' + digits.mid(1) : QString();
    return sign + digits.front() + fraction + u'e' + QString::number(pointPosition - 1);
}

bool JsonDecimal::isInteger() const
{
    return m_exponent >= 0;
}

qint64 JsonDecimal::toLongLong(bool *ok) const
{
    if (ok)
        *ok = false;
    if (!isInteger() || m_digits.size() + m_exponent > maxInt64Digits)
        return 0;
    // Accumulate as a negative number: its range holds the smallest qint64.
    qint64 negated = 0;
    for (qsizetype i = 0; i < m_digits.size() + m_exponent; ++i) {
        const int digit = i < m_digits.size() ? m_digits.at(i) - '0' : 0;
        if (qMulOverflow(negated, qint64(10), &negated) || qSubOverflow(negated, qint64(digit), &negated))
            return 0;
    }
    if (!m_negative && negated == std::numeric_limits<qint64>::min())
        return 0;
    if (ok)
        *ok = true;
    return m_negative ? negated : -negated;
}

int JsonDecimal::toInt(bool *ok) const
{
    bool fits = false;
    const qint64 value = toLongLong(&fits);
    fits = fits && value >= std::numeric_limits<int>::min() && value <= std::numeric_limits<int>::max();
    if (ok)
        *ok = fits;
    return fits ? int(value) : 0;
}

double JsonDecimal::toDouble() const
{
    if (m_digits.isEmpty())
        return 0.0;
    // No decimal point in this form, so strtod's locale does not matter.
    const std::string text = (m_negative ? "-" : "") + m_digits.toStdString() + 'e'
                             + std::to_string(m_exponent);
    return std::strtod(text.c_str(), nullptr);
}

QDebug operator<<(QDebug debug, const JsonDecimal &value)
{
    const QDebugStateSaver saver(debug);
    debug.nospace() << "JsonDecimal(" << qUtf8Printable(value.toString()) << ')';
    return debug;
}

namespace {

void registerJsonDecimalConversions()
{
    QMetaType::registerConverter<JsonDecimal, QString>(&JsonDecimal::toString);
    QMetaType::registerConverter<JsonDecimal, int>(&JsonDecimal::toInt);
    QMetaType::registerConverter<JsonDecimal, qlonglong>(&JsonDecimal::toLongLong);
    QMetaType::registerConverter<JsonDecimal, double>(&JsonDecimal::toDouble);
}

} // namespace

Q_CONSTRUCTOR_FUNCTION(registerJsonDecimalConversions)
