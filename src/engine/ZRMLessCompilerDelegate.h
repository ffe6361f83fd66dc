#pragma once

#include <QLatin1StringView>
#include <QString>
#include <QVariantMap>

// Keys of the compiling-settings dictionary. A missing key reads as false,
// no output path, or no importers.
namespace ZRMCompilingSettingsKey {

inline constexpr QLatin1StringView ShouldAutoCompile{"shouldAutoCompile"};
inline constexpr QLatin1StringView OutputPath{"outputPath"};
inline constexpr QLatin1StringView ShouldCompressOutput{"shouldCompressOutput"};
// A LessOptions; the defaults when missing.
inline constexpr QLatin1StringView LessOptions{"lessOptions"};
// The folder of the project's own less package; the bundled less when empty.
inline constexpr QLatin1StringView LessPackage{"lessPackage"};
// The files to compile after this one changed, each once: those that read it.
inline constexpr QLatin1StringView LinkedFilesToCompile{"linkedFilesToCompile"};

} // namespace ZRMCompilingSettingsKey

// Tells the compiler engine how a changed LESS file is to be compiled. Asked
// on the GUI thread, once for the changed file and once for each file to
// compile after it; told first that the file changed.
class ZRMLessCompilerDelegate
{
public:
    virtual ~ZRMLessCompilerDelegate() = default;

    virtual QVariantMap compilingSettingsForLESSFileAtPath(const QString &path) = 0;
    virtual void lessFileDidChange(const QString &) {}
};
