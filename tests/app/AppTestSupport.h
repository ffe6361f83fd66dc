#pragma once

#include "app/MainAppController.h"
#include "engine/ZRMLessCompiler.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryFile>
#include <QTest>

#include <algorithm>
#include <cstdio>
#include <unistd.h>

namespace AppTestSupport {

// Workflows, compiles and node start-up on a loaded machine.
constexpr int Timeout = 60000;

inline void writeFile(const QString &path, const QByteArray &content)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("cannot write %s", qPrintable(path));
}

inline QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Every workflow holds the spinner from its first step to its last, so a
// count of 0 seen from the event loop means all of them have finished.
inline bool waitUntilIdle(const MainAppController &controller)
{
    return QTest::qWaitFor([&] { return controller.spinnerCount() == 0; }, Timeout);
}

// Files reach the engine's watch list a slice at a time.
inline bool waitUntilWatched(const QStringList &files)
{
    return QTest::qWaitFor(
        [&] {
            const QStringList watched = ZRMLessCompiler::sharedLessCompiler()->watchedLessFiles();
            return std::all_of(files.cbegin(), files.cend(),
                               [&](const QString &file) { return watched.contains(file); });
        },
        Timeout);
}

// Standard error goes to a file while this lives.
class StandardErrorCapture
{
public:
    StandardErrorCapture()
    {
        m_file.open();
        std::fflush(stderr);
        m_saved = ::dup(STDERR_FILENO);
        ::dup2(m_file.handle(), STDERR_FILENO);
    }
    ~StandardErrorCapture()
    {
        std::fflush(stderr);
        ::dup2(m_saved, STDERR_FILENO);
        ::close(m_saved);
    }
    QString text()
    {
        std::fflush(stderr);
        return QString::fromUtf8(readFile(m_file.fileName()));
    }

private:
    QTemporaryFile m_file;
    int m_saved = -1;
};

} // namespace AppTestSupport
