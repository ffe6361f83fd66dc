#include "LinkedFilesHelper.h"

#include "support/Logging.h"
#include "support/PathUtils.h"

#include <QDir>
#include <QFile>

namespace {

const QByteArray ImportKeyword = QByteArrayLiteral("@import");
const QByteArray UrlFunction = QByteArrayLiteral("url(");
const QString LessExtension = QStringLiteral("less");
const QString CSSExtension = QStringLiteral("css");
// Options under which less reads a file whatever its extension, and the one
// under which it never does.
const QStringList ReadingOptions{QStringLiteral("less"), QStringLiteral("inline")};
const QString CSSOption = QStringLiteral("css");
const QStringList RemotePrefixes{QStringLiteral("http://"), QStringLiteral("https://"), QStringLiteral("//")};
const QString Interpolation = QStringLiteral("@{");

bool isNameCharacter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_'
        || static_cast<unsigned char>(c) >= 0x80;
}

bool isSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f';
}

// A walk over LESS source that steps over comments, strings and url()
// values, stopping at each @import.
class ImportScanner
{
public:
    explicit ImportScanner(QByteArrayView source) : m_source(source) {}

    QList<ImportStatement> scan()
    {
        while (!atEnd()) {
            if (!skipCommentOrString() && !skipUrl() && !readImport())
                ++m_position;
        }
        return m_statements;
    }

private:
    bool atEnd() const { return m_position >= m_source.size(); }
    char at(qsizetype offset = 0) const
    {
        const qsizetype index = m_position + offset;
        return index < m_source.size() ? m_source.at(index) : '\0';
    }
    // Case does not matter in at-rules and function names.
    bool startsWith(const QByteArray &word) const
    {
        return m_source.size() - m_position >= word.size()
            && qstrnicmp(m_source.data() + m_position, word.constData(), size_t(word.size())) == 0;
    }

    bool skipCommentOrString()
    {
        if (at() == '/' && at(1) == '*') {
            const qsizetype end = m_source.indexOf(QByteArrayView("*/"), m_position + 2);
            m_position = end < 0 ? m_source.size() : end + 2;
            return true;
        }
        if (at() == '/' && at(1) == '/') {
            const qsizetype end = m_source.indexOf('\n', m_position);
            m_position = end < 0 ? m_source.size() : end + 1;
            return true;
        }
        if (at() == '"' || at() == '\'') {
            readString();
            return true;
        }
        return false;
    }

    // The text of the string at the position, escapes taken as the character
    // they escape; an unescaped line break ends it, as in CSS.
    QString readString()
    {
        const char quote = at();
        QByteArray text;
        ++m_position;
        while (!atEnd() && at() != quote && at() != '\n') {
            if (at() == '\\' && m_position + 1 < m_source.size())
                ++m_position;
            text += at();
            ++m_position;
        }
        if (at() == quote)
            ++m_position;
        return QString::fromUtf8(text);
    }

    bool startsFunction(const QByteArray &name) const
    {
        return (m_position == 0 || !isNameCharacter(m_source.at(m_position - 1))) && startsWith(name);
    }

    // An unquoted url() may hold "//", which is no comment there.
    bool skipUrl()
    {
        if (!startsFunction(UrlFunction))
            return false;
        readUrl();
        return true;
    }

    QString readUrl()
    {
        m_position += UrlFunction.size();
        skipSpace();
        QString value;
        if (at() == '"' || at() == '\'') {
            value = readString();
        } else {
            const qsizetype start = m_position;
            while (!atEnd() && at() != ')')
                ++m_position;
            value = QString::fromUtf8(m_source.sliced(start, m_position - start)).trimmed();
        }
        const qsizetype close = m_source.indexOf(')', m_position);
        m_position = close < 0 ? m_source.size() : close + 1;
        return value;
    }

    void skipSpace()
    {
        for (;;) {
            while (!atEnd() && isSpace(at()))
                ++m_position;
            if (!(at() == '/' && (at(1) == '*' || at(1) == '/')))
                return;
            skipCommentOrString();
        }
    }

    bool readImport()
    {
        if (at() != '@' || !startsWith(ImportKeyword) || isNameCharacter(at(ImportKeyword.size())))
            return false;
        m_position += ImportKeyword.size();
        skipSpace();
        const QStringList options = readOptions();
        for (;;) {
            skipSpace();
            const std::optional<QString> target = readTarget();
            if (!target)
                break;
            if (!target->isEmpty())
                m_statements << ImportStatement{*target, options};
            skipSpace();
            if (at() != ',')
                break;
            ++m_position;
        }
        skipToEndOfStatement();
        return true;
    }

    QStringList readOptions()
    {
        if (at() != '(')
            return {};
        const qsizetype close = m_source.indexOf(')', m_position);
        const qsizetype end = close < 0 ? m_source.size() : close;
        QStringList options;
        for (const QString &option : QString::fromUtf8(m_source.sliced(m_position + 1, end - m_position - 1)).split(u','))
            options << option.trimmed().toLower();
        m_position = close < 0 ? end : end + 1;
        return options;
    }

    std::optional<QString> readTarget()
    {
        if (at() == '"' || at() == '\'')
            return readString();
        if (startsFunction(UrlFunction))
            return readUrl();
        return std::nullopt;
    }

    // A media query may follow the names.
    void skipToEndOfStatement()
    {
        while (!atEnd() && at() != ';' && at() != '{' && at() != '}') {
            if (!skipCommentOrString())
                ++m_position;
        }
        if (at() == ';')
            ++m_position;
    }

    QByteArrayView m_source;
    qsizetype m_position = 0;
    QList<ImportStatement> m_statements;
};

} // namespace

QList<ImportStatement> LinkedFilesHelper::importStatements(QByteArrayView source)
{
    return ImportScanner(source).scan();
}

bool LinkedFilesHelper::readsImportedFile(const ImportStatement &statement)
{
    const QString &target = statement.target;
    if (target.contains(Interpolation) || statement.options.contains(CSSOption))
        return false;
    for (const QString &prefix : RemotePrefixes) {
        if (target.startsWith(prefix, Qt::CaseInsensitive))
            return false;
    }
    for (const QString &option : ReadingOptions) {
        if (statement.options.contains(option))
            return true;
    }
    return PathUtils::pathExtension(target).compare(CSSExtension, Qt::CaseInsensitive) != 0;
}

std::optional<QStringList> LinkedFilesHelper::linkedFilesForLessFile(const QString &lessFilePath)
{
    QFile file(lessFilePath);
    if (!file.open(QIODevice::ReadOnly)) {
        qCWarning(lcScanner, "Unable to open file for @import linking. No links established for: %s",
                  qUtf8Printable(lessFilePath));
        return std::nullopt;
    }
    QStringList files;
    for (const ImportStatement &statement : importStatements(file.readAll())) {
        if (!readsImportedFile(statement))
            continue;
        const QString path = pathToImportedFile(statement.target, lessFilePath);
        if (!files.contains(path))
            files << path;
    }
    return files;
}

QString LinkedFilesHelper::pathToImportedFile(const QString &importTarget, const QString &lessFilePath)
{
    QString target = importTarget;
    if (PathUtils::pathExtension(target).isEmpty())
        target = PathUtils::appendingPathExtension(target, LessExtension);
    if (QDir::isAbsolutePath(target))
        return QDir::cleanPath(target);
    return QDir::cleanPath(PathUtils::deletingLastPathComponent(lessFilePath) + u'/' + target);
}
