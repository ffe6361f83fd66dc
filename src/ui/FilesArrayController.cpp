#include "FilesArrayController.h"

#include <algorithm>

#include "ItemRoles.h"
#include "PathsArrayController.h"
#include "model/LessModel.h"
#include "model/Rows.h"
#include "model/TableViewCellKeys.h"

#include <QItemSelectionModel>


namespace {

QList<int> rolesShowing(LessHolder::Field field)
{
    switch (field) {
    case LessHolder::Field::CheckboxState:
        return {Qt::CheckStateRole, Qt::AccessibleTextRole};
    case LessHolder::Field::ValuesForTableViewCell:
        return {Qt::DisplayRole, Qt::AccessibleTextRole, ItemRoles::SubtitleRole, ItemRoles::RowValuesRole};
    case LessHolder::Field::LessFileFullPath:
        return {Qt::ToolTipRole};
    default:
        return {};
    }
}

// What a screen reader says for a row: "/less/main.less, output beside the file, checked".
QString accessibleText(const LessHolder *file)
{
    const QString output = file->targetCSSFileAbbreviatedPath().isEmpty()
        ? FilesArrayController::tr("output beside the file")
        : FilesArrayController::tr("output to %1").arg(file->targetCSSFileAbbreviatedPath());
    const QString check = file->checkboxState() ? FilesArrayController::tr("checked")
                                                : FilesArrayController::tr("unchecked");
    return QStringLiteral("%1, %2, %3").arg(file->valuesForTableViewCell().value(TableViewCellKeys::TitleString).toString(),
                                            output, check);
}

} // namespace

FilesArrayController::FilesArrayController(LessModel *model, PathsArrayController *pathsController,
                                           QObject *parent)
    : SelectableListModel(parent), m_model(model), m_pathsController(pathsController)
{
    // Connected after the folder list, which therefore updates its rows and
    // selection before this list follows.
    followModel();
    connect(m_pathsController->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &FilesArrayController::followFolderSelection);
}

void FilesArrayController::followModel()
{
    connect(m_model, &LessModel::pathsAboutToBeRemoved, this,
            &FilesArrayController::removeBlocksOfRows);
    connect(m_model, &LessModel::pathsAboutToBeReset, this, [this] { beginResetModel(); });
    connect(m_model, &LessModel::pathsReset, this, &FilesArrayController::resetBlocks);
    connect(m_model, &LessModel::lessFilesAboutToBeInserted, this,
            &FilesArrayController::beginInsertingFiles);
    connect(m_model, &LessModel::lessFilesInserted, this, &FilesArrayController::endInsertingFiles);
    connect(m_model, &LessModel::lessFilesAboutToBeRemoved, this,
            &FilesArrayController::beginRemovingFiles);
    connect(m_model, &LessModel::lessFilesRemoved, this, &FilesArrayController::endRemovingFiles);
    connect(m_model, &LessModel::lessFilesAboutToBeReset, this,
            &FilesArrayController::removeFilesBeforeReset);
    connect(m_model, &LessModel::lessFilesReset, this, &FilesArrayController::insertFilesAfterReset);
    connect(m_model, &LessModel::lessFileChanged, this, &FilesArrayController::announceFileChanged);
}

// Both lists are in folder row order, so after the deselected blocks are gone
// the remaining ones are a subsequence of the selection and a merge places the
// new ones.
void FilesArrayController::followFolderSelection()
{
    const QList<PathHolder *> selected = m_pathsController->selectedObjects();
    for (qsizetype blockIndex = m_blocks.size() - 1; blockIndex >= 0; --blockIndex) {
        if (!selected.contains(m_blocks.at(blockIndex).folder))
            removeBlock(blockIndex);
    }
    for (qsizetype position = 0; position < selected.size(); ++position) {
        if (position == m_blocks.size() || m_blocks.at(position).folder != selected.at(position))
            insertBlock(position, selected.at(position));
    }
}

