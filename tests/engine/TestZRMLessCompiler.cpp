#include "FileActions.h"
#include "engine/ZRMLessCompiler.h"
#include "engine/ZRMLessCompilerDelegate.h"
#include "support/NotificationCenter.h"
#include "support/StyledText.h"

#include <QDateTime>
#include <QEventLoop>
#include <QTemporaryDir>
#include <QThread>
#include <QTest>

#include <atomic>
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

// Answers with the settings a test gave it and remembers who asked.
struct SettingsDelegate : public ZRMLessCompilerDelegate
{
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
    return {{Settings::ShouldAutoCompile, autoCompile}, {Settings::OutputPath, outputPath},
            {Settings::ShouldCompressOutput, false}, {Settings::LinkedFilesToCompile, importers}};
}

enum class NodeState { Missing, NotExecutable, NoWorker, NotAProgram, DiesLoading };

} // namespace

Q_DECLARE_METATYPE(NodeState)

class TestZRMLessCompiler : public QObject
{
    Q_OBJECT

    QString path(const QString &relative) const { return m_root->filePath(relative); }

    QList<QVariantMap> posted(const QString &name, const QString &file = {}) const
    {
        QList<QVariantMap> found;
        for (const Notification &notification : m_notifications)
            if (notification.name == name && (file.isEmpty() || notification.userInfo.value(File) == file))
                found.append(notification.userInfo);
        return found;
    }

    // The engine asks its delegate during each delivery, in order: once it asks for the marker's
    // settings, every earlier event has started its compiles.
    bool flush()
    {
        const qsizetype asked = m_delegate.asked.count(m_marker);
        FileActions::writeInPlace(m_marker, QByteArray::number(asked));
        return QTest::qWaitFor([&] { return m_delegate.asked.count(m_marker) > asked; }, Timeout);
    }

    ZRMLessCompiler *const m_engine = ZRMLessCompiler::sharedLessCompiler();
    std::unique_ptr<QTemporaryDir> m_root;
    std::unique_ptr<QObject> m_observer;
    QList<Notification> m_notifications;
    SettingsDelegate m_delegate;
    QString m_marker;

private Q_SLOTS:
    void init()
    {
        m_root = std::make_unique<QTemporaryDir>();
        m_delegate = SettingsDelegate();
        m_engine->setCompilerDelegate(&m_delegate);
        m_marker = path(QStringLiteral("marker.less"));
        FileActions::create(m_marker, "marker");
        m_engine->watchLessFileAtPath(m_marker);
        m_notifications.clear();
        m_observer = std::make_unique<QObject>();
        // Only this test's files: compiles of earlier tests may still end.
        NotificationCenter::defaultCenter()->addObserver(m_observer.get(), {}, [this](const Notification &n) {
            const QString file = n.userInfo.value(File).toString();
            if (n.sender == m_engine && (file.isEmpty() || file.startsWith(m_root->path())))
                m_notifications.append(n);
        });
    }

    void cleanup()
    {
        m_observer.reset();
        for (const QString &watched : m_engine->watchedLessFiles())
            m_engine->stopWatchingLessFileAtPath(watched);
        m_engine->setCompilerDelegate(nullptr);
        if (qEnvironmentVariableIsSet("CASCADER_RESOURCES")) {
            qunsetenv("CASCADER_RESOURCES");
            m_engine->findCompiler();
        }
        m_root.reset();
    }

    void outputFolder_data()
    {
        QTest::addColumn<QString>("output"); // empty: none
        QTest::addColumn<bool>("labelled");

        QTest::newRow("output folder deleted") << "gone/out.css" << true;
        QTest::newRow("no output path") << "" << false;
    }

    // No worker is asked; a compile without a CSS target has no label either.
    void outputFolder()
    {
        QFETCH(QString, output);
        QFETCH(bool, labelled);

        const QString input = path(QStringLiteral("in put.less"));
        FileActions::create(input, "a {}");
        m_engine->beginCompilingFileAtPath(
            {.input = input, .output = output.isEmpty() ? QString() : path(output), .triggeredBy = path("base.less")});
        QCOMPARE(posted(Started).size(), 1);
        QTRY_COMPARE_WITH_TIMEOUT(posted(Failed).size(), 1, Timeout);
        const QVariantMap result = posted(Failed).first();
        QCOMPARE(result.value(Result).toString(),
                 "The output path you selected for this file no longer exists. Choose a new path or refresh the "
                 "watched files list.");
        QCOMPARE(result.value(Successful), QVariant(false));
        QCOMPARE(result.contains(LinkedToFile), labelled);
    }

