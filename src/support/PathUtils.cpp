#include "PathUtils.h"

#include <QDir>

#include <pwd.h>

namespace PathUtils {

namespace {

const QChar Slash = u'/';

// The path without the trailing slashes that do not stand for the root.
QString trimmedOfTrailingSlashes(const QString &path)
{
    qsizetype end = path.size();
    while (end > 1 && path.at(end - 1) == Slash)
        --end;
    return path.left(end);
}

QString homeOfUser(const QString &user)
{
    if (user.isEmpty())
        return QDir::homePath();
    const passwd *entry = getpwnam(user.toLocal8Bit().constData());
    return entry ? QString::fromLocal8Bit(entry->pw_dir) : QString();
}

// Index of the dot that starts the extension in the last component, or -1.
qsizetype extensionDot(const QString &trimmed)
{
    const qsizetype componentStart = trimmed.lastIndexOf(Slash) + 1;
    const qsizetype dot = trimmed.lastIndexOf(u'.');
    return dot > componentStart ? dot : -1;
}

} // namespace

QString expandTilde(const QString &path)
{
    if (!path.startsWith(u'~'))
        return path;
    const qsizetype slash = path.indexOf(Slash);
    const QString user = path.mid(1, slash < 0 ? -1 : slash - 1);
    const QString home = homeOfUser(user);
    if (home.isEmpty())
        return path;
    return slash < 0 ? home : appendingPathComponent(home, path.mid(slash + 1));
}

QString abbreviateWithTilde(const QString &path)
{
    const QString home = trimmedOfTrailingSlashes(QDir::homePath());
    if (home.isEmpty() || home == QStringLiteral("/"))
        return path;
    if (path == home)
        return QStringLiteral("~");
    if (path.startsWith(home) && path.at(home.size()) == Slash)
        return u'~' + path.mid(home.size());
    return path;
}

QString lastPathComponent(const QString &path)
{
    const QString trimmed = trimmedOfTrailingSlashes(path);
    if (trimmed == QStringLiteral("/"))
        return trimmed;
    return trimmed.mid(trimmed.lastIndexOf(Slash) + 1);
}

QString deletingLastPathComponent(const QString &path)
{
    const QString trimmed = trimmedOfTrailingSlashes(path);
    const qsizetype slash = trimmed.lastIndexOf(Slash);
    if (slash < 0)
        return QString();
    if (slash == 0)
        return QStringLiteral("/");
    return trimmedOfTrailingSlashes(trimmed.left(slash));
}

QString pathExtension(const QString &path)
{
    const QString trimmed = trimmedOfTrailingSlashes(path);
    const qsizetype dot = extensionDot(trimmed);
    return dot < 0 ? QString() : trimmed.mid(dot + 1);
}

QString deletingPathExtension(const QString &path)
{
    const QString trimmed = trimmedOfTrailingSlashes(path);
    const qsizetype dot = extensionDot(trimmed);
    return dot < 0 ? trimmed : trimmed.left(dot);
}

QString appendingPathExtension(const QString &path, const QString &extension)
{
    return trimmedOfTrailingSlashes(path) + u'.' + extension;
}

QString appendingPathComponent(const QString &path, const QString &component)
{
    if (path.isEmpty())
        return component;
    if (component.isEmpty())
        return path;
    QString joined = path;
    if (!joined.endsWith(Slash))
        joined += Slash;
    qsizetype start = 0;
    while (start < component.size() && component.at(start) == Slash)
        ++start;
    return trimmedOfTrailingSlashes(joined + component.mid(start));
}

QStringList pathComponents(const QString &path)
{
    QStringList components;
    if (path.startsWith(Slash))
        components << QStringLiteral("/");
    for (const QString &part : path.split(Slash, Qt::SkipEmptyParts))
        components << part;
    if (path.size() > 1 && path.endsWith(Slash))
        components << QStringLiteral("/");
    return components;
}

} // namespace PathUtils
