// The @import scanner on arbitrary LESS files. Besides memory errors, three
// properties: a comment before the source changes nothing, the whole source
// inside a comment has no imports, and reading the file from disk finds the
// same files as scanning its bytes.

#include "FuzzSupport.h"

#include "engine/LinkedFilesHelper.h"

#include <QDir>

#include <cstddef>
#include <cstdint>

using FuzzSupport::fail;

namespace {

const QString Importer = QStringLiteral("main.less");

QStringList filesRead(const QList<ImportStatement> &statements, const QString &importer)
{
    QStringList files;
    for (const ImportStatement &statement : statements) {
        const QString path = LinkedFilesHelper::pathToImportedFile(statement.target, importer);
        if (LinkedFilesHelper::readsImportedFile(statement) && !files.contains(path))
            files << path;
    }
    return files;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray source(reinterpret_cast<const char *>(data), qsizetype(size));
    const QList<ImportStatement> statements = LinkedFilesHelper::importStatements(source);

    if (LinkedFilesHelper::importStatements("/* a comment */\n" + source) != statements)
        fail("a comment before the source changed its imports");
    const QByteArray commented = "/*" + QByteArray(source).replace("*/", "* /") + "*/";
    if (!LinkedFilesHelper::importStatements(commented).isEmpty())
        fail("imports were found inside a comment");

    const QString path = QDir(FuzzSupport::scratchFolder()).filePath(Importer);
    FuzzSupport::writeFile(path, source);
    const std::optional<QStringList> read = LinkedFilesHelper::linkedFilesForLessFile(path);
    if (!read)
        fail("a readable file could not be scanned");
    const QStringList expected = filesRead(statements, path);
    if (*read != expected)
        fail("the file on disk and its bytes give different imports",
             FuzzSupport::describe(*read) + QStringLiteral("\nexpected\n") + FuzzSupport::describe(expected));
    return 0;
}
