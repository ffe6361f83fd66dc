#pragma once

class QAbstractItemModel;
class QAction;
class QPushButton;
class QString;
class QTableView;
class QWidget;

// The pieces the main window's panes are made of.
namespace WindowControls {

// Rows selected whole, nothing edited in place, no row numbers.
QTableView *createTableView(QAbstractItemModel *model, const QString &name, QWidget *parent);
// Runs action, and is found by its icon text.
QPushButton *createButton(QAction *action, QWidget *parent);
void followEnabledState(QWidget *control, QAction *action);

} // namespace WindowControls
