#pragma once

#include <QLatin1StringView>
#include <QString>
#include <QVariantMap>

// Keys of the comparison result.
namespace ZRMVersionNumberKey {

inline constexpr QLatin1StringView CompareResult{"compareResult"};
// The input strings exactly as given, or null unless the versions differ.
inline constexpr QLatin1StringView NewerVersion{"newerVersion"};
inline constexpr QLatin1StringView OlderVersion{"olderVersion"};

} // namespace ZRMVersionNumberKey

// Values of ZRMVersionNumberKey::CompareResult.
namespace ZRMVersionCompareResult {

inline constexpr QLatin1StringView Error{"error"};
inline constexpr QLatin1StringView DifferentVersions{"differentVersions"};
inline constexpr QLatin1StringView SameVersion{"sameVersion"};

} // namespace ZRMVersionCompareResult

// Compares dotted version strings component by component as integers.
class ZRMVersionNumberAssistant
{
public:
    // Any letter in either string is an error. When all shared components are
    // equal, the string with more components is the newer one, so 1.0.0 is
    // newer than 1.0.
    static QVariantMap compareVersionString(const QString &version, const QString &toVersionString);
};
