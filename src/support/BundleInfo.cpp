#include "BundleInfo.h"

namespace BundleInfo {

QString value(QAnyStringView key)
{
    if (key == CFBundleVersion)
        return Version::FullVersion;
    if (key == CFBundleShortVersionString)
        return Version::ShortVersion;
    if (key == ZRMBuildNumber)
        return Version::BuildNumber;
    return QString();
}

} // namespace BundleInfo
