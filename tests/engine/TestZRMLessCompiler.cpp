#include "FileActions.h"
#include "engine/ZRMLessCompiler.h"
#include "engine/ZRMLessCompilerDelegate.h"
#include "support/NotificationCenter.h"
#include "support/Resources.h"
#include "support/StyledText.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using FileActions::Save;
using namespace ZRMLessCompilerKey;
namespace Settings = ZRMCompilingSettingsKey;

namespace {

constexpr int Timeout = 30000;

const QString Started = ZRMLCStartedCompilingAFileNotification;
const QString Succeeded = ZRMLCCompiledFileSuccessfullyNotification;
const QString Failed = ZRMLCFailedToCompileFileNotification;
const QString NotFound = ZRMLCFailedToFindCompilerEngineNotification;
const QStringList AllResultKeys{File, LinkedToFile, Result, Successful, Time};

ZRMLessCompiler *engine()
{
    return ZRMLessCompiler::sharedLessCompiler();
}

QByteArray lessWithColor(const QByteArray &color)
{
    return "@color: " + color + ";\na { color: @color; }\n";
}

QByteArray cssWithColor(const QByteArray &color)
{
    return "a {\n  color: " + color + ";\n}\n";
}

// The compiler run by hand, as a user would in a terminal; its standard error.
QString runLesscByHand(const QString &input, const QString &output, bool compress)
{
    const QString bin = QStringLiteral("engines/bin");
    QStringList arguments{Resources::pathForResource(QStringLiteral("lessc"), {}, bin), input, output};
    if (compress)
        arguments << QStringLiteral("--yui-compress");
    QProcess process;
    process.start(Resources::pathForResource(QStringLiteral("node"), {}, bin),
                  arguments << QStringLiteral("--no-color"));
    process.waitForFinished(-1);
    return QString::fromUtf8(process.readAllStandardError());
}

// Answers with the settings a test gave it and remembers who asked.
class SettingsDelegate : public ZRMLessCompilerDelegate
{
public:
    QVariantMap compilingSettingsForLESSFileAtPath(const QString &path) override
    {
        asked.append(path);
        return settings.value(path);
    }

    QHash<QString, QVariantMap> settings;
    QStringList asked;
};

QVariantMap settings(const QString &outputPath, bool autoCompile = true, const QStringList &importers = {})
{
    return {{Settings::ShouldAutoCompile, autoCompile},
            {Settings::OutputPath, outputPath},
            {Settings::ShouldCompressOutput, false},
            {Settings::LinkedFilesToCompile, importers}};
}

enum class NodeState { Missing, NotExecutable, Script, LosesExecuteBit, NotAProgram };

} // namespace

Q_DECLARE_METATYPE(NodeState)

class TestZRMLessCompiler : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void compilesProject_data();
    void compilesProject();
    void fakeCompiler_data();
    void fakeCompiler();
    void unusableCompiler_data();
    void unusableCompiler();
    void watchList();
    void importers_data();
    void importers();
    void editorSaves_data();
    void editorSaves();
    void renameCompilesNothing();
    void folderScan_data();
    void folderScan();
    void folderScanIsDepthFirst();

private:
    QString path(const QString &relative) const { return m_root->filePath(relative); }
    QList<QVariantMap> posted(const QString &name, const QString &file = {}) const;
    QString useFakeEngines(NodeState node, bool withLessc, const QByteArray &script = "exit 0");
    bool flush();

    std::unique_ptr<QTemporaryDir> m_root;
    std::unique_ptr<QObject> m_observer;
    QList<Notification> m_notifications;
    SettingsDelegate m_delegate;
    QString m_marker;
};

void TestZRMLessCompiler::init()
{
    m_root = std::make_unique<QTemporaryDir>();
    m_delegate = SettingsDelegate();
    engine()->setCompilerDelegate(&m_delegate);
    m_marker = path(QStringLiteral("marker.less"));
    FileActions::create(m_marker, "marker");
    engine()->watchLessFileAtPath(m_marker);

    m_notifications.clear();
    m_observer = std::make_unique<QObject>();
    // Only what concerns this test's files: compiles of earlier tests may still end.
    const auto record = [this](const Notification &posted) {
        const QString file = posted.userInfo.value(File).toString();
        if (posted.sender == engine() && (file.isEmpty() || file.startsWith(m_root->path())))
            m_notifications.append(posted);
    };
    NotificationCenter::defaultCenter()->addObserver(m_observer.get(), {}, record);
}

