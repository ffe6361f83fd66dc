#pragma once

#include "model/PathHolder.h"

#include <QAbstractListModel>

class LessModel;
class MainAppController;
class QItemSelectionModel;

// The watched-folders table: one row per folder of the project model, with
// its own selection. Removing a row stops watching its files first.
class PathsArrayController : public QAbstractListModel
{
    Q_OBJECT

public:
    explicit PathsArrayController(MainAppController *appController, QObject *parent = nullptr);

    QItemSelectionModel *selectionModel() const { return m_selectionModel; }
    PathHolder *pathAtRow(int row) const;
    // The selected folders, in row order.
    QList<PathHolder *> selectedObjects() const;
    bool canRemove() const;

    // Stops watching every LESS file of the selected folders, then removes them.
    void remove();
    void revealSelectedRowsInFinder() const;
    // Reveals the folder of a double-clicked row; a click below the rows does nothing.
    void handleDoubleClicks(const QModelIndex &index) const;

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;

Q_SIGNALS:
    void canRemoveChanged(bool canRemove);
    // The number of rows changed (the refresh button needs at least one).
    void arrangedObjectsChanged(int count);

private:
    void followModel();
    void announceRowCount();
    void updateCanRemove();
    void announcePathChanged(int row, PathHolder::Field field);
    bool isRow(const QModelIndex &index) const;

    MainAppController *m_appController;
    LessModel *m_model;
    QItemSelectionModel *m_selectionModel;
    bool m_canRemove = false;
};
