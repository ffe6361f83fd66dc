#pragma once

#include <QList>

class QAbstractItemModel;
class QAction;
class QItemSelectionModel;
class QPushButton;
class QString;
class QStyledItemDelegate;
class QTableView;
class QWidget;

// The pieces the main window's panes are made of.
namespace WindowControls {

// Rows selected whole, nothing edited in place, no row numbers.
QTableView *createTableView(QAbstractItemModel *model, const QString &name, QWidget *parent);
// A one-column list with its own selection: no header, rows drawn by cell,
// the given commands on its context menu.
QTableView *createListView(QAbstractItemModel *model, QItemSelectionModel *selection, const QString &name,
                           const QList<QAction *> &commands, QStyledItemDelegate *cell, int rowHeight,
                           QWidget *parent);
// Runs action, and is found by its icon text.
QPushButton *createButton(QAction *action, QWidget *parent);
void followEnabledState(QWidget *control, QAction *action);

} // namespace WindowControls
