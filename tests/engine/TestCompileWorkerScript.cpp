#include "FileActions.h"
#include "support/Resources.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

#include <sys/stat.h>

using FileActions::contentOf;

namespace {

constexpr int Timeout = 60000;

QString engine(const QString &name)
{
    return Resources::pathForResource(name, {}, QStringLiteral("engines/bin"));
}

void write(const QString &path, const QByteArray &content)
{
    FileActions::write(path, QIODevice::Truncate, content);
}

struct stat statusOf(const QString &path)
{
    struct stat status = {};
    stat(QFile::encodeName(path).constData(), &status);
    return status;
}

// The reference: lessc's standard error, trimmed, and its exit status.
std::pair<QString, int> runLessc(const QString &input, const QString &output, bool compress)
{
    QProcess lessc;
    lessc.start(engine("node"), QStringList{engine("lessc"), input, output}
                                    + (compress ? QStringList{"--yui-compress", "--no-color"} : QStringList{"--no-color"}));
    lessc.waitForFinished(Timeout);
    return {QString::fromUtf8(lessc.readAllStandardError()).trimmed(), lessc.exitCode()};
}

// options: what the request asks beyond lessc's arguments.
QByteArray request(int id, const QString &input, const QString &output, bool compress, QJsonObject options = {})
{
    options.insert("id", id);
    options.insert("input", input);
    options.insert("output", output);
    options.insert("compress", compress);
    return QJsonDocument(options).toJson(QJsonDocument::Compact);
}

QString fixture(const QString &relative)
{
    return QDir::cleanPath(QFINDTESTDATA("../fixtures/node_modules/" + relative));
}

// A worker; a line on its standard output that is not a JSON object reads as an empty answer.
struct Worker
{
    Worker() { process.start(engine("node"), {engine("compile-worker.js")}); }
    ~Worker()
    {
        process.closeWriteChannel();
        process.waitForFinished(Timeout);
    }
    void send(const QByteArray &line) { process.write(line + '\n'); }
    QJsonObject next()
    {
        while (!process.canReadLine() && process.waitForReadyRead(Timeout)) {}
        return QJsonDocument::fromJson(process.readLine()).object();
    }
    QJsonObject compile(const QString &input, const QString &output, bool compress, const QJsonObject &options = {})
    {
        send(request(1, input, output, compress, options));
        return next();
    }

    QProcess process;
};

} // namespace

class TestCompileWorkerScript : public QObject
{
    Q_OBJECT

    QString site(const QString &relative) const { return m_site.filePath(relative); }
    QString path(const QString &relative) const { return m_row->filePath(relative); }

    QTemporaryDir m_site;
    std::unique_ptr<QTemporaryDir> m_row;
    std::unique_ptr<Worker> m_worker;

private Q_SLOTS:
    void initTestCase()
    {
        write(site("main.less"), "@import \"lib/vars\";\n@import \"mixins.less\";\n"
                                 ".box { color: @brand; .rounded(); background: url(\"img/bg.png\"); }\n");
        write(site("lib/vars.less"), "@import \"colors\";\n@brand: @blue;\n.logo { background: url(logo.png); }\n");
        write(site("lib/colors.less"), "@blue: #1a5fb4;\n");
        write(site("mixins.less"), ".rounded(@r: 3px) { border-radius: @r; }\n");
        write(site("bom.less"), "\xEF\xBB\xBF.caf\xC3\xA9::after { content: \"\xC3\xBC \xE2\x9C\x93\"; }\n");
        write(site("crlf.less"), "@w: 10px;\r\n.a {\r\n  width: @w * 2;\r\n}\r\n");
        write(site("noisy.js"), "console.log('noise'); functions.add('seven', () => new tree.Dimension(7, 'px'));\n");
        write(site("plugin.less"), "@plugin \"noisy\";\n.p { width: seven(); }\n");
        write(site("syntax.less"), ".a { color: red;\n");
        write(site("deprecated.less"), ".m() { width: 1px; }\n.a { .m; }\n");
        write(site("undefined.less"), ".m() { width: 1px; }\n.a { .m; }\n.b { .m; color: @nope; }\n");
        write(site("missing-import.less"), "@import \"nowhere\";\n");
        write(site("include/shared.less"), ".shared { top: 0; }\n");
        m_worker = std::make_unique<Worker>();
        QCOMPARE(m_worker->next().value("ready"), QJsonValue(true));
    }