void TestZRMLessCompiler::cleanup()
{
    m_observer.reset();
    for (const QString &watched : engine()->watchedLessFiles())
        engine()->stopWatchingLessFileAtPath(watched);
    engine()->setCompilerDelegate(nullptr);
    if (qEnvironmentVariableIsSet("CASCADER_RESOURCES")) {
        qunsetenv("CASCADER_RESOURCES");
        engine()->findCompiler();
    }
    m_root.reset();
}

QList<QVariantMap> TestZRMLessCompiler::posted(const QString &name, const QString &file) const
{
    QList<QVariantMap> found;
    for (const Notification &notification : m_notifications) {
        if (notification.name == name && (file.isEmpty() || notification.userInfo.value(File) == file))
            found.append(notification.userInfo);
    }
    return found;
}

// The watcher delivers in order and the engine asks its delegate during the
// delivery: once the marker's settings are asked for, every event before it
// has been handled and its compiles have started.
bool TestZRMLessCompiler::flush()
{
    const qsizetype asked = m_delegate.asked.count(m_marker);
    FileActions::writeInPlace(m_marker, QByteArray::number(asked));
    return QTest::qWaitFor([&] { return m_delegate.asked.count(m_marker) > asked; }, Timeout);
}

// A resource folder whose node is a shell script that notes each run (or
// something worse), made the engine's.
QString TestZRMLessCompiler::useFakeEngines(NodeState node, bool withLessc, const QByteArray &script)
{
    const QString resources = path(QStringLiteral("fake resources"));
    const QString nodePath = resources + QStringLiteral("/engines/bin/node");
    const QFile::Permissions executable = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner;
    QDir().mkpath(resources + QStringLiteral("/engines/bin"));
    if (withLessc)
        FileActions::create(resources + QStringLiteral("/engines/bin/lessc"), "// not read\n", executable);
    if (node == NodeState::NotAProgram)
        FileActions::create(nodePath, QByteArray("\x7f\x01\x02 not a program", 18), executable);
    else if (node != NodeState::Missing)
        FileActions::create(nodePath,
                  "#!/bin/sh\necho run >> '" + QFile::encodeName(path(QStringLiteral("runs"))) + "'\n"
                      + script,
                  node == NodeState::NotExecutable ? QFile::ReadOwner : executable);
    qputenv("CASCADER_RESOURCES", QFile::encodeName(resources));
    engine()->findCompiler();
    if (node == NodeState::LosesExecuteBit)
        QFile::setPermissions(nodePath, QFile::ReadOwner);
    return nodePath;
}

void TestZRMLessCompiler::compilesProject_data()
{
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<bool>("compress");
    QTest::addColumn<QByteArray>("rule");

    const QByteArray valid = "nav { color: @accent; .rounded(6px); "
                             "a { .spaced(); color: darken(@accent, 10%); } }";
    QTest::newRow("plain") << "site.less" << false << valid;
    QTest::newRow("compressed") << "site.less" << true << valid;
    QTest::newRow("name with spaces, accents and quotes") << "my site ü \"q\" 'x'.less" << false << valid;
    QTest::newRow("compiler error") << "site.less" << false << QByteArray("a { color: @undefined; }");
}

