#pragma once

#include <QString>

// The less package that compiles a file: the bundled one, or a project's
// own in a node_modules folder, so that a team that pins less gets its output.
namespace LessPackage {

// The bundled less's folder; empty when the engines are not installed.
QString bundledFolder();
// The nearest node_modules/less from lessFile's folder up to topFolder, or empty.
QString projectFolderFor(const QString &lessFile, const QString &topFolder);
// The version in the package's package.json; empty when it cannot be read.
QString versionAt(const QString &packageFolder);

} // namespace LessPackage
