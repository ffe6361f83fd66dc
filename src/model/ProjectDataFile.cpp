#include "ProjectDataFile.h"

#include "TableViewCellKeys.h"
#include "services/JSON/JsonDecimal.h"
#include "services/JSON/SBJsonParser.h"
#include "services/JSON/SBJsonWriter.h"
#include "support/BundleInfo.h"
#include "support/Logging.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QSet>
#include <QStandardPaths>
#include <QStringDecoder>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace {

const QString DataFolderName = QStringLiteral("Cascader app");
const QString DataFileName = QStringLiteral("lessDataFile.lessData");
const QString LockSuffix = QStringLiteral(".lock");

namespace Keys {
inline constexpr QLatin1StringView AppModelPathData{"appModelPathData"};
inline constexpr QLatin1StringView CreatorVersion{"creatorVersion"};
inline constexpr QLatin1StringView CreatorBuildNumber{"creatorBuildNumber"};
inline constexpr QLatin1StringView ClassName{"$class"};

inline constexpr QLatin1StringView UserSelectedFullPath{"userSelectedFullPath"};
inline constexpr QLatin1StringView UserSelectedTildePath{"userSelectedTildePath"};
inline constexpr QLatin1StringView UserSelectedLastPathComponent{"userSelectedLastPathComponent"};
inline constexpr QLatin1StringView LessFiles{"lessFiles"};
inline constexpr QLatin1StringView NumberOfLessFilesInPath{"numberOfLessFilesInPath"};
inline constexpr QLatin1StringView IconImage{"iconImage"};
inline constexpr QLatin1StringView ValuesForPathsTableViewCell{"valuesForPathsTableViewCell"};
inline constexpr QLatin1StringView OutputRule{"outputRule"};

inline constexpr QLatin1StringView MemberOfWatchedFolder{"memberOfWatchedFolder"};
inline constexpr QLatin1StringView LessFileFullPath{"lessFileFullPath"};
inline constexpr QLatin1StringView LessFileTildePath{"lessFileTildePath"};
inline constexpr QLatin1StringView LessFileAbbreviatedPath{"lessFileAbbreviatedPath"};
inline constexpr QLatin1StringView LessFilename{"lessFilename"};
inline constexpr QLatin1StringView TargetCSSFileFullPath{"targetCSSFileFullPath"};
inline constexpr QLatin1StringView TargetCSSFileTildePath{"targetCSSFileTildePath"};
inline constexpr QLatin1StringView TargetCSSFileAbbreviatedPath{"targetCSSFileAbbreviatedPath"};
inline constexpr QLatin1StringView TargetCSSFilename{"targetCSSFilename"};
inline constexpr QLatin1StringView CheckboxState{"checkboxState"};
inline constexpr QLatin1StringView ShouldCompressCSSOutput{"shouldCompressCSSOutput"};
inline constexpr QLatin1StringView CheckboxChosenByUser{"checkboxChosenByUser"};
inline constexpr QLatin1StringView ImportedFiles{"importedFiles"};
} // namespace Keys

inline constexpr QLatin1StringView PathHolderClass{"PathHolder"};
inline constexpr QLatin1StringView LessHolderClass{"LessHolder"};

using Outcome = ProjectDataFile::Outcome;
using LoadResult = ProjectDataFile::LoadResult;

bool holds(const QVariant &value, QMetaType type)
{
    return value.metaType() == type;
}

// Reads one stored object. A missing value (or null) gives the default; the
// first value of the wrong type is remembered as the reason the file is
// unreadable, and later reads give defaults.
class StoredObject
{
public:
    StoredObject(const QVariant &stored, const QString &name, QString *error)
        : m_object(stored.toMap()), m_name(name), m_error(error)
    {
        if (!holds(stored, QMetaType::fromType<QVariantMap>()))
            fail(QStringLiteral("%1 is not an object").arg(name));
    }

    bool isOfClass(QLatin1StringView className)
    {
        if (m_object.value(Keys::ClassName).toString() == className)
            return true;
        fail(QStringLiteral("%1 is not a %2 record").arg(m_name, className));
        return false;
    }

    bool contains(QLatin1StringView key) const { return present(key).isValid(); }
    QVariantMap values() const { return m_object; }
    // Keeps the first of the reasons a value cannot be used.
    void reject(const QString &reason) { fail(QStringLiteral("%1 in %2").arg(reason, m_name)); }

