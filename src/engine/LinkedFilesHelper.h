#pragma once

#include <QString>
#include <QStringList>

#include <optional>

// A deliberately simple byte scanner for @import statements. It does not parse
// LESS: comments and strings are not recognised, and every '@' starts a
// statement that runs to the next ';'.

// The import target of one terminated statement ("@..." through ';'), or the
// empty string when the statement is not an import.
std::optional<QString> scanForImportStringInBuffer(const char *statement);

// The import targets of the file at path, in file order, duplicates kept;
// nothing when the file cannot be opened.
std::optional<QStringList> scanForAllImportStatements(const QByteArray &path);

// LinkedFilesHelper: the import scanner that tells which files a LESS file imports.
class LinkedFilesHelper
{
public:
    static std::optional<QStringList> linkedFilesForLessFile(const QString &lessFilePath);
    // The absolute path an import target names, worked out from the importing
    // file's folder without touching the file system.
    static QString pathToImportedFile(const QString &importTarget, const QString &lessFilePath);
};
