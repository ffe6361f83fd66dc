#pragma once

#include "UKFileWatcherDelegate.h"
#include "ZRMCompilerPool.h"

#include <QLatin1StringView>
#include <QObject>
#include <QStringList>
#include <QVariantMap>

class NotificationCenter;
class UKKQueue;
class ZRMLessCompilerDelegate;

inline constexpr QLatin1StringView ZRMLCStartedCompilingAFileNotification{
    "ZRMLessCompilerDidStartCompilingFile"};
inline constexpr QLatin1StringView ZRMLCCompiledFileSuccessfullyNotification{
    "ZRMLessCompilerDidCompileFileSuccessfully"};
inline constexpr QLatin1StringView ZRMLCFailedToCompileFileNotification{
    "ZRMLessCompilerDidCompileFileWithError"};
inline constexpr QLatin1StringView ZRMLCBeganWatchingNewFileNotification{
    "ZRMLessCompilerDidBeginWatchingNewLessFile"};
inline constexpr QLatin1StringView ZRMLCStoppedWatchingFileNotification{
    "ZRMLessCompilerDidStopWatchingLessFile"};
inline constexpr QLatin1StringView ZRMLCFailedToFindCompilerEngineNotification{
    "ZRMLessCompilerFailedToFindCompiler"};

// Keys of the compile request, of the compile result and of the engine's
// notification payloads.
namespace ZRMLessCompilerKey {

inline constexpr QLatin1StringView FileToCompile{"fileToCompile"};
inline constexpr QLatin1StringView OutputPath{"outputPath"};
inline constexpr QLatin1StringView CompressCSSOutput{"compressCSSOutput"};
inline constexpr QLatin1StringView LinkedToFile{"linkedToFile"};
inline constexpr QLatin1StringView Time{"time"};
inline constexpr QLatin1StringView File{"file"};
// A QString in compile results, a StyledText in watch-list notifications.
inline constexpr QLatin1StringView Result{"result"};
// Null until the compile has ended, then a bool.
inline constexpr QLatin1StringView Successful{"successful"};
// The files the compile read, the input first; empty when the compiler did not say.
inline constexpr QLatin1StringView FilesRead{"filesRead"};
// What the compiler warned of (less's deprecation warnings and the like); empty when nothing.
inline constexpr QLatin1StringView Warnings{"warnings"};
// The path of the saved file that made an importer compile, else empty.
inline constexpr QLatin1StringView TriggeredBy{"triggeredBy"};
// From the compile's start to its outcome.
inline constexpr QLatin1StringView Milliseconds{"milliseconds"};
// The version of the less that compiled, as "less 4.9.1"; empty when unknown.
inline constexpr QLatin1StringView Compiler{"compiler"};

} // namespace ZRMLessCompilerKey

// The one LESS compiler engine: compiles LESS files in warm Node workers
// (ZRMCompilerPool), follows the watched LESS files and compiles them (and the
// files that import them) when they change, and announces all of it on the
// default notification centre. Use it on the GUI thread.
class ZRMLessCompiler : public QObject, public UKFileWatcherDelegate
{
    Q_OBJECT

public:
    static ZRMLessCompiler *sharedLessCompiler();

    ZRMLessCompiler(const ZRMLessCompiler &) = delete;
    ZRMLessCompiler &operator=(const ZRMLessCompiler &) = delete;

    // Looks up node and the worker script in the resources' engines/bin and
    // starts the workers.
    void findCompiler();
    QString pathToNodeJS() const { return m_pathToNodeJS; }
    QString pathToCompiler() const { return m_pathToCompiler; }
    ZRMCompilerPool *pool() { return &m_pool; }

    // Both return whether the compile's outcome will be announced: false when
    // there is no usable compiler.
    bool compileFileAtPath(const QString &path, const QString &toPath, bool compress,
                           const LessOptions &options = {}, const QString &lessPackage = {});
    // The job's triggeredBy: the file whose change made it compile, or empty.
    bool beginCompilingFileAtPath(ZRMCompileJob job);

    // The LESS files beneath folder, depth first, without hidden files and
    // what lies in the folders the preferences skip. Paths that are not UTF-8
    // cannot be compiled; they go to undecodablePaths, as the file system has them.
    static QStringList getAllLessFilesInDirectory(const QString &folder,
                                                  QList<QByteArray> *undecodablePaths = nullptr);

    ZRMLessCompilerDelegate *compilerDelegate() const { return m_compilerDelegate; }
    void setCompilerDelegate(ZRMLessCompilerDelegate *delegate) { m_compilerDelegate = delegate; }

    void watchLessFileAtPath(const QString &path);
    void stopWatchingLessFileAtPath(const QString &path);
    QStringList watchedLessFiles() const { return m_watchedLessFiles; }

    void watcher(UKFileWatcher *watcher, const QString &notification, const QString &path) override;

private:
    ZRMLessCompiler();

    void applyPoolPreferences();
    bool compilerIsUsable();
    void reportMissingCompiler(const QString &reason);
    void postStart(const QString &path);
    void didFinishCompiling(const ZRMCompileJob &job, bool ok, const QString &message,
                            const QStringList &filesRead = {}, const QString &warnings = {});
    void didFinishCompilingFileWithResult(const QVariantMap &result);
    // "less 4.9.1" for the package that compiled; the bundled one when empty.
    QString compilerName(const QString &lessPackage);
    void compileIfAutoCompiled(const QString &path, const QVariantMap &settings,
                               const QString &triggeringPath);
    QVariantMap settingsFor(const QString &path) const;

    NotificationCenter *m_notificationCenter;
    ZRMCompilerPool m_pool;
    UKKQueue *m_fileWatcher;
    QStringList m_watchedLessFiles;
    QString m_pathToCompiler;
    // "less 4.9.1", read once.
    QString m_bundledCompilerName;
    QString m_pathToNodeJS;
    ZRMLessCompilerDelegate *m_compilerDelegate = nullptr;
    // The missing or broken compiler has been reported; cleared when it works again.
    bool m_reportedMissingCompiler = false;
};