    QString string(QLatin1StringView key) { return checked<QString>(key, u"a string"); }
    QVariantList list(QLatin1StringView key) { return checked<QVariantList>(key, u"a list"); }
    QVariantMap objectOfStrings(QLatin1StringView key)
    {
        const QVariantMap values = checked<QVariantMap>(key, u"an object");
        const bool allStrings = std::all_of(values.cbegin(), values.cend(), [](const QVariant &value) {
            return holds(value, QMetaType::fromType<QString>());
        });
        if (!allStrings)
            failOn(key, u"an object of strings");
        return values;
    }
    std::optional<QStringList> strings(QLatin1StringView key)
    {
        if (!present(key).isValid())
            return std::nullopt;
        QStringList strings;
        for (const QVariant &value : list(key)) {
            if (!holds(value, QMetaType::fromType<QString>()))
                failOn(key, u"a list of strings");
            strings << value.toString();
        }
        return strings;
    }
    bool boolean(QLatin1StringView key, bool missing)
    {
        return contains(key) ? checked<bool>(key, u"true or false") : missing;
    }

    int integer(QLatin1StringView key, int missing)
    {
        const QVariant value = present(key);
        if (!value.isValid())
            return missing;
        bool ok = false;
        const int number = value.value<JsonDecimal>().toInt(&ok);
        if (!holds(value, QMetaType::fromType<JsonDecimal>()) || !ok)
            failOn(key, u"a 32-bit integer");
        return number;
    }

private:
    QVariant present(QLatin1StringView key) const
    {
        const QVariant value = m_object.value(key);
        return holds(value, QMetaType::fromType<std::nullptr_t>()) ? QVariant() : value;
    }

    template<typename T>
    T checked(QLatin1StringView key, QStringView expected)
    {
        const QVariant value = present(key);
        if (value.isValid() && !holds(value, QMetaType::fromType<T>()))
            failOn(key, expected);
        return value.value<T>();
    }

    void failOn(QLatin1StringView key, QStringView expected)
    {
        fail(QStringLiteral("\"%1\" of %2 is not %3").arg(key, m_name, expected));
    }

    void fail(const QString &reason)
    {
        if (m_error->isEmpty())
            *m_error = reason;
    }

    QVariantMap m_object;
    QString m_name;
    QString *m_error;
};

QVariantMap encodeLessHolder(const ProjectDataFile::FileRecord &file)
{
    QVariantMap record{
        {Keys::ClassName, LessHolderClass},
        {Keys::MemberOfWatchedFolder, file.memberOfWatchedFolder},
        {Keys::LessFileFullPath, file.lessFileFullPath},
        {Keys::LessFileTildePath, file.lessFileTildePath},
        {Keys::LessFileAbbreviatedPath, file.lessFileAbbreviatedPath},
        {Keys::LessFilename, file.lessFilename},
        {Keys::TargetCSSFileFullPath, file.targetCSSFileFullPath},
        {Keys::TargetCSSFileTildePath, file.targetCSSFileTildePath},
        {Keys::TargetCSSFileAbbreviatedPath, file.targetCSSFileAbbreviatedPath},
        {Keys::TargetCSSFilename, file.targetCSSFilename},
        {Keys::CheckboxState, file.checkboxState},
        {Keys::ShouldCompressCSSOutput, file.shouldCompressCSSOutput},
        {Keys::CheckboxChosenByUser, file.checkboxChosenByUser},
    };
    if (file.importedFiles)
        record.insert(Keys::ImportedFiles, *file.importedFiles);
    record.insert(file.lessOptions.toVariantMap());
    return record;
}

QVariantMap encodePathHolder(const ProjectDataFile::FolderRecord &folder)
{
    QVariantList lessFiles;
    lessFiles.reserve(folder.lessFiles.size());
    for (const ProjectDataFile::FileRecord &file : folder.lessFiles)
        lessFiles << encodeLessHolder(file);
    QVariantMap record{
        {Keys::ClassName, PathHolderClass},
        {Keys::UserSelectedFullPath, folder.userSelectedFullPath},
        {Keys::UserSelectedTildePath, folder.userSelectedTildePath},
        {Keys::UserSelectedLastPathComponent, folder.userSelectedLastPathComponent},
        {Keys::LessFiles, lessFiles},
        {Keys::NumberOfLessFilesInPath, int(folder.numberOfLessFilesInPath)},
        {Keys::IconImage, folder.iconImage},
        {Keys::ValuesForPathsTableViewCell, folder.valuesForTableViewCell},
    };
    if (!folder.outputRule.isBesideFile())
        record.insert(Keys::OutputRule, folder.outputRule.toVariantMap());
    return record;
}

