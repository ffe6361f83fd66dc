#pragma once

#include "SelectableListModel.h"
#include "model/PathHolder.h"

class LessModel;

// The watched-folders table: one row per folder of the project model, with
// its own selection. Removing a row announces its files first, so that they
// stop being watched.
class PathsArrayController : public SelectableListModel
{
    Q_OBJECT

public:
    explicit PathsArrayController(LessModel *model, QObject *parent = nullptr);

    PathHolder *pathAtRow(int row) const;
    QString fullPathOfRow(int row) const override;
    // The selected folders, in row order.
    QList<PathHolder *> selectedObjects() const;
    bool canRemove() const;

    // Announces every LESS file of the selected folders, then removes them.
    void remove();

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;

Q_SIGNALS:
    void canRemoveChanged(bool canRemove);
    // The number of rows changed (the refresh button needs at least one).
    void arrangedObjectsChanged(int count);
    // The files of the folders about to be removed, each once.
    void lessFilesAboutToBeRemoved(const QStringList &paths);

private:
    void followModel();
    void announceRowCount();
    void updateCanRemove();
    void announcePathChanged(int row, PathHolder::Field field);

    LessModel *m_model;
    bool m_canRemove = false;
};
