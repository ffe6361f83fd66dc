#pragma once

#include <QString>
#include <QVariantMap>

// Where the CSS of a watched folder's LESS files goes unless a file was given
// its own target: beside the file, into a folder relative to the file's own
// ("../css"), or into the file's folder with one path component replaced
// ("less" by "css", so that less/admin/x.less compiles to css/admin/x.css).
struct OutputRule
{
    enum class Kind { BesideFile, Folder, ReplaceComponent };

    Kind kind = Kind::BesideFile;
    // Kind::Folder: relative to the LESS file's folder, or absolute.
    QString folder;
    // Kind::ReplaceComponent: the component of the file's folder below the
    // watched folder, and what takes its place.
    QString replace;
    QString with;

    bool operator==(const OutputRule &other) const = default;

    static OutputRule intoFolder(const QString &folder);
    static OutputRule replacingComponent(const QString &replace, const QString &with);

    bool isBesideFile() const { return kind == Kind::BesideFile; }
    // One folder's name, as a replacement rule needs.
    static bool isFolderName(const QString &name);
    // The CSS file for lessFile in watchedFolder; empty for beside the file,
    // which is also what a replacement that matches nothing gives.
    QString targetFor(const QString &lessFile, const QString &watchedFolder) const;

    // {"folder": "../css"}, {"replace": "less", "with": "css"}, or nothing.
    QVariantMap toVariantMap() const;
    // A malformed rule is beside the file, with the reason in *error.
    static OutputRule fromVariantMap(const QVariantMap &values, QString *error = nullptr);
};
