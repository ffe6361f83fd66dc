#pragma once

#include "SelectableListModel.h"
#include "model/LessHolder.h"

class LessModel;
class PathHolder;
class PathsArrayController;

// The LESS-files table: the files of the selected folders, in folder then file
// order, each with its check box (Qt::CheckStateRole, editable).
//
// The rows are kept as one block per selected folder, so that a change in one
// folder, or a folder selected or deselected, moves only the rows concerned.
class FilesArrayController : public SelectableListModel
{
    Q_OBJECT

public:
    FilesArrayController(LessModel *model, PathsArrayController *pathsController, QObject *parent = nullptr);

    LessHolder *lessFileAtRow(int row) const;
    QString fullPathOfRow(int row) const override;
    // The selected files, in row order.
    QList<LessHolder *> selectedObjects() const;

    void setCSSFileOutputPathOnSelectedLESSFiles(const QString &folder);
    void clearCSSFileOutputPathOnSelectedLESSFiles();
    void setCompressionOnSelectedLESSFiles(bool compress);
    // Every selected file compresses its CSS (false when none is selected).
    bool selectedLESSFilesAreCompressed() const;
    // Empty when nothing is selected.
    QString pathForFirstSelectedLESSFile() const;

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role = Qt::EditRole) override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;

private:
    // A selected folder's files; count is the number of rows the views know of.
    struct Block
    {
        const PathHolder *folder;
        int count;
    };

    void followModel();
    void followFolderSelection();
    void removeBlock(qsizetype blockIndex);
    void insertBlock(qsizetype blockIndex, const PathHolder *folder);
    void removeBlocksOfRows(int firstPathRow, int lastPathRow);
    void resetBlocks();

    // The block of the folder at a row of the project model, or -1.
    qsizetype blockOfPathRow(int pathRow) const;
    int firstRowOfBlock(qsizetype blockIndex) const;
    void beginInsertingFiles(int pathRow, int first, int last);
    void endInsertingFiles(int pathRow, int first, int last);
    void beginRemovingFiles(int pathRow, int first, int last);
    void endRemovingFiles(int pathRow, int first, int last);
    void removeFilesBeforeReset(int pathRow);
    void insertFilesAfterReset(int pathRow);
    void announceFileChanged(int pathRow, int fileRow, LessHolder::Field field);

    LessModel *m_model;
    PathsArrayController *m_pathsController;
    QList<Block> m_blocks;
};
