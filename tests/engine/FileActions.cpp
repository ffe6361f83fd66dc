#include "FileActions.h"

#include <QDir>
#include <QFileInfo>
#include <QThread>

#include <cstdio>

namespace FileActions {

namespace {

// Long enough for the watcher to see the file half written.
constexpr int PauseBetweenChunksMs = 100;
constexpr int ChunkCount = 4;

void check(bool succeeded, const char *operation, const QString &path)
{
    if (!succeeded)
        qFatal("cannot %s %s", operation, qPrintable(path));
}

// QFile writes each flushed chunk with one write() and closes once.
void write(QFile &file, const QByteArray &content, int chunks)
{
    const qsizetype chunkSize = content.size() / chunks + 1;
    for (qsizetype offset = 0; offset < content.size(); offset += chunkSize) {
        if (offset > 0)
            QThread::msleep(PauseBetweenChunksMs);
        check(file.write(content.mid(offset, chunkSize)) >= 0 && file.flush(), "write", file.fileName());
    }
    file.close();
}

} // namespace

void writeInPlace(const QString &path, const QByteArray &content, int chunks)
{
    QFile file(path);
    check(file.open(QIODevice::WriteOnly | QIODevice::ExistingOnly), "open", path);
    write(file, content, chunks);
}

void create(const QString &path, const QByteArray &content, QFile::Permissions permissions)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    check(file.open(QIODevice::WriteOnly | QIODevice::NewOnly), "create", path);
    check(!permissions || file.setPermissions(permissions), "set permissions of", path);
    write(file, content, 1);
}

void rename(const QString &from, const QString &to)
{
    check(std::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) == 0, "rename",
          from);
}

void remove(const QString &path)
{
    check(QFile::remove(path), "remove", path);
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void save(Save save, const QString &path, const QByteArray &content)
{
    switch (save) {
    case Save::InPlace:
        writeInPlace(path, content);
        break;
    case Save::InPlaceInChunks:
        writeInPlace(path, content, ChunkCount);
        break;
    case Save::TempFileRenamedOver:
        create(path + QStringLiteral(".swp"), content);
        rename(path + QStringLiteral(".swp"), path);
        break;
    case Save::BackupThenNewFile:
        rename(path, path + u'~');
        create(path, content);
        break;
    case Save::DeleteThenNewFile:
        remove(path);
        create(path, content);
        break;
    }
}

} // namespace FileActions
