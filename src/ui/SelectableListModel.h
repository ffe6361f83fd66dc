#pragma once

#include <QAbstractListModel>

class QItemSelectionModel;

// A one-column list of paths with a selection of its own: the folder list and
// the file list. Both reveal their selected rows in the file manager.
class SelectableListModel : public QAbstractListModel
{
    Q_OBJECT

public:
    explicit SelectableListModel(QObject *parent = nullptr);

    QItemSelectionModel *selectionModel() const { return m_selectionModel; }
    // The full path that a row stands for.
    virtual QString fullPathOfRow(int row) const = 0;

    void revealSelectedRowsInFinder() const;
    // Reveals the path of a double-clicked row; a click below the rows does nothing.
    void handleDoubleClicks(const QModelIndex &index) const;

protected:
    // The selected rows, top to bottom.
    QList<int> selectedRows() const;
    bool isRow(const QModelIndex &index) const;

private:
    QItemSelectionModel *m_selectionModel;
};
