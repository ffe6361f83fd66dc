#pragma once

#include <QLoggingCategory>

// One category per area, so that a user can turn each on or off with QT_LOGGING_RULES.
Q_DECLARE_LOGGING_CATEGORY(lcEngine)
Q_DECLARE_LOGGING_CATEGORY(lcWatcher)
Q_DECLARE_LOGGING_CATEGORY(lcScanner)
Q_DECLARE_LOGGING_CATEGORY(lcModel)
Q_DECLARE_LOGGING_CATEGORY(lcServices)
Q_DECLARE_LOGGING_CATEGORY(lcApp)
