#include "CompilerLogPage.h"

#include "CompilerArrayController.h"
#include "EditorLauncher.h"
#include "FileViewer.h"
#include "WindowControls.h"
#include "ZRMCompilerResultTableCell.h"
#include "ZRMSingleLineItemDelegate.h"

#include <QClipboard>
#include <QFileInfo>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QMenu>
#include <QHeaderView>
#include <QPushButton>
#include <QTableView>
#include <QTimer>
#include <QVBoxLayout>

namespace {

constexpr int FileColumnWidth = 200;

} // namespace

CompilerLogPage::CompilerLogPage(CompilerArrayController *log, const QString &name, QAction *clearLog,
                                 QWidget *parent)
    : QWidget(parent),
      m_log(log),
      m_tableView(WindowControls::createTableView(log, name, this))
{
    m_tableView->setWordWrap(true);
    m_tableView->setTextElideMode(Qt::ElideMiddle);
    m_tableView->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    m_tableView->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    setUpColumns();
    followColumnWidths();
    followRowHeights();
    offerEntryActions();

    auto *buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(WindowControls::createButton(clearLog, this));

    auto *layout = new QVBoxLayout;
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_tableView, 1);
    layout->addLayout(buttons);
    setLayout(layout);
}

// A double-click opens the file at the error; the context menu offers the rest.
void CompilerLogPage::offerEntryActions()
{
    connect(m_tableView, &QAbstractItemView::doubleClicked, this,
            [this](const QModelIndex &index) { openInEditor(index.row()); });
    m_tableView->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(m_tableView, &QWidget::customContextMenuRequested, this, [this](const QPoint &position) {
        const int row = m_tableView->indexAt(position).row();
        if (row < 0)
            return;
        const bool isFile = QFileInfo(m_log->fileOfRow(row)).isFile();
        QMenu menu;
        menu.addAction(tr("Copy"), this, [this, row] { QGuiApplication::clipboard()->setText(m_log->textOfRow(row)); });
        menu.addAction(tr("Open in Editor"), this, [this, row] { openInEditor(row); })->setEnabled(isFile);
        menu.addAction(tr("Show in Folder"), this, [this, row] {
            FileViewer::reveal({m_log->fileOfRow(row)});
        })->setEnabled(isFile);
        menu.exec(m_tableView->viewport()->mapToGlobal(position));
    });
}

void CompilerLogPage::openInEditor(int row) const
{
    if (row < 0)
        return;
    int line = 0;
    const QString file = m_log->fileOfRow(row, &line);
    if (QFileInfo(file).isFile())
        EditorLauncher::open(file, line);
}

void CompilerLogPage::setUpColumns()
{
    m_tableView->setItemDelegateForColumn(CompilerArrayController::ResultColumn,
                                          new ZRMCompilerResultTableCell(m_tableView));
    auto *singleLine = new ZRMSingleLineItemDelegate(m_tableView);
    m_tableView->setItemDelegateForColumn(CompilerArrayController::TimeColumn, singleLine);
    m_tableView->setItemDelegateForColumn(CompilerArrayController::FileColumn, singleLine);
    QHeaderView *columns = m_tableView->horizontalHeader();
    columns->setDefaultAlignment(Qt::AlignLeading | Qt::AlignVCenter);
    columns->setSectionResizeMode(CompilerArrayController::TimeColumn, QHeaderView::ResizeToContents);
    columns->resizeSection(CompilerArrayController::FileColumn, FileColumnWidth);
}

// A stretch follows a resize in several steps; the widths are read once they settle.
void CompilerLogPage::followColumnWidths()
{
    QHeaderView *columns = m_tableView->horizontalHeader();
    CompilerArrayController *log = m_log;
    log->logTableColumnWidths(columns);
    auto *columnsSettled = new QTimer(this);
    columnsSettled->setSingleShot(true);
    connect(columnsSettled, &QTimer::timeout, log, [log, columns] { log->tableViewColumnDidResize(columns); });
    connect(columns, &QHeaderView::sectionResized, columnsSettled, qOverload<>(&QTimer::start));
}

void CompilerLogPage::followRowHeights()
{
    connect(m_log, &CompilerArrayController::rowHeightsChanged, this, &CompilerLogPage::measureRows);
    connect(m_log, &CompilerArrayController::rowHeightsChanged, this, &CompilerLogPage::measureLastRow);
    connect(m_log, &QAbstractItemModel::rowsInserted, this,
            [this](const QModelIndex &, int first, int last) { measureRows(first, last - first + 1); });
}

void CompilerLogPage::measureRows(int first, int count)
{
    for (int row = first; row < first + count; ++row)
        m_tableView->setRowHeight(row, m_log->heightOfRow(row));
}

// The controller's re-measuring leaves the last row out, which would keep the
// height it had at an old width (a log filled while hidden shows the newest
// message far too tall); the table measures it itself.
void CompilerLogPage::measureLastRow()
{
    const int rows = m_log->rowCount();
    if (rows > 0)
        measureRows(rows - 1, 1);
}
