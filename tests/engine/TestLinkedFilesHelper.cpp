#include "engine/LinkedFilesHelper.h"

#include <QTemporaryDir>
#include <QTest>

class TestLinkedFilesHelper : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Each statement found reads "target" or "target (options)", in order.
    void statements_data()
    {
        QTest::addColumn<QByteArray>("source");
        QTest::addColumn<QStringList>("found");

        QTest::newRow("quoted") << QByteArray("@import 'mixins';") << QStringList{"mixins"};
        QTest::newRow("double quotes, folder") << QByteArray("@import \"a/b.less\";") << QStringList{"a/b.less"};
        QTest::newRow("upper-case keyword") << QByteArray("@IMPORT 'Reset.LESS';") << QStringList{"Reset.LESS"};
        QTest::newRow("no space before the name") << QByteArray("@import'x';") << QStringList{"x"};
        QTest::newRow("url, quoted and not") << QByteArray("@import url('grid.less');\n@import url( plain.less );")
                                             << QStringList{"grid.less", "plain.less"};
        QTest::newRow("name containing url") << QByteArray("@import 'curly.less';") << QStringList{"curly.less"};
        QTest::newRow("options") << QByteArray("@import (reference, Optional) './x.less';")
                                 << QStringList{"./x.less (reference optional)"};
        QTest::newRow("over several lines") << QByteArray("@import\n  (less)\n  'a.css'\n  ;")
                                            << QStringList{"a.css (less)"};
        QTest::newRow("several names and a media query") << QByteArray("@import 'a', \"b\" screen and (color);")
                                                         << QStringList{"a", "b"};
        QTest::newRow("interpolated name kept whole") << QByteArray("@import \"@{theme}/colors.less\";")
                                                      << QStringList{"@{theme}/colors.less"};
        QTest::newRow("semicolon and escaped quote in a name") << QByteArray(R"(@import 'a;b\'c';)")
                                                               << QStringList{"a;b'c"};
        QTest::newRow("line comment") << QByteArray("// @import 'old';\n@import 'new';") << QStringList{"new"};
        QTest::newRow("block comment") << QByteArray("/* @import 'old';\n */ @import /* x */ 'new';")
                                       << QStringList{"new"};
        QTest::newRow("import inside a string") << QByteArray("a { content: \"@import 'no';\"; }") << QStringList{};
        QTest::newRow("url with // is no comment") << QByteArray("a { b: url(http://x/y.png); }\n@import 'z';")
                                                   << QStringList{"z"};
        QTest::newRow("inside a block") << QByteArray("@media print { @import 'p'; }") << QStringList{"p"};
        QTest::newRow("keyword as a prefix") << QByteArray("@importfoo; @imports 'x';") << QStringList{};
        QTest::newRow("variable name") << QByteArray("@import @theme;") << QStringList{};
        QTest::newRow("unterminated at the end") << QByteArray("@import 'a';\n@import 'b") << QStringList{"a", "b"};
        QTest::newRow("unterminated comment") << QByteArray("@import 'a'; /* @import 'b';") << QStringList{"a"};
    }

    void statements()
    {
        QFETCH(QByteArray, source);
        QFETCH(QStringList, found);
        QStringList texts;
        for (const ImportStatement &statement : LinkedFilesHelper::importStatements(source))
            texts << (statement.options.isEmpty() ? statement.target
                                                  : statement.target + " (" + statement.options.join(u' ') + ")");
        QCOMPARE(texts, found);
    }

    // Paths relative to the importing file's folder, /p/site/less.
    void filesRead_data()
    {
        QTest::addColumn<QByteArray>("source");
        QTest::addColumn<QStringList>("files");

        QTest::newRow("extension added, each once")
            << QByteArray("@import 'b';\n@import (reference) \"b.less\";") << QStringList{"/p/site/less/b.less"};
        QTest::newRow("./ and ../") << QByteArray("@import './x';\n@import '../shared/base.less';")
                                    << QStringList{"/p/site/less/x.less", "/p/site/shared/base.less"};
        QTest::newRow("absolute") << QByteArray("@import '/lib/x.less';") << QStringList{"/lib/x.less"};
        QTest::newRow("css stays a css import") << QByteArray("@import 'theme.css';") << QStringList{};
        QTest::newRow("css read as less") << QByteArray("@import (less) 'theme.css';\n@import (inline) 'raw.css';")
                                          << QStringList{"/p/site/less/theme.css", "/p/site/less/raw.css"};
        QTest::newRow("css option") << QByteArray("@import (css) 'x.less';") << QStringList{};
        QTest::newRow("remote") << QByteArray("@import url(https://fonts.example/a.css);\n@import '//cdn/x.less';")
                                << QStringList{};
        QTest::newRow("interpolated") << QByteArray("@import '@{theme}/colors';") << QStringList{};
    }

    void filesRead()
    {
        QFETCH(QByteArray, source);
        QFETCH(QStringList, files);
        QStringList read;
        for (const ImportStatement &statement : LinkedFilesHelper::importStatements(source)) {
            const QString path = LinkedFilesHelper::pathToImportedFile(statement.target, "/p/site/less/main.less");
            if (LinkedFilesHelper::readsImportedFile(statement) && !read.contains(path))
                read << path;
        }
        QCOMPARE(read, files);

        QTemporaryDir folder;
        const QString path = folder.filePath("main ü.less");
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(source) == source.size());
        file.close();
        QStringList expected;
        for (const QString &file : files)
            expected << (file.startsWith("/lib") ? file
                                                 : QDir::cleanPath(folder.path() + '/' + QDir("/p/site/less").relativeFilePath(file)));
        QCOMPARE(LinkedFilesHelper::linkedFilesForLessFile(path), std::optional<QStringList>(expected));
    }

    void unreadableFile()
    {
        QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("missing.less"));
        QTest::ignoreMessage(QtWarningMsg,
                             qPrintable("Unable to open file for @import linking. No links established for: " + path));
        QCOMPARE(LinkedFilesHelper::linkedFilesForLessFile(path), std::nullopt);
    }
};

QTEST_GUILESS_MAIN(TestLinkedFilesHelper)
#include "TestLinkedFilesHelper.moc"
