#pragma once

#include "model/LessModel.h"

#include <QItemSelectionModel>

namespace UiTestSupport {

// A folder and its files, named relative to it, not on disk.
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
    for (int row : rows)
        selection.select(selectionModel->model()->index(row, 0), selectionModel->model()->index(row, 0));
    selectionModel->select(selection, QItemSelectionModel::ClearAndSelect);
}

} // namespace UiTestSupport