    void init() { m_row = std::make_unique<QTemporaryDir>(); }

    void matchesLessc_data()
    {
        QTest::addColumn<QString>("input");
        QTest::addColumn<QString>("output"); // empty: a new file
        QTest::addColumn<bool>("compress");
        QTest::addColumn<bool>("fails");
        QTest::addColumn<QStringList>("imports"); // checked when not empty
        const QString bootstrap = fixture("bootstrap/less");
        QVERIFY2(!bootstrap.isEmpty(), "Bootstrap is missing: run scripts/setup");
        for (const bool compress : {false, true}) {
            auto row = [&](const char *name, const QString &input, const QStringList &imports = {}) {
                QTest::addRow("%s%s", name, compress ? ", compressed" : "") << input << QString() << compress
                                                                            << false << imports;
            };
            row("bootstrap", bootstrap + "/bootstrap.less");
            row("bootstrap theme", bootstrap + "/theme.less");
            row("imports, from a subfolder too, with url()", site("main.less"),
                {site("lib/colors.less"), site("lib/vars.less"), site("mixins.less")});
            row("UTF-8 BOM", site("bom.less"));
            row("CRLF", site("crlf.less"));
            row("a warning", site("deprecated.less"));
            row("@plugin that prints", site("plugin.less"), {site("noisy.js")});
        }
        auto error = [](const char *name, const QString &input, const QString &output = {}) {
            QTest::newRow(name) << input << output << true << true << QStringList();
        };
        error("syntax error", site("syntax.less"));
        error("warnings, then an undefined variable", site("undefined.less"));
        error("missing import", site("missing-import.less"));
        error("missing input", site("missing.less"));
        error("output below a file", site("crlf.less"), site("bom.less/out.css"));
    }

    // One worker for all: a compile leaves nothing behind for the next. The
    // CSS, or else the message, is lessc's; standard output holds nothing but answers.
    void matchesLessc()
    {
        QFETCH(QString, input);
        QFETCH(QString, output);
        QFETCH(bool, compress);
        QFETCH(bool, fails);
        QFETCH(QStringList, imports);
        if (output.isEmpty())
            output = path("out.css");
        const auto [error, status] = runLessc(input, output, compress);
        QCOMPARE(status != 0, fails);
        const QByteArray css = contentOf(output);
        QFile::remove(output);

        const QJsonObject answer = m_worker->compile(input, output, compress);
        QCOMPARE(answer.value("ok"), QJsonValue(!fails));
        // lessc warns, then fails; the answer keeps the two apart.
        QCOMPARE((answer.value("warnings").toString() + answer.value("message").toString()).trimmed(), error);
        QVERIFY(!answer.value("message").toString().contains(u"WARNING"));
        QCOMPARE(QFile::exists(output), !fails);
        QCOMPARE(contentOf(output), css);
        QStringList files = answer.value("files").toVariant().toStringList();
        QCOMPARE(files.value(0), input);
        files.removeFirst();
        files.sort();
        QVERIFY(imports.isEmpty() || files == imports);
    }

    void replacesTheCssWhole_data()
    {
        QTest::addColumn<QByteArray>("source");
        QTest::addColumn<int>("mode"); // of the CSS there before; 0: none
        QTest::addColumn<bool>("throughLink");
        const QByteArray valid = "@w: 2px;\n.a { width: @w; }\n";
        QTest::newRow("new file") << valid << 0 << false;
        QTest::newRow("existing file keeps its mode") << valid << 0640 << false;
        QTest::newRow("link: written where it points") << valid << 0604 << true;
        QTest::newRow("failed compile leaves the old CSS") << QByteArray(".a {") << 0640 << false;
    }