    void brokenCompiler_data()
    {
        QTest::addColumn<NodeState>("node");
        QTest::addColumn<QString>("reason"); // a part of what the notification says

        QTest::newRow("node missing") << NodeState::Missing << "missing from";
        QTest::newRow("node not executable") << NodeState::NotExecutable << "missing from";
        QTest::newRow("worker script missing") << NodeState::NoWorker << "missing from";
        QTest::newRow("node is not a program") << NodeState::NotAProgram << "Exec format error";
        QTest::newRow("worker dies while loading") << NodeState::DiesLoading << "Cannot find module 'less'";
    }

    // A compiler that cannot run is said once, whatever is asked of it later,
    // and nothing is started; once it is repaired, files compile again.
    void brokenCompiler()
    {
        QFETCH(NodeState, node);
        QFETCH(QString, reason);

        const QString bin = path(QStringLiteral("fake resources/engines/bin/")), nodePath = bin + "node";
        const QFile::Permissions executable = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner;
        if (node != NodeState::NoWorker)
            FileActions::create(bin + "compile-worker.js", "// not read\n");
        if (node == NodeState::NotAProgram)
            FileActions::create(nodePath, QByteArray("\x7f\x01\x02 not a program", 18), executable);
        else if (node != NodeState::Missing)
            FileActions::create(nodePath, "#!/bin/sh\necho \"Error: Cannot find module 'less'\" >&2\nexit 1\n",
                                node == NodeState::NotExecutable ? QFile::ReadOwner : executable);
        qputenv("CASCADER_RESOURCES", QFile::encodeName(path(QStringLiteral("fake resources"))));
        m_engine->findCompiler();
        QTRY_COMPARE_WITH_TIMEOUT(posted(NotFound).size(), 1, Timeout);
        const QString said = posted(NotFound).first().value(Result).toString();
        QVERIFY2(said.contains(reason), qPrintable(said));

        const QString input = path(QStringLiteral("in put.less")), output = path(QStringLiteral("out.css"));
        FileActions::create(input, "a { color: red; }");
        for (int save = 0; save < 3; ++save)
            m_engine->compileFileAtPath(input, output, false);
        QTest::qWait(500);
        QCOMPARE(posted(NotFound).size(), 1);
        QVERIFY(posted(Started).isEmpty());

        qunsetenv("CASCADER_RESOURCES");
        m_engine->findCompiler();
        m_engine->compileFileAtPath(input, output, false);
        QTRY_COMPARE_WITH_TIMEOUT(posted(Succeeded).size(), 1, Timeout);
        QCOMPARE(FileActions::contentOf(output), "a {\n  color: red;\n}\n");
    }

    void watchList()
    {
        const QString missing = path(QStringLiteral("missing.less"));
        QTest::ignoreMessage(QtWarningMsg, qPrintable("ZRMLessCompiler was asked to watch a LESS file that does not "
                                                      "exist. This file was NOT added to the watch list: " + missing));
        m_engine->watchLessFileAtPath(missing);
        const QString file = path(QStringLiteral("watched.less"));
        FileActions::create(file, "a {}");
        m_engine->watchLessFileAtPath(file);
        m_engine->watchLessFileAtPath(file);
        m_engine->stopWatchingLessFileAtPath(path(QStringLiteral("never watched.less")));
        QCOMPARE(m_engine->watchedLessFiles(), QStringList({m_marker, file}));
        m_engine->stopWatchingLessFileAtPath(file);
        QCOMPARE(m_engine->watchedLessFiles(), QStringList{m_marker});

        const QStringList names{ZRMLCBeganWatchingNewFileNotification, ZRMLCStoppedWatchingFileNotification};
        const QStringList messages{"Watching for changes.", "Stopped watching for changes."};
        QCOMPARE(m_notifications.size(), 2);
        for (int i = 0; i < 2; ++i) {
            QCOMPARE(m_notifications.at(i).name, names.at(i));
            const QVariantMap payload = m_notifications.at(i).userInfo;
            QCOMPARE(payload.value(File).toString(), file);
            QCOMPARE(payload.value(Result).value<StyledText>(), StyledText(messages.at(i), StyledText::Grey));
        }
        FileActions::writeInPlace(file, "b {}");
        QVERIFY(flush());
        QVERIFY(!m_delegate.asked.contains(file));
    }

