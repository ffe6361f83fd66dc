#include "SkippedFolders.h"

#include "support/UserDefaults.h"
#include "support/UserDefaultsKeys.h"

#include <QFile>

#include <fnmatch.h>

SkippedFolders::SkippedFolders(const QStringList &names)
{
    for (const QString &name : names) {
        if (!name.trimmed().isEmpty())
            m_patterns << QFile::encodeName(name.trimmed());
    }
}

SkippedFolders SkippedFolders::fromPreferences()
{
    const QVariant names = UserDefaults::standardUserDefaults()->objectForKey(UserDefaultsKeys::SkippedFolders);
    return SkippedFolders(names.isValid() ? names.toStringList() : DefaultNames);
}

bool SkippedFolders::skipsFolder(const char *name) const
{
    for (const QByteArray &pattern : m_patterns) {
        if (fnmatch(pattern.constData(), name, FNM_PERIOD) == 0)
            return true;
    }
    return false;
}
