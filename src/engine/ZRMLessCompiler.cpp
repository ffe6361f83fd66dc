#include "ZRMLessCompiler.h"

#include "UKKQueue.h"
#include "ZRMLessCompilerDelegate.h"
#include "support/Logging.h"
#include "support/NotificationCenter.h"
#include "support/PathUtils.h"
#include "support/Resources.h"
#include "support/StyledText.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QProcess>

#include <cstring>
#include <initializer_list>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace ZRMLessCompilerKey;

namespace {

const QString EnginesFolder = QStringLiteral("engines/bin");
const QString NodeResource = QStringLiteral("node");
const QString CompilerResource = QStringLiteral("lessc");
const QString CompressOption = QStringLiteral("--yui-compress");
const QString NoColorOption = QStringLiteral("--no-color");
const QString SuccessMessage = QStringLiteral("Success!");
const QString OutputFolderMissingMessage = QStringLiteral(
    "The output path you selected for this file no longer exists. Choose a new path or refresh the "
    "watched files list.");
const QString WatchingMessage = QStringLiteral("Watching for changes.");
const QString StoppedWatchingMessage = QStringLiteral("Stopped watching for changes.");

constexpr char LessExtension[] = ".less";
constexpr size_t LessExtensionLength = sizeof LessExtension - 1;

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

// A name of just ".less" is a hidden file without an extension.
bool hasLessExtension(const char *name)
{
    const size_t length = std::strlen(name);
    return length > LessExtensionLength
           && strncasecmp(name + length - LessExtensionLength, LessExtension, LessExtensionLength) == 0;
}

bool isDotOrDotDot(const char *name)
{
    return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

// Symbolic links are never followed into.
bool isFolder(int folderFD, const dirent &entry)
{
    if (entry.d_type != DT_UNKNOWN)
        return entry.d_type == DT_DIR;
    struct stat status;
    return fstatat(folderFD, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode);
}

QByteArray joined(const QByteArray &folder, const char *name)
{
    return folder.endsWith('/') ? folder + name : folder + '/' + name;
}

// A path that does not come back from a QString unchanged names no file once
// decoded; it is set aside for the caller to report.
void addLessFile(const QByteArray &path, QStringList &files, QList<QByteArray> &undecodablePaths)
{
    const QString decoded = QFile::decodeName(path);
    if (QFile::encodeName(decoded) == path)
        files.append(decoded);
    else
        undecodablePaths.append(path);
}

// Depth first: each entry comes before what lies beneath it. Takes over
// folderFD. Paths stay as the file system has them until a file is found.
void collectLessFiles(int folderFD, const QByteArray &folderPath, bool isTopFolder, QStringList &files,
                      QList<QByteArray> &undecodablePaths)
{
    DIR *folder = fdopendir(folderFD);
    if (!folder) {
        close(folderFD);
        return;
    }
    while (const dirent *entry = readdir(folder)) {
        const char *name = entry->d_name;
        // Every path beneath a hidden entry of the top folder starts with a dot too.
        if (isDotOrDotDot(name) || (isTopFolder && name[0] == '.'))
            continue;
        if (hasLessExtension(name))
            addLessFile(joined(folderPath, name), files, undecodablePaths);
        if (!isFolder(dirfd(folder), *entry))
            continue;
        const int childFD = openat(dirfd(folder), name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (childFD >= 0)
            collectLessFiles(childFD, joined(folderPath, name), false, files, undecodablePaths);
    }
    closedir(folder);
}

} // namespace

ZRMLessCompiler *ZRMLessCompiler::sharedLessCompiler()
{
    static auto *shared = new ZRMLessCompiler;
    return shared;
}

ZRMLessCompiler::ZRMLessCompiler()
    : m_notificationCenter(NotificationCenter::defaultCenter())
    , m_kQueue(UKKQueue::sharedFileWatcher())
{
    m_kQueue->setAlwaysNotify(false);
    m_kQueue->setDelegate(this);
    findCompiler();
}

void ZRMLessCompiler::findCompiler()
{
    m_pathToNodeJS = executableResource(NodeResource);
    m_pathToCompiler = executableResource(CompilerResource);
    if (m_pathToNodeJS.isEmpty() || m_pathToCompiler.isEmpty())
        m_notificationCenter->post(ZRMLCFailedToFindCompilerEngineNotification, this);
}

void ZRMLessCompiler::compileFileAtPath(const QString &path, const QString &toPath, bool compress)
{
    beginCompilingFileAtPath(path, toPath, QString(), compress);
}

void ZRMLessCompiler::beginCompilingFileAtPath(const QString &path, const QString &toPath,
                                               const QString &linkedToPath, bool compress)
{
    if (m_pathToNodeJS.isEmpty() || m_pathToCompiler.isEmpty()) {
        m_notificationCenter->post(ZRMLCFailedToFindCompilerEngineNotification, this);
        return;
    }
    m_notificationCenter->post(ZRMLCStartedCompilingAFileNotification, this,
                               {{File, path}, {Time, QDateTime::currentDateTime()}});

    const QString label = linkedToPath.isEmpty() ? QString()
                                                 : QStringLiteral("[Triggered by: %1]")
                                                       .arg(PathUtils::lastPathComponent(linkedToPath));
    const QVariantMap request = mapOfValuesUpToFirstMissing({
        {FileToCompile, path},
        {OutputPath, toPath.isNull() ? QVariant() : QVariant(toPath)},
        {CompressCSSOutput, compress},
        {LinkedToFile, label},
    });
    m_operationQueue.start([this, request, nodeJS = m_pathToNodeJS, compiler = m_pathToCompiler] {
        asynchronouslyCompileFileWithParameters(request, nodeJS, compiler);
    });
}

void ZRMLessCompiler::asynchronouslyCompileFileWithParameters(const QVariantMap &parameters,
                                                              const QString &nodeJS, const QString &compiler)
{
    const QString inputPath = parameters.value(FileToCompile).toString();
    const QString outputPath = parameters.value(OutputPath).toString();
    QStringList arguments{compiler, inputPath, outputPath};
    if (parameters.value(CompressCSSOutput).toBool())
        arguments.append(CompressOption);
    arguments.append(NoColorOption);

    QVariantMap result = mapOfValuesUpToFirstMissing({
        {Time, QDateTime::currentDateTime()},
        {File, parameters.value(FileToCompile)},
        {LinkedToFile, parameters.value(LinkedToFile)},
        {Result, QString()},
        {Successful, QVariant::fromValue(nullptr)},
    });
    bool successful = false;
    if (QFileInfo::exists(PathUtils::deletingLastPathComponent(outputPath)))
        result.insert(Result, runCompiler(nodeJS, arguments, &successful));
    else
        result.insert(Result, OutputFolderMissingMessage);
    result.insert(Successful, successful);

    QMetaObject::invokeMethod(this, [this, result] { didFinishCompilingFileWithResult(result); },
                              Qt::QueuedConnection);
}

// The compiler writes the CSS file itself; its standard output goes where ours goes.
QString ZRMLessCompiler::runCompiler(const QString &nodeJS, const QStringList &arguments, bool *successful)
{
    QProcess process;
    process.setInputChannelMode(QProcess::ForwardedInputChannel);
    process.setProcessChannelMode(QProcess::ForwardedOutputChannel);
    process.start(nodeJS, arguments);
    if (!process.waitForStarted(-1))
        return QStringLiteral("Could not start the LESS compiler (%1): %2")
            .arg(nodeJS, process.errorString());
    process.waitForFinished(-1);
    *successful = process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
    return *successful ? SuccessMessage : QString::fromUtf8(process.readAllStandardError()).trimmed();
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
    QStringList files;
    QList<QByteArray> undecodable;
    const QByteArray encodedFolder = QFile::encodeName(folder);
    const int folderFD = open(encodedFolder.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folderFD >= 0)
        collectLessFiles(folderFD, encodedFolder, true, files, undecodable);
    if (undecodablePaths)
        *undecodablePaths = undecodable;
    return files;
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
    m_kQueue->addPath(path);
    m_notificationCenter->post(ZRMLCBeganWatchingNewFileNotification, this,
                               watchListPayload(path, WatchingMessage));
}

void ZRMLessCompiler::stopWatchingLessFileAtPath(const QString &path)
{
    if (!m_watchedLessFiles.removeOne(path))
        return;
    m_kQueue->removePath(path);
    m_notificationCenter->post(ZRMLCStoppedWatchingFileNotification, this,
                               watchListPayload(path, StoppedWatchingMessage));
}

void ZRMLessCompiler::addPath(const QString &path)
{
    m_kQueue->addPath(path);
}

void ZRMLessCompiler::removePath(const QString &path)
{
    m_kQueue->removePath(path);
}

UKFileWatcherDelegate *ZRMLessCompiler::delegate() const
{
    return const_cast<ZRMLessCompiler *>(this);
}

void ZRMLessCompiler::setDelegate(UKFileWatcherDelegate *delegate)
{
    m_kQueue->setDelegate(delegate);
}

void ZRMLessCompiler::watcher(UKFileWatcher *, const QString &notification, const QString &path)
{
    if (notification != UKFileWatcherDeleteNotification && notification != UKFileWatcherWriteNotification)
        return;
    const QVariantMap settings = settingsFor(path);
    compileIfAutoCompiled(path, settings, QString());
    // Importers follow their own settings, whether or not the changed file compiles.
    const QVariant importers = settings.value(ZRMCompilingSettingsKey::LinkedFilesToCompile);
    for (const QString &importer : importers.toStringList())
        compileIfAutoCompiled(importer, settingsFor(importer), path);
    renewWatch(path);
}

void ZRMLessCompiler::compileIfAutoCompiled(const QString &path, const QVariantMap &settings,
                                            const QString &triggeringPath)
{
    if (!settings.value(ZRMCompilingSettingsKey::ShouldAutoCompile).toBool())
        return;
    const QString outputPath = settings.value(ZRMCompilingSettingsKey::OutputPath).toString();
    const bool compress = settings.value(ZRMCompilingSettingsKey::ShouldCompressOutput).toBool();
    beginCompilingFileAtPath(path, outputPath, triggeringPath, compress);
}

// A file replaced by a safe save is watched again; one that is gone for the
// moment is watched for until it returns. A path whose watching was stopped
// while this event was on its way stays unwatched.
void ZRMLessCompiler::renewWatch(const QString &path)
{
    if (!m_watchedLessFiles.contains(path))
        return;
    m_kQueue->removePath(path);
    m_kQueue->addPathAwaitingReturn(path);
}

QVariantMap ZRMLessCompiler::settingsFor(const QString &path) const
{
    return m_compilerDelegate ? m_compilerDelegate->compilingSettingsForLESSFileAtPath(path) : QVariantMap();
}
