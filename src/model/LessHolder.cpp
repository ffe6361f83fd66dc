#include "LessHolder.h"

#include <QDir>
#include <QFileInfo>

#include "TableViewCellKeys.h"
#include "support/PathUtils.h"

using namespace PathUtils;

namespace {

const QString CSSExtension = QStringLiteral("css");
const QString OutputPrefix = QStringLiteral("Output: ");
const QString ImportedByOne = QStringLiteral("Imported by %1");
const QString ImportedByMore = QStringLiteral("Imported by %1 and %2 more");

// The path without the watched folder in front; a path outside the folder
// stays whole.
QString removingFolderPrefix(const QString &path, const QString &folder)
{
    return isSameOrInside(path, folder) ? path.mid(folder.size()) : path;
}

// "a/b.less" -> "a/b.css"
QString withCSSExtension(const QString &path)
{
    return appendingPathExtension(deletingPathExtension(path), CSSExtension);
}

bool equalIgnoringCase(const QString &a, const QString &b)
{
    return a.compare(b, Qt::CaseInsensitive) == 0;
}

} // namespace

LessHolder::LessHolder(const QString &lessFilePath, const QString &watchedFolder,
                       bool compressCSSOutput)
    : m_memberOfWatchedFolder(watchedFolder),
      m_lessFileFullPath(expandTilde(lessFilePath)),
      m_lessFileTildePath(abbreviateWithTilde(m_lessFileFullPath)),
      m_lessFileAbbreviatedPath(removingFolderPrefix(m_lessFileFullPath, watchedFolder)),
      m_lessFilename(lastPathComponent(m_lessFileFullPath)),
      m_targetCSSFileFullPath(withCSSExtension(m_lessFileFullPath)),
      m_valuesForTableViewCell{{TableViewCellKeys::TitleString, m_lessFileAbbreviatedPath}},
      m_shouldCompressCSSOutput(compressCSSOutput)
{
    updateSubtitle();
}

void LessHolder::moveTo(const QString &path, const QString &watchedFolder)
{
    const bool targetFollows = equalIgnoringCase(m_targetCSSFileFullPath, withCSSExtension(m_lessFileFullPath));
    setMemberOfWatchedFolder(watchedFolder);
    setLessFileFullPath(path);
    setLessFileTildePath(abbreviateWithTilde(path));
    setLessFileAbbreviatedPath(removingFolderPrefix(path, watchedFolder));
    setLessFilename(lastPathComponent(path));
    m_valuesForTableViewCell.insert(TableViewCellKeys::TitleString, m_lessFileAbbreviatedPath);
    if (targetFollows)
        clearCSSFileOutputPath();
    else
        updateSubtitle();
}

void LessHolder::setCSSFileOutputFolder(const QString &folder)
{
    const QString expanded = expandTilde(folder);
    setTarget(appendingPathComponent(expanded, withCSSExtension(m_lessFilename)), expanded);
}

// A .css path names the CSS file; for any other, what is on disk decides
// whether it names a folder, never a dot in it. Loading a project thus looks
// at the disk only for targets written before folders were told apart.
void LessHolder::setCSSFileOutputPath(const QString &path)
{
    const QString expanded = expandTilde(path);
    if (pathExtension(expanded).compare(CSSExtension, Qt::CaseInsensitive) != 0 && QFileInfo(expanded).isDir())
        setCSSFileOutputFolder(expanded);
    else
        setTarget(expanded, expanded);
}

void LessHolder::setTarget(const QString &target, const QString &givenPath)
{
    setTargetCSSFileFullPath(target);
    setTargetCSSFileTildePath(abbreviateWithTilde(target));
    setTargetCSSFilename(lastPathComponent(target));
    const bool besideLessFile = equalIgnoringCase(deletingLastPathComponent(target),
                                                  deletingLastPathComponent(m_lessFileFullPath));
    setTargetCSSFileAbbreviatedPath(besideLessFile ? QString() : abbreviatedTargetFolder(givenPath));
    updateSubtitle();
}

// Worked out from the path as given rather than the target, so that a folder
// argument shows that folder; a file argument loses its file name.
QString LessHolder::abbreviatedTargetFolder(const QString &givenPath) const
{
    QString folder = givenPath.size() < m_memberOfWatchedFolder.size()
        ? m_targetCSSFileTildePath
        : removingFolderPrefix(givenPath, m_memberOfWatchedFolder);
    if (equalIgnoringCase(lastPathComponent(folder), m_targetCSSFilename))
        folder = deletingLastPathComponent(folder);
    return folder;
}

