#include "LinkedFilesHelper.h"

#include "support/Logging.h"
#include "support/PathUtils.h"

#include <QFile>

#include <array>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <memory>

namespace {

constexpr qsizetype StatementBufferSize = 4096;
constexpr qsizetype KeywordLength = 7;
const QString ImportKeyword = QStringLiteral("@import");
const QString UrlKeyword = QStringLiteral("url");
const QString TrimmedCharacters = QStringLiteral(" '\";()");

// Reads a file through a large buffer, byte by byte, and skips to the next
// '@' with memchr so that long stretches without statements cost little.
class ByteReader
{
public:
    explicit ByteReader(std::FILE *file) : m_file(file) {}

    int next()
    {
        if (m_position == m_end && !refill())
            return EOF;
        return static_cast<unsigned char>(m_buffer[m_position++]);
    }

    bool skipToAt()
    {
        for (;;) {
            const void *at = std::memchr(m_buffer.data() + m_position, '@', m_end - m_position);
            if (at) {
                m_position = static_cast<const char *>(at) - m_buffer.data() + 1;
                return true;
            }
            if (!refill())
                return false;
        }
    }

private:
    bool refill()
    {
        m_position = 0;
        m_end = std::fread(m_buffer.data(), 1, m_buffer.size(), m_file);
        return m_end > 0;
    }

    std::FILE *m_file;
    std::array<char, 64 * 1024> m_buffer{};
    size_t m_position = 0;
    size_t m_end = 0;
};

struct FileCloser
{
    void operator()(std::FILE *file) const { std::fclose(file); }
};

QString removingAll(QString text, const QString &word)
{
    return text.remove(word, Qt::CaseInsensitive);
}

QString trimmedOfImportPunctuation(const QString &text)
{
    qsizetype start = 0;
    qsizetype end = text.size();
    while (start < end && TrimmedCharacters.contains(text.at(start)))
        ++start;
    while (end > start && TrimmedCharacters.contains(text.at(end - 1)))
        --end;
    return text.mid(start, end - start);
}

} // namespace

std::optional<QString> scanForImportStringInBuffer(const char *statement)
{
    char keyword[KeywordLength + 1] = {};
    for (qsizetype i = 0; i < KeywordLength && statement[i] != '\0'; ++i)
        keyword[i] = static_cast<char>(std::tolower(static_cast<unsigned char>(statement[i])));
    if (QLatin1StringView(keyword) != ImportKeyword)
        return QString();

    QString target = QString::fromUtf8(statement);
    target = removingAll(removingAll(target, ImportKeyword), UrlKeyword);
    target = trimmedOfImportPunctuation(target);
    if (PathUtils::pathExtension(target).isEmpty())
        target = PathUtils::appendingPathExtension(target, QStringLiteral("less"));
    return target;
}

std::optional<QStringList> scanForAllImportStatements(const QByteArray &path)
{
    const QString displayPath = QFile::decodeName(path);
    std::unique_ptr<std::FILE, FileCloser> file(std::fopen(path.constData(), "r"));
    if (!file) {
        qCWarning(lcScanner, "Unable to open file for @import linking. No links established for: %s",
                  qUtf8Printable(displayPath));
        return std::nullopt;
    }

    QStringList imports;
    imports.reserve(10);
    // One byte more than a statement can hold, so a full statement stays terminated.
    std::array<char, StatementBufferSize + 1> statement{};
    ByteReader reader(file.get());
    while (reader.skipToAt()) {
        statement.fill('\0');
        statement[0] = '@';
        qsizetype position = 1;
        for (;;) {
            const int byte = reader.next();
            if (byte == 0 || position >= StatementBufferSize)
                break;
            if (byte == EOF) {
                qCWarning(lcScanner,
                          "Error: unexpected End-Of-File encountered while linking @import statements "
                          "in (%s). This LESS file is malformed; no links were established for it.",
                          qUtf8Printable(displayPath));
                return imports;
            }
            statement[position++] = static_cast<char>(byte);
            if (byte == ';') {
                const std::optional<QString> target = scanForImportStringInBuffer(statement.data());
                if (target && !target->isEmpty())
                    imports.append(*target);
                break;
            }
        }
    }
    return imports;
}

std::optional<QStringList> LinkedFilesHelper::linkedFilesForLessFile(const QString &lessFilePath)
{
    return scanForAllImportStatements(QFile::encodeName(lessFilePath));
}

QString LinkedFilesHelper::pathToImportedFile(const QString &importTarget, const QString &lessFilePath)
{
    QString path = PathUtils::deletingLastPathComponent(lessFilePath);
    for (const QString &component : PathUtils::pathComponents(importTarget)) {
        if (component.compare(QStringLiteral(".."), Qt::CaseInsensitive) == 0)
            path = PathUtils::deletingLastPathComponent(path);
        else
            path = PathUtils::appendingPathComponent(path, component);
    }
    return path;
}
