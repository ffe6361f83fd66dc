#include "services/JSON/SBJsonWriter.h"

#include "services/JSON/JsonDecimal.h"

#include <QAssociativeIterable>
#include <QSequentialIterable>
#include <QStringList>
#include <QVariantHash>
#include <QVariantList>
#include <QVariantMap>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <utility>

namespace {

constexpr qsizetype initialCapacity = 128;
constexpr qsizetype indentWidth = 2;
// Wide enough for any 64-bit integer and any shortest double or float.
constexpr int numberBufferSize = 32;
constexpr char16_t firstPlainUnit = 0x20;
constexpr char lowerHexDigits[] = "0123456789abcdef";

template <typename T>
const T &stored(const QVariant &value)
{
    return *static_cast<const T *>(value.constData());
}

bool needsEscape(char16_t unit)
{
    return unit < firstPlainUnit || unit == u'"' || unit == u'\\';
}

void appendEscape(char16_t unit, QString &json)
{
    switch (unit) {
    case u'\\': json += QLatin1StringView("\\\\"); break;
    case u'"': json += QLatin1StringView("\\\""); break;
    case u'\b': json += QLatin1StringView("\\b"); break;
    case u'\t': json += QLatin1StringView("\\t"); break;
    case u'\n': json += QLatin1StringView("\\n"); break;
    case u'\f': json += QLatin1StringView("\\f"); break;
    case u'\r': json += QLatin1StringView("\\r"); break;
    default:
        // Only control characters remain, so the upper byte is always zero.
        json += QLatin1StringView("\\u00");
        json += QLatin1Char(lowerHexDigits[unit >> 4]);
        json += QLatin1Char(lowerHexDigits[unit & 0xf]);
        break;
    }
}

template <typename Number>
void appendFormatted(Number number, QString &json)
{
    char buffer[numberBufferSize];
    const auto result = std::to_chars(buffer, buffer + numberBufferSize, number);
    json += QLatin1StringView(buffer, result.ptr);
}

// Plain runs go out whole; only the units that need it are escaped.
void appendString(QStringView string, QString &json)
{
    json += u'"';
    const char16_t *run = string.utf16();
    const char16_t *end = run + string.size();
    for (const char16_t *unit = run; unit != end; ++unit) {
        if (!needsEscape(*unit))
            continue;
        json += QStringView(run, unit);
        appendEscape(*unit, json);
        run = unit + 1;
    }
    json += QStringView(run, end);
    json += u'"';
}

// False, writing nothing, for anything but a finite number.
bool appendNumber(const QVariant &value, QString &json)
{
    switch (value.typeId()) {
    case QMetaType::Int:
    case QMetaType::Short:
    case QMetaType::Long:
    case QMetaType::LongLong:
    case QMetaType::Char:
    case QMetaType::SChar:
        appendFormatted(value.toLongLong(), json);
        return true;
    case QMetaType::UInt:
    case QMetaType::UShort:
    case QMetaType::ULong:
    case QMetaType::ULongLong:
    case QMetaType::UChar:
        appendFormatted(value.toULongLong(), json);
        return true;
    case QMetaType::Double:
        if (!std::isfinite(stored<double>(value)))
            return false;
        appendFormatted(stored<double>(value), json);
        return true;
    case QMetaType::Float:
        if (!std::isfinite(stored<float>(value)))
            return false;
        appendFormatted(stored<float>(value), json);
        return true;
    default:
        break;
    }
    if (value.typeId() != qMetaTypeId<JsonDecimal>())
        return false;
    json += stored<JsonDecimal>(value).toString();
    return true;
}

bool isDictionary(const QVariant &value)
{
    const int type = value.typeId();
    return type == QMetaType::QVariantMap || type == QMetaType::QVariantHash
           || value.canConvert<QAssociativeIterable>();
}

// Strings and byte arrays also iterate as sequences, but are no arrays.
bool isArray(const QVariant &value)
{
    const int type = value.typeId();
    if (type == QMetaType::QVariantList || type == QMetaType::QStringList)
        return true;
    return type != QMetaType::QString && type != QMetaType::QByteArray
           && value.canConvert<QSequentialIterable>();
}

bool isContainer(const QVariant &value)
{
    return isDictionary(value) || isArray(value);
}

} // namespace

SBJsonWriter::SBJsonWriter(QObject *parent)
    : SBJsonBase(parent)
{
}

std::optional<QString> SBJsonWriter::stringWithFragment(const QVariant &value)
{
    clearErrorTrace();
    resetDepth();
    QString json;
    json.reserve(initialCapacity);
    if (!appendValue(value, json))
        return std::nullopt;
    return json;
}

std::optional<QString> SBJsonWriter::stringWithObject(const QVariant &value)
{
    if (!isContainer(value)) {
        clearErrorTrace();
        addErrorWithCode(SBJsonError::NotContainer, QStringLiteral("Not valid type for JSON"));
        return std::nullopt;
    }
    return stringWithFragment(value);
}