    void importers_data()
    {
        QTest::addColumn<QStringList>("compiling"); // set to compile automatically
        QTest::addColumn<QStringList>("expected"); // file name: linked-to label

        const QString label = QStringLiteral("[Triggered by: base.less]");
        QTest::newRow("only one importer set to compile") << QStringList{"first"} << QStringList{"first.less: " + label};
        QTest::newRow("all set to compile") << QStringList{"base", "first", "second"}
                                            << QStringList{"base.less: ", "first.less: " + label, "second.less: " + label};
        QTest::newRow("none set to compile") << QStringList() << QStringList();
    }

    // A change compiles the file and its direct importers, each by its own
    // settings; importers of importers are left alone.
    void importers()
    {
        QFETCH(QStringList, compiling);
        QFETCH(QStringList, expected);

        const QString base = path("base.less"), first = path("first.less"), second = path("second.less");
        const QString third = path(QStringLiteral("imports first.less"));
        FileActions::create(base, "@color: red;\n");
        FileActions::create(first, "@import 'base';\na { color: @color; }\n");
        FileActions::create(second, "@import 'base';\nb { color: @color; }\n");
        FileActions::create(third, "@import 'first';\n");
        m_delegate.settings = {{base, settings(base + ".css", compiling.contains("base"), {first, second})},
                               {first, settings(first + ".css", compiling.contains("first"), {third})},
                               {second, settings(second + ".css", compiling.contains("second"))},
                               {third, settings(third + ".css")}};
        m_engine->watchLessFileAtPath(base);

        FileActions::writeInPlace(base, "@color: blue;\n");
        QVERIFY(flush());
        QCOMPARE(posted(Started).size(), expected.size());
        QTRY_COMPARE_WITH_TIMEOUT(posted(Succeeded).size(), expected.size(), Timeout);
        QStringList compiled;
        for (const QVariantMap &result : posted(Succeeded))
            compiled << QFileInfo(result.value(File).toString()).fileName() + ": " + result.value(LinkedToFile).toString();
        compiled.sort();
        QCOMPARE(compiled, expected);
    }

    void bursts_data()
    {
        QTest::addColumn<int>("savedFiles"); // each imported by main.less
        QTest::addColumn<int>("savesEach");

        QTest::newRow("20 saves of one file") << 1 << 20;
        QTest::newRow("three saved files share an importer") << 3 << 1;
    }

