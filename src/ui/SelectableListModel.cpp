#include "SelectableListModel.h"

#include "FileViewer.h"

#include <QItemSelectionModel>

#include <algorithm>

SelectableListModel::SelectableListModel(QObject *parent)
    : QAbstractListModel(parent), m_selectionModel(new QItemSelectionModel(this, this))
{
}

void SelectableListModel::revealSelectedRowsInFinder() const
{
    QStringList paths;
    for (int row : selectedRows())
        paths << fullPathOfRow(row);
    FileViewer::reveal(paths);
}

void SelectableListModel::handleDoubleClicks(const QModelIndex &index) const
{
    if (isRow(index))
        FileViewer::reveal({fullPathOfRow(index.row())});
}

QList<int> SelectableListModel::selectedRows() const
{
    QList<int> rows;
    for (const QModelIndex &index : m_selectionModel->selectedRows())
        rows << index.row();
    std::sort(rows.begin(), rows.end());
    return rows;
}

bool SelectableListModel::isRow(const QModelIndex &index) const
{
    return index.isValid() && checkIndex(index, CheckIndexOption::ParentIsInvalid);
}
