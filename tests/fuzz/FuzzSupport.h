#pragma once

#include <QByteArray>
#include <QDebug>
#include <QFile>
#include <QString>
#include <QTemporaryDir>
#include <QtGlobal>

#include <cstdio>
#include <cstdlib>

namespace FuzzSupport {

// The code under test logs every unreadable input; at thousands of inputs a
// second that drowns the fuzzer's own output. Fatal messages still abort.
inline void silenceQtMessages()
{
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &message) {
        if (type == QtFatalMsg)
            std::fprintf(stderr, "%s\n", qUtf8Printable(message));
    });
}

// A broken property is a crash to libFuzzer, which then keeps the input.
[[noreturn]] inline void fail(const char *what, const QString &detail = QString())
{
    std::fprintf(stderr, "Property broken: %s\n%s\n", what, qUtf8Printable(detail));
    std::abort();
}

template <typename T>
QString describe(const T &value)
{
    QString text;
    QDebug(&text) << value;
    return text;
}

// One folder for the whole run, removed at exit.
inline QString scratchFolder()
{
    static QTemporaryDir folder;
    if (!folder.isValid())
        fail("no temporary folder", folder.errorString());
    return folder.path();
}

inline void writeFile(const QString &path, const QByteArray &contents)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(contents) != contents.size())
        fail("cannot write the input file", path);
}

} // namespace FuzzSupport

// Each fuzzer is one file that includes this once.
extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    FuzzSupport::silenceQtMessages();
    return 0;
}
