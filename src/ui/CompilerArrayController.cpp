#include "CompilerArrayController.h"

#include "ZRMCompilerResultTableCell.h"
#include "engine/CompileErrorLocation.h"
#include "model/LessModel.h"
#include "support/PathUtils.h"

#include <QColor>
#include <QFont>
#include <QHeaderView>

namespace {

const QString TimeFormat = QStringLiteral("HH:mm:ss");

QString columnTitle(int column)
{
    switch (column) {
    case CompilerArrayController::TimeColumn:
        return CompilerArrayController::tr("Time");
    case CompilerArrayController::FileColumn:
        return CompilerArrayController::tr("File");
    default:
        return CompilerArrayController::tr("Result");
    }
}

QFont fontOf(const StyledText::Run &run)
{
    QFont font;
    font.setPointSizeF(run.pointSize);
    font.setBold(run.bold);
    return font;
}

QColor colorOf(const StyledText::Run &run)
{
    return QColor::fromRgbF(float(run.color.red), float(run.color.green), float(run.color.blue),
                            float(run.color.alpha));
}

// A message keeps one colour and size in the table: those of its first run.
QVariant resultData(const StyledText &result, int role)
{
    switch (role) {
    case Qt::DisplayRole:
        return result.plainText();
    case Qt::UserRole:
        return QVariant::fromValue(result);
    case Qt::ForegroundRole:
        return result.isEmpty() ? QVariant() : QVariant::fromValue(colorOf(result.runs().constFirst()));
    case Qt::FontRole:
        return result.isEmpty() ? QVariant() : QVariant::fromValue(fontOf(result.runs().constFirst()));
    default:
        return {};
    }
}

} // namespace

QString CompilerArrayController::fileOfRow(int row, int *line) const
{
    const CompilerResultHolder &entry = m_model->compilerResultData().at(row);
    const CompileErrorLocation error = CompileErrorLocation::parse(entry.result().plainText());
    if (line)
        *line = error.line;
    return error.isValid() ? error.file : PathUtils::expandTilde(entry.file());
}

QString CompilerArrayController::textOfRow(int row) const
{
    const CompilerResultHolder &entry = m_model->compilerResultData().at(row);
    return entry.time().toString(TimeFormat) + u' ' + entry.file() + u' ' + entry.result().plainText();
}

// A file of the project by its path in its watched folder; anything else as it is.
QString CompilerArrayController::nameInItsFolder(const QString &file) const
{
    const QString path = PathUtils::expandTilde(file);
    const QString folder = m_model->watchedFolderHolding(path);
    return folder.isEmpty() || path == folder ? file : path.mid(folder.size() + 1);
}

CompilerArrayController::CompilerArrayController(LessModel *model, QObject *parent)
    : QAbstractTableModel(parent), m_model(model)
{
    followModel();
}

void CompilerArrayController::followModel()
{
    connect(m_model, &LessModel::compilerResultsAboutToBeInserted, this,
            [this](int first, int last) { beginInsertRows({}, first, last); });
    connect(m_model, &LessModel::compilerResultsInserted, this, [this] { endInsertRows(); });
    connect(m_model, &LessModel::compilerResultsAboutToBeReset, this, [this] { beginResetModel(); });
    connect(m_model, &LessModel::compilerResultsReset, this, [this] { endResetModel(); });
}

int CompilerArrayController::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_model->compilerResultData().size());
}

int CompilerArrayController::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant CompilerArrayController::data(const QModelIndex &index, int role) const
{
    if (!isCell(index))
        return {};
    // Time and file line up with the first line of a message that wraps.
    if (role == Qt::TextAlignmentRole)
        return QVariant::fromValue(Qt::AlignLeading | Qt::AlignTop);
    const CompilerResultHolder &entry = m_model->compilerResultData().at(index.row());
    switch (index.column()) {
    case TimeColumn:
        return role == Qt::DisplayRole ? entry.time().toString(TimeFormat) : QVariant();
    case FileColumn:
        if (role == Qt::DisplayRole)
            return PathUtils::printablePath(nameInItsFolder(entry.file()));
        return role == Qt::ToolTipRole ? PathUtils::printablePath(entry.file()) : QVariant();
    default:
        if (role == Qt::ToolTipRole && !entry.compiler().isEmpty())
            return tr("Compiled with %1").arg(entry.compiler());
        return resultData(entry.result(), role);
    }
}

QVariant CompilerArrayController::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation == Qt::Horizontal && role == Qt::DisplayRole && section >= 0
        && section < ColumnCount)
        return columnTitle(section);
    return QAbstractTableModel::headerData(section, orientation, role);
}

Qt::ItemFlags CompilerArrayController::flags(const QModelIndex &index) const
{
    return isCell(index) ? Qt::ItemIsSelectable | Qt::ItemIsEnabled | Qt::ItemNeverHasChildren
                         : Qt::NoItemFlags;
}

void CompilerArrayController::logTableColumnWidths(const QHeaderView *columns)
{
    m_columnWidths.clear();
    for (int column = 0; column < columns->count(); ++column)
        m_columnWidths << float(columns->sectionSize(column));
}

// The last row is left out, as it always was.
void CompilerArrayController::tableViewColumnDidResize(const QHeaderView *columns)
{
    logTableColumnWidths(columns);
    const int rows = rowCount();
    Q_EMIT rowHeightsChanged(0, rows > 0 ? rows - 1 : 0);
}

int CompilerArrayController::heightOfRow(int row) const
{
    return ZRMCompilerResultTableCell::heightForText(m_model->compilerResultData().at(row).result(),
                                                     m_columnWidths.value(ResultColumn));
}

bool CompilerArrayController::isCell(const QModelIndex &index) const
{
    return index.isValid() && checkIndex(index, CheckIndexOption::ParentIsInvalid);
}