// Variables, mixins and imports across files give exactly the CSS of a run
// by hand; an error, exactly its message, trimmed.
void TestZRMLessCompiler::compilesProject()
{
    QFETCH(QString, fileName);
    QFETCH(bool, compress);
    QFETCH(QByteArray, rule);

    FileActions::create(path(QStringLiteral("less/base/variables.less")), "@accent: #336699;\n@gap: 4px;\n");
    FileActions::create(path(QStringLiteral("less/mixins.less")),
              ".rounded(@radius: 2px) { border-radius: @radius; }\n.spaced() { margin: @gap * 2; }\n");
    const QString input = path(QStringLiteral("less/") + fileName);
    FileActions::create(input, "@import 'base/variables';\n@import \"mixins.less\";\n" + rule + "\n");
    const QString output = path(QStringLiteral("css out/") + fileName + QStringLiteral(".css"));
    const QString byHand = path(QStringLiteral("by hand.css"));
    QDir().mkpath(path(QStringLiteral("css out")));
    const QString error = runLesscByHand(input, byHand, compress).trimmed();
    const bool valid = error.isEmpty();

    engine()->compileFileAtPath(input, output, compress);
    QCOMPARE(posted(Started).size(), 1);
    const QVariantMap start = posted(Started).first();
    QCOMPARE(start.keys(), QStringList({File, Time}));
    QCOMPARE(start.value(File).toString(), input);

    QTRY_COMPARE_WITH_TIMEOUT(posted(valid ? Succeeded : Failed).size(), 1, Timeout);
    QVERIFY(posted(valid ? Failed : Succeeded).isEmpty());
    const QVariantMap result = posted(valid ? Succeeded : Failed).first();
    QCOMPARE(result.keys(), AllResultKeys);
    QCOMPARE(result.value(File).toString(), input);
    QCOMPARE(result.value(LinkedToFile).toString(), QString());
    QCOMPARE(result.value(Result).toString(), valid ? QStringLiteral("Success!") : error);
    QCOMPARE(result.value(Successful), QVariant(valid));
    QVERIFY(result.value(Time).toDateTime() >= start.value(Time).toDateTime());
    QCOMPARE(FileActions::contentOf(output), FileActions::contentOf(byHand));
    if (valid)
        QCOMPARE(FileActions::contentOf(output).contains('\n'), !compress);
    else
        QVERIFY(error.contains(QStringLiteral("@undefined is undefined")));
}

void TestZRMLessCompiler::fakeCompiler_data()
{
    QTest::addColumn<QByteArray>("script");
    QTest::addColumn<bool>("compress");
    QTest::addColumn<QString>("output"); // "gone": in a deleted folder; empty: none
    QTest::addColumn<QString>("result");

    const QByteArray printArguments = "printf '%s\\n' \"$@\" >&2; exit 1";
    const QString missingFolder = QStringLiteral(
        "The output path you selected for this file no longer exists. Choose a new path or refresh the "
        "watched files list.");
    QTest::newRow("arguments, compressed")
        << printArguments << true << "out put.css" << "<lessc>\n<in>\n<out>\n--yui-compress\n--no-color";
    QTest::newRow("arguments, plain")
        << printArguments << false << "out put.css" << "<lessc>\n<in>\n<out>\n--no-color";
    QTest::newRow("standard error trimmed")
        << QByteArray("printf '  \\n\\t  first line\\n  second line  \\n\\n\\n' >&2; exit 2") << false
        << "out put.css" << "first line\n  second line";
    QTest::newRow("exit status 0 is success whatever it printed")
        << QByteArray("echo 'only a warning' >&2; exit 0") << false << "out put.css" << "Success!";
    QTest::newRow("output folder deleted") << QByteArray() << false << "gone" << missingFolder;
    QTest::newRow("no output path") << QByteArray() << false << "" << missingFolder;
}

void TestZRMLessCompiler::fakeCompiler()
{
    QFETCH(QByteArray, script);
    QFETCH(bool, compress);
    QFETCH(QString, output);
    QFETCH(QString, result);

    useFakeEngines(NodeState::Script, true, script);
    const QString input = path(QStringLiteral("in put.less"));
    const QString outputPath = output.isEmpty() ? QString()
                               : output == "gone" ? path(QStringLiteral("gone/out.css"))
                                                  : path(output);
    FileActions::create(input, "a {}");
    engine()->compileFileAtPath(input, outputPath, compress);
    QCOMPARE(posted(Started).size(), 1);

    const bool successful = result == "Success!";
    QTRY_COMPARE_WITH_TIMEOUT(posted(successful ? Succeeded : Failed).size(), 1, Timeout);
    const QVariantMap notified = posted(successful ? Succeeded : Failed).first();
    result.replace(QStringLiteral("<lessc>"), engine()->pathToCompiler())
        .replace(QStringLiteral("<in>"), input)
        .replace(QStringLiteral("<out>"), outputPath);
    QCOMPARE(notified.value(Result).toString(), result);
    QCOMPARE(notified.value(Successful), QVariant(successful));
    // Without an output path the request's values, and so the result's, end before the label.
    const QStringList keysWithoutLabel{File, Result, Successful, Time};
    QCOMPARE(notified.keys(), outputPath.isNull() ? keysWithoutLabel : AllResultKeys);
    // Only an existing output folder starts the compiler.
    QCOMPARE(QFile::exists(path(QStringLiteral("runs"))), output.contains(u'.'));
}

