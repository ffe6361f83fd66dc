#pragma once

#include <QByteArrayView>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

// One name of an @import statement, with the statement's options
// ("reference", "less", "optional", …), lower case.
struct ImportStatement
{
    QString target;
    QStringList options;

    bool operator==(const ImportStatement &) const = default;
};

// Finds the files a LESS file imports before it has ever compiled; after a
// compile, the compiler's own list of the files it read takes over. The
// scanner knows enough LESS to skip comments, strings and url() values, reads
// statements over several lines, with options and several names, and keeps
// every name whole.
class LinkedFilesHelper
{
public:
    // The @import statements of source, one entry per name, in order.
    static QList<ImportStatement> importStatements(QByteArrayView source);
    // Whether less reads the named file, rather than leaving a CSS @import
    // in its output or a name it can only work out while compiling.
    static bool readsImportedFile(const ImportStatement &statement);
    // The files the LESS file at path reads through its imports, as absolute
    // paths, each once, in order; nothing when the file cannot be read.
    static std::optional<QStringList> linkedFilesForLessFile(const QString &lessFilePath);
    // The absolute path an import names, worked out from the importing file's
    // folder (a name without an extension is a .less file) without touching
    // the file system.
    static QString pathToImportedFile(const QString &importTarget, const QString &lessFilePath);
};
