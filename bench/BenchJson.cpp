// Writing and reading the data file of a 10,000-file project with our JSON
// writer and reader, against QJsonDocument on the same data and text.
#include "services/JSON/SBJsonParser.h"
#include "services/JSON/SBJsonWriter.h"
#include "BenchStatistics.h"

#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QVariantList>
#include <QVariantMap>

#include <algorithm>
#include <cstdio>
#include <functional>

namespace {

constexpr int FolderCount = 50;
constexpr int FilesPerFolder = 200;
constexpr int Rounds = 7;
constexpr double TargetRatio = 2.0;
const QString Home = QStringLiteral("/home/alex");

QString tilde(const QString &path)
{
    return u'~' + path.mid(Home.size());
}

QString abbreviated(const QString &path)
{
    return QStringLiteral("\u2026/") + path.section(u'/', -3);
}

QVariantMap lessFileRecord(const QString &folder, int folderNumber, int fileNumber)
{
    const QString name = QStringLiteral("component-%1-%2.less").arg(folderNumber).arg(fileNumber);
    const QString cssName = QStringLiteral("component-%1-%2.css").arg(folderNumber).arg(fileNumber);
    const QString lessPath = folder + QStringLiteral("/assets/less/modules/") + name;
    const QString cssPath = folder + QStringLiteral("/public/css/modules/") + cssName;
    return {
        {QStringLiteral("$class"), QStringLiteral("LessHolder")},
        {QStringLiteral("memberOfWatchedFolder"), folder},
        {QStringLiteral("lessFileFullPath"), lessPath},
        {QStringLiteral("lessFileTildePath"), tilde(lessPath)},
        {QStringLiteral("lessFileAbbreviatedPath"), abbreviated(lessPath)},
        {QStringLiteral("lessFilename"), name},
        {QStringLiteral("targetCSSFileFullPath"), cssPath},
        {QStringLiteral("targetCSSFileTildePath"), tilde(cssPath)},
        {QStringLiteral("targetCSSFileAbbreviatedPath"), abbreviated(cssPath)},
        {QStringLiteral("targetCSSFilename"), cssName},
        {QStringLiteral("checkboxState"), true},
        {QStringLiteral("shouldCompressCSSOutput"), false},
    };
}

QVariantMap folderRecord(int folderNumber)
{
    const QString lastComponent = QStringLiteral("client-site-%1").arg(folderNumber, 2, 10, QLatin1Char('0'));
    const QString folder = Home + QStringLiteral("/Projects/Clients/") + lastComponent;
    QVariantList lessFiles;
    for (int file = 0; file < FilesPerFolder; ++file)
        lessFiles.append(lessFileRecord(folder, folderNumber, file));
    return {
        {QStringLiteral("$class"), QStringLiteral("PathHolder")},
        {QStringLiteral("userSelectedFullPath"), folder},
        {QStringLiteral("userSelectedTildePath"), tilde(folder)},
        {QStringLiteral("userSelectedLastPathComponent"), lastComponent},
        {QStringLiteral("lessFiles"), lessFiles},
        {QStringLiteral("numberOfLessFilesInPath"), FilesPerFolder},
        {QStringLiteral("iconImage"), QStringLiteral("folder")},
        {QStringLiteral("valuesForPathsTableViewCell"),
         QVariantMap{{QStringLiteral("titleString"), lastComponent},
                     {QStringLiteral("subtitleString"), tilde(folder)},
                     {QStringLiteral("iconImage"), QStringLiteral("folder")}}},
    };
}

QVariantMap projectData()
{
    QVariantList folders;
    for (int folder = 0; folder < FolderCount; ++folder)
        folders.append(folderRecord(folder));
    return {
        {QStringLiteral("appModelPathData"), folders},
        {QStringLiteral("creatorVersion"), QStringLiteral("1.0.0")},
        {QStringLiteral("creatorBuildNumber"), 406},
    };
}

double medianMilliseconds(const std::function<void()> &work)
{
    QList<qint64> samples;
    for (int round = 0; round < Rounds; ++round) {
        QElapsedTimer timer;
        timer.start();
        work();
        samples << timer.nsecsElapsed();
    }
    return medianInMilliseconds(samples);
}

void report(const char *direction, const char *ours, double oursMs, const char *reference, double referenceMs)
{
    const double ratio = oursMs / referenceMs;
    std::printf("%-7s %-34s %8.1f ms   %-28s %8.1f ms   ratio %.2f (target <= %.0f)%s\n", direction,
                ours, oursMs, reference, referenceMs, ratio, TargetRatio,
                ratio <= TargetRatio ? "" : "  MISSED");
}

} // namespace

int main()
{
    const QVariantMap root = projectData();
    const QJsonDocument document(QJsonObject::fromVariantMap(root));
    SBJsonWriter writer;
    SBJsonParser parser;

    // Both write keys in order and escape alike, so the texts must agree.
    const QByteArray text = writer.stringWithObject(root).value_or(QString()).toUtf8();
    if (text != document.toJson(QJsonDocument::Compact)) {
        std::fprintf(stderr, "our text differs from QJsonDocument's\n");
        return 1;
    }
    if (writer.stringWithObject(parser.objectWithUtf8(text)).value_or(QString()).toUtf8() != text) {
        std::fprintf(stderr, "reading and writing again changed the text\n");
        return 1;
    }
    std::printf("data file: %d folders, %d files, %.1f MB\n", FolderCount, FolderCount * FilesPerFolder,
                text.size() / 1e6);

    QByteArray written;
    const double ourWrite = medianMilliseconds([&] { written = writer.stringWithObject(root)->toUtf8(); });
    const double qtWrite = medianMilliseconds([&] { written = document.toJson(QJsonDocument::Compact); });
    report("write", "stringWithObject + toUtf8", ourWrite, "QJsonDocument::toJson", qtWrite);

    // Every result is kept to the end, so that neither side is timed freeing one.
    QVariantList values;
    QList<QJsonDocument> documents;
    const double ourRead = medianMilliseconds([&] { values.append(parser.objectWithUtf8(text)); });
    const double qtRead = medianMilliseconds([&] { documents.append(QJsonDocument::fromJson(text)); });
    report("read", "objectWithUtf8", ourRead, "QJsonDocument::fromJson", qtRead);

    const QString string = QString::fromUtf8(text);
    const double ourStringRead = medianMilliseconds([&] { values.append(parser.objectWithString(string)); });
    report("read", "objectWithString (from QString)", ourStringRead, "QJsonDocument::fromJson", qtRead);
    return 0;
}
