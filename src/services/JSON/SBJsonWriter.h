#pragma once

#include "services/JSON/SBJsonBase.h"

#include <QString>
#include <QVariant>
#include <QVariantHash>

#include <optional>

class QAssociativeIterable;

// Writes values as JSON text: QVariantMap and QVariantHash (and other
// registered associative containers) as objects, QVariantList, QStringList (and
// other sequential containers) as arrays, QString, bool, the integer types,
// JsonDecimal as its exact text, double and float as the shortest text that
// reads back the same, QVariant::fromValue(nullptr) as null. Anything else,
// including non-finite numbers, fails with error 1 naming its type.
class SBJsonWriter : public SBJsonBase
{
    Q_OBJECT
    Q_PROPERTY(bool humanReadable READ humanReadable WRITE setHumanReadable)
    Q_PROPERTY(bool sortKeys READ sortKeys WRITE setSortKeys)

public:
    explicit SBJsonWriter(QObject *parent = nullptr);

    // Any value; std::nullopt on failure, with the reason in errorTrace().
    std::optional<QString> stringWithFragment(const QVariant &value);
    // The same, but the value must be an object or an array (error 4).
    std::optional<QString> stringWithObject(const QVariant &value);

    // Members and elements on their own lines, indented two spaces a level,
    // with " : " between key and value.
    bool humanReadable() const { return m_humanReadable; }
    void setHumanReadable(bool humanReadable) { m_humanReadable = humanReadable; }
    // Object members in the plain code-unit order of their keys rather than
    // the container's own order.
    bool sortKeys() const { return m_sortKeys; }
    void setSortKeys(bool sortKeys) { m_sortKeys = sortKeys; }

private:
    bool appendValue(const QVariant &value, QString &json);
    bool refuseUnsupported(const QVariant &value);

    bool appendArray(const QVariant &value, QString &json);
    template <typename Sequence>
    bool appendElements(const Sequence &sequence, QString &json);
    bool appendElement(const QVariant &element, QString &json);
    bool appendElement(const QString &element, QString &json);

    bool appendDictionary(const QVariant &value, QString &json);
    template <typename Map>
    bool appendMembers(const Map &map, QString &json);
    bool appendSortedMembers(const QVariantHash &hash, QString &json);
    bool appendIterableMembers(const QAssociativeIterable &iterable, QString &json);
    bool appendMember(const QString &key, const QVariant &value, bool first, QString &json);

    // The brackets, one nesting level deeper, around what appendContent() writes.
    template <typename AppendContent>
    bool appendContainer(char16_t open, char16_t close, QString &json, AppendContent appendContent);
    void appendIndent(QString &json) const;

    bool m_humanReadable = false;
    bool m_sortKeys = false;
};
