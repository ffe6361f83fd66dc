#include "ZRMLessCompiler.h"

#include "FolderScan.h"
#include "LessPackage.h"
#include "UKFileWatcher.h"
#include "UKKQueue.h"
#include "ZRMLessCompilerDelegate.h"
#include "support/Logging.h"
#include "support/NotificationCenter.h"
#include "support/PathUtils.h"
#include "support/Resources.h"
#include "support/StyledText.h"
#include "support/UserDefaults.h"
#include "support/UserDefaultsKeys.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>

#include <initializer_list>
#include <utility>


using namespace ZRMLessCompilerKey;

namespace {

const QString EnginesFolder = QStringLiteral("engines/bin");
const QString NodeResource = QStringLiteral("node");
const QString WorkerResource = QStringLiteral("compile-worker.js");
const char WorkersVariable[] = "CASCADER_WORKERS";
const QString MissingCompilerMessage = QStringLiteral("Node.js or the LESS compiler is missing from %1.");
// How long an importer's compile waits for the other saves of a burst.
constexpr int ImporterSettleMs = 5;
const QString SuccessMessage = QStringLiteral("Success!");
const QString OutputFolderMissingMessage = QStringLiteral(
    "The output path you selected for this file no longer exists. Choose a new path or refresh the "
    "watched files list.");
const QString WatchingMessage = QStringLiteral("Watching for changes.");
const QString StoppedWatchingMessage = QStringLiteral("Stopped watching for changes.");

// Dictionaries are built from value lists that end at the first missing
// (invalid) value.
QVariantMap mapOfValuesUpToFirstMissing(std::initializer_list<std::pair<QLatin1StringView, QVariant>> values)
{
    QVariantMap map;
    for (const auto &[key, value] : values) {
        if (!value.isValid())
            break;
        map.insert(key, value);
    }
    return map;
}

QVariantMap watchListPayload(const QString &path, const QString &message)
{
    return {{Time, QDateTime::currentDateTime()},
            {File, path},
            {Result, QVariant::fromValue(StyledText(message, StyledText::Grey))}};
}

QString executableResource(const QString &name)
{
    const QString path = Resources::pathForResource(name, {}, EnginesFolder);
    const QFileInfo info(path);
    return !path.isEmpty() && info.isFile() && info.isExecutable() ? path : QString();
}

QString compilerNameAt(const QString &packageFolder)
{
    const QString version = LessPackage::versionAt(packageFolder);
    return version.isEmpty() ? QString() : QStringLiteral("less ") + version;
}

} // namespace

ZRMLessCompiler *ZRMLessCompiler::sharedLessCompiler()
{
    static auto *shared = new ZRMLessCompiler;
    return shared;
}

ZRMLessCompiler::ZRMLessCompiler()
    : m_notificationCenter(NotificationCenter::defaultCenter())
    , m_fileWatcher(UKKQueue::sharedFileWatcher())
{
    m_fileWatcher->setAlwaysNotify(false);
    m_fileWatcher->setDelegate(this);
    connect(&m_pool, &ZRMCompilerPool::finished, this, &ZRMLessCompiler::didFinishCompiling);
    connect(&m_pool, &ZRMCompilerPool::broken, this, &ZRMLessCompiler::reportMissingCompiler);
    connect(&m_pool, &ZRMCompilerPool::working, this, [this] { m_reportedMissingCompiler = false; });
    connect(UserDefaults::standardUserDefaults(), &UserDefaults::valueChanged, this, [this](const QString &key) {
        if (key == UserDefaultsKeys::CompilerWorkers || key == UserDefaultsKeys::CompileTimeLimit
            || key == UserDefaultsKeys::CompilerMemoryLimit)
            applyPoolPreferences();
    });
    applyPoolPreferences();
    findCompiler();
}

void ZRMLessCompiler::findCompiler()
{
    m_pathToNodeJS = executableResource(NodeResource);
    m_pathToCompiler = Resources::pathForResource(WorkerResource, {}, EnginesFolder);
    m_reportedMissingCompiler = false;
    if (m_pathToNodeJS.isEmpty() || m_pathToCompiler.isEmpty())
        reportMissingCompiler(MissingCompilerMessage.arg(Resources::folder() + u'/' + EnginesFolder));
    else
        m_pool.startWorkers(m_pathToNodeJS, m_pathToCompiler);
}

