#pragma once

#include <QWidget>

class CompilerArrayController;
class QAction;
class QTableView;

// The compiler log: time, file and result of each compile, above its Clear
// button. The result column wraps and its rows take the height the
// controller measures; time and file stay on one line.
class CompilerLogPage : public QWidget
{
    Q_OBJECT

public:
    CompilerLogPage(CompilerArrayController *log, const QString &name, QAction *clearLog, QWidget *parent = nullptr);

    QTableView *tableView() const { return m_tableView; }

private:
    void offerEntryActions();
    void openInEditor(int row) const;
    void setUpColumns();
    void followColumnWidths();
    void followRowHeights();
    void measureRows(int first, int count);
    void measureLastRow();

    CompilerArrayController *m_log;
    QTableView *m_tableView;
};