void LessHolder::clearCSSFileOutputPath()
{
    setTargetCSSFileFullPath(withCSSExtension(m_lessFileFullPath));
    setTargetCSSFileTildePath(QString());
    setTargetCSSFileAbbreviatedPath(QString());
    setTargetCSSFilename(QString());
    updateSubtitle();
}

// A partial's row names its importers; any other row says where its CSS goes.
void LessHolder::updateSubtitle()
{
    // Where the CSS goes: seen from the LESS file ("main.css", "../css/main.css")
    // when it stays in the watched folder, else in full.
    const bool inFolder = isSameOrInside(m_targetCSSFileFullPath, expandTilde(m_memberOfWatchedFolder));
    QString subtitle = OutputPrefix
                       + (inFolder ? QDir(deletingLastPathComponent(m_lessFileFullPath)).relativeFilePath(m_targetCSSFileFullPath)
                                   : abbreviateWithTilde(m_targetCSSFileFullPath));
    if (!m_linkedFilesToCompile.isEmpty()) {
        const QString first = lastPathComponent(m_linkedFilesToCompile.constFirst());
        const qsizetype more = m_linkedFilesToCompile.size() - 1;
        subtitle = more == 0 ? ImportedByOne.arg(first) : ImportedByMore.arg(first).arg(more);
    }
    m_valuesForTableViewCell.insert(TableViewCellKeys::SubtitleString, subtitle);
    Q_EMIT changed(Field::ValuesForTableViewCell);
}

void LessHolder::setMemberOfWatchedFolder(const QString &folder)
{
    m_memberOfWatchedFolder = folder;
    Q_EMIT changed(Field::MemberOfWatchedFolder);
}

void LessHolder::setLessFileFullPath(const QString &path)
{
    m_lessFileFullPath = path;
    Q_EMIT changed(Field::LessFileFullPath);
}

void LessHolder::setLessFileTildePath(const QString &path)
{
    m_lessFileTildePath = path;
    Q_EMIT changed(Field::LessFileTildePath);
}

void LessHolder::setLessFileAbbreviatedPath(const QString &path)
{
    m_lessFileAbbreviatedPath = path;
    Q_EMIT changed(Field::LessFileAbbreviatedPath);
}

void LessHolder::setLessFilename(const QString &filename)
{
    m_lessFilename = filename;
    Q_EMIT changed(Field::LessFilename);
}

void LessHolder::setTargetCSSFileFullPath(const QString &path)
{
    m_targetCSSFileFullPath = path;
    Q_EMIT changed(Field::TargetCSSFileFullPath);
}

void LessHolder::setTargetCSSFileTildePath(const QString &path)
{
    m_targetCSSFileTildePath = path;
    Q_EMIT changed(Field::TargetCSSFileTildePath);
}

void LessHolder::setTargetCSSFileAbbreviatedPath(const QString &path)
{
    m_targetCSSFileAbbreviatedPath = path;
    Q_EMIT changed(Field::TargetCSSFileAbbreviatedPath);
}

void LessHolder::setTargetCSSFilename(const QString &filename)
{
    m_targetCSSFilename = filename;
    Q_EMIT changed(Field::TargetCSSFilename);
}

void LessHolder::setLinkedFilesToCompile(const QStringList &importers)
{
    if (m_linkedFilesToCompile == importers)
        return;
    m_linkedFilesToCompile = importers;
    Q_EMIT changed(Field::LinkedFilesToCompile);
    updateSubtitle();
}

void LessHolder::setCheckboxState(bool checked)
{
    m_checkboxState = checked;
    Q_EMIT changed(Field::CheckboxState);
}

void LessHolder::setCheckboxChosenByUser(bool chosen)
{
    m_checkboxChosenByUser = chosen;
    Q_EMIT changed(Field::CheckboxChosenByUser);
}

void LessHolder::chooseCheckboxState(bool checked)
{
    setCheckboxChosenByUser(true);
    setCheckboxState(checked);
}

void LessHolder::setImportedFiles(const std::optional<QStringList> &files)
{
    if (m_importedFiles == files)
        return;
    m_importedFiles = files;
    Q_EMIT changed(Field::ImportedFiles);
}

void LessHolder::setValuesForTableViewCell(const QVariantMap &values)
{
    m_valuesForTableViewCell = values;
    Q_EMIT changed(Field::ValuesForTableViewCell);
}

void LessHolder::setShouldCompressCSSOutput(bool compress)
{
    m_shouldCompressCSSOutput = compress;
    Q_EMIT changed(Field::ShouldCompressCSSOutput);
}

void LessHolder::setLessOptions(const ::LessOptions &options)
{
    if (m_lessOptions == options)
        return;
    m_lessOptions = options;
    Q_EMIT changed(Field::LessOptions);
}
