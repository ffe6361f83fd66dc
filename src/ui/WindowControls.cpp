#include "WindowControls.h"

#include "ZRMTableView.h"

#include <QAction>
#include <QHeaderView>
#include <QPushButton>
#include <QStyledItemDelegate>

namespace WindowControls {

QTableView *createTableView(QAbstractItemModel *model, const QString &name, QWidget *parent)
{
    auto *view = new ZRMTableView(parent);
    view->setAccessibleName(name);
    view->setModel(model);
    view->setSelectionBehavior(QAbstractItemView::SelectRows);
    view->setSelectionMode(QAbstractItemView::ExtendedSelection);
    view->setEditTriggers(QAbstractItemView::NoEditTriggers);
    view->setWordWrap(false);
    view->verticalHeader()->hide();
    view->horizontalHeader()->setStretchLastSection(true);
    view->horizontalHeader()->setHighlightSections(false);
    return view;
}

QTableView *createListView(QAbstractItemModel *model, QItemSelectionModel *selection, const QString &name,
                           const QList<QAction *> &commands, QStyledItemDelegate *cell, int rowHeight,
                           QWidget *parent)
{
    QTableView *view = createTableView(model, name, parent);
    view->setSelectionModel(selection);
    view->setItemDelegate(cell);
    cell->setParent(view);
    view->horizontalHeader()->hide();
    view->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    view->verticalHeader()->setDefaultSectionSize(rowHeight);
    view->setContextMenuPolicy(Qt::ActionsContextMenu);
    view->addActions(commands);
    return view;
}

QPushButton *createButton(QAction *action, QWidget *parent)
{
    auto *button = new QPushButton(action->iconText(), parent);
    button->setObjectName(action->iconText());
    button->setAccessibleName(action->iconText());
    followEnabledState(button, action);
    QObject::connect(button, &QAbstractButton::clicked, action, &QAction::trigger);
    return button;
}

void followEnabledState(QWidget *control, QAction *action)
{
    control->setEnabled(action->isEnabled());
    QObject::connect(action, &QAction::enabledChanged, control, &QWidget::setEnabled);
}

} // namespace WindowControls
