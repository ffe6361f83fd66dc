#include "model/ProjectDataFile.h"
#include "model/ProjectSaver.h"
#include "services/JSON/JsonDecimal.h"
#include "services/JSON/SBJsonParser.h"
#include "support/BundleInfo.h"

#include <QDir>
#include <QElapsedTimer>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <sys/resource.h>

using Outcome = ProjectDataFile::Outcome;

namespace {

enum class Change { AddFolder, RemoveFolder, AddFile, RemoveFile, CheckMark, CSSTarget, Compression };

const QString Folder = QStringLiteral(R"({"$class": "PathHolder", "userSelectedFullPath": "/w", "lessFiles": [%1]})");
const QString File = QStringLiteral(R"({"$class": "LessHolder", "lessFileFullPath": "/w/less/a.less",
    "lessFilename": "a.less", "lessFileAbbreviatedPath": "/less/a.less" %1})");

QByteArray project(const QString &folders, int buildNumber = 406)
{
    return QStringLiteral(R"({"creatorBuildNumber": %1, "appModelPathData": [%2]})").arg(buildNumber).arg(folders).toUtf8();
}

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// The nth change of its kind; each leaves the project in a state it was not in before.
void make(Change change, LessModel &model, int nth)
{
    const QString folder = QStringLiteral("/w");
    LessHolder &file = *model.pathData().at(0)->lessFiles().at(size_t(nth));
    switch (change) {
    case Change::AddFolder:
        return model.addNewPathToModel(QStringLiteral("/x"), {"/x/a.less"});
    case Change::RemoveFolder:
        return model.removePathFromModel(folder);
    case Change::AddFile:
        return model.addLessFileToModel(QStringLiteral("/w/new.less"), folder);
    case Change::RemoveFile:
        return model.removeLessFileFromModel(file.lessFileFullPath(), folder);
    case Change::CheckMark:
        return file.setCheckboxState(false);
    case Change::CSSTarget:
        return file.setCSSFileOutputPath(QStringLiteral("/w/css"));
    case Change::Compression:
        return file.setShouldCompressCSSOutput(true);
    }
}

} // namespace

Q_DECLARE_METATYPE(Change)
Q_DECLARE_METATYPE(ProjectSaver::Role)

class TestProjectDataFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void roundTrip()
    {
        const QString site = QDir::homePath() + "/site";
        LessModel model;
        model.addNewPathToModel(site, {site + "/less/a.less", site + "/b.less", site + "/c.less"});
        model.addNewPathToModel(QStringLiteral("/srv/other"), {"/srv/other/x.less"});
        const auto &files = model.pathData().at(0)->lessFiles();
        files.at(0)->setCSSFileOutputPath(QStringLiteral("~/site/css"));
        files.at(0)->setImportedFiles(QStringList{site + "/b.less", "/lib/x.less"});
        files.at(1)->chooseCheckboxState(false);
        files.at(1)->setLinkedFilesToCompile({site + "/c.less"});
        files.at(2)->setImportedFiles(QStringList());
        files.at(2)->setShouldCompressCSSOutput(true);
        files.at(2)->setCSSFileOutputPath(QStringLiteral("/tmp/out/c.css"));
        LessOptions options;
        options.sourceMap = LessOptions::SourceMap::Inline;
        options.math = "parens";
        options.includePaths = QStringList{"vendor", "/usr/share/less"};
        options.globalVariables = {{"brand", "#123"}, {"gap", "4px"}};
        options.projectLess = true;
        files.at(1)->setLessOptions(options);
        model.pathData().at(0)->setOutputRule(OutputRule::replacingComponent("less", "css"));

        const ProjectDataFile dataFile;
        QVERIFY(dataFile.saveDataToDisk(model.pathData()));
        const QVariantMap root = SBJsonParser().objectWithUtf8(readAll(dataFile.filePath())).toMap();
        QCOMPARE(root.keys(), (QStringList{"appModelPathData", "creatorBuildNumber", "creatorVersion"}));
        QCOMPARE(root.value("creatorBuildNumber").value<JsonDecimal>().toInt(), 406);
        QCOMPARE(root.value("creatorVersion").toString(), BundleInfo::value(BundleInfo::CFBundleVersion));

        const ProjectDataFile::LoadResult loaded = dataFile.loadDataFromDisk();
        QCOMPARE(loaded.outcome, Outcome::Loaded);
        const auto &loadedFiles = loaded.pathData.at(0)->lessFiles();
        for (const auto &file : loadedFiles)
            QVERIFY(file->linkedFilesToCompile().isEmpty());
        QCOMPARE(loadedFiles.at(0)->importedFiles(), (QStringList{site + "/b.less", "/lib/x.less"}));
        QCOMPARE(loadedFiles.at(2)->importedFiles(), QStringList());
        QVERIFY(!loadedFiles.at(0)->checkboxChosenByUser() && loadedFiles.at(1)->checkboxChosenByUser());
        QVERIFY(!loaded.pathData.at(1)->lessFiles().at(0)->importedFiles());
        QCOMPARE(loadedFiles.at(1)->lessOptions(), options);
        QCOMPARE(loaded.pathData.at(0)->outputRule(), OutputRule::replacingComponent("less", "css"));
        // Saved again, both give the same file; a default target comes back as if chosen.
        files.at(1)->setCSSFileOutputPath(site + "/b.css");
        model.pathData().at(1)->lessFiles().at(0)->setCSSFileOutputPath("/srv/other/x.css");
        const QTemporaryDir folder;
        const ProjectDataFile copy(folder.filePath("copy"));
        QVERIFY(dataFile.saveDataToDisk(model.pathData()) && copy.saveDataToDisk(loaded.pathData));
        QCOMPARE(readAll(copy.filePath()), readAll(dataFile.filePath()));
    }

    void loading_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<Outcome>("outcome");
        QTest::addColumn<QString>("reason"); // for an unreadable file

        const QByteArray whole = project(Folder.arg(File.arg("")));
        QTest::newRow("no file") << QByteArray() << Outcome::Missing << QString();
        QTest::newRow("build 405") << project(Folder.arg(""), 405) << Outcome::Ignored << QString();
        QTest::newRow("build 406, keys missing") << whole << Outcome::Loaded << QString();
        QTest::newRow("no build number") << QByteArray(R"({"appModelPathData": []})") << Outcome::Ignored << QString();
        QTest::newRow("no folder list") << QByteArray(R"({"creatorBuildNumber": 406})") << Outcome::Loaded << QString();
        const auto unreadable = [](const char *name, const QByteArray &contents, const char *reason) {
            QTest::newRow(name) << contents << Outcome::Unreadable << QString::fromUtf8(reason);
        };
        unreadable("truncated", whole.left(whole.size() / 2), "it is not valid JSON: ");
        unreadable("not UTF-8", "{\"a\": \"\xff\"}", "it is not UTF-8 text");
        unreadable("a UTF-8 sequence cut off at the end", whole + "\xd5", "it is not UTF-8 text");
        unreadable("root is a list", "[]", "the root is not an object");
        unreadable("build number is text", R"({"creatorBuildNumber": "406"})",
                   "\"creatorBuildNumber\" of the root is not a 32-bit integer");
        unreadable("folder without class", project(R"({"lessFiles": []})"), "folder 1 is not a PathHolder record");
        unreadable("file path is a number", project(Folder.arg(R"({"$class": "LessHolder", "lessFileFullPath": 5})")),
                   "\"lessFileFullPath\" of file 1 of folder 1 is not a string");
        unreadable("check mark is text", project(Folder.arg(File.arg(R"(, "checkboxState": "yes")"))),
                   "\"checkboxState\" of file 1 of folder 1 is not true or false");
        unreadable("unknown source map", project(Folder.arg(File.arg(R"(, "sourceMap": "yes")"))),
                   "\"sourceMap\" must be \"none\", \"file\" or \"inline\" in file 1 of folder 1");
        unreadable("row value is a number",
                   project(R"({"$class": "PathHolder", "valuesForPathsTableViewCell": {"titleString": 1}})"),
                   "\"valuesForPathsTableViewCell\" of folder 1 is not an object of strings");
    }

    void loading()
    {
        QFETCH(QByteArray, contents);
        QFETCH(Outcome, outcome);
        QFETCH(QString, reason);

        const QTemporaryDir folder;
        const ProjectDataFile dataFile(folder.filePath("lessDataFile.lessData"));
        QFile file(dataFile.filePath());
        QVERIFY(contents.isNull() || (file.open(QIODevice::WriteOnly) && file.write(contents) == contents.size()));
        file.close();
        const QString path = QRegularExpression::escape(dataFile.filePath());
        // An unreadable file is copied aside; a second failure in the same second keeps the first copy.
        for (int attempt = 0; attempt < (reason.isEmpty() ? 1 : 2); ++attempt) {
            if (!reason.isEmpty())
                QTest::ignoreMessage(QtWarningMsg, QRegularExpression(
                    "^Could not read the project data file " + path + " \\(" + QRegularExpression::escape(reason)
                    + ".*\\)\\. The project starts empty; the file was kept as " + path
                    + "\\.\\d{4}-\\d\\d-\\d\\dT\\d\\d-\\d\\d-\\d\\d(-2)?\\.$"));
            const ProjectDataFile::LoadResult loaded = dataFile.loadDataFromDisk();
            QCOMPARE(loaded.outcome, outcome);
            const bool folderExpected = outcome == Outcome::Loaded && contents.contains("PathHolder");
            QCOMPARE(loaded.pathData.size(), size_t(folderExpected));
            if (!folderExpected)
                continue;
            // Missing keys take their defaults.
            const PathHolder &record = *loaded.pathData.at(0);
            const LessHolder &file = *record.lessFiles().at(0);
            QVERIFY(record.iconImage() == "folder" && record.valuesForTableViewCell().isEmpty());
            QVERIFY(file.checkboxState() && !file.shouldCompressCSSOutput());
            QVERIFY(file.lessOptions() == LessOptions() && record.outputRule().isBesideFile());
            // A file from before partials: its check mark is the user's, its imports unknown.
            QVERIFY(file.checkboxChosenByUser() && !file.importedFiles());
            QCOMPARE(file.targetCSSFileFullPath(), QStringLiteral("/w/less/a.css"));
            QCOMPARE(file.valuesForTableViewCell(), (QVariantMap{{"titleString", "/less/a.less"}, {"subtitleString", "Output: /w/less/a.css"}}));
        }
        QCOMPARE(readAll(dataFile.filePath()), contents);
        const QStringList copies = QDir(folder.path()).entryList({"lessDataFile.lessData.*"}, QDir::Files);
        QCOMPARE(copies.size(), reason.isEmpty() ? 0 : 2);
        for (const QString &copy : copies)
            QCOMPARE(readAll(folder.filePath(copy)), contents);
    }

    void failedSaveKeepsThePreviousFile_data()
    {
        QTest::addColumn<bool>("directoryInTheWay");
        QTest::newRow("directory in the way") << true;
        QTest::newRow("file size limit reached while writing") << false;
    }

    void failedSaveKeepsThePreviousFile()
    {
        QFETCH(bool, directoryInTheWay);

        const QTemporaryDir folder;
        const ProjectDataFile dataFile(folder.filePath("lessDataFile.lessData"));
        LessModel model;
        model.addNewPathToModel(QStringLiteral("/w"), {"/w/a.less"});
        QVERIFY(directoryInTheWay ? QDir().mkdir(dataFile.filePath()) : dataFile.saveDataToDisk(model.pathData()));
        const QByteArray previous = readAll(dataFile.filePath());
        for (int file = 0; file < 100; ++file)
            model.addLessFileToModel(QStringLiteral("/w/%1.less").arg(file), QStringLiteral("/w"));

        // Limits apply to root too, unlike permissions.
        rlimit original{};
        getrlimit(RLIMIT_FSIZE, &original);
        const rlimit limited{rlim_t(previous.size() + 1024), original.rlim_max};
        std::signal(SIGXFSZ, SIG_IGN);
        setrlimit(RLIMIT_FSIZE, &limited);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(
            "^Could not save the project to " + QRegularExpression::escape(dataFile.filePath()) + ": .+$"));
        const bool saved = dataFile.saveDataToDisk(model.pathData());
        setrlimit(RLIMIT_FSIZE, &original);

        QVERIFY(!saved);
        QCOMPARE(QFileInfo(dataFile.filePath()).isDir(), directoryInTheWay);
        QCOMPARE(readAll(dataFile.filePath()), previous);
        // No temporary file is left; the lock file stays for the next writer.
        QCOMPARE(QDir(folder.path()).entryList(QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot),
                 QStringList({dataFile.filePath().section(u'/', -1), dataFile.filePath().section(u'/', -1) + ".lock"}));
    }

    void changesAreSavedSoonInFewWrites_data()
    {
        QTest::addColumn<Change>("change");
        QTest::addColumn<int>("count"); // all made in a second: two writes at most

        QTest::newRow("folder added") << Change::AddFolder << 1;
        QTest::newRow("folder removed") << Change::RemoveFolder << 1;
        QTest::newRow("file added") << Change::AddFile << 1;
        QTest::newRow("file removed") << Change::RemoveFile << 1;
        QTest::newRow("check mark") << Change::CheckMark << 1;
        QTest::newRow("CSS target") << Change::CSSTarget << 1;
        QTest::newRow("compression") << Change::Compression << 1;
        QTest::newRow("1,000 check marks in a second") << Change::CheckMark << 1000;
    }

    // The file ends up as a save of the model at the end would write it.
    void changesAreSavedSoonInFewWrites()
    {
        QFETCH(Change, change);
        QFETCH(int, count);

        const QTemporaryDir folder;
        LessModel model;
        QStringList files;
        for (int file = 0; file < count; ++file)
            files << QStringLiteral("/w/%1.less").arg(file);
        model.addNewPathToModel(QStringLiteral("/w"), files);
        const ProjectDataFile dataFile(folder.filePath("lessDataFile.lessData"));
        ProjectSaver saver(&model, dataFile);
        saver.startFollowingChanges();
        QSignalSpy writes(&saver, &ProjectSaver::savedInBackground);

        // Spread over most of a second, the event loop turning in between.
        constexpr qint64 SpreadMs = 900;
        QElapsedTimer clock;
        clock.start();
        for (int made = 0; made < count; QTest::qWait(1)) {
            const qint64 due = std::min<qint64>(count, 1 + clock.elapsed() * count / SpreadMs);
            for (; made < due; ++made)
                make(change, model, made);
        }
        const ProjectDataFile expected(folder.filePath("expected"));
        QVERIFY(expected.saveDataToDisk(model.pathData()));
        QTRY_COMPARE_WITH_TIMEOUT(readAll(dataFile.filePath()), readAll(expected.filePath()), 10000);
        QVERIFY2(writes.size() <= std::min(count, 2), qPrintable(QString::number(writes.size())));
        for (const QList<QVariant> &write : writes)
            QVERIFY(write.constFirst().toBool());
    }

    void mergesWithWhatIsOnDisk_data()
    {
        QTest::addColumn<ProjectSaver::Role>("role");
        QTest::addColumn<QString>("written"); // each folder with its first file's check mark

        QTest::newRow("the owner keeps others' folders but not those it removed")
            << ProjectSaver::Role::Owner << "/a:1 /d:1 /c:1";
        QTest::newRow("a run beside it only adds its own") << ProjectSaver::Role::AddsFolders << "/a:0 /b:1 /c:1 /d:1";
        QTest::newRow("a run beside a running owner writes nothing") << ProjectSaver::Role::ReadOnly << "/a:0 /b:1 /c:1";
    }

    // Another writer changes the file while this run removes /b and adds /d.
    void mergesWithWhatIsOnDisk()
    {
        QFETCH(ProjectSaver::Role, role);
        QFETCH(QString, written);

        const QTemporaryDir folder;
        const ProjectDataFile file(folder.filePath(QStringLiteral("project.lessData")));
        LessModel other;
        for (const char *path : {"/a", "/b"})
            other.addNewPathToModel(QLatin1String(path), {QLatin1String(path) + "/1.less"});
        QVERIFY(file.saveDataToDisk(other.pathData()));

        LessModel ours;
        ours.loadNewPathDataIntoModel(file.loadDataFromDisk().pathData);
        ProjectSaver saver(&ours, file);
        saver.setRole(role);
        saver.startFollowingChanges();
        other.addNewPathToModel(QStringLiteral("/c"), {"/c/1.less"});
        other.pathData().at(0)->lessFiles().at(0)->setCheckboxState(false);
        QVERIFY(file.saveDataToDisk(other.pathData()));
        ours.removePathFromModel(QStringLiteral("/b"));
        ours.addNewPathToModel(QStringLiteral("/d"), {"/d/1.less"});
        QVERIFY(saver.saveNow());

        QStringList onDisk;
        for (const auto &path : file.loadDataFromDisk().pathData)
            onDisk << path->userSelectedFullPath() + u':' + QString::number(path->lessFiles().at(0)->checkboxState());
        QCOMPARE(onDisk.join(u' '), written);
    }
};

QTEST_GUILESS_MAIN(TestProjectDataFile)
#include "TestProjectDataFile.moc"
