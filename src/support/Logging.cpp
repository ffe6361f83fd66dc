#include "Logging.h"

Q_LOGGING_CATEGORY(lcEngine, "cascader.engine")
Q_LOGGING_CATEGORY(lcWatcher, "cascader.watcher")
Q_LOGGING_CATEGORY(lcScanner, "cascader.scanner")
Q_LOGGING_CATEGORY(lcModel, "cascader.model")
Q_LOGGING_CATEGORY(lcServices, "cascader.services")
Q_LOGGING_CATEGORY(lcApp, "cascader.app")
