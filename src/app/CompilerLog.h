#pragma once

#include "support/StyledText.h"

#include <QObject>
#include <QSet>
#include <QVariantMap>

class MainAppController;
struct Notification;

// The compiler log: every compile's outcome as the engine announces it, the
// auto-compile switch, a compiler that cannot run and LESS files whose names
// cannot be compiled, each as an entry of the project's log. A compile holds
// the spinner from its start to its outcome.
class CompilerLog : public QObject
{
    Q_OBJECT

public:
    explicit CompilerLog(MainAppController *controller);
    ~CompilerLog() override;

    void logAutoCompileSwitch(bool enabled);
    // One entry per folder with the names not yet reported in this run.
    void reportUndecodableFiles(const QString &folder, const QList<QByteArray> &paths);
    // What happened to the watching of a folder, with the folder in the file column.
    void reportFolderNote(const QString &folder, const QString &message, RgbaColor color);
    // A part of Cascader that cannot work, named in the file column.
    void reportProblem(const QString &source, const QString &message);

private:
    void handleZRMCompilerNotification(const Notification &notification);
    void reportMissingCompiler(const QString &reason);
    void appendCompileResult(const QVariantMap &userInfo, RgbaColor color);
    void addEntry(const QString &file, const StyledText &result);

    MainAppController *m_controller;
    QSet<QByteArray> m_reportedUndecodableFiles;
};
