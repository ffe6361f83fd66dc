#include "CompilerLogPrinter.h"

#include "engine/CompileErrorLocation.h"
#include "engine/ZRMLessCompiler.h"
#include "model/LessModel.h"
#include "support/NotificationCenter.h"
#include "support/PathUtils.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <cstdio>

#include <unistd.h>

namespace {

const QString TimeFormat = QStringLiteral("HH:mm:ss");
const QString Separator = QStringLiteral("  ");
const QString ContinuationIndent = QStringLiteral("    ");
const QString WatchingMessage = QStringLiteral("Watching %1 LESS %2 in %3 %4");
const QString Reset = QStringLiteral("\033[0m");

bool isError(const StyledText &result)
{
    return !result.isEmpty() && result.runs().constFirst().color == StyledText::Red;
}

// The log's colours as a terminal has them.
QString escapeFor(const RgbaColor &color)
{
    if (color == StyledText::Red)
        return QStringLiteral("\033[31m");
    if (color == StyledText::Grey)
        return QStringLiteral("\033[90m");
    return color.green > color.red ? QStringLiteral("\033[32m") : QStringLiteral("\033[33m");
}

QString resultText(const StyledText &result, bool colour)
{
    if (!colour)
        return result.plainText();
    QString text;
    for (const StyledText::Run &run : result.runs())
        text += escapeFor(run.color) + run.text + Reset;
    return text;
}

// A newline in a file name would look like the start of a further line.
QString formattedEntry(const CompilerResultHolder &entry, bool colour)
{
    const QStringList lines = resultText(entry.result(), colour).split(u'\n');
    QString text = entry.time().toString(TimeFormat) + Separator + PathUtils::printablePath(entry.file())
                   + Separator + lines.constFirst() + u'\n';
    for (qsizetype index = 1; index < lines.size(); ++index)
        text += ContinuationIndent + lines.at(index) + u'\n';
    if (isError(entry.result())) {
        const CompileErrorLocation error = CompileErrorLocation::parse(entry.result().plainText());
        if (error.isValid())
            text += error.annotation() + u'\n';
    }
    return text;
}

void print(std::FILE *stream, const QString &text)
{
    std::fputs(qUtf8Printable(text), stream);
    std::fflush(stream);
}

QJsonValue textOrNull(const QString &text)
{
    return text.isEmpty() ? QJsonValue(QJsonValue::Null) : QJsonValue(text);
}

} // namespace

CompilerLogPrinter::CompilerLogPrinter(const LessModel *model, Style style, QObject *parent)
    : QObject(parent), m_model(model), m_style(style)
{
    if (!m_style.json) {
        connect(model, &LessModel::compilerResultsInserted, this, &CompilerLogPrinter::printEntries);
        return;
    }
    NotificationCenter::defaultCenter()->addObserver(
        this, {ZRMLCCompiledFileSuccessfullyNotification, ZRMLCFailedToCompileFileNotification},
        [this](const Notification &notification) { printOutcome(notification); });
}

CompilerLogPrinter::~CompilerLogPrinter()
{
    NotificationCenter::defaultCenter()->removeObserver(this);
}

bool CompilerLogPrinter::colourWanted()
{
    return ::isatty(STDOUT_FILENO) && qEnvironmentVariableIsEmpty("NO_COLOR");
}

// Beside JSON lines it goes to standard error, so that standard output stays JSON.
void CompilerLogPrinter::announceWatching() const
{
    if (!m_style.announce || m_style.quiet)
        return;
    const qsizetype files = m_model->getAllLessFilesAndIncludeIgnoredOnes(true).size();
    const int folders = m_model->numberOfPathsInModel();
    print(m_style.json ? stderr : stdout,
          WatchingMessage.arg(files)
                  .arg(files == 1 ? QStringLiteral("file") : QStringLiteral("files"))
                  .arg(folders)
                  .arg(folders == 1 ? QStringLiteral("folder") : QStringLiteral("folders"))
              + u'\n');
}

// Flushed at once, so that whoever reads the output sees each entry as it happens.
void CompilerLogPrinter::printEntries(int first, int last) const
{
    for (int row = first; row <= last; ++row) {
        const CompilerResultHolder &entry = m_model->compilerResultData().at(row);
        if (!m_style.quiet || isError(entry.result()))
            print(stdout, formattedEntry(entry, m_style.colour));
    }
}

void CompilerLogPrinter::printOutcome(const Notification &notification) const
{
    using namespace ZRMLessCompilerKey;
    const QVariantMap &outcome = notification.userInfo;
    const bool ok = outcome.value(Successful).toBool();
    if (m_style.quiet && ok)
        return;
    const QJsonObject line{
        {QStringLiteral("time"), outcome.value(Time).toDateTime().toString(Qt::ISODateWithMs)},
        {QStringLiteral("file"), outcome.value(File).toString()},
        {QStringLiteral("triggeredBy"), textOrNull(outcome.value(TriggeredBy).toString())},
        {QStringLiteral("ok"), ok},
        {QStringLiteral("message"), outcome.value(Result).toString()},
        {QStringLiteral("warnings"), outcome.value(Warnings).toString()},
        {QStringLiteral("css"), textOrNull(outcome.value(OutputPath).toString())},
        {QStringLiteral("milliseconds"), outcome.value(Milliseconds).toLongLong()},
    };
    print(stdout, QString::fromUtf8(QJsonDocument(line).toJson(QJsonDocument::Compact)) + u'\n');
}
