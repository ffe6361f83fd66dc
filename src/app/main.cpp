#include "app/CommandLineOptions.h"
#include "support/BundleInfo.h"

#include <QApplication>

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Cascader"));
    QApplication::setApplicationVersion(BundleInfo::value(BundleInfo::CFBundleShortVersionString));

    // The windows come later; for now Cascader answers its command line and quits.
    int exitCode = 0;
    CommandLineOptions::parse(application, &exitCode);
    return exitCode;
}
