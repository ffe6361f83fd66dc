// Import scanning of 50 MB of LESS text against reading the same files with
// cat > /dev/null, both from a warm page cache.
#include "engine/LinkedFilesHelper.h"
#include "BenchStatistics.h"

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>

namespace {

constexpr int FileCount = 500;
constexpr qsizetype BytesPerFile = 100 * 1024;
constexpr int Rounds = 7;

QByteArray lessText(int fileNumber)
{
    QByteArray text;
    text.reserve(BytesPerFile + 256);
    text += "@import 'variables';\n@import (reference) \"mixins.less\";\n@base: #336699;\n";
    for (int rule = 0; text.size() < BytesPerFile; ++rule) {
        text += ".block-" + QByteArray::number(fileNumber) + "-" + QByteArray::number(rule)
              + " {\n  color: darken(@base, 10%);\n  margin: 0 auto;\n"
                "  .rounded(4px);\n  &:hover { color: @base; }\n}\n";
        if (rule % 50 == 0)
            text += "@media screen and (max-width: 600px) { .x { width: 100%; } }\n";
    }
    return text;
}


} // namespace

int main()
{
    QTemporaryDir folder;
    QStringList paths;
    for (int i = 0; i < FileCount; ++i) {
        const QString path = folder.filePath(QStringLiteral("file%1.less").arg(i));
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(lessText(i)) < 0)
            return 1;
        paths << path;
    }

    QList<qint64> scanTimes;
    QList<qint64> catTimes;
    qsizetype imports = 0;
    for (int round = 0; round < Rounds; ++round) {
        QElapsedTimer timer;
        timer.start();
        QProcess cat;
        cat.setStandardOutputFile(QProcess::nullDevice());
        cat.start(QStringLiteral("cat"), paths);
        cat.waitForFinished(-1);
        catTimes << timer.nsecsElapsed();

        timer.restart();
        imports = 0;
        for (const QString &path : paths)
            imports += LinkedFilesHelper::linkedFilesForLessFile(path).value_or(QStringList()).size();
        scanTimes << timer.nsecsElapsed();
    }

    const double scan = medianInMilliseconds(scanTimes);
    const double cat = medianInMilliseconds(catTimes);
    std::printf("import scan of %d MB: %.1f ms (%lld imports), cat > /dev/null: %.1f ms, "
                "ratio %.2f (target <= 5)\n",
                int(FileCount * BytesPerFile / (1024 * 1024)), scan, static_cast<long long>(imports),
                cat, scan / cat);
    return 0;
}