void TestZRMLessCompiler::unusableCompiler_data()
{
    QTest::addColumn<NodeState>("node");
    QTest::addColumn<bool>("withLessc");
    QTest::addColumn<QString>("reason"); // empty: the compiler counts as not found

    QTest::newRow("lessc missing") << NodeState::Script << false << QString();
    QTest::newRow("node missing") << NodeState::Missing << true << QString();
    QTest::newRow("node not executable") << NodeState::NotExecutable << true << QString();
    QTest::newRow("node loses its execute bit after the look-up")
        << NodeState::LosesExecuteBit << true << "Permission denied";
    QTest::newRow("node is not a program") << NodeState::NotAProgram << true << "Exec format error";
}

void TestZRMLessCompiler::unusableCompiler()
{
    QFETCH(NodeState, node);
    QFETCH(bool, withLessc);
    QFETCH(QString, reason);

    const QString nodePath = useFakeEngines(node, withLessc);
    QCOMPARE(posted(NotFound).size(), reason.isEmpty() ? 1 : 0);
    m_notifications.clear();

    engine()->compileFileAtPath(path(QStringLiteral("styles.less")), path(QStringLiteral("styles.css")),
                                false);
    if (reason.isEmpty()) {
        // Nothing was queued, so nothing more can come.
        QCOMPARE(m_notifications.size(), 1);
        QCOMPARE(m_notifications.first().name, NotFound);
        QVERIFY(m_notifications.first().userInfo.isEmpty());
        return;
    }
    QCOMPARE(posted(Started).size(), 1);
    QTRY_COMPARE_WITH_TIMEOUT(posted(Failed).size(), 1, Timeout);
    const QString result = posted(Failed).first().value(Result).toString();
    QVERIFY2(result.startsWith(QStringLiteral("Could not start the LESS compiler (%1): ").arg(nodePath))
                 && result.endsWith(reason),
             qPrintable(result));
}

void TestZRMLessCompiler::watchList()
{
    const QString missing = path(QStringLiteral("missing.less"));
    QTest::ignoreMessage(QtWarningMsg, qPrintable("ZRMLessCompiler was asked to watch a LESS file that does "
                                                  "not exist. This file was NOT added to the watch list: "
                                                  + missing));
    engine()->watchLessFileAtPath(missing);
    QVERIFY(m_notifications.isEmpty());

    const QString file = path(QStringLiteral("watched.less"));
    FileActions::create(file, "a {}");
    engine()->watchLessFileAtPath(file);
    engine()->watchLessFileAtPath(file);
    engine()->stopWatchingLessFileAtPath(path(QStringLiteral("never watched.less")));
    QCOMPARE(engine()->watchedLessFiles(), QStringList({m_marker, file}));
    engine()->stopWatchingLessFileAtPath(file);
    QCOMPARE(engine()->watchedLessFiles(), QStringList{m_marker});

    const QStringList expected{ZRMLCBeganWatchingNewFileNotification, ZRMLCStoppedWatchingFileNotification};
    const QStringList messages{"Watching for changes.", "Stopped watching for changes."};
    QCOMPARE(m_notifications.size(), 2);
    for (int i = 0; i < 2; ++i) {
        QCOMPARE(m_notifications.at(i).name, expected.at(i));
        const QVariantMap payload = m_notifications.at(i).userInfo;
        QCOMPARE(payload.value(File).toString(), file);
        QVERIFY(payload.value(Time).toDateTime().isValid());
        QCOMPARE(payload.value(Result).value<StyledText>(), StyledText(messages.at(i), StyledText::Grey));
    }

    FileActions::writeInPlace(file, "b {}");
    QVERIFY(flush());
    QVERIFY(!m_delegate.asked.contains(file));
}

