#pragma once

#include "support/Version.h"

#include <QLatin1StringView>
#include <QString>

// The application's identity, compiled in from the build.
namespace BundleInfo {

inline constexpr QLatin1StringView ApplicationName = Version::ApplicationName;

inline constexpr QLatin1StringView CFBundleVersion{"CFBundleVersion"};
inline constexpr QLatin1StringView CFBundleShortVersionString{"CFBundleShortVersionString"};
inline constexpr QLatin1StringView ZRMBuildNumber{"ZRMBuildNumber"};

// The value for one of the keys above; empty for any other key.
QString value(QAnyStringView key);

} // namespace BundleInfo
