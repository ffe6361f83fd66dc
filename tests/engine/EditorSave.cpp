#include "EditorSave.h"

#include <QFile>
#include <QThread>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace EditorSave {

namespace {

// Long enough for the watcher to see the file half written.
constexpr int PauseBetweenChunksMs = 100;
constexpr int ChunkCount = 4;

[[noreturn]] void fail(const char *operation, const QString &path)
{
    qFatal("%s %s: %s", operation, qPrintable(path), std::strerror(errno));
}

void writeAndClose(int fd, const QString &path, const QByteArray &content, int chunks)
{
    const qsizetype chunkSize = content.size() / chunks + 1;
    for (qsizetype offset = 0; offset < content.size(); offset += chunkSize) {
        if (offset > 0)
            QThread::msleep(PauseBetweenChunksMs);
        const qsizetype size = qMin(chunkSize, content.size() - offset);
        if (::write(fd, content.constData() + offset, size) != size)
            fail("write", path);
    }
    if (::close(fd) != 0)
        fail("close", path);
}

void writeFile(const QString &path, const QByteArray &content, int flags, int chunks)
{
    const int fd = ::open(QFile::encodeName(path).constData(), O_WRONLY | O_TRUNC | O_CLOEXEC | flags, 0644);
    if (fd < 0)
        fail("open", path);
    writeAndClose(fd, path, content, chunks);
}

} // namespace

void writeInPlace(const QString &path, const QByteArray &content, int chunks)
{
    writeFile(path, content, 0, chunks);
}

void createFile(const QString &path, const QByteArray &content)
{
    writeFile(path, content, O_CREAT | O_EXCL, 1);
}

void rename(const QString &from, const QString &to)
{
    if (std::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) != 0)
        fail("rename", from);
}

void remove(const QString &path)
{
    if (::unlink(QFile::encodeName(path).constData()) != 0)
        fail("unlink", path);
}

void save(Pattern pattern, const QString &path, const QByteArray &content)
{
    switch (pattern) {
    case Pattern::InPlace:
        writeInPlace(path, content);
        break;
    case Pattern::InPlaceInChunks:
        writeInPlace(path, content, ChunkCount);
        break;
    case Pattern::TempFileRenamedOver: {
        const QString temporary = path + QStringLiteral(".swp");
        createFile(temporary, content);
        rename(temporary, path);
        break;
    }
    case Pattern::BackupThenNewFile: {
        const QString backup = path + u'~';
        QFile::remove(backup);
        rename(path, backup);
        createFile(path, content);
        break;
    }
    case Pattern::DeleteThenNewFile:
        remove(path);
        createFile(path, content);
        break;
    }
}

} // namespace EditorSave
