#include "PathHolder.h"

#include "Rows.h"
#include "TableViewCellKeys.h"
#include "support/UserDefaults.h"
#include "support/UserDefaultsKeys.h"

#include <QSet>

PathHolder::PathHolder()
    : m_iconImage(FolderIconName),
      m_valuesForTableViewCell{{TableViewCellKeys::TitleString, QString()},
                               {TableViewCellKeys::SubtitleString, QStringLiteral("0")},
                               {TableViewCellKeys::IconImage, FolderIconName}}
{
}

void PathHolder::addLessFileAtPath(const QString &path)
{
    addLessFilesAtPaths({path});
}

void PathHolder::addLessFilesAtPaths(const QStringList &paths)
{
    if (paths.isEmpty())
        return;
    const bool compress = UserDefaults::standardUserDefaults()->boolForKey(
        UserDefaultsKeys::ShouldCompressCSSOutput);
    const int first = int(m_lessFiles.size());
    Q_EMIT lessFilesAboutToBeInserted(first, first + int(paths.size()) - 1);
    for (const QString &path : paths) {
        m_lessFiles.push_back(std::make_unique<LessHolder>(path, m_userSelectedFullPath, compress));
        applyDefaultsTo(m_lessFiles.back().get(), compress);
        relayChangesOf(m_lessFiles.back().get());
    }
    Q_EMIT lessFilesInserted(first, int(m_lessFiles.size()) - 1);
    updateCount();
    if (projectDiffersFromUser())
        Q_EMIT lessFilesTookProjectDefaults(paths);
}

void PathHolder::applyDefaultsTo(LessHolder *lessFile, bool userCompress) const
{
    resetCSSTarget(lessFile);
    if (!m_projectDefaults)
        return;
    lessFile->setShouldCompressCSSOutput(m_projectDefaults->compress.value_or(userCompress));
    lessFile->setLessOptions(m_projectDefaults->options);
    if (!m_projectDefaults->entryFiles.isEmpty()) {
        lessFile->setCheckboxState(m_projectDefaults->isEntryFile(lessFile->lessFileFullPath(), m_userSelectedFullPath));
        lessFile->setCheckboxChosenByUser(true);
    }
}

bool PathHolder::projectDiffersFromUser() const
{
    if (!m_projectDefaults)
        return false;
    const bool userCompress = UserDefaults::standardUserDefaults()->boolForKey(UserDefaultsKeys::ShouldCompressCSSOutput);
    const ::ProjectDefaults &project = *m_projectDefaults;
    return project.options != LessOptions() || project.compress.value_or(userCompress) != userCompress
        || !project.entryFiles.isEmpty() || (m_outputRule.isBesideFile() && !project.output.isBesideFile());
}

::OutputRule PathHolder::effectiveOutputRule() const
{
    if (!m_outputRule.isBesideFile() || !m_projectDefaults)
        return m_outputRule;
    return m_projectDefaults->output;
}

void PathHolder::resetCSSTarget(LessHolder *lessFile) const
{
    const QString target = effectiveOutputRule().targetFor(lessFile->lessFileFullPath(), m_userSelectedFullPath);
    if (target.isEmpty())
        lessFile->clearCSSFileOutputPath();
    else
        lessFile->setCSSFileOutputPath(target);
}

void PathHolder::applyOutputRuleToEveryFile()
{
    for (const auto &file : m_lessFiles)
        resetCSSTarget(file.get());
}

void PathHolder::setOutputRule(const ::OutputRule &rule)
{
    if (m_outputRule == rule)
        return;
    m_outputRule = rule;
    Q_EMIT changed(Field::OutputRule);
}

void PathHolder::setProjectDefaults(const std::optional<::ProjectDefaults> &defaults)
{
    if (m_projectDefaults == defaults)
        return;
    m_projectDefaults = defaults;
    Q_EMIT changed(Field::ProjectDefaults);
}

void PathHolder::removeLessFilesAtPaths(const QStringList &paths)
{
    if (paths.isEmpty())
        return;
    if (paths.size() == 1) {
        removeLessFileAtPath(paths.constFirst());
        return;
    }
    QSet<QString> gone;
    for (const QString &path : paths)
        gone.insert(path.toCaseFolded());
    Q_EMIT lessFilesAboutToBeReset();
    std::erase_if(m_lessFiles, [&](const auto &file) { return gone.contains(file->lessFileFullPath().toCaseFolded()); });
    Q_EMIT lessFilesReset();
    updateCount();
}

