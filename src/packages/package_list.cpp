// SPDX-License-Identifier: MIT
#include "packages/package_list.h"

#include "util/allow_list.h"

#include <QDebug>

namespace halvex {

bool validatePackages(const QStringList &packages)
{
    static const QSet<QString> allowedPackages{"halvex-net-ai", "halvex.net.ai",
                                               "norva.ai.dga.detect"};
    if (packages.isEmpty()) {
        qWarning() << "No packages to install";
        return false;
    }
    const QStringList invalid = namesNotIn(allowedPackages, packages);
    if (!invalid.isEmpty()) {
        qWarning() << "Installation rejected: invalid package(s) found:" << invalid
                   << ". Allowed packages are:" << allowedPackages.values();
        return false;
    }
    return true;
}

} // namespace halvex