    // A burst compiles each file once or twice, with the last content, and the
    // shared importer once, after the saves; a reader never sees half a CSS file.
    void bursts()
    {
        QFETCH(int, savedFiles);
        QFETCH(int, savesEach);

        const QString main = path(QStringLiteral("main.less")), mainCSS = path(QStringLiteral("main.css"));
        // A file saved over and over compiles slowly, so that the saves come
        // while it compiles however busy the machine is.
        FileActions::create(path(QStringLiteral("slow.js")),
                            "const end = Date.now() + 300; while (Date.now() < end) {}\n");
        const QByteArray slow = savedFiles == 1 ? "@plugin 'slow';\n" : "";
        QStringList saved;
        QByteArray imports;
        for (int index = 0; index < savedFiles; ++index) {
            saved << path(QStringLiteral("part%1.less").arg(index));
            FileActions::create(saved.last(), slow + "@c" + QByteArray::number(index) + ": #000;\n");
            imports += "@import 'part" + QByteArray::number(index) + "';\n";
        }
        // Large enough that writing the CSS takes a while.
        QByteArray rules;
        for (int rule = 0; rule < 3000; ++rule)
            rules += ".r" + QByteArray::number(rule) + " { color: @c0; }\n";
        FileActions::create(main, imports + rules);
        for (const QString &file : saved) {
            m_delegate.settings.insert(file, settings(file.chopped(5) + ".css", savedFiles == 1, {main}));
            m_engine->watchLessFileAtPath(file);
        }
        m_delegate.settings.insert(main, settings(mainCSS));

        std::atomic<bool> reading = true;
        std::atomic<int> halfWritten = 0;
        std::unique_ptr<QThread> reader(QThread::create([&] {
            while (reading) {
                const QByteArray css = FileActions::contentOf(mainCSS);
                halfWritten += !css.isEmpty() && !css.endsWith("}\n");
                QThread::yieldCurrentThread();
            }
        }));
        reader->start();
        // Saved from a thread while this one runs a real event loop, which,
        // unlike the test's waits, takes each event as it comes.
        std::unique_ptr<QThread> writer(QThread::create([&] {
            for (int save = 1; save <= savesEach; ++save) {
                for (int index = 0; index < savedFiles; ++index)
                    FileActions::writeInPlace(saved.at(index), slow + "@c" + QByteArray::number(index) + ": #"
                                                                  + QByteArray::number(100000 + save) + ";\n");
            }
        }));
        QEventLoop loop;
        connect(writer.get(), &QThread::finished, &loop, &QEventLoop::quit);
        writer->start();
        loop.exec();
        QVERIFY(flush());
        QTRY_COMPARE_WITH_TIMEOUT(posted(Succeeded).size(), posted(Started).size(), Timeout);
        QTest::qWait(300); // time for a compile that should not come
        reading = false;
        reader->wait();

        const qsizetype mainCompiles = posted(Succeeded, main).size();
        QVERIFY2(mainCompiles >= 1 && mainCompiles <= (savedFiles == 1 ? 2 : 1), qPrintable(QString::number(mainCompiles)));
        QVERIFY(FileActions::contentOf(mainCSS).startsWith(".r0 {\n  color: #" + QByteArray::number(100000 + savesEach)));
        QCOMPARE(halfWritten.load(), 0);
        if (savedFiles == 1) {
            const qsizetype partCompiles = posted(Succeeded, saved.first()).size();
            QVERIFY2(partCompiles >= 1 && partCompiles <= 2, qPrintable(QString::number(partCompiles)));
        } else {
            QCOMPARE(posted(Succeeded, main).first().value(LinkedToFile).toString(),
                     QStringLiteral("[Triggered by: part%1.less]").arg(savedFiles - 1));
        }
    }

    void editorSaves_data()
    {
        QTest::addColumn<Save>("pattern");
        QTest::addColumn<QString>("leave"); // first gone for a while: "delete" or "rename"

        QTest::newRow("in place") << Save::InPlace << "";
        QTest::newRow("temporary file renamed over") << Save::TempFileRenamedOver << "";
        QTest::newRow("deleted, created again later") << Save::InPlace << "delete";
        QTest::newRow("renamed away, renamed back later") << Save::InPlace << "rename";
    }

    // Every save compiles once, with the new content, and the next save is seen;
    // the watcher's tests go through the other ways editors save.
    // Leaving compiles nothing; a file back in place is new content there.
    void editorSaves()
    {
        QFETCH(Save, pattern);
        QFETCH(QString, leave);

        const auto less = [](const char *color) { return "@color: " + QByteArray(color) + ";\na { color: @color; }\n"; };
        const QString file = path(QStringLiteral("site ü.less")), moved = path(QStringLiteral("moved.less"));
        const QString output = path(QStringLiteral("site ü.css"));
        FileActions::create(file, less("#111111"));
        m_delegate.settings.insert(file, settings(output));
        m_engine->watchLessFileAtPath(file);

        if (leave.isEmpty()) {
            FileActions::save(pattern, file, less("#222222"));
        } else {
            leave == "delete" ? FileActions::remove(file) : FileActions::rename(file, moved);
            QVERIFY(flush());
            QVERIFY(posted(Started).isEmpty());
            QVERIFY(!m_delegate.asked.contains(file));
            if (leave == "delete") {
                FileActions::create(file, less("#222222"));
            } else {
                FileActions::writeInPlace(moved, less("#222222"));
                FileActions::rename(moved, file);
            }
        }
        for (int saves = 1; saves <= 2; ++saves) {
            if (saves == 2)
                FileActions::writeInPlace(file, less("#333333"));
            QVERIFY(flush());
            QCOMPARE(posted(Started, file).size(), saves);
            QTRY_COMPARE_WITH_TIMEOUT(posted(Succeeded, file).size(), saves, Timeout);
            const QByteArray color = saves == 1 ? "#222222" : "#333333";
            QCOMPARE(FileActions::contentOf(output), "a {\n  color: " + color + ";\n}\n");
        }
    }

