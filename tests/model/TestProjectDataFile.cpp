#include "model/ProjectDataFile.h"
#include "services/JSON/JsonDecimal.h"
#include "services/JSON/SBJsonParser.h"
#include "support/BundleInfo.h"

#include <QDir>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <sys/resource.h>

using Outcome = ProjectDataFile::Outcome;

namespace {

const QString Folder = QStringLiteral(
    R"({"$class": "PathHolder", "userSelectedFullPath": "/w", "lessFiles": [%1]})");
const QString File = QStringLiteral(
    R"({"$class": "LessHolder", "lessFileFullPath": "/w/less/a.less", "lessFilename": "a.less",
        "lessFileAbbreviatedPath": "/less/a.less" %1})");

QByteArray project(const QString &folders, int buildNumber = 406)
{
    return QStringLiteral(R"({"creatorBuildNumber": %1, "appModelPathData": [%2]})")
        .arg(buildNumber)
        .arg(folders)
        .toUtf8();
}

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void write(const QString &path, const QByteArray &contents)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(contents) != contents.size())
        qFatal("cannot write %s", qPrintable(path));
}

// Every stored field, and the row values.
QStringList describe(const LessHolder &file)
{
    return {file.memberOfWatchedFolder(), file.lessFileFullPath(), file.lessFileTildePath(),
            file.lessFileAbbreviatedPath(), file.lessFilename(), file.targetCSSFileFullPath(),
            file.targetCSSFileTildePath(), file.targetCSSFileAbbreviatedPath(), file.targetCSSFilename(),
            QString::number(file.checkboxState()), QString::number(file.shouldCompressCSSOutput()),
            QVariant(file.valuesForTableViewCell().values()).toStringList().join(u'|')};
}

QStringList describe(const PathHolder &folder)
{
    QStringList fields{folder.userSelectedFullPath(), folder.userSelectedTildePath(),
                       folder.userSelectedLastPathComponent(),
                       QString::number(folder.numberOfLessFilesInPath()), folder.iconImage(),
                       QVariant(folder.valuesForTableViewCell().values()).toStringList().join(u'|')};
    for (const auto &file : folder.lessFiles())
        fields << describe(*file);
    return fields;
}

} // namespace

class TestProjectDataFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void roundTrip();
    void acceptance_data();
    void acceptance();
    void missingKeysTakeDefaults();
    void unreadableFileIsKeptAside_data();
    void unreadableFileIsKeptAside();
    void failedSaveKeepsThePreviousFile_data();
    void failedSaveKeepsThePreviousFile();
};

void TestProjectDataFile::roundTrip()
{
    const QString site = QDir::homePath() + "/site";
    LessModel model;
    model.addNewPathToModel(site, {site + "/less/a.less", site + "/b.less", site + "/c.less"});
    model.addNewPathToModel(QStringLiteral("/srv/other"), {"/srv/other/x.less"});
    const auto &files = model.pathData().at(0)->lessFiles();
    files.at(0)->setCSSFileOutputPath(QStringLiteral("~/site/css"));
    files.at(1)->setCheckboxState(false);
    files.at(2)->setShouldCompressCSSOutput(true);
    files.at(2)->setCSSFileOutputPath(QStringLiteral("/tmp/out/c.css"));
    files.at(1)->setLinkedFilesToCompile({site + "/c.less"});

    const ProjectDataFile dataFile;
    QCOMPARE(dataFile.filePath(),
             qEnvironmentVariable("XDG_DATA_HOME") + "/Cascader app/lessDataFile.lessData");
    QVERIFY(dataFile.saveDataToDisk(model.pathData()));

    const QVariantMap root = SBJsonParser().objectWithUtf8(readAll(dataFile.filePath())).toMap();
    QCOMPARE(root.keys(), (QStringList{"appModelPathData", "creatorBuildNumber", "creatorVersion"}));
    QCOMPARE(root.value("creatorBuildNumber").value<JsonDecimal>().toInt(), 406);
    QCOMPARE(root.value("creatorVersion").toString(), BundleInfo::value(BundleInfo::CFBundleVersion));
    const QVariantMap folder = root.value("appModelPathData").toList().at(0).toMap();
    QCOMPARE(folder.keys(), (QStringList{"$class", "iconImage", "lessFiles", "numberOfLessFilesInPath",
                                         "userSelectedFullPath", "userSelectedLastPathComponent",
                                         "userSelectedTildePath", "valuesForPathsTableViewCell"}));
    QCOMPARE(folder.value("lessFiles").toList().at(0).toMap().keys(),
             (QStringList{"$class", "checkboxState", "lessFileAbbreviatedPath", "lessFileFullPath",
                          "lessFileTildePath", "lessFilename", "memberOfWatchedFolder",
                          "shouldCompressCSSOutput", "targetCSSFileAbbreviatedPath",
                          "targetCSSFileFullPath", "targetCSSFileTildePath", "targetCSSFilename"}));

    const ProjectDataFile::LoadResult loaded = dataFile.loadDataFromDisk();
    QCOMPARE(loaded.outcome, Outcome::Loaded);
    QCOMPARE(loaded.pathData.size(), 2u);
    // A default target comes back as if chosen: its tilde form and name filled.
    files.at(1)->setCSSFileOutputPath(site + "/b.css");
    model.pathData().at(1)->lessFiles().at(0)->setCSSFileOutputPath("/srv/other/x.css");
    QCOMPARE(loaded.pathData.at(0)->lessFiles().at(1)->targetCSSFilename(), QStringLiteral("b.css"));
    for (size_t row = 0; row < 2; ++row)
        QCOMPARE(describe(*loaded.pathData.at(row)), describe(*model.pathData().at(row)));
    for (const auto &file : loaded.pathData.at(0)->lessFiles())
        QVERIFY(file->linkedFilesToCompile().isEmpty());
}

