#pragma once

#include <QByteArrayList>
#include <QStringList>

// The folders that scans and folder watches pass over, by name: hidden
// folders, package managers' folders and whatever else the preferences list.
// Names may hold the wildcards * and ?. Files they hold that a watched file
// imports are still followed through the imports.
class SkippedFolders
{
public:
    static inline const QStringList DefaultNames{QStringLiteral(".*"), QStringLiteral("node_modules"),
                                                 QStringLiteral("bower_components")};

    explicit SkippedFolders(const QStringList &names = DefaultNames);
    // The preference's list, or the default list when none is set.
    static SkippedFolders fromPreferences();

    bool skipsFolder(const char *name) const;
    // Hidden files, editors' lock files among them, are never LESS files to compile.
    static bool skipsFile(const char *name) { return name[0] == '.'; }

private:
    QByteArrayList m_patterns;
};