    // A reader sees the old file or the new one: a new file takes the old one's place.
    void replacesTheCssWhole()
    {
        QFETCH(QByteArray, source);
        QFETCH(int, mode);
        QFETCH(bool, throughLink);
        const QString input = path("less/in.less"), target = path("css/target.css");
        const QString output = throughLink ? path("css/link.css") : target;
        write(input, source);
        QDir().mkpath(path("css"));
        if (mode != 0) {
            write(target, "old");
            QVERIFY(chmod(QFile::encodeName(target).constData(), mode) == 0);
        }
        QVERIFY(!throughLink || QFile::link(target, output));
        const bool valid = runLessc(input, path("lessc.css"), false).second == 0;
        const struct stat before = statusOf(target);

        QCOMPARE(m_worker->compile(input, output, false).value("ok"), QJsonValue(valid));
        QCOMPARE(contentOf(target), valid ? contentOf(path("lessc.css")) : QByteArray("old"));
        const struct stat after = statusOf(target);
        QCOMPARE(int(after.st_mode & 07777), mode != 0 ? mode : int(statusOf(path("lessc.css")).st_mode & 07777));
        QCOMPARE(after.st_ino == before.st_ino, !valid);
        QCOMPARE(QFileInfo(output).isSymLink(), throughLink);
        QCOMPARE(QDir(path("css")).entryList(QDir::Files | QDir::Hidden | QDir::System).size(), throughLink ? 2 : 1);
    }

    void sourceMapsLeadToTheLess_data()
    {
        QTest::addColumn<QString>("sourceMap");
        QTest::addColumn<bool>("compress");
        QTest::addColumn<bool>("autoprefix");
        for (const char *sourceMap : {"file", "inline"}) {
            for (const bool compress : {false, true}) {
                for (const bool autoprefix : {false, true})
                    QTest::addRow("%s%s%s", sourceMap, compress ? ", compressed" : "", autoprefix ? ", prefixed" : "")
                        << QString::fromLatin1(sourceMap) << compress << autoprefix;
            }
        }
    }

    // Prefixes and compression move the CSS about after less; the map still
    // leads from a rule of either file, and from a declaration below inserted
    // prefixes, to its LESS line, and names each LESS file once, and nothing else.
    void sourceMapsLeadToTheLess()
    {
        QFETCH(QString, sourceMap);
        QFETCH(bool, compress);
        QFETCH(bool, autoprefix);
        write(path(".browserslistrc"), "safari 5\n");
        write(path("less/_vars.less"), "@brand: #123456;\n.partial-rule { display: flex; }\n");
        write(path("less/main.less"), "@import \"_vars\";\n\n.main {\n  user-select: none;\n  color: @brand;\n}\n");
        const QString css = path("css/out.css");
        const QJsonObject options{{"sourceMap", sourceMap}, {"autoprefix", autoprefix}};
        QCOMPARE(m_worker->compile(path("less/main.less"), css, compress, options).value("ok"), QJsonValue(true));
        QCOMPARE(QFile::exists(css + ".map"), sourceMap == "file");
        QCOMPARE(contentOf(css).contains("-webkit-"), autoprefix);
        const std::pair<const char *, const char *> origins[] = {
            {".partial-rule", "less/_vars.less:2"}, {".main", "less/main.less:3"}, {"color", "less/main.less:5"}};
        for (const auto &[text, origin] : origins) {
            QProcess resolve;
            resolve.setProcessChannelMode(QProcess::ForwardedErrorChannel);
            resolve.start(engine("node"), {QFINDTESTDATA("resolve-source-map.js"), fixture("source-map"), css, text});
            QVERIFY(resolve.waitForFinished(Timeout));
            const QJsonObject found = QJsonDocument::fromJson(resolve.readAllStandardOutput()).object();
            const QString source = QDir::cleanPath(path("css/") + found.value("source").toString());
            QCOMPARE(source + ':' + QString::number(found.value("line").toInt()), path(origin));
            QStringList sources = found.value("sources").toVariant().toStringList();
            sources.sort();
            QCOMPARE(sources, QStringList({"../less/_vars.less", "../less/main.less"}));
        }
    }