void TestProjectDataFile::acceptance_data()
{
    QTest::addColumn<QByteArray>("contents");
    QTest::addColumn<Outcome>("outcome");
    QTest::addColumn<int>("folders");

    QTest::newRow("no file") << QByteArray() << Outcome::Missing << 0;
    QTest::newRow("build 405") << project(Folder.arg(""), 405) << Outcome::Ignored << 0;
    QTest::newRow("build 406") << project(Folder.arg("")) << Outcome::Loaded << 1;
    QTest::newRow("no build number") << QByteArray(R"({"appModelPathData": []})") << Outcome::Ignored
                                     << 0;
    QTest::newRow("no folder list") << QByteArray(R"({"creatorBuildNumber": 406})") << Outcome::Loaded
                                    << 0;
}

void TestProjectDataFile::acceptance()
{
    QFETCH(QByteArray, contents);
    QFETCH(Outcome, outcome);
    QFETCH(int, folders);

    const QTemporaryDir folder;
    const ProjectDataFile dataFile(folder.filePath("lessDataFile.lessData"));
    if (!contents.isNull())
        write(dataFile.filePath(), contents);
    const ProjectDataFile::LoadResult loaded = dataFile.loadDataFromDisk();
    QCOMPARE(loaded.outcome, outcome);
    QCOMPARE(int(loaded.pathData.size()), folders);
    QCOMPARE(QDir(folder.path()).entryList(QDir::Files).size(), contents.isNull() ? 0 : 1);
}

void TestProjectDataFile::missingKeysTakeDefaults()
{
    const QTemporaryDir folder;
    const ProjectDataFile dataFile(folder.filePath("data"));
    write(dataFile.filePath(), project(Folder.arg(File.arg(""))));
    const ProjectDataFile::LoadResult loaded = dataFile.loadDataFromDisk();
    QCOMPARE(loaded.outcome, Outcome::Loaded);

    const PathHolder &path = *loaded.pathData.at(0);
    QCOMPARE(path.numberOfLessFilesInPath(), 0);
    QCOMPARE(path.iconImage(), QStringLiteral("folder"));
    QVERIFY(path.valuesForTableViewCell().isEmpty());
    const LessHolder &file = *path.lessFiles().at(0);
    QVERIFY(file.checkboxState());
    QVERIFY(!file.shouldCompressCSSOutput());
    QCOMPARE(file.targetCSSFileFullPath(), QStringLiteral("/w/less/a.css"));
    QCOMPARE(file.targetCSSFileTildePath(), QString());
    const QVariantMap row{{"titleString", "/less/a.less"}, {"subtitleString", "Output: "}};
    QCOMPARE(file.valuesForTableViewCell(), row);
}

