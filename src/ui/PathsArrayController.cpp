#include "PathsArrayController.h"

#include "ItemRoles.h"
#include "ZRMIconAndBadgeTableCell.h"
#include "model/LessModel.h"
#include "model/TableViewCellKeys.h"

#include <QApplication>
#include <QIcon>
#include <QItemSelectionModel>
#include <QStyle>

namespace {

QList<int> rolesShowing(PathHolder::Field field)
{
    switch (field) {
    case PathHolder::Field::ValuesForTableViewCell:
        return {Qt::DisplayRole, Qt::DecorationRole, Qt::AccessibleTextRole, ItemRoles::SubtitleRole,
                ItemRoles::RowValuesRole};
    case PathHolder::Field::UserSelectedFullPath:
    case PathHolder::Field::UserSelectedTildePath:
        return {Qt::ToolTipRole};
    case PathHolder::Field::Missing:
        return {Qt::ToolTipRole, Qt::ForegroundRole, Qt::AccessibleTextRole};
    default:
        return {};
    }
}

// The theme may not know the name; the style always has a folder.
QIcon folderIcon(const QString &iconName)
{
    return QIcon::fromTheme(iconName, QApplication::style()->standardIcon(QStyle::SP_DirIcon));
}

// What a screen reader says for a row: "Acme-Shop, 4 LESS files".
QString accessibleText(const QVariantMap &values, bool missing)
{
    const QString title = ZRMIconAndBadgeTableCell::capitalizedTitle(values.value(TableViewCellKeys::TitleString).toString());
    const int count = values.value(TableViewCellKeys::SubtitleString).toInt();
    const QString text = count == 1 ? PathsArrayController::tr("%1, 1 LESS file").arg(title)
                                    : PathsArrayController::tr("%1, %2 LESS files").arg(title).arg(count);
    return missing ? PathsArrayController::tr("%1, missing").arg(text) : text;
}

QString toolTip(const PathHolder *folder)
{
    if (!folder->isMissing())
        return folder->userSelectedFullPath();
    return PathsArrayController::tr("Not found at %1. Cascader takes it back when it reappears.")
        .arg(folder->userSelectedTildePath());
}

} // namespace

PathsArrayController::PathsArrayController(LessModel *model, QObject *parent)
    : SelectableListModel(parent), m_model(model)
{
    followModel();
    connect(selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &PathsArrayController::updateCanRemove);
    // A reset clears the selection without announcing it.
    connect(this, &QAbstractItemModel::modelReset, this, &PathsArrayController::updateCanRemove);
    connect(this, &QAbstractItemModel::rowsRemoved, this, &PathsArrayController::updateCanRemove);
    connect(this, &QAbstractItemModel::modelReset, this, &PathsArrayController::announceRowCount);
    connect(this, &QAbstractItemModel::rowsInserted, this, &PathsArrayController::announceRowCount);
    connect(this, &QAbstractItemModel::rowsRemoved, this, &PathsArrayController::announceRowCount);
}

void PathsArrayController::followModel()
{
    connect(m_model, &LessModel::pathsAboutToBeInserted, this,
            [this](int first, int last) { beginInsertRows({}, first, last); });
    connect(m_model, &LessModel::pathsInserted, this, [this] { endInsertRows(); });
    connect(m_model, &LessModel::pathsAboutToBeRemoved, this,
            [this](int first, int last) { beginRemoveRows({}, first, last); });
    connect(m_model, &LessModel::pathsRemoved, this, [this] { endRemoveRows(); });
    connect(m_model, &LessModel::pathsAboutToBeReset, this, [this] { beginResetModel(); });
    connect(m_model, &LessModel::pathsReset, this, [this] { endResetModel(); });
    connect(m_model, &LessModel::pathChanged, this, &PathsArrayController::announcePathChanged);
}

void PathsArrayController::announceRowCount()
{
    Q_EMIT arrangedObjectsChanged(rowCount());
}

void PathsArrayController::updateCanRemove()
{
    const bool canRemoveNow = selectionModel()->hasSelection();
    if (canRemoveNow == m_canRemove)
        return;
    m_canRemove = canRemoveNow;
    Q_EMIT canRemoveChanged(m_canRemove);
}

void PathsArrayController::announcePathChanged(int row, PathHolder::Field field)
{
    const QList<int> roles = rolesShowing(field);
    if (roles.isEmpty() || row < 0 || row >= rowCount())
        return;
    const QModelIndex changed = index(row);
    Q_EMIT dataChanged(changed, changed, roles);
}

PathHolder *PathsArrayController::pathAtRow(int row) const
{
    return m_model->pathData().at(row).get();
}

QString PathsArrayController::fullPathOfRow(int row) const
{
    return pathAtRow(row)->userSelectedFullPath();
}

QList<PathHolder *> PathsArrayController::selectedObjects() const
{
    QList<PathHolder *> folders;
    for (int row : selectedRows())
        folders << pathAtRow(row);
    return folders;
}

bool PathsArrayController::canRemove() const
{
    return m_canRemove;
}

void PathsArrayController::remove()
{
    QStringList folders;
    QStringList lessFiles;
    for (const PathHolder *folder : selectedObjects()) {
        folders << folder->userSelectedFullPath();
        for (const auto &file : folder->lessFiles())
            lessFiles << file->lessFileFullPath();
    }
    if (folders.isEmpty())
        return;
    lessFiles.removeDuplicates();
    // All watches go before any folder does.
    Q_EMIT lessFilesAboutToBeRemoved(lessFiles);
    for (const QString &folder : folders)
        m_model->removePathFromModel(folder);
}

int PathsArrayController::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_model->numberOfPathsInModel();
}

QVariant PathsArrayController::data(const QModelIndex &index, int role) const
{
    if (!isRow(index))
        return {};
    const PathHolder *folder = pathAtRow(index.row());
    const QVariantMap values = folder->valuesForTableViewCell();
    switch (role) {
    case Qt::DisplayRole:
        return values.value(TableViewCellKeys::TitleString);
    case Qt::DecorationRole:
        return folderIcon(values.value(TableViewCellKeys::IconImage).toString());
    case Qt::ToolTipRole:
        return toolTip(folder);
    case Qt::ForegroundRole:
        // Left unset for a folder on disk, so the delegate keeps its own colours.
        return folder->isMissing() ? QApplication::palette().color(QPalette::PlaceholderText) : QVariant();
    case Qt::AccessibleTextRole:
        return accessibleText(values, folder->isMissing());
    case ItemRoles::SubtitleRole:
        return values.value(TableViewCellKeys::SubtitleString);
    case ItemRoles::RowValuesRole:
        return values;
    default:
        return {};
    }
}

Qt::ItemFlags PathsArrayController::flags(const QModelIndex &index) const
{
    return isRow(index) ? Qt::ItemIsSelectable | Qt::ItemIsEnabled | Qt::ItemNeverHasChildren
                        : Qt::NoItemFlags;
}