bool SBJsonWriter::appendValue(const QVariant &value, QString &json)
{
    // The common types first, by id, before the costlier container probes.
    switch (value.typeId()) {
    case QMetaType::QString:
        appendString(stored<QString>(value), json);
        return true;
    case QMetaType::Bool:
        json += stored<bool>(value) ? QLatin1StringView("true") : QLatin1StringView("false");
        return true;
    case QMetaType::Nullptr:
        json += QLatin1StringView("null");
        return true;
    default:
        break;
    }
    if (isDictionary(value))
        return appendDictionary(value, json);
    if (isArray(value))
        return appendArray(value, json);
    return appendNumber(value, json) || refuseUnsupported(value);
}

bool SBJsonWriter::refuseUnsupported(const QVariant &value)
{
    const QString typeName = value.isValid() ? QString::fromLatin1(value.typeName())
                                             : QStringLiteral("invalid QVariant");
    addErrorWithCode(SBJsonError::Unsupported,
                     QStringLiteral("JSON serialisation not supported for %1").arg(typeName));
    return false;
}

template <typename AppendContent>
bool SBJsonWriter::appendContainer(char16_t open, char16_t close, QString &json, AppendContent appendContent)
{
    if (!enterNesting())
        return false;
    json += open;
    if (!appendContent())
        return false;
    leaveNesting();
    // An empty container still ends in its opening bracket and stays on one line.
    if (m_humanReadable && json.back() != open)
        appendIndent(json);
    json += close;
    return true;
}

bool SBJsonWriter::appendArray(const QVariant &value, QString &json)
{
    return appendContainer(u'[', u']', json, [&] {
        switch (value.typeId()) {
        case QMetaType::QVariantList:
            return appendElements(stored<QVariantList>(value), json);
        case QMetaType::QStringList:
            return appendElements(stored<QStringList>(value), json);
        default:
            return appendElements(value.value<QSequentialIterable>(), json);
        }
    });
}

template <typename Sequence>
bool SBJsonWriter::appendElements(const Sequence &sequence, QString &json)
{
    bool first = true;
    for (const auto &element : sequence) {
        if (!first)
            json += u',';
        first = false;
        if (m_humanReadable)
            appendIndent(json);
        if (!appendElement(element, json))
            return false;
    }
    return true;
}

bool SBJsonWriter::appendElement(const QVariant &element, QString &json)
{
    return appendValue(element, json);
}

bool SBJsonWriter::appendElement(const QString &element, QString &json)
{
    appendString(element, json);
    return true;
}

bool SBJsonWriter::appendDictionary(const QVariant &value, QString &json)
{
    return appendContainer(u'{', u'}', json, [&] {
        switch (value.typeId()) {
        case QMetaType::QVariantMap:
            // Already in key order, sorted or not.
            return appendMembers(stored<QVariantMap>(value), json);
        case QMetaType::QVariantHash:
            return m_sortKeys ? appendSortedMembers(stored<QVariantHash>(value), json)
                              : appendMembers(stored<QVariantHash>(value), json);
        default:
            return appendIterableMembers(value.value<QAssociativeIterable>(), json);
        }
    });
}

template <typename Map>
bool SBJsonWriter::appendMembers(const Map &map, QString &json)
{
    bool first = true;
    for (auto it = map.cbegin(); it != map.cend(); ++it) {
        if (!appendMember(it.key(), it.value(), first, json))
            return false;
        first = false;
    }
    return true;
}

bool SBJsonWriter::appendSortedMembers(const QVariantHash &hash, QString &json)
{
    QStringList keys = hash.keys();
    std::sort(keys.begin(), keys.end());
    bool first = true;
    for (const QString &key : std::as_const(keys)) {
        if (!appendMember(key, hash.value(key), first, json))
            return false;
        first = false;
    }
    return true;
}

bool SBJsonWriter::appendIterableMembers(const QAssociativeIterable &iterable, QString &json)
{
    QList<std::pair<QString, QVariant>> members;
    for (auto it = iterable.begin(); it != iterable.end(); ++it) {
        const QVariant key = it.key();
        if (key.typeId() != QMetaType::QString) {
            addErrorWithCode(SBJsonError::Unsupported, QStringLiteral("JSON object key must be string"));
            return false;
        }
        members.append({key.toString(), it.value()});
    }
    if (m_sortKeys) {
        std::stable_sort(members.begin(), members.end(),
                         [](const auto &a, const auto &b) { return a.first < b.first; });
    }
    bool first = true;
    for (const auto &[key, member] : std::as_const(members)) {
        if (!appendMember(key, member, first, json))
            return false;
        first = false;
    }
    return true;
}

bool SBJsonWriter::appendMember(const QString &key, const QVariant &value, bool first, QString &json)
{
    if (!first)
        json += u',';
    if (m_humanReadable)
        appendIndent(json);
    appendString(key, json);
    json += m_humanReadable ? QLatin1StringView(" : ") : QLatin1StringView(":");
    if (!appendValue(value, json)) {
        addErrorWithCode(SBJsonError::Unsupported,
                         QStringLiteral("Unsupported value for key %1 in object").arg(key));
        return false;
    }
    return true;
}

void SBJsonWriter::appendIndent(QString &json) const
{
    json += u'\n';
    json.resize(json.size() + indentWidth * depth(), u' ');
}