ProjectDataFile::FileRecord recordOf(const LessHolder &file)
{
    return {file.memberOfWatchedFolder(),        file.lessFileFullPath(),
            file.lessFileTildePath(),            file.lessFileAbbreviatedPath(),
            file.lessFilename(),                 file.targetCSSFileFullPath(),
            file.targetCSSFileTildePath(),       file.targetCSSFileAbbreviatedPath(),
            file.targetCSSFilename(),            file.checkboxState(),
            file.shouldCompressCSSOutput(),      file.checkboxChosenByUser(),
            file.importedFiles(),                file.lessOptions()};
}

ProjectDataFile::FolderRecord recordOf(const PathHolder &folder)
{
    QList<ProjectDataFile::FileRecord> lessFiles;
    lessFiles.reserve(qsizetype(folder.lessFiles().size()));
    for (const auto &file : folder.lessFiles())
        lessFiles << recordOf(*file);
    return {folder.userSelectedFullPath(),
            folder.userSelectedTildePath(),
            folder.userSelectedLastPathComponent(),
            lessFiles,
            folder.numberOfLessFilesInPath(),
            folder.iconImage(),
            folder.valuesForTableViewCell(),
            folder.outputRule()};
}

// The stored target forms are not read: setting the target recomputes them.
std::unique_ptr<LessHolder> decodeLessHolder(const QVariant &stored, const QString &name,
                                             QString *error)
{
    StoredObject object(stored, name, error);
    if (!object.isOfClass(LessHolderClass))
        return nullptr;
    auto file = std::make_unique<LessHolder>();
    file->setMemberOfWatchedFolder(object.string(Keys::MemberOfWatchedFolder));
    file->setLessFileFullPath(object.string(Keys::LessFileFullPath));
    file->setLessFileTildePath(object.string(Keys::LessFileTildePath));
    file->setLessFileAbbreviatedPath(object.string(Keys::LessFileAbbreviatedPath));
    file->setLessFilename(object.string(Keys::LessFilename));
    file->setValuesForTableViewCell({{TableViewCellKeys::TitleString, file->lessFileAbbreviatedPath()},
                                     {TableViewCellKeys::SubtitleString, QString()}});
    file->setCheckboxState(object.boolean(Keys::CheckboxState, true));
    file->setShouldCompressCSSOutput(object.boolean(Keys::ShouldCompressCSSOutput, false));
    // Check marks from before partials were told apart are the user's.
    file->setCheckboxChosenByUser(object.boolean(Keys::CheckboxChosenByUser, true));
    file->setImportedFiles(object.strings(Keys::ImportedFiles));
    QString optionsError;
    file->setLessOptions(LessOptions::fromVariantMap(object.values(), &optionsError));
    if (!optionsError.isEmpty())
        object.reject(optionsError);
    const QString target = object.string(Keys::TargetCSSFileFullPath);
    if (target.isEmpty())
        file->clearCSSFileOutputPath();
    else
        file->setCSSFileOutputPath(target);
    return error->isEmpty() ? std::move(file) : nullptr;
}

std::unique_ptr<PathHolder> decodePathHolder(const QVariant &stored, const QString &name,
                                             QString *error)
{
    StoredObject object(stored, name, error);
    if (!object.isOfClass(PathHolderClass))
        return nullptr;
    auto folder = std::make_unique<PathHolder>();
    folder->setUserSelectedFullPath(object.string(Keys::UserSelectedFullPath));
    folder->setUserSelectedTildePath(object.string(Keys::UserSelectedTildePath));
    folder->setUserSelectedLastPathComponent(object.string(Keys::UserSelectedLastPathComponent));
    // Set after the last component, so that the stored title wins.
    folder->setValuesForTableViewCell(object.objectOfStrings(Keys::ValuesForPathsTableViewCell));
    folder->setNumberOfLessFilesInPath(object.integer(Keys::NumberOfLessFilesInPath, 0));
    if (object.contains(Keys::IconImage))
        folder->setIconImage(object.string(Keys::IconImage));
    QString ruleError;
    folder->setOutputRule(OutputRule::fromVariantMap(object.values().value(Keys::OutputRule).toMap(), &ruleError));
    if (!ruleError.isEmpty())
        object.reject(ruleError);

    PathHolder::LessFiles lessFiles;
    const QVariantList storedFiles = object.list(Keys::LessFiles);
    lessFiles.reserve(size_t(storedFiles.size()));
    for (qsizetype index = 0; index < storedFiles.size() && error->isEmpty(); ++index) {
        const QString fileName = QStringLiteral("file %1 of %2").arg(index + 1).arg(name);
        lessFiles.push_back(decodeLessHolder(storedFiles.at(index), fileName, error));
    }
    if (!error->isEmpty())
        return nullptr;
    folder->setLessFiles(std::move(lessFiles));
    return folder;
}

