#pragma once

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

// The user's own preferences and project stay out of an in-process benchmark:
// home, configuration, data and runtime folders in sandbox. Call it before the
// application object exists.
inline void useSandbox(const QTemporaryDir &sandbox)
{
    for (const char *name : {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_RUNTIME_DIR"}) {
        const QString folder = sandbox.filePath(QString::fromLatin1(name));
        QDir().mkpath(folder);
        qputenv(name, folder.toLocal8Bit());
    }
    QFile::setPermissions(sandbox.filePath(QStringLiteral("XDG_RUNTIME_DIR")),
                          QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    qputenv("QT_QPA_PLATFORM", "offscreen");
}