void TestZRMLessCompiler::importers_data()
{
    QTest::addColumn<bool>("baseCompiles");
    QTest::addColumn<bool>("firstCompiles");
    QTest::addColumn<bool>("secondCompiles");
    QTest::addColumn<QStringList>("expected"); // file name: linked-to label

    const QString label = QStringLiteral("[Triggered by: base.less]");
    QTest::newRow("only one importer set to compile") << false << true << false
                                                      << QStringList{"first.less: " + label};
    QTest::newRow("all set to compile")
        << true << true << true
        << QStringList{"base.less: ", "first.less: " + label, "second.less: " + label};
    QTest::newRow("none set to compile") << false << false << false << QStringList();
}

// A change compiles the file and its direct importers, each by its own
// settings; importers of importers are left alone.
void TestZRMLessCompiler::importers()
{
    QFETCH(bool, baseCompiles);
    QFETCH(bool, firstCompiles);
    QFETCH(bool, secondCompiles);
    QFETCH(QStringList, expected);

    const QString base = path(QStringLiteral("base.less"));
    const QString first = path(QStringLiteral("first.less"));
    const QString second = path(QStringLiteral("second.less"));
    const QString third = path(QStringLiteral("imports first.less"));
    FileActions::create(base, "@color: red;\n");
    FileActions::create(first, "@import 'base';\na { color: @color; }\n");
    FileActions::create(second, "@import 'base';\nb { color: @color; }\n");
    FileActions::create(third, "@import 'first';\n");
    m_delegate.settings = {{base, settings(base + ".css", baseCompiles, {first, second})},
                           {first, settings(first + ".css", firstCompiles, {third})},
                           {second, settings(second + ".css", secondCompiles)},
                           {third, settings(third + ".css")}};
    engine()->watchLessFileAtPath(base);

    FileActions::writeInPlace(base, "@color: blue;\n");
    QVERIFY(flush());
    QCOMPARE(posted(Started).size(), expected.size());
    QTRY_COMPARE_WITH_TIMEOUT(posted(Succeeded).size(), expected.size(), Timeout);
    QStringList compiled;
    for (const QVariantMap &result : posted(Succeeded))
        compiled.append(QFileInfo(result.value(File).toString()).fileName() + ": "
                        + result.value(LinkedToFile).toString());
    compiled.sort();
    QCOMPARE(compiled, expected);
}

void TestZRMLessCompiler::editorSaves_data()
{
    QTest::addColumn<Save>("pattern");
    QTest::addColumn<bool>("deletedFirst");

    QTest::newRow("in place") << Save::InPlace << false;
    QTest::newRow("in chunks") << Save::InPlaceInChunks << false;
    QTest::newRow("temporary file renamed over") << Save::TempFileRenamedOver << false;
    QTest::newRow("backup, then new file") << Save::BackupThenNewFile << false;
    QTest::newRow("delete, then new file") << Save::DeleteThenNewFile << false;
    QTest::newRow("deleted, created again later") << Save::InPlace << true;
}

// Every save compiles once, with the new content, and the next save is seen.
void TestZRMLessCompiler::editorSaves()
{
    QFETCH(Save, pattern);
    QFETCH(bool, deletedFirst);

    const QString file = path(QStringLiteral("site ü.less"));
    const QString output = path(QStringLiteral("site ü.css"));
    FileActions::create(file, lessWithColor("#111111"));
    m_delegate.settings.insert(file, settings(output));
    engine()->watchLessFileAtPath(file);

    if (deletedFirst) {
        FileActions::remove(file);
        QVERIFY(flush());
        FileActions::create(file, lessWithColor("#222222"));
    } else {
        FileActions::save(pattern, file, lessWithColor("#222222"));
    }
    QVERIFY(flush());
    QCOMPARE(posted(Started, file).size(), 1);
    QTRY_COMPARE_WITH_TIMEOUT(posted(Succeeded, file).size(), 1, Timeout);
    QCOMPARE(FileActions::contentOf(output), cssWithColor("#222222"));

    FileActions::writeInPlace(file, lessWithColor("#333333"));
    QVERIFY(flush());
    QCOMPARE(posted(Started, file).size(), 2);
    QTRY_COMPARE_WITH_TIMEOUT(posted(Succeeded, file).size(), 2, Timeout);
    QCOMPARE(FileActions::contentOf(output), cssWithColor("#333333"));
    QVERIFY(posted(Failed).isEmpty());
}