void FilesArrayController::removeBlock(qsizetype blockIndex)
{
    const int first = firstRowOfBlock(blockIndex);
    const int count = m_blocks.at(blockIndex).count;
    if (count == 0) {
        m_blocks.removeAt(blockIndex);
        return;
    }
    beginRemoveRows({}, first, first + count - 1);
    m_blocks.removeAt(blockIndex);
    endRemoveRows();
}

void FilesArrayController::insertBlock(qsizetype blockIndex, const PathHolder *folder)
{
    const int count = int(folder->lessFiles().size());
    if (count == 0) {
        m_blocks.insert(blockIndex, {folder, 0});
        return;
    }
    const int first = firstRowOfBlock(blockIndex);
    beginInsertRows({}, first, first + count - 1);
    m_blocks.insert(blockIndex, {folder, count});
    endInsertRows();
}

void FilesArrayController::removeBlocksOfRows(int firstPathRow, int lastPathRow)
{
    for (int pathRow = lastPathRow; pathRow >= firstPathRow; --pathRow) {
        const qsizetype blockIndex = blockOfPathRow(pathRow);
        if (blockIndex >= 0)
            removeBlock(blockIndex);
    }
}

// The folder selection was cleared with the folder list, without a signal.
void FilesArrayController::resetBlocks()
{
    m_blocks.clear();
    endResetModel();
}

qsizetype FilesArrayController::blockOfPathRow(int pathRow) const
{
    if (pathRow < 0 || pathRow >= m_model->numberOfPathsInModel())
        return -1;
    const PathHolder *folder = m_model->pathData().at(pathRow).get();
    return firstRowWhere(m_blocks, [folder](const Block &block) { return block.folder == folder; });
}

int FilesArrayController::firstRowOfBlock(qsizetype blockIndex) const
{
    int first = 0;
    for (qsizetype index = 0; index < blockIndex; ++index)
        first += m_blocks.at(index).count;
    return first;
}

void FilesArrayController::beginInsertingFiles(int pathRow, int first, int last)
{
    const qsizetype blockIndex = blockOfPathRow(pathRow);
    if (blockIndex < 0)
        return;
    const int offset = firstRowOfBlock(blockIndex);
    beginInsertRows({}, offset + first, offset + last);
}

void FilesArrayController::endInsertingFiles(int pathRow, int first, int last)
{
    const qsizetype blockIndex = blockOfPathRow(pathRow);
    if (blockIndex < 0)
        return;
    m_blocks[blockIndex].count += last - first + 1;
    endInsertRows();
}

void FilesArrayController::beginRemovingFiles(int pathRow, int first, int last)
{
    const qsizetype blockIndex = blockOfPathRow(pathRow);
    if (blockIndex < 0)
        return;
    const int offset = firstRowOfBlock(blockIndex);
    beginRemoveRows({}, offset + first, offset + last);
}

void FilesArrayController::endRemovingFiles(int pathRow, int first, int last)
{
    const qsizetype blockIndex = blockOfPathRow(pathRow);
    if (blockIndex < 0)
        return;
    m_blocks[blockIndex].count -= last - first + 1;
    endRemoveRows();
}

// A folder's file list replaced as a whole leaves and re-enters as a block,
// so that the rows of the other folders keep their selection.
void FilesArrayController::removeFilesBeforeReset(int pathRow)
{
    const qsizetype blockIndex = blockOfPathRow(pathRow);
    if (blockIndex < 0 || m_blocks.at(blockIndex).count == 0)
        return;
    const int first = firstRowOfBlock(blockIndex);
    beginRemoveRows({}, first, first + m_blocks.at(blockIndex).count - 1);
    m_blocks[blockIndex].count = 0;
    endRemoveRows();
}

void FilesArrayController::insertFilesAfterReset(int pathRow)
{
    const qsizetype blockIndex = blockOfPathRow(pathRow);
    if (blockIndex < 0)
        return;
    const PathHolder *folder = m_blocks.at(blockIndex).folder;
    m_blocks.removeAt(blockIndex);
    insertBlock(blockIndex, folder);
}

