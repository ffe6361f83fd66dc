#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QMetaType>
#include <QString>
#include <QStringView>

#include <optional>

class QDebug;

// An exact decimal number: decimal digits and a power of ten, never a binary
// float, so that 0.1 or a 25-digit amount survives a read and a write intact.
// Values are kept normalised (no leading or trailing zeros in the digits, zero
// has no sign), so equal numbers compare equal whatever text they came from.
//
// A QVariant holding one converts with toInt(), toLongLong(), toDouble() and
// toString(); toInt() and toLongLong() fail unless the value is an integer in
// range.
class JsonDecimal
{
public:
    JsonDecimal() = default;
    explicit JsonDecimal(qint64 value);

    // Accepts an optional sign, digits with an optional fraction and an
    // optional exponent ("-12.5e3"); nothing else, not even spaces. Fails when
    // the exponent is beyond what a decimal can hold.
    static std::optional<JsonDecimal> fromString(QStringView text);
    static std::optional<JsonDecimal> fromUtf8(QByteArrayView text);

    // Plain positional notation ("100000", "0.001", "-12.5"); only numbers far
    // beyond any practical magnitude fall back to scientific notation.
    QString toString() const;
    qint64 toLongLong(bool *ok = nullptr) const;
    int toInt(bool *ok = nullptr) const;
    // The nearest double.
    double toDouble() const;

    bool isInteger() const;

    friend bool operator==(const JsonDecimal &a, const JsonDecimal &b) = default;

private:
    static std::optional<JsonDecimal> normalised(bool negative, const QByteArray &digits, qint64 exponent);

    bool m_negative = false;
    QByteArray m_digits; // most significant first; empty for zero
    qint32 m_exponent = 0; // value = digits x 10^exponent
};

QDebug operator<<(QDebug debug, const JsonDecimal &value);

Q_DECLARE_METATYPE(JsonDecimal)