// 0 or nothing set means the pool's own default.
void ZRMLessCompiler::applyPoolPreferences()
{
    const UserDefaults *defaults = UserDefaults::standardUserDefaults();
    bool fromEnvironment = false;
    const int workers = qEnvironmentVariableIntValue(WorkersVariable, &fromEnvironment);
    const int preferred = fromEnvironment ? workers : defaults->integerForKey(UserDefaultsKeys::CompilerWorkers);
    m_pool.setSize(preferred > 0 ? preferred : ZRMCompilerPool::defaultSize());
    m_pool.setTimeLimit(defaults->integerForKey(UserDefaultsKeys::CompileTimeLimit));
    m_pool.setMemoryLimit(defaults->integerForKey(UserDefaultsKeys::CompilerMemoryLimit));
}

// A compiler that cannot run is reported once, not at every save; a broken
// one is tried again each time, so a repaired installation is picked up.
bool ZRMLessCompiler::compilerIsUsable()
{
    if (m_pathToNodeJS.isEmpty() || m_pathToCompiler.isEmpty()) {
        reportMissingCompiler(MissingCompilerMessage.arg(Resources::folder() + u'/' + EnginesFolder));
        return false;
    }
    if (!m_pool.isBroken())
        return true;
    m_pool.startWorkersAgain();
    return false;
}

void ZRMLessCompiler::reportMissingCompiler(const QString &reason)
{
    if (m_reportedMissingCompiler)
        return;
    m_reportedMissingCompiler = true;
    m_notificationCenter->post(ZRMLCFailedToFindCompilerEngineNotification, this, {{Result, reason}});
}

QString ZRMLessCompiler::compilerName(const QString &lessPackage)
{
    if (!lessPackage.isEmpty())
        return compilerNameAt(lessPackage);
    if (m_bundledCompilerName.isNull())
        m_bundledCompilerName = compilerNameAt(LessPackage::bundledFolder());
    return m_bundledCompilerName;
}

bool ZRMLessCompiler::compileFileAtPath(const QString &path, const QString &toPath, bool compress,
                                        const LessOptions &options, const QString &lessPackage)
{
    return beginCompilingFileAtPath(
        {.input = path, .output = toPath, .compress = compress, .options = options, .lessPackage = lessPackage});
}

// A compile asked for while the same one waits merges into it and posts no
// second start. Importers wait a moment, so that the other saves of a burst
// join them.
bool ZRMLessCompiler::beginCompilingFileAtPath(ZRMCompileJob job)
{
    if (!compilerIsUsable())
        return false;
    const QString &linkedToPath = job.triggeredBy;
    if (!linkedToPath.isEmpty())
        job.linkedToFile = QStringLiteral("[Triggered by: %1]").arg(PathUtils::lastPathComponent(linkedToPath));
    job.started = QDateTime::currentDateTime();
    const QString &path = job.input;
    if (!QFileInfo::exists(PathUtils::deletingLastPathComponent(job.output))) {
        postStart(path);
        QMetaObject::invokeMethod(
            this, [this, job] { didFinishCompiling(job, false, OutputFolderMissingMessage); },
            Qt::QueuedConnection);
        return true;
    }
    if (m_pool.compile(job, linkedToPath.isEmpty() ? 0 : ImporterSettleMs))
        postStart(path);
    return true;
}

void ZRMLessCompiler::postStart(const QString &path)
{
    m_notificationCenter->post(ZRMLCStartedCompilingAFileNotification, this,
                               {{File, path}, {Time, QDateTime::currentDateTime()}});
}

