#include "engine/LinkedFilesHelper.h"

#include <QTemporaryDir>
#include <QTest>

class TestLinkedFilesHelper : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void statement_data();
    void statement();
    void file_data();
    void file();
    void longStatementIsDropped();
    void unreadableFile();
    void resolution_data();
    void resolution();

private:
    QString writeFile(const QByteArray &content);
    QTemporaryDir m_folder;
    int m_fileCount = 0;
};

QString TestLinkedFilesHelper::writeFile(const QByteArray &content)
{
    const QString path = m_folder.filePath(QStringLiteral("file%1 ü.less").arg(++m_fileCount));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("cannot write %s", qPrintable(path));
    return path;
}

void TestLinkedFilesHelper::statement_data()
{
    QTest::addColumn<QByteArray>("statement");
    QTest::addColumn<QString>("target");

    QTest::newRow("quoted, no extension") << QByteArray("@import 'mixins';") << "mixins.less";
    QTest::newRow("url") << QByteArray("@import url('grid.less');") << "grid.less";
    QTest::newRow("upper-case keyword") << QByteArray("@IMPORT 'Reset.LESS';") << "Reset.LESS";
    QTest::newRow("css kept") << QByteArray("@import 'theme.css';") << "theme.css";
    QTest::newRow("double quotes") << QByteArray("@import \"a/b.less\";") << "a/b.less";
    QTest::newRow("no space after keyword") << QByteArray("@Import'x';") << "x.less";
    QTest::newRow("keyword as prefix") << QByteArray("@importfoo;") << "foo.less";
    QTest::newRow("url inside a name") << QByteArray("@import 'curly.less';") << "cy.less";
    QTest::newRow("target on next line") << QByteArray("@import\n'a.less';") << "\n'a.less";
    QTest::newRow("variable") << QByteArray("@variable: 10px;") << "";
    QTest::newRow("media") << QByteArray("@media screen { a { color: red;") << "";
    QTest::newRow("short") << QByteArray("@imp;") << "";
}

void TestLinkedFilesHelper::statement()
{
    QFETCH(QByteArray, statement);
    QFETCH(QString, target);
    QCOMPARE(scanForImportStringInBuffer(statement.constData()), std::optional<QString>(target));
}

void TestLinkedFilesHelper::file_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QStringList>("imports");
    QTest::addColumn<bool>("endsInsideStatement");

    QTest::newRow("empty") << QByteArray() << QStringList() << false;
    QTest::newRow("no at") << QByteArray("a { color: red; }\n") << QStringList() << false;
    QTest::newRow("several, in order, duplicates kept")
        << QByteArray("@import 'b';\n@c: red;\n@import (reference) \"a.less\";\n@import 'b';\n")
        << QStringList{"b.less", "reference) \"a.less", "b.less"} << false;
    QTest::newRow("comment is not recognised")
        << QByteArray("// @import 'old';\n/* @import \"older.less\"; */\n")
        << QStringList{"old.less", "older.less"} << false;
    QTest::newRow("media block swallows the import inside it")
        << QByteArray("@media print { a { b: c; } }\n@import 'x';\n@media s { @import 'y'; }")
        << QStringList{"x.less"} << false;
    QTest::newRow("zero byte abandons the statement")
        << QByteArray("@import 'a", 10) + QByteArray(1, '\0') + QByteArray("';@import 'b';")
        << QStringList{"b.less"} << false;
    QTest::newRow("end of file inside a statement keeps earlier imports")
        << QByteArray("@import 'a';\n@import 'b.less'") << QStringList{"a.less"} << true;
}

void TestLinkedFilesHelper::file()
{
    QFETCH(QByteArray, content);
    QFETCH(QStringList, imports);
    QFETCH(bool, endsInsideStatement);

    const QString path = writeFile(content);
    if (endsInsideStatement)
        QTest::ignoreMessage(QtWarningMsg,
                             qPrintable(QStringLiteral(
                                 "Error: unexpected End-Of-File encountered while linking @import "
                                 "statements in (%1). This LESS file is malformed; no links were "
                                 "established for it.").arg(path)));
    QCOMPARE(LinkedFilesHelper::linkedFilesForLessFile(path), std::optional<QStringList>(imports));
}

void TestLinkedFilesHelper::longStatementIsDropped()
{
    // A statement of exactly 4,096 characters counts; one character more is dropped.
    const QByteArray fits = "@import '" + QByteArray(4096 - 11, 'f') + "';";
    const QByteArray tooLong = "@import '" + QByteArray(4096 - 10, 'g') + "';";
    QCOMPARE(fits.size(), 4096);
    const QString path = writeFile(fits + tooLong + "@import 'after';");
    const auto imports = LinkedFilesHelper::linkedFilesForLessFile(path);
    QVERIFY(imports);
    QCOMPARE(imports->size(), 2);
    QCOMPARE(imports->at(0), QString(4096 - 11, u'f') + ".less");
    // The overlong statement ends where it was cut; scanning resumes after it.
    QCOMPARE(imports->at(1), QStringLiteral("after.less"));
}

void TestLinkedFilesHelper::unreadableFile()
{
    const QString path = m_folder.filePath(QStringLiteral("missing.less"));
    QTest::ignoreMessage(QtWarningMsg,
                         qPrintable("Unable to open file for @import linking. No links established for: "
                                    + path));
    QCOMPARE(LinkedFilesHelper::linkedFilesForLessFile(path), std::nullopt);
}

void TestLinkedFilesHelper::resolution_data()
{
    QTest::addColumn<QString>("target");
    QTest::addColumn<QString>("importer");
    QTest::addColumn<QString>("resolved");

    QTest::newRow("sibling") << "b.less" << "/p/site/css/main.less" << "/p/site/css/b.less";
    QTest::newRow("parent") << "../shared/base.less" << "/p/site/css/main.less" << "/p/site/shared/base.less";
    QTest::newRow("absolute is relative") << "/abs/x.less" << "/p/site/css/main.less" << "/p/site/css/abs/x.less";
    QTest::newRow("dot kept") << "./x.less" << "/p/main.less" << "/p/./x.less";
    QTest::newRow("climbing past the root") << "../../../../x.less" << "/p/a/main.less" << "/x.less";
    QTest::newRow("tilde not expanded") << "~/x.less" << "/p/main.less" << "/p/~/x.less";
}

void TestLinkedFilesHelper::resolution()
{
    QFETCH(QString, target);
    QFETCH(QString, importer);
    QFETCH(QString, resolved);
    QCOMPARE(LinkedFilesHelper::pathToImportedFile(target, importer), resolved);
}

QTEST_GUILESS_MAIN(TestLinkedFilesHelper)
#include "TestLinkedFilesHelper.moc"