// A rename compiles nothing; the path is still followed, and a file renamed
// back into place is new content there.
void TestZRMLessCompiler::renameCompilesNothing()
{
    const QString file = path(QStringLiteral("moving.less"));
    FileActions::create(file, lessWithColor("#444444"));
    m_delegate.settings.insert(file, settings(path(QStringLiteral("moving.css"))));
    engine()->watchLessFileAtPath(file);

    FileActions::rename(file, path(QStringLiteral("moved.less")));
    QVERIFY(flush());
    QVERIFY(posted(Started).isEmpty());
    QVERIFY(!m_delegate.asked.contains(file));

    FileActions::rename(path(QStringLiteral("moved.less")), file);
    QVERIFY(flush());
    QCOMPARE(posted(Started, file).size(), 1);
    QTRY_COMPARE_WITH_TIMEOUT(posted(Succeeded, file).size(), 1, Timeout);
}

void TestZRMLessCompiler::folderScan_data()
{
    QTest::addColumn<QString>("entry"); // a trailing slash makes a folder
    QTest::addColumn<bool>("found");

    QTest::newRow("upper-case extension") << "A.LESS" << true;
    QTest::newRow("hidden file at the top") << ".b.less" << false;
    QTest::newRow("hidden file further down") << "sub/.c.less" << true;
    QTest::newRow("inside a hidden folder at the top") << ".hidden/d.less" << false;
    QTest::newRow("inside a hidden folder further down") << "sub/.hidden/e.less" << true;
    QTest::newRow("other extension") << "f.css" << false;
    QTest::newRow("name that is only the extension") << "sub/.less" << false;
    QTest::newRow("folder named like a LESS file") << "g.less/" << true;
    QTest::newRow("behind a symbolic link to a folder") << "link/h.less" << false;
}

void TestZRMLessCompiler::folderScan()
{
    QFETCH(QString, entry);
    QFETCH(bool, found);

    const QString folder = path(QStringLiteral("project"));
    QVERIFY(QDir().mkpath(folder));
    if (entry.startsWith(QStringLiteral("link/"))) {
        FileActions::create(path(QStringLiteral("outside/h.less")), "");
        QVERIFY(QFile::link(path(QStringLiteral("outside")), folder + QStringLiteral("/link")));
    } else if (entry.endsWith(u'/')) {
        QVERIFY(QDir().mkpath(folder + u'/' + entry));
        entry.chop(1);
    } else {
        FileActions::create(folder + u'/' + entry, "");
    }
    const QStringList expected = found ? QStringList{folder + u'/' + entry} : QStringList();
    QCOMPARE(ZRMLessCompiler::getAllLessFilesInDirectory(folder), expected);
    QCOMPARE(ZRMLessCompiler::getAllLessFilesInDirectory(folder + u'/'), expected);
}

// A folder comes before its entries, and they follow one another without a break.
void TestZRMLessCompiler::folderScanIsDepthFirst()
{
    const QString folder = path(QStringLiteral("project"));
    for (const char *file : {"a/1.less", "a/b.less/2.less", "a/b.less/c/3.less", "d/4.less", "5.less"})
        FileActions::create(folder + u'/' + QLatin1StringView(file), "");

    QStringList scanned;
    for (const QString &file : ZRMLessCompiler::getAllLessFilesInDirectory(folder))
        scanned.append(QDir(folder).relativeFilePath(file));
    QStringList sorted = scanned;
    sorted.sort();
    QCOMPARE(sorted, QStringList({"5.less", "a/1.less", "a/b.less", "a/b.less/2.less", "a/b.less/c/3.less",
                                  "d/4.less"}));
    QCOMPARE_LT(scanned.indexOf("a/b.less"), scanned.indexOf("a/b.less/2.less"));
    for (const QString &prefix : {QStringLiteral("a/"), QStringLiteral("a/b.less/")}) {
        const QStringList inside = scanned.filter(QRegularExpression(u'^' + prefix));
        QCOMPARE(scanned.indexOf(inside.last()) - scanned.indexOf(inside.first()) + 1, inside.size());
    }
}

QTEST_GUILESS_MAIN(TestZRMLessCompiler)
#include "TestZRMLessCompiler.moc"
