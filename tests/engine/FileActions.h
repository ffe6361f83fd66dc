#pragma once

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMetaType>
#include <QThread>

#include <cstdio>

// File operations for the engine's tests, among them the ways editors save.
// Each stops the test program on an error: a test cannot go on without its files.
namespace FileActions {

enum class Save { InPlace, InPlaceInChunks, TempFileRenamedOver, BackupThenNewFile, DeleteThenNewFile };

inline void check(bool succeeded, const char *operation, const QString &path)
{
    if (!succeeded)
        qFatal("cannot %s %s", operation, qPrintable(path));
}

// Makes the folders on the way; one write() per chunk, 100 ms apart so a watcher
// can see the file half written; one close. Creating fails when the file exists.
inline void write(const QString &path, QIODevice::OpenMode mode, const QByteArray &content, int chunks = 1)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    check(file.open(QIODevice::WriteOnly | mode), "open", path);
    for (qsizetype offset = 0, size = content.size() / chunks + 1; offset < content.size(); offset += size) {
        if (offset > 0)
            QThread::msleep(100);
        check(file.write(content.mid(offset, size)) >= 0 && file.flush(), "write", path);
    }
}

inline void writeInPlace(const QString &path, const QByteArray &content, int chunks = 1)
{
    write(path, QIODevice::ExistingOnly, content, chunks);
}

inline void create(const QString &path, const QByteArray &content, QFile::Permissions permissions = {})
{
    write(path, QIODevice::NewOnly, content);
    check(!permissions || QFile::setPermissions(path, permissions), "set permissions of", path);
}

inline void rename(const QString &from, const QString &to)
{
    check(std::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) == 0, "rename", from);
}

inline void remove(const QString &path)
{
    check(QFile::remove(path), "remove", path);
}

inline QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

inline void save(Save save, const QString &path, const QByteArray &content)
{
    if (save == Save::InPlace || save == Save::InPlaceInChunks)
        return writeInPlace(path, content, save == Save::InPlace ? 1 : 4);
    if (save == Save::TempFileRenamedOver) {
        create(path + ".swp", content);
        return rename(path + ".swp", path);
    }
    if (save == Save::BackupThenNewFile)
        rename(path, path + u'~');
    else
        remove(path);
    create(path, content);
}

} // namespace FileActions

Q_DECLARE_METATYPE(FileActions::Save)
