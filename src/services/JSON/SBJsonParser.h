#pragma once

#include "services/JSON/SBJsonBase.h"

#include <QByteArray>
#include <QString>
#include <QVariant>

#include <string_view>
#include <unordered_map>

// A strict JSON reader. Values come back as QVariantMap, QVariantList, QString,
// bool, JsonDecimal for every number, and QVariant::fromValue(nullptr) for null.
// A failed read returns an invalid QVariant and leaves the reason in
// errorTrace(); a JSON null is a valid QVariant.
//
// Two liberties are kept on purpose: a missing comma between array elements or
// object members is accepted ("[1 2]"), and a \uD83D\uDE00 surrogate pair
// yields the single unit U+F600 (the low 16 bits of the code point) rather
// than the supplementary character. Vertical tab and form feed count as
// whitespace. The input ends at its first NUL character.
class SBJsonParser : public SBJsonBase
{
    Q_OBJECT

public:
    explicit SBJsonParser(QObject *parent = nullptr);

    // Any JSON value at the top level. A null QString means no input at all
    // (error 12); an empty QString is an empty text (error 11).
    QVariant fragmentWithString(const QString &text);
    // The same, but the top-level value must be an object or an array.
    QVariant objectWithString(const QString &text);

    // The same on UTF-8 bytes, sparing a conversion when the text comes from a
    // file; a null QByteArray means no input.
    QVariant fragmentWithUtf8(const QByteArray &utf8);
    QVariant objectWithUtf8(const QByteArray &utf8);

private:
    QVariant refuseNoInput();
    QVariant requireContainer(const QVariant &value);
    QVariant scanDocument(const char *utf8);

    bool scanValue(QVariant &value);
    bool scanRestOfArray(QVariant &value);
    bool scanRestOfDictionary(QVariant &value);
    bool scanKey(QString &key);
    bool scanRestOfString(QString &string);
    bool scanEscape(QString &string);
    bool scanRestOfTrue(QVariant &value);
    bool scanRestOfFalse(QVariant &value);
    bool scanRestOfNull(QVariant &value);
    bool scanNumber(QVariant &value);
    bool scanUnicodeChar(char16_t &unit);
    bool scanHexQuad(char16_t &quad);
    bool scanIsAtEnd();

    bool scanLiteralTail(const char *tail, const QString &failure);
    bool scanDigits(const QString &failure);
    void skipWhitespace();
    bool atEnd() const { return *m_c == '\0'; }

    const char *m_c = nullptr;
    std::unordered_map<std::string_view, QString> m_keys;
};