void TestProjectDataFile::unreadableFileIsKeptAside_data()
{
    QTest::addColumn<QByteArray>("contents");
    QTest::addColumn<QString>("reason");

    const QByteArray whole = project(Folder.arg(File.arg("")));
    QTest::newRow("garbage") << QByteArray("lorem ipsum") << "it is not valid JSON: ";
    QTest::newRow("truncated") << whole.left(whole.size() / 2) << "it is not valid JSON: ";
    QTest::newRow("not UTF-8") << QByteArray("{\"a\": \"\xff\"}") << "it is not UTF-8 text";
    QTest::newRow("root is a list") << QByteArray("[]") << "the root is not an object";
    QTest::newRow("build number is text") << QByteArray(R"({"creatorBuildNumber": "406"})")
                                          << "\"creatorBuildNumber\" of the root is not a 32-bit integer";
    QTest::newRow("folder without class") << project(R"({"lessFiles": []})")
                                          << "folder 1 is not a PathHolder record";
    QTest::newRow("file path is a number")
        << project(Folder.arg(R"({"$class": "LessHolder", "lessFileFullPath": 5})"))
        << "\"lessFileFullPath\" of file 1 of folder 1 is not a string";
    QTest::newRow("check mark is text") << project(Folder.arg(File.arg(R"(, "checkboxState": "yes")")))
                                        << "\"checkboxState\" of file 1 of folder 1 is not true or false";
    QTest::newRow("row value is a number")
        << project(R"({"$class": "PathHolder", "valuesForPathsTableViewCell": {"titleString": 1}})")
        << "\"valuesForPathsTableViewCell\" of folder 1 is not an object of strings";
}

void TestProjectDataFile::unreadableFileIsKeptAside()
{
    QFETCH(QByteArray, contents);
    QFETCH(QString, reason);

    const QTemporaryDir folder;
    const ProjectDataFile dataFile(folder.filePath("lessDataFile.lessData"));
    write(dataFile.filePath(), contents);
    const QString path = QRegularExpression::escape(dataFile.filePath());
    const QRegularExpression warning(
        "^Could not read the project data file " + path + " \\(" + QRegularExpression::escape(reason)
        + ".*\\)\\. The project starts empty; the file was kept as " + path
        + "\\.\\d{4}-\\d\\d-\\d\\dT\\d\\d-\\d\\d-\\d\\d(-2)?\\.$");
    // A second failure in the same second must not replace the first copy.
    for (int attempt = 0; attempt < 2; ++attempt) {
        QTest::ignoreMessage(QtWarningMsg, warning);
        const ProjectDataFile::LoadResult loaded = dataFile.loadDataFromDisk();
        QCOMPARE(loaded.outcome, Outcome::Unreadable);
        QVERIFY(loaded.pathData.empty());
    }
    const QStringList copies = QDir(folder.path()).entryList({"lessDataFile.lessData.*"}, QDir::Files);
    QCOMPARE(copies.size(), 2);
    for (const QString &copy : copies)
        QCOMPARE(readAll(folder.filePath(copy)), contents);
}

void TestProjectDataFile::failedSaveKeepsThePreviousFile_data()
{
    QTest::addColumn<bool>("directoryInTheWay");

    QTest::newRow("directory in the way") << true;
    QTest::newRow("file size limit reached while writing") << false;
}

void TestProjectDataFile::failedSaveKeepsThePreviousFile()
{
    QFETCH(bool, directoryInTheWay);

    const QTemporaryDir folder;
    const ProjectDataFile dataFile(folder.filePath("lessDataFile.lessData"));
    LessModel model;
    model.addNewPathToModel(QStringLiteral("/w"), {"/w/a.less"});
    if (directoryInTheWay)
        QVERIFY(QDir().mkdir(dataFile.filePath()));
    else
        QVERIFY(dataFile.saveDataToDisk(model.pathData()));
    const QByteArray previous = readAll(dataFile.filePath());
    for (int file = 0; file < 100; ++file)
        model.addLessFileToModel(QStringLiteral("/w/%1.less").arg(file), QStringLiteral("/w"));

    // Limits apply to root too, unlike permissions.
    rlimit original{};
    getrlimit(RLIMIT_FSIZE, &original);
    const rlimit limited{rlim_t(previous.size() + 1024), original.rlim_max};
    std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &limited);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^Could not save the project to "
                                                         + QRegularExpression::escape(dataFile.filePath())
                                                         + ": .+$"));
    const bool saved = dataFile.saveDataToDisk(model.pathData());
    setrlimit(RLIMIT_FSIZE, &original);

    QVERIFY(!saved);
    QCOMPARE(QFileInfo(dataFile.filePath()).isDir(), directoryInTheWay);
    QCOMPARE(readAll(dataFile.filePath()), previous);
    QCOMPARE(QDir(folder.path()).entryList(QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot).size(), 1);
}

QTEST_GUILESS_MAIN(TestProjectDataFile)
#include "TestProjectDataFile.moc"
