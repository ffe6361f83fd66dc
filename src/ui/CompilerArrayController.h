#pragma once

#include <QAbstractTableModel>

class LessModel;
class QHeaderView;

// The compiler log table: time, file and result, the result being the third
// column. The result's display role is its plain text in the colour and size
// of its first run; Qt::UserRole holds the whole StyledText.
//
// A row is as high as its message wrapped at the result column's width, the
// width last recorded from the table's header.
class CompilerArrayController : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum Column { TimeColumn, FileColumn, ResultColumn, ColumnCount };

    explicit CompilerArrayController(LessModel *model, QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;

    const QList<float> &columnWidths() const { return m_columnWidths; }
    void logTableColumnWidths(const QHeaderView *columns);
    // Records the new widths and announces new heights for every row but the last.
    void tableViewColumnDidResize(const QHeaderView *columns);
    int heightOfRow(int row) const;

    // What the entry is about: the file the compiler's error names, at its
    // line, else the entry's own file at line 0.
    QString fileOfRow(int row, int *line = nullptr) const;
    // The entry as one line of text and its continuation lines.
    QString textOfRow(int row) const;

Q_SIGNALS:
    void rowHeightsChanged(int first, int count);

private:
    void followModel();
    bool isCell(const QModelIndex &index) const;
    QString nameInItsFolder(const QString &file) const;

    LessModel *m_model;
    QList<float> m_columnWidths;
};
