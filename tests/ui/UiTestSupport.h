#pragma once

#include "model/LessModel.h"

#include <QItemSelectionModel>

namespace UiTestSupport {

// A folder and its files, named relative to it; nothing touches the disk.
inline void addFolder(LessModel *model, const QString &folder, const QStringList &fileNames)
{
    QStringList files;
    for (const QString &name : fileNames)
        files << folder + u'/' + name;
    model->addNewPathToModel(folder, files);
}

// Exactly these rows, in one selection change.
inline void selectRows(QItemSelectionModel *selectionModel, const QList<int> &rows)
{
    QItemSelection selection;
    for (int row : rows) {
        const QModelIndex index = selectionModel->model()->index(row, 0);
        selection.select(index, index);
    }
    selectionModel->select(selection, QItemSelectionModel::ClearAndSelect);
}

} // namespace UiTestSupport