    void folderScan_data()
    {
        QTest::addColumn<QStringList>("entries"); // a trailing slash makes a folder
        QTest::addColumn<QStringList>("found");

        QTest::newRow("upper-case extension") << QStringList{"A.LESS"} << QStringList{"A.LESS"};
        QTest::newRow("hidden file at the top") << QStringList{".b.less"} << QStringList();
        QTest::newRow("hidden file further down") << QStringList{"sub/.c.less"} << QStringList();
        QTest::newRow("inside a hidden folder at the top") << QStringList{".hidden/d.less"} << QStringList();
        QTest::newRow("in a hidden folder further down") << QStringList{"sub/.hidden/e.less"} << QStringList();
        QTest::newRow("other extension") << QStringList{"f.css"} << QStringList();
        QTest::newRow("name that is only the extension") << QStringList{"sub/.less"} << QStringList();
        QTest::newRow("folder named like a LESS file") << QStringList{"g.less/"} << QStringList{"g.less"};
        QTest::newRow("package managers' folders") << QStringList{"node_modules/x/a.less", "sub/bower_components/b.less",
                                                                  "node_modules.less"}
                                                   << QStringList{"node_modules.less"};
        QTest::newRow("behind a symbolic link to a folder") << QStringList{"link/h.less"} << QStringList();
        const QStringList tree{"a/1.less", "a/b.less/2.less", "a/b.less/c/3.less", "d/4.less", "5.less"};
        QTest::newRow("tree") << tree << QStringList{"5.less", "a/1.less", "a/b.less", "a/b.less/2.less",
                                                     "a/b.less/c/3.less", "d/4.less"};
    }

    // Depth first: a folder comes before its entries, which follow one another without a break.
    void folderScan()
    {
        QFETCH(QStringList, entries);
        QFETCH(QStringList, found);

        const QDir folder(path(QStringLiteral("project")));
        QVERIFY(QDir().mkpath(folder.path()));
        for (const QString &entry : entries) {
            if (entry.endsWith(u'/'))
                QVERIFY(folder.mkpath(entry));
            else if (!entry.startsWith("link/"))
                FileActions::create(folder.filePath(entry), "");
        }
        if (entries.first().startsWith("link/")) {
            FileActions::create(path(QStringLiteral("outside/h.less")), "");
            QVERIFY(QFile::link(path(QStringLiteral("outside")), folder.filePath("link")));
        }
        QCOMPARE(ZRMLessCompiler::getAllLessFilesInDirectory(folder.path() + u'/'),
                 ZRMLessCompiler::getAllLessFilesInDirectory(folder.path()));
        QStringList scanned;
        for (const QString &file : ZRMLessCompiler::getAllLessFilesInDirectory(folder.path()))
            scanned.append(folder.relativeFilePath(file));
        for (const QString &inFolder : {QStringLiteral("a/"), QStringLiteral("a/b.less/")}) {
            const QStringList inside = scanned.filter(QRegularExpression(u'^' + inFolder));
            if (!inside.isEmpty())
                QCOMPARE(scanned.mid(scanned.indexOf(inside.value(0)), inside.size()), inside);
        }
        QVERIFY(scanned.indexOf("a/b.less") <= scanned.indexOf("a/b.less/2.less"));
        scanned.sort();
        QCOMPARE(scanned, found);
    }
};

QTEST_GUILESS_MAIN(TestZRMLessCompiler)
#include "TestZRMLessCompiler.moc"
