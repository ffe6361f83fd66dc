#include "EditorSave.h"
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

using EditorSave::Pattern;
using namespace ZRMLessCompilerKey;
namespace Settings = ZRMCompilingSettingsKey;

namespace {

constexpr int Timeout = 30000;

const QString Started = ZRMLCStartedCompilingAFileNotification;
const QString Succeeded = ZRMLCCompiledFileSuccessfullyNotification;
const QString Failed = ZRMLCFailedToCompileFileNotification;
const QString BeganWatching = ZRMLCBeganWatchingNewFileNotification;
const QString StoppedWatching = ZRMLCStoppedWatchingFileNotification;
const QString NotFound = ZRMLCFailedToFindCompilerEngineNotification;
const QString OutputFolderMissing = QStringLiteral(
    "The output path you selected for this file no longer exists. Choose a new path or refresh the "
    "watched files list.");

ZRMLessCompiler *engine()
{
    return ZRMLessCompiler::sharedLessCompiler();
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeFile(const QString &path, const QByteArray &content)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("cannot write %s", qPrintable(path));
}

QByteArray lessWithColor(const QByteArray &color)
{
    return "@color: " + color + ";\na { color: @color; }\n";
}

QByteArray cssWithColor(const QByteArray &color)
{
    return "a {\n  color: " + color + ";\n}\n";
}

struct HandRun
{
    int exitCode;
    QString standardError;
};

// The compiler run by hand, as a user would in a terminal.
HandRun runLesscByHand(const QString &input, const QString &output, bool compress)
{
    const QString bin = QStringLiteral("engines/bin");
    QStringList arguments{Resources::pathForResource(QStringLiteral("lessc"), {}, bin), input, output};
    if (compress)
        arguments << QStringLiteral("--yui-compress");
    arguments << QStringLiteral("--no-color");
    QProcess process;
    process.start(Resources::pathForResource(QStringLiteral("node"), {}, bin), arguments);
    process.waitForFinished(-1);
    return {process.exitCode(), QString::fromUtf8(process.readAllStandardError())};
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

QVariantMap autoCompiled(const QString &outputPath, const QStringList &importers = {})
{
    return {{Settings::ShouldAutoCompile, true},
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
    void compilerErrorIsReported();
    void fakeCompiler_data();
    void fakeCompiler();
    void outputFolderMissing_data();
    void outputFolderMissing();
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
    QList<Notification> posted(const QString &name, const QString &file = {}) const;
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
    m_notifications.clear();
    m_observer = std::make_unique<QObject>();
    // Only what concerns this test's files: compiles of earlier tests may still end.
    NotificationCenter::defaultCenter()->addObserver(m_observer.get(), {}, [this](const Notification &posted) {
        const QString file = posted.userInfo.value(File).toString();
        if (posted.sender == engine() && (file.isEmpty() || file.startsWith(m_root->path())))
            m_notifications.append(posted);
    });

    m_delegate = SettingsDelegate();
    engine()->setCompilerDelegate(&m_delegate);
    m_marker = path(QStringLiteral("marker.less"));
    writeFile(m_marker, "marker");
    engine()->watchLessFileAtPath(m_marker);
    m_notifications.clear();
}

void TestZRMLessCompiler::cleanup()
{
    for (const QString &watched : engine()->watchedLessFiles())
        engine()->stopWatchingLessFileAtPath(watched);
    engine()->setCompilerDelegate(nullptr);
    if (qEnvironmentVariableIsSet("CASCADER_RESOURCES")) {
        qunsetenv("CASCADER_RESOURCES");
        engine()->findCompiler();
    }
    m_observer.reset();
    m_root.reset();
}

QList<Notification> TestZRMLessCompiler::posted(const QString &name, const QString &file) const
{
    QList<Notification> found;
    for (const Notification &notification : m_notifications) {
        if (notification.name == name && (file.isEmpty() || notification.userInfo.value(File) == file))
            found.append(notification);
    }
    return found;
}

// The watcher delivers in order and the engine asks its delegate during the
// delivery: once the marker's settings are asked for, every event before it
// has been handled and its compiles have started.
bool TestZRMLessCompiler::flush()
{
    const qsizetype asked = m_delegate.asked.count(m_marker);
    EditorSave::writeInPlace(m_marker, QByteArray::number(asked));
    return QTest::qWaitFor([&] { return m_delegate.asked.count(m_marker) > asked; }, Timeout);
}

// A resource folder whose node is a shell script (or something worse).
QString TestZRMLessCompiler::useFakeEngines(NodeState node, bool withLessc, const QByteArray &script)
{
    const QString resources = path(QStringLiteral("fake resources"));
    const QString bin = resources + QStringLiteral("/engines/bin");
    const QString nodePath = bin + QStringLiteral("/node");
    QDir().mkpath(bin);
    if (withLessc) {
        writeFile(bin + QStringLiteral("/lessc"), "// not read by the fake node\n");
        QFile::setPermissions(bin + QStringLiteral("/lessc"), QFile::ReadOwner | QFile::ExeOwner);
    }
    const QFile::Permissions executable = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner;
    switch (node) {
    case NodeState::Missing:
        break;
    case NodeState::NotAProgram:
        writeFile(nodePath, QByteArray("\x7f\x01\x02 not a program", 18));
        QFile::setPermissions(nodePath, executable);
        break;
    case NodeState::NotExecutable:
    case NodeState::Script:
    case NodeState::LosesExecuteBit:
        writeFile(nodePath, "#!/bin/sh\necho run >> \"" + QFile::encodeName(path(QStringLiteral("runs")))
                                + "\"\n" + script + "\n");
        QFile::setPermissions(nodePath, node == NodeState::NotExecutable ? QFile::ReadOwner : executable);
        break;
    }
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

    QTest::newRow("plain") << "site.less" << false;
    QTest::newRow("compressed") << "site.less" << true;
    QTest::newRow("name with spaces, accents and quotes") << "my site ü \"q\" 'x'.less" << false;
}

// Variables, mixins and imports across files give exactly the CSS of a run by hand.
void TestZRMLessCompiler::compilesProject()
{
    QFETCH(QString, fileName);
    QFETCH(bool, compress);

    writeFile(path(QStringLiteral("less/base/variables.less")), "@accent: #336699;\n@gap: 4px;\n");
    writeFile(path(QStringLiteral("less/mixins.less")),
              ".rounded(@radius: 2px) { border-radius: @radius; }\n.spaced() { margin: @gap * 2; }\n");
    const QString input = path(QStringLiteral("less/") + fileName);
    writeFile(input, "@import 'base/variables';\n@import \"mixins.less\";\n"
                     "nav { color: @accent; .rounded(6px); a { .spaced(); color: darken(@accent, 10%); } }\n");
    const QString output = path(QStringLiteral("css out/") + fileName + QStringLiteral(".css"));
    const QString byHand = path(QStringLiteral("by hand.css"));
    QDir().mkpath(path(QStringLiteral("css out")));
    QCOMPARE(runLesscByHand(input, byHand, compress).exitCode, 0);

    engine()->compileFileAtPath(input, output, compress);
    QCOMPARE(posted(Started).size(), 1);
    const QVariantMap start = posted(Started).first().userInfo;
    QCOMPARE(start.keys(), QStringList({File, Time}));
    QCOMPARE(start.value(File).toString(), input);

    QTRY_COMPARE_WITH_TIMEOUT(posted(Succeeded).size(), 1, Timeout);
    QVERIFY(posted(Failed).isEmpty());
    const QVariantMap result = posted(Succeeded).first().userInfo;
    QCOMPARE(result.keys(), QStringList({File, LinkedToFile, Result, Successful, Time}));
    QCOMPARE(result.value(File).toString(), input);
    QCOMPARE(result.value(LinkedToFile).toString(), QString());
    QCOMPARE(result.value(Result).toString(), QStringLiteral("Success!"));
    QCOMPARE(result.value(Successful), QVariant(true));
    QVERIFY(result.value(Time).toDateTime() >= start.value(Time).toDateTime());

    const QByteArray css = contentOf(output);
    QCOMPARE(css, contentOf(byHand));
    QVERIFY(css.contains("border-radius"));
    QCOMPARE(css.contains('\n'), !compress);
}

void TestZRMLessCompiler::compilerErrorIsReported()
{
    const QString input = path(QStringLiteral("broken.less"));
    const QString output = path(QStringLiteral("broken.css"));
    writeFile(input, "a { color: @undefined; }\n");
    const HandRun byHand = runLesscByHand(input, path(QStringLiteral("by hand.css")), false);
    QCOMPARE_NE(byHand.exitCode, 0);

    engine()->compileFileAtPath(input, output, false);
    QTRY_COMPARE_WITH_TIMEOUT(posted(Failed).size(), 1, Timeout);
    const QVariantMap result = posted(Failed).first().userInfo;
    QCOMPARE(result.value(Result).toString(), byHand.standardError.trimmed());
    QVERIFY(result.value(Result).toString().contains(QStringLiteral("@undefined is undefined")));
    QCOMPARE(result.value(Successful), QVariant(false));
    QVERIFY(posted(Succeeded).isEmpty());
    QVERIFY(!QFile::exists(output));
}

void TestZRMLessCompiler::fakeCompiler_data()
{
    QTest::addColumn<QByteArray>("script");
    QTest::addColumn<bool>("compress");
    QTest::addColumn<QString>("expectedResult");
    QTest::addColumn<bool>("successful");

    const QByteArray printArguments = "printf '%s\\n' \"$@\" >&2; exit 1";
    QTest::newRow("arguments, compressed")
        << printArguments << true << "<lessc>\n<in>\n<out>\n--yui-compress\n--no-color" << false;
    QTest::newRow("arguments, plain") << printArguments << false << "<lessc>\n<in>\n<out>\n--no-color" << false;
    QTest::newRow("standard error trimmed")
        << QByteArray("printf '  \\n\\t  first line\\n  second line  \\n\\n\\n' >&2; exit 2") << false
        << "first line\n  second line" << false;
    QTest::newRow("exit status 0 is success whatever it printed")
        << QByteArray("echo 'only a warning' >&2; exit 0") << false << "Success!" << true;
}

void TestZRMLessCompiler::fakeCompiler()
{
    QFETCH(QByteArray, script);
    QFETCH(bool, compress);
    QFETCH(QString, expectedResult);
    QFETCH(bool, successful);

    useFakeEngines(NodeState::Script, true, script);
    const QString input = path(QStringLiteral("in put.less"));
    const QString output = path(QStringLiteral("out put.css"));
    writeFile(input, "a {}");
    engine()->compileFileAtPath(input, output, compress);

    QTRY_COMPARE_WITH_TIMEOUT(posted(successful ? Succeeded : Failed).size(), 1, Timeout);
    const QVariantMap result = posted(successful ? Succeeded : Failed).first().userInfo;
    expectedResult.replace(QStringLiteral("<lessc>"), engine()->pathToCompiler())
        .replace(QStringLiteral("<in>"), input)
        .replace(QStringLiteral("<out>"), output);
    QCOMPARE(result.value(Result).toString(), expectedResult);
    QCOMPARE(result.value(Successful), QVariant(successful));
}

void TestZRMLessCompiler::outputFolderMissing_data()
{
    QTest::addColumn<bool>("hasOutputPath");
    QTest::addColumn<QStringList>("resultKeys");

    QTest::newRow("output folder deleted") << true << QStringList({File, LinkedToFile, Result, Successful, Time});
    // The request's values end at the missing output path, and so do the result's.
    QTest::newRow("no output path") << false << QStringList({File, Result, Successful, Time});
}

// No process starts, but the start notification was posted.
void TestZRMLessCompiler::outputFolderMissing()
{
    QFETCH(bool, hasOutputPath);
    QFETCH(QStringList, resultKeys);

    useFakeEngines(NodeState::Script, true);
    const QString input = path(QStringLiteral("styles.less"));
    writeFile(input, "a {}");
    QVERIFY(QDir().mkpath(path(QStringLiteral("gone"))));
    QVERIFY(QDir().rmdir(path(QStringLiteral("gone"))));

    engine()->compileFileAtPath(input, hasOutputPath ? path(QStringLiteral("gone/styles.css")) : QString(),
                                false);
    QCOMPARE(posted(Started).size(), 1);
    QTRY_COMPARE_WITH_TIMEOUT(posted(Failed).size(), 1, Timeout);
    const QVariantMap result = posted(Failed).first().userInfo;
    QCOMPARE(result.keys(), resultKeys);
    QCOMPARE(result.value(Result).toString(), OutputFolderMissing);
    QCOMPARE(result.value(Successful), QVariant(false));
    QVERIFY(!QFile::exists(path(QStringLiteral("runs"))));
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
    const QString input = path(QStringLiteral("styles.less"));
    writeFile(input, "a {}");
    QCOMPARE(posted(NotFound).size(), reason.isEmpty() ? 1 : 0);
    m_notifications.clear();

    engine()->compileFileAtPath(input, path(QStringLiteral("styles.css")), false);
    if (reason.isEmpty()) {
        // Nothing was queued, so nothing more can come.
        QCOMPARE(m_notifications.size(), 1);
        QCOMPARE(m_notifications.first().name, NotFound);
        QVERIFY(m_notifications.first().userInfo.isEmpty());
        return;
    }
    QCOMPARE(posted(Started).size(), 1);
    QTRY_COMPARE_WITH_TIMEOUT(posted(Failed).size(), 1, Timeout);
    const QString result = posted(Failed).first().userInfo.value(Result).toString();
    QVERIFY2(result.startsWith(QStringLiteral("Could not start the LESS compiler (%1): ").arg(nodePath)),
             qPrintable(result));
    QVERIFY2(result.endsWith(reason), qPrintable(result));
}

void TestZRMLessCompiler::watchList()
{
    const QString missing = path(QStringLiteral("missing.less"));
    QTest::ignoreMessage(QtWarningMsg, qPrintable(QStringLiteral(
        "ZRMLessCompiler was asked to watch a LESS file that does not exist. This file was NOT added to "
        "the watch list: %1").arg(missing)));
    engine()->watchLessFileAtPath(missing);
    QVERIFY(m_notifications.isEmpty());

    const QString file = path(QStringLiteral("watched.less"));
    writeFile(file, "a {}");
    engine()->watchLessFileAtPath(file);
    engine()->watchLessFileAtPath(file);
    QCOMPARE(posted(BeganWatching).size(), 1);
    QCOMPARE(engine()->watchedLessFiles(), QStringList({m_marker, file}));
    const QVariantMap began = posted(BeganWatching).first().userInfo;
    QCOMPARE(began.value(File).toString(), file);
    QVERIFY(began.value(Time).toDateTime().isValid());
    QCOMPARE(began.value(Result).value<StyledText>(),
             StyledText(QStringLiteral("Watching for changes."), StyledText::Grey));

    engine()->stopWatchingLessFileAtPath(path(QStringLiteral("never watched.less")));
    QCOMPARE(posted(StoppedWatching).size(), 0);
    engine()->stopWatchingLessFileAtPath(file);
    QCOMPARE(posted(StoppedWatching).size(), 1);
    QCOMPARE(posted(StoppedWatching).first().userInfo.value(Result).value<StyledText>(),
             StyledText(QStringLiteral("Stopped watching for changes."), StyledText::Grey));
    QCOMPARE(engine()->watchedLessFiles(), QStringList{m_marker});

    EditorSave::writeInPlace(file, "b {}");
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
    QTest::newRow("only one importer set to compile")
        << false << true << false << QStringList{"first.less: " + label};
    QTest::newRow("all set to compile") << true << true << true
                                        << QStringList{"base.less: ", "first.less: " + label,
                                                       "second.less: " + label};
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
    writeFile(base, "@color: red;\n");
    writeFile(first, "@import 'base';\na { color: @color; }\n");
    writeFile(second, "@import 'base';\nb { color: @color; }\n");
    writeFile(third, "@import 'first';\n");
    const auto settings = [&](const QString &file, bool compiles, const QStringList &importers) {
        QVariantMap values = autoCompiled(file + QStringLiteral(".css"), importers);
        values.insert(Settings::ShouldAutoCompile, compiles);
        return values;
    };
    m_delegate.settings = {{base, settings(base, baseCompiles, {first, second})},
                           {first, settings(first, firstCompiles, {third})},
                           {second, settings(second, secondCompiles, {})},
                           {third, settings(third, true, {})}};
    engine()->watchLessFileAtPath(base);

    EditorSave::writeInPlace(base, "@color: blue;\n");
    QVERIFY(flush());
    QCOMPARE(posted(Started).size(), expected.size());
    QTRY_COMPARE_WITH_TIMEOUT(posted(Succeeded).size(), expected.size(), Timeout);
    QStringList compiled;
    for (const Notification &notification : posted(Succeeded)) {
        compiled.append(QFileInfo(notification.userInfo.value(File).toString()).fileName() + QStringLiteral(": ")
                        + notification.userInfo.value(LinkedToFile).toString());
    }
    compiled.sort();
    QCOMPARE(compiled, expected);
}

void TestZRMLessCompiler::editorSaves_data()
{
    QTest::addColumn<Pattern>("pattern");
    QTest::addColumn<bool>("deletedFirst");

    QTest::newRow("in place") << Pattern::InPlace << false;
    QTest::newRow("in chunks") << Pattern::InPlaceInChunks << false;
    QTest::newRow("temporary file renamed over") << Pattern::TempFileRenamedOver << false;
    QTest::newRow("backup, then new file") << Pattern::BackupThenNewFile << false;
    QTest::newRow("delete, then new file") << Pattern::DeleteThenNewFile << false;
    QTest::newRow("deleted, created again later") << Pattern::InPlace << true;
}

// Every save compiles once, with the new content, and the next save is seen.
void TestZRMLessCompiler::editorSaves()
{
    QFETCH(Pattern, pattern);
    QFETCH(bool, deletedFirst);

    const QString file = path(QStringLiteral("site ü.less"));
    const QString output = path(QStringLiteral("site ü.css"));
    writeFile(file, lessWithColor("#111111"));
    m_delegate.settings.insert(file, autoCompiled(output));
    engine()->watchLessFileAtPath(file);

    if (deletedFirst) {
        EditorSave::remove(file);
        QVERIFY(flush());
        EditorSave::createFile(file, lessWithColor("#222222"));
    } else {
        EditorSave::save(pattern, file, lessWithColor("#222222"));
    }
    QVERIFY(flush());
    QCOMPARE(posted(Started, file).size(), 1);
    QTRY_COMPARE_WITH_TIMEOUT(posted(Succeeded, file).size(), 1, Timeout);
    QCOMPARE(contentOf(output), cssWithColor("#222222"));

    EditorSave::writeInPlace(file, lessWithColor("#333333"));
    QVERIFY(flush());
    QCOMPARE(posted(Started, file).size(), 2);
    QTRY_COMPARE_WITH_TIMEOUT(posted(Succeeded, file).size(), 2, Timeout);
    QCOMPARE(contentOf(output), cssWithColor("#333333"));
    QVERIFY(posted(Failed).isEmpty());
}

// A rename compiles nothing; the path is still followed, and a file renamed
// back into place is new content there.
void TestZRMLessCompiler::renameCompilesNothing()
{
    const QString file = path(QStringLiteral("moving.less"));
    const QString elsewhere = path(QStringLiteral("moved.less"));
    writeFile(file, lessWithColor("#444444"));
    m_delegate.settings.insert(file, autoCompiled(path(QStringLiteral("moving.css"))));
    engine()->watchLessFileAtPath(file);

    EditorSave::rename(file, elsewhere);
    QVERIFY(flush());
    QVERIFY(posted(Started).isEmpty());
    QVERIFY(!m_delegate.asked.contains(file));

    EditorSave::rename(elsewhere, file);
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
        writeFile(path(QStringLiteral("outside/h.less")), "");
        QVERIFY(QFile::link(path(QStringLiteral("outside")), folder + QStringLiteral("/link")));
    } else if (entry.endsWith(u'/')) {
        QVERIFY(QDir().mkpath(folder + u'/' + entry));
        entry.chop(1);
    } else {
        writeFile(folder + u'/' + entry, "");
    }
    const QStringList expected = found ? QStringList{folder + u'/' + entry} : QStringList();
    QCOMPARE(ZRMLessCompiler::getAllLessFilesInDirectory(folder), expected);
    QCOMPARE(ZRMLessCompiler::getAllLessFilesInDirectory(folder + u'/'), expected);
}

void TestZRMLessCompiler::folderScanIsDepthFirst()
{
    const QString folder = path(QStringLiteral("project"));
    const QStringList files{"a/1.less", "a/b.less/2.less", "a/b.less/c/3.less", "d/4.less", "5.less"};
    for (const QString &file : files)
        writeFile(folder + u'/' + file, "");

    const QStringList scanned = ZRMLessCompiler::getAllLessFilesInDirectory(folder);
    QStringList relative;
    for (const QString &file : scanned)
        relative.append(QDir(folder).relativeFilePath(file));
    QStringList sorted = relative;
    sorted.sort();
    QCOMPARE(sorted, QStringList({"5.less", "a/1.less", "a/b.less", "a/b.less/2.less", "a/b.less/c/3.less",
                                  "d/4.less"}));
    // A folder comes before its entries, and they follow one another without a break.
    QCOMPARE_LT(relative.indexOf(QStringLiteral("a/b.less")), relative.indexOf(QStringLiteral("a/b.less/2.less")));
    for (const QString &prefix : {QStringLiteral("a/"), QStringLiteral("a/b.less/")}) {
        QList<qsizetype> indices;
        for (qsizetype i = 0; i < relative.size(); ++i) {
            if (relative.at(i).startsWith(prefix))
                indices.append(i);
        }
        QCOMPARE(indices.last() - indices.first() + 1, indices.size());
    }
}

QTEST_GUILESS_MAIN(TestZRMLessCompiler)
#include "TestZRMLessCompiler.moc"