LoadResult unreadable(const QString &reason)
{
    return {Outcome::Unreadable, {}, reason};
}

LoadResult decodeRoot(const QVariant &root)
{
    QString error;
    StoredObject object(root, QStringLiteral("the root"), &error);
    if (!error.isEmpty())
        return unreadable(error);
    if (!object.contains(Keys::CreatorBuildNumber))
        return {Outcome::Ignored, {}, QStringLiteral("it has no build number")};
    const int buildNumber = object.integer(Keys::CreatorBuildNumber, 0);
    if (!error.isEmpty())
        return unreadable(error);
    if (buildNumber < ProjectDataFile::MinimumBuildNumber)
        return {Outcome::Ignored, {},
                QStringLiteral("it was written by build %1, before build %2")
                    .arg(buildNumber)
                    .arg(ProjectDataFile::MinimumBuildNumber)};

    LessModel::PathData pathData;
    const QVariantList storedFolders = object.list(Keys::AppModelPathData);
    for (qsizetype index = 0; index < storedFolders.size() && error.isEmpty(); ++index) {
        const QString name = QStringLiteral("folder %1").arg(index + 1);
        pathData.push_back(decodePathHolder(storedFolders.at(index), name, &error));
    }
    if (!error.isEmpty())
        return unreadable(error);
    return {Outcome::Loaded, std::move(pathData), QString()};
}

LoadResult readProject(const QByteArray &contents)
{
    // Stateless, so that a sequence cut off at the end counts as an error too.
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = utf8.decode(contents);
    if (utf8.hasError())
        return unreadable(QStringLiteral("it is not UTF-8 text"));
    SBJsonParser parser;
    const QVariant root = parser.objectWithString(text);
    if (!root.isValid())
        return unreadable(QStringLiteral("it is not valid JSON: %1")
                              .arg(parser.errorTrace().value(parser.errorTrace().size() - 1)
                                       .localizedDescription()));
    return decodeRoot(root);
}

// The whole file or, on failure, the previous one untouched. The reason of a
// failure, or nothing.
QString replaceFile(const QString &path, const QByteArray &contents)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return file.errorString();
    // A short write (a full disk, a size limit) reports no error by itself.
    const qint64 written = file.write(contents);
    if (written != contents.size())
        return QStringLiteral("only %1 of %2 bytes could be written").arg(written).arg(contents.size());
    return file.commit() ? QString() : file.errorString();
}

// Held while the file is read and replaced: an advisory lock on a file
// beside it, since the data file itself is replaced by each write.
class DataFileLock
{
public:
    explicit DataFileLock(const QString &dataFile)
        : m_descriptor(::open(QFile::encodeName(dataFile + LockSuffix).constData(), O_RDWR | O_CREAT | O_CLOEXEC,
                              0600))
    {
        if (m_descriptor < 0 || ::flock(m_descriptor, LOCK_EX) != 0)
            qCWarning(lcModel, "Could not lock %s: %s; writing without the lock.",
                      qUtf8Printable(dataFile + LockSuffix), std::strerror(errno));
    }
    ~DataFileLock()
    {
        if (m_descriptor >= 0)
            ::close(m_descriptor);
    }
    DataFileLock(const DataFileLock &) = delete;
    DataFileLock &operator=(const DataFileLock &) = delete;

private:
    int m_descriptor;
};

QSet<QString> pathsOf(const ProjectDataFile::Snapshot &folders)
{
    QSet<QString> paths;
    for (const ProjectDataFile::FolderRecord &folder : folders)
        paths.insert(folder.userSelectedFullPath);
    return paths;
}

ProjectDataFile::Snapshot foldersNotIn(const ProjectDataFile::Snapshot &folders, const QSet<QString> &paths)
{
    ProjectDataFile::Snapshot kept;
    for (const ProjectDataFile::FolderRecord &folder : folders) {
        if (!paths.contains(folder.userSelectedFullPath))
            kept << folder;
    }
    return kept;
}

} // namespace

