#pragma once

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

// Which LESS files read which: for each file the files it imports, and the
// reverse. Paths are kept as given, case and all; every file ever named gets a
// small number, so that walking the graph compares numbers, not strings.
class ImportGraph
{
public:
    // The files that file reads, replacing what it read before. Files it
    // names need not be known yet.
    void setImports(const QString &file, const QStringList &imports);
    // What file reads is no longer known; files that read it still do.
    void forgetImportsOf(const QString &file);
    void clear();

    bool hasImportsRecorded(const QString &file) const;
    QStringList importsOf(const QString &file) const;
    // The files that read file directly, in the order they were recorded.
    QStringList importersOf(const QString &file) const;
    bool isImported(const QString &file) const;
    // Every file from which file can be reached through imports, nearest
    // first, each once however many paths lead to it; never file itself.
    QStringList dependentsOf(const QString &file) const;
    // Each file with imports recorded, and its imports.
    QHash<QString, QStringList> allImports() const;

private:
    int idOf(const QString &file) const;
    int addFile(const QString &file);
    void unlinkImports(int file);

    QHash<QString, int> m_ids;
    QStringList m_paths;
    QList<QList<int>> m_imports;
    QList<QList<int>> m_importers;
    QList<bool> m_recorded;
};
