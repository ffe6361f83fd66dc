#include "support/PathUtils.h"

#include <QDir>
#include <QTest>

#include <array>

using namespace PathUtils;

class TestPathUtils : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void components_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("last");
        QTest::addColumn<QString>("parent");
        QTest::addColumn<QStringList>("split");

        QTest::newRow("file") << "/tmp/scratch.tiff" << "scratch.tiff" << "/tmp" << QStringList{"/", "tmp", "scratch.tiff"};
        QTest::newRow("trailing slash") << "/tmp/lock/" << "lock" << "/tmp" << QStringList{"/", "tmp", "lock", "/"};
        QTest::newRow("directly under root") << "/tmp" << "tmp" << "/" << QStringList{"/", "tmp"};
        QTest::newRow("root") << "/" << "/" << "/" << QStringList{"/"};
        QTest::newRow("relative with dots") << "../shared/./b.less" << "b.less" << "../shared/."
                                            << QStringList{"..", "shared", ".", "b.less"};
        QTest::newRow("relative single") << "scratch.tiff" << "scratch.tiff" << "" << QStringList{"scratch.tiff"};
        QTest::newRow("empty") << "" << "" << "" << QStringList();
        QTest::newRow("repeated slashes") << "/a//b///" << "b" << "/a" << QStringList{"/", "a", "b", "/"};
    }

    void components()
    {
        QFETCH(QString, path);
        QFETCH(QString, last);
        QFETCH(QString, parent);
        QFETCH(QStringList, split);
        QCOMPARE(lastPathComponent(path), last);
        QCOMPARE(deletingLastPathComponent(path), parent);
        QCOMPARE(pathComponents(path), split);
    }

    void extensions_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("extension");
        QTest::addColumn<QString>("withoutExtension");
        QTest::addColumn<bool>("lessFile");

        QTest::newRow("two dots") << "a.min.less" << "less" << "a.min" << true;
        QTest::newRow("none") << "/tmp/scratch" << "" << "/tmp/scratch" << false;
        QTest::newRow("dot in folder only") << "/site/build.out/readme" << "" << "/site/build.out/readme" << false;
        QTest::newRow("trailing slash") << "/site/pack.bundle/" << "bundle" << "/site/pack" << false;
        QTest::newRow("hidden, named like the extension") << "/a/.less" << "" << "/a/.less" << false;
        QTest::newRow("hidden with extension") << "/a/.b.less" << "less" << "/a/.b" << true;
        QTest::newRow("double dot") << "scratch..tiff" << "tiff" << "scratch." << false;
        QTest::newRow("ends in dot") << "/a/b." << "" << "/a/b" << false;
        QTest::newRow("root") << "/" << "" << "/" << false;
        QTest::newRow("upper case") << "/a/A.LESS" << "LESS" << "/a/A" << true;
        QTest::newRow("longer extension") << "/a/b.lessc" << "lessc" << "/a/b" << false;
    }

    void extensions()
    {
        QFETCH(QString, path);
        QFETCH(QString, extension);
        QFETCH(QString, withoutExtension);
        QFETCH(bool, lessFile);
        QCOMPARE(pathExtension(path), extension);
        QCOMPARE(deletingPathExtension(path), withoutExtension);
        QCOMPARE(isLessFile(path), lessFile);
    }

    // Joining, and abbreviating with a tilde (expanded is the first column, abbreviated the second).
    void joiningAndTilde()
    {
        const QList<std::array<QString, 3>> joins{{"/tmp/", "scratch.tiff", "/tmp/scratch.tiff"},
                                                  {"/", "tmp", "/tmp"},
                                                  {"", "scratch.tiff", "scratch.tiff"},
                                                  {"/tmp", "/", "/tmp"},
                                                  {"/tmp", "/x.less", "/tmp/x.less"}};
        for (const auto &[path, component, joined] : joins)
            QCOMPARE(appendingPathComponent(path, component), joined);

        const QString home = QDir::homePath();
        const QList<std::pair<QString, QString>> tildes{{home, "~"},
                                                        {home + "/site/a.less", "~/site/a.less"},
                                                        {"/tmp/a.less", "/tmp/a.less"},
                                                        {home + "2/a.less", home + "2/a.less"}};
        for (const auto &[expanded, abbreviated] : tildes) {
            QCOMPARE(abbreviateWithTilde(expanded), abbreviated);
            QCOMPARE(expandTilde(abbreviated), expanded);
        }
    }

    void printable_data()
    {
        QTest::addColumn<QByteArray>("path"); // as the file system holds it
        QTest::addColumn<QString>("printable");

        QTest::newRow("UTF-8") << QByteArray("/w/\xc3\xa9t\xc3\xa9 \xf0\x9f\x8e\xa8.less") << QStringLiteral(u"/w/été 🎨.less");
        QTest::newRow("replacement character itself") << QByteArray("/w/\xef\xbf\xbd.less") << QStringLiteral(u"/w/\uFFFD.less");
        QTest::newRow("line ends and tab") << QByteArray("/w/a\nb\r\tc.less") << R"(/w/a\nb\r\tc.less)";
        QTest::newRow("escape and delete") << QByteArray("/w/\x1b[2J\x7f.less") << R"(/w/\u001B[2J\u007F.less)";
        QTest::newRow("C1 control") << QByteArray("/w/\xc2\x85.less") << R"(/w/\u0085.less)";
        QTest::newRow("line separator") << QByteArray("/w/a\xe2\x80\xa8" "b.less") << R"(/w/a\u2028b.less)";
        QTest::newRow("byte that is not UTF-8") << QByteArray("/w/bad\xff.less") << R"(/w/bad\xFF.less)";
        QTest::newRow("sequence cut at the end") << QByteArray("/w/a\xe2\x82") << R"(/w/a\xE2\x82)";
        QTest::newRow("overlong slash") << QByteArray("/w/\xc0\xaf.less") << R"(/w/\xC0\xAF.less)";
        QTest::newRow("surrogate") << QByteArray("/w/\xed\xa0\x80.less") << R"(/w/\xED\xA0\x80.less)";
        QTest::newRow("lone continuation byte") << QByteArray("/w/\x80\xc3\xa9") << QStringLiteral(u"/w/\\x80é");
    }

    // Text that survives decoding is shown the same from either form.
    void printable()
    {
        QFETCH(QByteArray, path);
        QFETCH(QString, printable);
        QCOMPARE(printablePath(path), printable);
        const QString decoded = QString::fromUtf8(path);
        if (decoded.toUtf8() == path)
            QCOMPARE(printablePath(decoded), printable);
    }

    void containment_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("folder");
        QTest::addColumn<bool>("inside");
        QTest::addColumn<bool>("sameOrInside");

        QTest::newRow("beneath") << "/x/site/a.less" << "/x/site" << true << true;
        QTest::newRow("a name that extends the folder's") << "/x/site2" << "/x/site" << false << false;
        QTest::newRow("the folder itself") << "/x/site" << "/x/site" << false << true;
        QTest::newRow("trailing slashes") << "/x/site/" << "/x/site//" << false << true;
        QTest::newRow(".. out of it") << "/x/site/../site2/a.less" << "/x/site" << false << false;
        QTest::newRow(".. within it") << "/x/site/a/../b.less" << "/x/site" << true << true;
        QTest::newRow("case counts") << "/x/Site/a.less" << "/x/site" << false << false;
        QTest::newRow("everything is beneath /") << "/x" << "/" << true << true;
        QTest::newRow("above") << "/x" << "/x/site" << false << false;
        QTest::newRow("no folder") << "/x" << "" << false << false;
    }

    void containment()
    {
        QFETCH(QString, path);
        QFETCH(QString, folder);
        QFETCH(bool, inside);
        QFETCH(bool, sameOrInside);
        QCOMPARE(isInside(path, folder), inside);
        QCOMPARE(isSameOrInside(path, folder), sameOrInside);
    }
};

QTEST_GUILESS_MAIN(TestPathUtils)
#include "TestPathUtils.moc"
