#pragma once

#include "LessOptions.h"

#include <QDateTime>
#include <QString>

// One compile of a LESS file into its CSS file, as the pool queues and runs it.
struct ZRMCompileJob
{
    QString input;
    QString output;
    bool compress = false;
    // "[Triggered by: …]" for a compile of an importer, else empty.
    QString linkedToFile = {};
    // When a worker took it; the log shows this time.
    QDateTime started = {};
    // Runs so far: a worker lost during the first is followed by one more.
    int attempts = 0;
    // The saved file that made an importer compile, else empty.
    QString triggeredBy = {};
    LessOptions options = {};
    // The project's own less package; empty for the bundled one.
    QString lessPackage = {};
};
