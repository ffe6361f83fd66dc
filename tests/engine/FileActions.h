#pragma once

#include <QByteArray>
#include <QFile>
#include <QMetaType>
#include <QString>

// File operations for the engine's tests, among them the ways editors save.
// Each stops the test program on an error: a test cannot go on without its files.
namespace FileActions {

enum class Save {
    InPlace, // truncate and write
    InPlaceInChunks, // truncate, then several writes with pauses, one close
    TempFileRenamedOver, // write a temporary file, rename it over the original
    BackupThenNewFile, // rename the original away, write a new file at the path
    DeleteThenNewFile, // delete the original, write a new file at the path
};

void save(Save save, const QString &path, const QByteArray &content);
void writeInPlace(const QString &path, const QByteArray &content, int chunks = 1);
// Makes the folders on the way; fails when the file exists.
void create(const QString &path, const QByteArray &content, QFile::Permissions permissions = {});
// Replaces an existing file at to.
void rename(const QString &from, const QString &to);
void remove(const QString &path);
QByteArray contentOf(const QString &path);

} // namespace FileActions

Q_DECLARE_METATYPE(FileActions::Save)
