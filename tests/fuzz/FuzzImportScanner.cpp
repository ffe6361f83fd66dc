// The @import scanner on arbitrary LESS files. The scanner reads through a
// 64 KiB buffer and keeps statements in a fixed 4 KiB one; its result is
// compared with a plain in-memory walk over the same bytes, so that a slip at
// either boundary shows up as a different list, not only as a memory error.

#include "FuzzSupport.h"

#include "engine/LinkedFilesHelper.h"

#include <QDir>

#include <cstddef>
#include <cstdint>

using FuzzSupport::fail;

namespace {

constexpr qsizetype ReadBufferSize = 64 * 1024;
constexpr qsizetype StatementLimit = 4096;

// Every '@' outside a statement starts one; a NUL or a full statement drops
// it, the end of the file ends the scan and ';' completes it.
QStringList expectedImports(const QByteArray &contents)
{
    QStringList imports;
    qsizetype next = 0;
    while ((next = contents.indexOf('@', next)) >= 0) {
        QByteArray statement("@");
        ++next;
        for (;;) {
            if (next == contents.size())
                return imports;
            const char byte = contents.at(next++);
            if (byte == '\0' || statement.size() >= StatementLimit)
                break;
            statement += byte;
            if (byte == ';') {
                const std::optional<QString> target = scanForImportStringInBuffer(statement.constData());
                if (target && !target->isEmpty())
                    imports << *target;
                break;
            }
        }
    }
    return imports;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    FuzzSupport::silenceQtMessages();
    return 0;
}

// The first byte n, when not zero, puts 64 KiB - n bytes of plain text before
// the rest, so that the rest straddles the point where the buffer refills.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    const qsizetype padding = data[0] == 0 ? 0 : ReadBufferSize - data[0];
    const QByteArray contents = QByteArray(padding, ' ')
                                + QByteArray(reinterpret_cast<const char *>(data) + 1, qsizetype(size) - 1);
    const QString path = QDir(FuzzSupport::scratchFolder()).filePath(QStringLiteral("main.less"));
    FuzzSupport::writeFile(path, contents);

    const std::optional<QStringList> imports = LinkedFilesHelper::linkedFilesForLessFile(path);
    if (!imports)
        fail("a readable file could not be scanned");
    const QStringList expected = expectedImports(contents);
    if (*imports != expected)
        fail("the scanner's imports differ from the statements in the file",
             imports->join(u'\n') + QStringLiteral("\nexpected\n") + expected.join(u'\n'));

    for (const QString &target : *imports)
        LinkedFilesHelper::pathToImportedFile(target, QStringLiteral("/p/site/css/main.less"));
    return 0;
}
