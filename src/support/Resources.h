#pragma once

#include <QString>

// The application's resource folder: <executable>/../share/cascader, or the
// folder named by CASCADER_RESOURCES.
namespace Resources {

QString folder();
// Full path of "name" (with ".type" when type is not empty) inside the
// sub-folder directory of the resource folder; empty when nothing is there.
QString pathForResource(const QString &name, const QString &type = {},
                        const QString &directory = {});

} // namespace Resources
