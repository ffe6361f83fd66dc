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

bool breaksLines(QChar character)
{
    switch (character.category()) {
    case QChar::Other_Control:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return true;
    default:
        return false;
    }
}

QString hexadecimal(uint value, int digits)
{
    return QString::number(value, 16).toUpper().rightJustified(digits, u'0');
}

QString escaped(QChar character)
{
    switch (character.unicode()) {
    case u'\n':
        return QStringLiteral("\\n");
    case u'\r':
        return QStringLiteral("\\r");
    case u'\t':
        return QStringLiteral("\\t");
    default:
        return QStringLiteral("\\u") + hexadecimal(character.unicode(), 4);
    }
}

// The length of the UTF-8 sequence that a byte starts; 1 for one that starts none.
qsizetype sequenceLength(uchar lead)
{
    if (lead >= 0xF0)
        return 4;
    if (lead >= 0xE0)
        return 3;
    return lead >= 0xC0 ? 2 : 1;
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

bool isLessFile(const QString &path)
{
    return pathExtension(path).compare(QLatin1StringView("less"), Qt::CaseInsensitive) == 0;
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

bool isInside(const QString &path, const QString &folder)
{
    const QString cleanFolder = QDir::cleanPath(folder);
    const QString cleanPath = QDir::cleanPath(path);
    if (cleanFolder.isEmpty() || cleanPath.size() <= cleanFolder.size())
        return false;
    return cleanPath.startsWith(cleanFolder)
        && (cleanFolder.endsWith(Slash) || cleanPath.at(cleanFolder.size()) == Slash);
}

bool isSameOrInside(const QString &path, const QString &folder)
{
    return !folder.isEmpty() && (QDir::cleanPath(path) == QDir::cleanPath(folder) || isInside(path, folder));
}

QString printablePath(const QString &path)
{
    QString printable;
    printable.reserve(path.size());
    for (QChar character : path)
        printable += breaksLines(character) ? escaped(character) : QString(character);
    return printable;
}

// A sequence is text when it comes back from UTF-8 as it went in.
QString printablePath(const QByteArray &path)
{
    QString text;
    for (qsizetype at = 0; at < path.size();) {
        const QByteArray sequence = path.mid(at, sequenceLength(uchar(path.at(at))));
        const QString decoded = QString::fromUtf8(sequence);
        if (decoded.toUtf8() == sequence) {
            text += decoded;
            at += sequence.size();
        } else {
            text += QStringLiteral("\\x") + hexadecimal(uchar(path.at(at)), 2);
            ++at;
        }
    }
    return printablePath(text);
}

} // namespace PathUtils
