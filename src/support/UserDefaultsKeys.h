#pragma once

#include <QLatin1StringView>

// The keys of the user's preferences.
namespace UserDefaultsKeys {

inline constexpr QLatin1StringView UIMode{"UIMode"};
inline constexpr QLatin1StringView AutoCompileEnabled{"autoCompileEnabled"};
inline constexpr QLatin1StringView RefreshInterval{"refreshInterval"};
inline constexpr QLatin1StringView AutoSetCustomCSSPaths{"autoSetCustomCSSPaths"};
inline constexpr QLatin1StringView ShouldCompressCSSOutput{"shouldCompressCSSOutput"};
inline constexpr QLatin1StringView BringAppToFrontOnError{"bringAppToFrontOnError"};
inline constexpr QLatin1StringView UpdateAtStartup{"updateAtStartup"};
inline constexpr QLatin1StringView UpdateFeedURL{"updateFeedURL"};
// The warm compiler: 0 workers means one per core, at most four.
inline constexpr QLatin1StringView CompilerWorkers{"compilerWorkers"};
// Seconds.
inline constexpr QLatin1StringView CompileTimeLimit{"compileTimeLimit"};
// Megabytes of one worker's memory.
inline constexpr QLatin1StringView CompilerMemoryLimit{"compilerMemoryLimit"};

// Names of folders (wildcards allowed) that are neither scanned nor watched.
inline constexpr QLatin1StringView SkippedFolders{"skippedFolders"};

// Which compiles raise a desktop notification: "all", "failures" or "none".
inline constexpr QLatin1StringView Notifications{"notifications"};
// A failed compile brings the compiler log forward.
inline constexpr QLatin1StringView ShowLogOnFailure{"showLogOnFailure"};
// The command that opens a file at a line, with %f and %l; empty for the desktop's own choice.
inline constexpr QLatin1StringView EditorCommand{"editorCommand"};
// Browser pages get each new CSS through the LiveReload server.
inline constexpr QLatin1StringView LiveReloadEnabled{"liveReloadEnabled"};
// The LiveReload server's TCP port; 0 takes any free one.
inline constexpr QLatin1StringView LiveReloadPort{"liveReloadPort"};
// The LiveReload server listens on every network address, not only on 127.0.0.1.
inline constexpr QLatin1StringView LiveReloadOnAllAddresses{"liveReloadOnAllAddresses"};

} // namespace UserDefaultsKeys