std::unique_ptr<LessHolder> PathHolder::takeLessFile(LessHolder *lessFile)
{
    const int row = firstRowWhere(m_lessFiles, [&](const auto &file) { return file.get() == lessFile; });
    if (row < 0)
        return nullptr;
    Q_EMIT lessFilesAboutToBeRemoved(row, row);
    std::unique_ptr<LessHolder> taken = std::move(m_lessFiles[size_t(row)]);
    m_lessFiles.erase(m_lessFiles.begin() + row);
    taken->disconnect(this);
    Q_EMIT lessFilesRemoved(row, row);
    updateCount();
    return taken;
}

void PathHolder::adoptLessFile(std::unique_ptr<LessHolder> lessFile)
{
    const int row = int(m_lessFiles.size());
    Q_EMIT lessFilesAboutToBeInserted(row, row);
    m_lessFiles.push_back(std::move(lessFile));
    relayChangesOf(m_lessFiles.back().get());
    Q_EMIT lessFilesInserted(row, row);
    updateCount();
}

void PathHolder::setMissing(bool missing)
{
    if (m_missing == missing)
        return;
    m_missing = missing;
    Q_EMIT changed(Field::Missing);
}

void PathHolder::removeLessFileAtPath(const QString &path)
{
    const int row = firstRowWhere(m_lessFiles, [&](const auto &file) {
        return file->lessFileFullPath().compare(path, Qt::CaseInsensitive) == 0;
    });
    if (row < 0)
        return;
    Q_EMIT lessFilesAboutToBeRemoved(row, row);
    m_lessFiles.erase(m_lessFiles.begin() + row);
    Q_EMIT lessFilesRemoved(row, row);
    updateCount();
}

void PathHolder::updateCount()
{
    setNumberOfLessFilesInPath(qint64(m_lessFiles.size()));
    setRowValue(TableViewCellKeys::SubtitleString, QString::number(m_numberOfLessFilesInPath));
}

void PathHolder::setRowValue(const QString &key, const QString &value)
{
    m_valuesForTableViewCell.insert(key, value);
    Q_EMIT changed(Field::ValuesForTableViewCell);
}

void PathHolder::relayChangesOf(LessHolder *lessFile)
{
    connect(lessFile, &LessHolder::changed, this, [this, lessFile](LessHolder::Field field) {
        Q_EMIT lessFileChanged(firstRowWhere(m_lessFiles, [&](const auto &file) { return file.get() == lessFile; }),
                               field);
    });
}

void PathHolder::setUserSelectedFullPath(const QString &path)
{
    m_userSelectedFullPath = path;
    Q_EMIT changed(Field::UserSelectedFullPath);
}

void PathHolder::setUserSelectedTildePath(const QString &path)
{
    m_userSelectedTildePath = path;
    Q_EMIT changed(Field::UserSelectedTildePath);
}

void PathHolder::setUserSelectedLastPathComponent(const QString &component)
{
    m_userSelectedLastPathComponent = component;
    Q_EMIT changed(Field::UserSelectedLastPathComponent);
    setRowValue(TableViewCellKeys::TitleString, component);
}

void PathHolder::setLessFiles(LessFiles lessFiles)
{
    Q_EMIT lessFilesAboutToBeReset();
    m_lessFiles = std::move(lessFiles);
    for (const auto &file : m_lessFiles)
        relayChangesOf(file.get());
    Q_EMIT lessFilesReset();
}

void PathHolder::setNumberOfLessFilesInPath(qint64 count)
{
    m_numberOfLessFilesInPath = count;
    Q_EMIT changed(Field::NumberOfLessFilesInPath);
}

void PathHolder::setIconImage(const QString &iconName)
{
    m_iconImage = iconName;
    Q_EMIT changed(Field::IconImage);
}

void PathHolder::setValuesForTableViewCell(const QVariantMap &values)
{
    m_valuesForTableViewCell = values;
    Q_EMIT changed(Field::ValuesForTableViewCell);
}
