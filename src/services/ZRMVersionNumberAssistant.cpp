#include "ZRMVersionNumberAssistant.h"

#include <QStringList>

#include <algorithm>
#include <compare>
#include <limits>

namespace {

// Combining marks count as letters too: "1.2é" written with a combining
// accent is no more a number than with a precomposed one.
bool containsLetter(const QString &text)
{
    const QList<uint> codePoints = text.toUcs4();
    return std::any_of(codePoints.cbegin(), codePoints.cend(),
                       [](uint codePoint) { return QChar::isLetter(codePoint) || QChar::isMark(codePoint); });
}

// The integer at the start of text: leading white space, an optional sign,
// then digits up to the first non-digit; 0 without digits; clamped to 32 bits.
qint32 integerValue(QStringView text)
{
    qsizetype i = 0;
    while (i < text.size() && text.at(i).isSpace())
        ++i;
    const bool negative = i < text.size() && text.at(i) == u'-';
    if (i < text.size() && (text.at(i) == u'-' || text.at(i) == u'+'))
        ++i;

    // Past this, any further digit still clamps, so stop growing there.
    constexpr qint64 Saturated = qint64(std::numeric_limits<qint32>::max()) + 1;
    qint64 magnitude = 0;
    for (; i < text.size() && text.at(i) >= u'0' && text.at(i) <= u'9'; ++i)
        magnitude = std::min(magnitude * 10 + (text.at(i).unicode() - u'0'), Saturated);

    return qint32(std::clamp<qint64>(negative ? -magnitude : magnitude, std::numeric_limits<qint32>::min(),
                                     std::numeric_limits<qint32>::max()));
}

std::strong_ordering compareComponents(const QStringList &components, const QStringList &otherComponents)
{
    const qsizetype shared = std::min(components.size(), otherComponents.size());
    for (qsizetype i = 0; i < shared; ++i) {
        const std::strong_ordering order = integerValue(components.at(i)) <=> integerValue(otherComponents.at(i));
        if (order != 0)
            return order;
    }
    return components.size() <=> otherComponents.size();
}

QVariantMap differentVersions(const QString &newer, const QString &older)
{
    return {{ZRMVersionNumberKey::CompareResult, QString(ZRMVersionCompareResult::DifferentVersions)},
            {ZRMVersionNumberKey::NewerVersion, newer},
            {ZRMVersionNumberKey::OlderVersion, older}};
}

QVariantMap withoutVersions(QLatin1StringView compareResult)
{
    const QVariant null = QVariant::fromValue(nullptr);
    return {{ZRMVersionNumberKey::CompareResult, QString(compareResult)},
            {ZRMVersionNumberKey::NewerVersion, null},
            {ZRMVersionNumberKey::OlderVersion, null}};
}

} // namespace

QVariantMap ZRMVersionNumberAssistant::compareVersionString(const QString &version, const QString &toVersionString)
{
    if (containsLetter(version) || containsLetter(toVersionString))
        return withoutVersions(ZRMVersionCompareResult::Error);

    const std::strong_ordering order = compareComponents(version.split(u'.'), toVersionString.split(u'.'));
    if (order > 0)
        return differentVersions(version, toVersionString);
    if (order < 0)
        return differentVersions(toVersionString, version);
    return withoutVersions(ZRMVersionCompareResult::SameVersion);
}
