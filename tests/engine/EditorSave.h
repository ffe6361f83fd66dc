#pragma once

#include <QByteArray>
#include <QMetaType>
#include <QString>

// Saves a file the ways editors do, with the same system calls.
namespace EditorSave {

enum class Pattern {
    InPlace, // truncate and write
    InPlaceInChunks, // truncate, then several writes with pauses, one close
    TempFileRenamedOver, // write a temporary file, rename it over the original
    BackupThenNewFile, // rename the original away, write a new file at the path
    DeleteThenNewFile, // delete the original, write a new file at the path
};

void save(Pattern pattern, const QString &path, const QByteArray &content);

// The building blocks: each fails the process on an error, as a test cannot
// go on without its files.
void writeInPlace(const QString &path, const QByteArray &content, int chunks = 1);
void createFile(const QString &path, const QByteArray &content);
void rename(const QString &from, const QString &to);
void remove(const QString &path);

} // namespace EditorSave

Q_DECLARE_METATYPE(EditorSave::Pattern)