    void prefixesForTheProjectsBrowsers_data()
    {
        QTest::addColumn<QString>("file"); // in the project, above the LESS file's folder
        QTest::addColumn<QByteArray>("browsers");
        QTest::addColumn<QByteArrayList>("prefixed");
        QTest::newRow("Safari 5") << ".browserslistrc" << QByteArray("safari 5\n")
                                  << QByteArrayList{"display: -webkit-box;", "-webkit-user-select: none;"};
        QTest::newRow("IE 10, in package.json") << "package.json" << QByteArray(R"({"browserslist": ["ie 10"]})")
                                                << QByteArrayList{"display: -ms-flexbox;", "-ms-user-select: none;"};
        QTest::newRow("the last Chrome") << ".browserslistrc" << QByteArray("last 1 Chrome version\n")
                                         << QByteArrayList{};
    }

    // One project for all rows: the worker reads the browsers afresh for each compile.
    void prefixesForTheProjectsBrowsers()
    {
        QFETCH(QString, file);
        QFETCH(QByteArray, browsers);
        QFETCH(QByteArrayList, prefixed);
        QFile::remove(site("prefixed/.browserslistrc"));
        QFile::remove(site("prefixed/package.json"));
        write(site("prefixed/" + file), browsers);
        write(site("prefixed/less/in.less"), ".a { display: flex; user-select: none; }\n");
        const QString css = site("prefixed/css/in.css");
        QCOMPARE(m_worker->compile(site("prefixed/less/in.less"), css, false, {{"autoprefix", true}}).value("ok"),
                 QJsonValue(true));
        const QByteArray written = contentOf(css);
        for (const QByteArray &prefix : prefixed)
            QVERIFY2(written.contains(prefix), written.constData());
        QCOMPARE(written.contains("-webkit-") || written.contains("-ms-"), !prefixed.isEmpty());
    }

    void languageOptions_data()
    {
        QTest::addColumn<QByteArray>("source");
        QTest::addColumn<QJsonObject>("options");
        QTest::addColumn<QString>("expected"); // in the CSS, or else in the message
        const QByteArray division = ".a { width: 10px / 2; }\n";
        QTest::newRow("the project's less 3 divides")
            << division << QJsonObject{{"less", fixture("less3")}} << "width: 5px;";
        QTest::newRow("then the bundled less 4 does not") << division << QJsonObject{} << "width: 10px / 2;";
        QTest::newRow("math always") << division << QJsonObject{{"math", "always"}} << "width: 5px;";
        QTest::newRow("strict units") << QByteArray(".a { width: 1px + 1em; }\n") << QJsonObject{{"strictUnits", true}}
                                      << "Incompatible units";
        QTest::newRow("modifyVars") << QByteArray("@brand: red;\n.a { color: @brand; }\n")
                                    << QJsonObject{{"modifyVars", QJsonObject{{"brand", "#00f"}}}} << "color: #00f;";
        QTest::newRow("include folder") << QByteArray("@import \"shared\";\n")
                                        << QJsonObject{{"paths", QJsonArray{site("include")}}} << ".shared {";
    }

    void languageOptions()
    {
        QFETCH(QByteArray, source);
        QFETCH(QJsonObject, options);
        QFETCH(QString, expected);
        write(path("in.less"), source);
        const QJsonObject answer = m_worker->compile(path("in.less"), path("out.css"), false, options);
        const QString found = answer.value("ok").toBool() ? QString::fromUtf8(contentOf(path("out.css")))
                                                          : answer.value("message").toString();
        QVERIFY2(found.contains(expected), qPrintable(found));
    }

