#include "BundleInfo.h"

namespace BundleInfo {

QString value(QAnyStringView key)
{
    if (key == CFBundleVersion)
        return QStringLiteral(CASCADER_VERSION);
    if (key == CFBundleShortVersionString)
        return QStringLiteral(CASCADER_SHORT_VERSION);
    if (key == ZRMBuildNumber)
        return QStringLiteral(CASCADER_BUILD_NUMBER);
    return QString();
}

} // namespace BundleInfo
