#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

// Path string operations with the semantics the project model relies on, and
// the form in which a path goes into a log. They work on the text only and
// never touch the file system.
namespace PathUtils {

// A leading "~" or "~/..." becomes the home folder, "~user/..." that user's home.
QString expandTilde(const QString &path);
// A path at or below the home folder starts with "~" instead.
QString abbreviateWithTilde(const QString &path);

// "/a/b.less" -> "b.less"; trailing slashes are ignored; "/" -> "/".
QString lastPathComponent(const QString &path);
// "/a/b" -> "/a"; "/a" -> "/"; "/" -> "/"; "b" -> "".
QString deletingLastPathComponent(const QString &path);
// Text after the last dot of the last component; a leading dot starts no extension.
QString pathExtension(const QString &path);
// Whether the extension is "less" in any letter case; "/a/.less" has none.
bool isLessFile(const QString &path);
QString deletingPathExtension(const QString &path);
QString appendingPathExtension(const QString &path, const QString &extension);
// Joins with exactly one slash.
QString appendingPathComponent(const QString &path, const QString &component);
// "/a/b" -> {"/", "a", "b"}; a trailing slash adds a final "/".
QStringList pathComponents(const QString &path);

// Whether path lies beneath folder, component by component, after both are
// cleaned: "/x/site2" is not inside "/x/site", "/x/site/a/../b" is. Case
// counts, as it does on Linux. Symbolic links are the caller's to resolve.
bool isInside(const QString &path, const QString &folder);
bool isSameOrInside(const QString &path, const QString &folder);

// What would break a log line shown as an escape: control characters and
// line separators become \n, \r, \t or \u001B.
QString printablePath(const QString &path);
// A path as the file system holds it: each byte that is not part of UTF-8
// text becomes \xFF, the rest is shown as above.
QString printablePath(const QByteArray &path);

} // namespace PathUtils