QString ProjectDataFile::pathForDataFile()
{
    const QString folder = QDir(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation))
                               .filePath(DataFolderName);
    QDir().mkpath(folder);
    return QDir(folder).filePath(DataFileName);
}

ProjectDataFile::ProjectDataFile(const QString &filePath) : m_filePath(filePath) {}

ProjectDataFile::Snapshot ProjectDataFile::snapshotOf(const LessModel::PathData &pathData)
{
    Snapshot snapshot;
    snapshot.reserve(qsizetype(pathData.size()));
    for (const auto &folder : pathData)
        snapshot << recordOf(*folder);
    return snapshot;
}

bool ProjectDataFile::saveDataToDisk(const LessModel::PathData &pathData) const
{
    return saveSnapshot(snapshotOf(pathData));
}

bool ProjectDataFile::saveSnapshot(const Snapshot &snapshot) const
{
    const DataFileLock lock(m_filePath);
    return writeSnapshot(snapshot);
}

bool ProjectDataFile::saveOwnFolders(const Snapshot &folders, const QStringList &removedFolders) const
{
    return saveMerged([&](const Snapshot &onDisk) {
        const QSet<QString> kept = pathsOf(folders) + QSet<QString>(removedFolders.cbegin(), removedFolders.cend());
        return folders + foldersNotIn(onDisk, kept);
    });
}

bool ProjectDataFile::addFolders(const Snapshot &folders) const
{
    return saveMerged([&](const Snapshot &onDisk) { return onDisk + foldersNotIn(folders, pathsOf(onDisk)); });
}

bool ProjectDataFile::saveMerged(const std::function<Snapshot(const Snapshot &onDisk)> &merge) const
{
    const DataFileLock lock(m_filePath);
    const LoadResult onDisk = loadDataFromDisk();
    return writeSnapshot(merge(snapshotOf(onDisk.pathData)));
}

bool ProjectDataFile::writeSnapshot(const Snapshot &snapshot) const
{
    QVariantList folders;
    folders.reserve(snapshot.size());
    for (const FolderRecord &folder : snapshot)
        folders << encodePathHolder(folder);
    const QVariantMap root{
        {Keys::AppModelPathData, folders},
        {Keys::CreatorVersion, BundleInfo::value(BundleInfo::CFBundleVersion)},
        {Keys::CreatorBuildNumber, BundleInfo::value(BundleInfo::ZRMBuildNumber).toInt()},
    };

    SBJsonWriter writer;
    writer.setHumanReadable(true);
    const std::optional<QString> json = writer.stringWithObject(root);
    const QString error = json ? replaceFile(m_filePath, json->toUtf8())
                               : SBJsonError::describeTrace(writer.errorTrace());
    if (!error.isEmpty()) {
        qCWarning(lcModel, "Could not save the project to %s: %s", qUtf8Printable(m_filePath),
                  qUtf8Printable(error));
        return false;
    }
    return true;
}

ProjectDataFile::LoadResult ProjectDataFile::loadDataFromDisk() const
{
    QFile file(m_filePath);
    if (!file.exists())
        return {};
    LoadResult result = file.open(QIODevice::ReadOnly)
        ? readProject(file.readAll())
        : unreadable(QStringLiteral("it cannot be opened: %1").arg(file.errorString()));
    if (result.outcome == Outcome::Unreadable) {
        const QString copy = copyAside();
        const QString kept = copy.isEmpty() ? QStringLiteral("could not be copied aside")
                                            : QStringLiteral("was kept as %1").arg(copy);
        qCWarning(lcModel, "Could not read the project data file %s (%s). The project starts "
                           "empty; the file %s.",
                  qUtf8Printable(m_filePath), qUtf8Printable(result.reason), qUtf8Printable(kept));
    }
    return result;
}

// Next to the file, under its name and the time, without replacing an
// earlier copy.
QString ProjectDataFile::copyAside() const
{
    const QString stamped =
        m_filePath + u'.'
        + QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd'T'HH-mm-ss"));
    QString copy = stamped;
    for (int attempt = 2; QFileInfo::exists(copy); ++attempt)
        copy = stamped + u'-' + QString::number(attempt);
    return QFile::copy(m_filePath, copy) ? copy : QString();
}