// A compile without an output path has no label either: its values end at
// the first missing one.
void ZRMLessCompiler::didFinishCompiling(const ZRMCompileJob &job, bool ok, const QString &message,
                                         const QStringList &filesRead, const QString &warnings)
{
    QVariantMap result = mapOfValuesUpToFirstMissing({
        {Time, job.started},
        {File, job.input},
        {LinkedToFile, job.output.isNull() ? QVariant() : QVariant(job.linkedToFile)},
    });
    result.insert(Result, ok ? SuccessMessage : message.trimmed());
    result.insert(Successful, ok);
    result.insert(FilesRead, filesRead);
    result.insert(Warnings, warnings.trimmed());
    result.insert(OutputPath, job.output);
    result.insert(TriggeredBy, job.triggeredBy);
    result.insert(Milliseconds, job.started.msecsTo(QDateTime::currentDateTime()));
    result.insert(Compiler, compilerName(job.lessPackage));
    didFinishCompilingFileWithResult(result);
}

void ZRMLessCompiler::didFinishCompilingFileWithResult(const QVariantMap &result)
{
    const bool successful = result.value(Successful).toBool();
    m_notificationCenter->post(
        successful ? ZRMLCCompiledFileSuccessfullyNotification : ZRMLCFailedToCompileFileNotification, this,
        result);
}

QStringList ZRMLessCompiler::getAllLessFilesInDirectory(const QString &folder,
                                                        QList<QByteArray> *undecodablePaths)
{
    FolderScan scan(SkippedFolders::fromPreferences());
    scan.scan(folder);
    if (undecodablePaths)
        *undecodablePaths = scan.undecodablePaths();
    return scan.lessFiles();
}

void ZRMLessCompiler::watchLessFileAtPath(const QString &path)
{
    if (!QFileInfo::exists(path)) {
        qCWarning(lcEngine,
                  "ZRMLessCompiler was asked to watch a LESS file that does not exist. This file was NOT "
                  "added to the watch list: %s",
                  qUtf8Printable(path));
        return;
    }
    if (m_watchedLessFiles.contains(path))
        return;
    m_watchedLessFiles.append(path);
    m_fileWatcher->addPath(path);
    m_notificationCenter->post(ZRMLCBeganWatchingNewFileNotification, this,
                               watchListPayload(path, WatchingMessage));
}

void ZRMLessCompiler::stopWatchingLessFileAtPath(const QString &path)
{
    if (!m_watchedLessFiles.removeOne(path))
        return;
    m_fileWatcher->removePath(path);
    m_notificationCenter->post(ZRMLCStoppedWatchingFileNotification, this,
                               watchListPayload(path, StoppedWatchingMessage));
}

// UKKQueue follows a path through safe saves and deletions by itself, so a
// watch needs no renewing here.
void ZRMLessCompiler::watcher(UKFileWatcher *, const QString &notification, const QString &path)
{
    if (notification != UKFileWatcherDeleteNotification && notification != UKFileWatcherWriteNotification)
        return;
    if (m_compilerDelegate)
        m_compilerDelegate->lessFileDidChange(path);
    const QVariantMap settings = settingsFor(path);
    compileIfAutoCompiled(path, settings, QString());
    // Importers follow their own settings, whether or not the changed file compiles.
    const QVariant importers = settings.value(ZRMCompilingSettingsKey::LinkedFilesToCompile);
    for (const QString &importer : importers.toStringList())
        compileIfAutoCompiled(importer, settingsFor(importer), path);
}

void ZRMLessCompiler::compileIfAutoCompiled(const QString &path, const QVariantMap &settings,
                                            const QString &triggeringPath)
{
    if (!settings.value(ZRMCompilingSettingsKey::ShouldAutoCompile).toBool())
        return;
    beginCompilingFileAtPath({
        .input = path,
        .output = settings.value(ZRMCompilingSettingsKey::OutputPath).toString(),
        .compress = settings.value(ZRMCompilingSettingsKey::ShouldCompressOutput).toBool(),
        .triggeredBy = triggeringPath,
        .options = settings.value(ZRMCompilingSettingsKey::LessOptions).value<LessOptions>(),
        .lessPackage = settings.value(ZRMCompilingSettingsKey::LessPackage).toString(),
    });
}

QVariantMap ZRMLessCompiler::settingsFor(const QString &path) const
{
    return m_compilerDelegate ? m_compilerDelegate->compilingSettingsForLESSFileAtPath(path) : QVariantMap();
}