void FilesArrayController::announceFileChanged(int pathRow, int fileRow, LessHolder::Field field)
{
    const QList<int> roles = rolesShowing(field);
    const qsizetype blockIndex = blockOfPathRow(pathRow);
    if (roles.isEmpty() || blockIndex < 0 || fileRow >= m_blocks.at(blockIndex).count)
        return;
    const QModelIndex changed = index(firstRowOfBlock(blockIndex) + fileRow);
    Q_EMIT dataChanged(changed, changed, roles);
}

LessHolder *FilesArrayController::lessFileAtRow(int row) const
{
    for (const Block &block : m_blocks) {
        if (row < block.count)
            return block.folder->lessFiles().at(row).get();
        row -= block.count;
    }
    return nullptr;
}

QString FilesArrayController::fullPathOfRow(int row) const
{
    return lessFileAtRow(row)->lessFileFullPath();
}

QList<LessHolder *> FilesArrayController::selectedObjects() const
{
    QList<LessHolder *> files;
    for (int row : selectedRows())
        files << lessFileAtRow(row);
    return files;
}

void FilesArrayController::setCSSFileOutputPathOnSelectedLESSFiles(const QString &folder)
{
    for (LessHolder *file : selectedObjects())
        file->setCSSFileOutputFolder(folder);
}

// Back to what the folder's output rule gives, or beside the file.
void FilesArrayController::clearCSSFileOutputPathOnSelectedLESSFiles()
{
    for (LessHolder *file : selectedObjects()) {
        if (const PathHolder *folder = m_model->watchedFolderOf(file))
            folder->resetCSSTarget(file);
        else
            file->clearCSSFileOutputPath();
    }
}

void FilesArrayController::setCompressionOnSelectedLESSFiles(bool compress)
{
    for (LessHolder *file : selectedObjects())
        file->setShouldCompressCSSOutput(compress);
}

bool FilesArrayController::selectedLESSFilesAreCompressed() const
{
    const QList<LessHolder *> files = selectedObjects();
    return !files.isEmpty()
           && std::all_of(files.cbegin(), files.cend(), [](const LessHolder *file) { return file->shouldCompressCSSOutput(); });
}

QString FilesArrayController::pathForFirstSelectedLESSFile() const
{
    const QList<LessHolder *> files = selectedObjects();
    return files.isEmpty() ? QString() : files.constFirst()->lessFileFullPath();
}

int FilesArrayController::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : firstRowOfBlock(m_blocks.size());
}

QVariant FilesArrayController::data(const QModelIndex &index, int role) const
{
    if (!isRow(index))
        return {};
    const LessHolder *file = lessFileAtRow(index.row());
    const QVariantMap values = file->valuesForTableViewCell();
    switch (role) {
    case Qt::DisplayRole:
        return values.value(TableViewCellKeys::TitleString);
    case Qt::CheckStateRole:
        return file->checkboxState() ? Qt::Checked : Qt::Unchecked;
    case Qt::ToolTipRole:
        return file->lessFileFullPath();
    case Qt::AccessibleTextRole:
        return accessibleText(file);
    case ItemRoles::SubtitleRole:
        return values.value(TableViewCellKeys::SubtitleString);
    case ItemRoles::RowValuesRole:
        return values;
    default:
        return {};
    }
}

bool FilesArrayController::setData(const QModelIndex &index, const QVariant &value, int role)
{
    if (!isRow(index) || role != Qt::CheckStateRole)
        return false;
    // The record announces the change, which comes back here as dataChanged.
    lessFileAtRow(index.row())->chooseCheckboxState(value.toInt() == Qt::Checked);
    return true;
}

Qt::ItemFlags FilesArrayController::flags(const QModelIndex &index) const
{
    return isRow(index) ? Qt::ItemIsSelectable | Qt::ItemIsEnabled | Qt::ItemIsUserCheckable
                              | Qt::ItemNeverHasChildren
                        : Qt::NoItemFlags;
}