    void servesInOrderUntilEndOfInput_data()
    {
        QTest::addColumn<QByteArray>("malformed");
        QTest::addColumn<QJsonValue>("id");
        QTest::addColumn<QString>("field"); // named in the message
        QTest::newRow("not JSON") << QByteArray("{\"id\": 3,") << QJsonValue() << QString();
        QTest::newRow("id not a number")
            << QByteArray(R"({"id":"3","input":"/a.less","output":"/a.css","compress":false})") << QJsonValue()
            << "\"id\"";
        QTest::newRow("relative input")
            << QByteArray(R"({"id":4,"input":"a.less","output":"/a.css","compress":false})") << QJsonValue(4)
            << "\"input\"";
        const QByteArray valid = R"({"id":4,"input":"/a.less","output":"/a.css","compress":false,)";
        QTest::newRow("source map neither file nor inline")
            << valid + R"("sourceMap":"yes"})" << QJsonValue(4) << "\"sourceMap\"";
        QTest::newRow("relative include folder") << valid + R"("paths":["include"]})" << QJsonValue(4) << "\"paths\"";
        QTest::newRow("variable not a string") << valid + R"("modifyVars":{"a":1}})" << QJsonValue(4) << "\"modifyVars\"";
    }

    // A malformed line gets its error answer; what arrived before the end of
    // input is served, in order; then the worker exits with 0.
    void servesInOrderUntilEndOfInput()
    {
        QFETCH(QByteArray, malformed);
        QFETCH(QJsonValue, id);
        QFETCH(QString, field);
        Worker worker;
        QVERIFY(worker.next().value("ready").toBool());
        write(path("in.less"), ".a { b: c; }\n");
        worker.send(malformed);
        worker.send(request(5, path("in.less"), path("out5.css"), false));
        worker.send(request(6, path("in.less"), path("out6.css"), true));
        worker.process.closeWriteChannel();
        const QJsonObject answer = worker.next();
        QCOMPARE(answer.value("id"), id);
        QCOMPARE(answer.value("ok"), QJsonValue(false));
        QVERIFY(answer.value("message").toString().startsWith("Malformed request: "));
        QVERIFY(answer.value("message").toString().contains(field));
        for (const int served : {5, 6})
            QCOMPARE(worker.next().value("id"), QJsonValue(served));
        QVERIFY(worker.process.waitForFinished(Timeout));
        QCOMPARE(worker.process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(worker.process.exitCode(), 0);
        QVERIFY(QFile::exists(path("out6.css")));
    }

    // A fresh worker compiles a sample of its own while nothing is asked of
    // it; a request that comes meanwhile is served as any other, and the
    // sample neither prints nor writes anything.
    void servesWhileItWarmsUp()
    {
        Worker worker;
        QVERIFY(worker.next().value("ready").toBool());
        write(path("in.less"), ".a { b: c; }\n");
        QTest::qWait(300); // the sample's rounds start after 200 ms
        const QJsonObject answer = worker.compile(path("in.less"), path("out.css"), false);
        QCOMPARE(answer.value("ok"), QJsonValue(true));
        QCOMPARE(answer.value("files").toVariant().toStringList(), QStringList{path("in.less")});
        QCOMPARE(contentOf(path("out.css")), QByteArray(".a {\n  b: c;\n}\n"));
        worker.process.closeWriteChannel();
        QVERIFY(worker.process.waitForFinished(Timeout));
        QCOMPARE(worker.process.readAllStandardError(), QByteArray());
        QCOMPARE(QDir(m_row->path()).entryList(QDir::Files | QDir::Hidden), QStringList({"in.less", "out.css"}));
    }
};

QTEST_GUILESS_MAIN(TestCompileWorkerScript)
#include "TestCompileWorkerScript.moc"
