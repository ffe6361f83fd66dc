#pragma once

#include "app/MainAppController.h"
#include "engine/ZRMLessCompiler.h"

#include <QDir>
#include <QTemporaryFile>
#include <QTest>

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace AppTestSupport {

constexpr int Timeout = 60000;

inline void writeFile(const QString &path, const QByteArray &content)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("cannot write %s", qPrintable(path));
}

// For names that a QString cannot hold; the folder must exist.
inline void writeFileNamed(const QByteArray &path, const QByteArray &content)
{
    const int file = ::open(path.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (file < 0 || ::write(file, content.constData(), size_t(content.size())) != content.size())
        qFatal("cannot write %s", path.constData());
    ::close(file);
}

inline QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Workflows hold the spinner from first step to last.
inline bool waitUntilIdle(const MainAppController &controller)
{
    return QTest::qWaitFor([&] { return controller.spinnerCount() == 0; }, Timeout);
}

inline bool waitUntilWatched(const QStringList &files)
{
    return QTest::qWaitFor([&] {
        const QStringList watched = ZRMLessCompiler::sharedLessCompiler()->watchedLessFiles();
        return std::all_of(files.cbegin(), files.cend(), [&](const QString &f) { return watched.contains(f); });
    }, Timeout);
}

class StandardErrorCapture
{
public:
    StandardErrorCapture() { m_file.open(), std::fflush(stderr), ::dup2(m_file.handle(), STDERR_FILENO); }
    ~StandardErrorCapture() { std::fflush(stderr), ::dup2(m_saved, STDERR_FILENO), ::close(m_saved); }
    QString text() { return std::fflush(stderr), QString::fromUtf8(readFile(m_file.fileName())); }

private:
    QTemporaryFile m_file;
    int m_saved = ::dup(STDERR_FILENO);
};

} // namespace AppTestSupport
