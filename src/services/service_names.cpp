// SPDX-License-Identifier: MIT
#include "services/service_names.h"

#include "util/allow_list.h"

#include <QDebug>

namespace halvex {

bool checkServiceNames(const QString &serviceNames)
{
    static const QSet<QString> allowedServices{
        "halvex-research",
        "halvex-rootcheck",
        "halvex-logscan",
        "halvex-ebpf",
        "halvex-intervention",
        "norva-ai-net-detect",
        "norva-ai-dga-detect",
        netAiAppName,
        "norva.ai.dga.detect",
        "norva-ai-ransom-detect",
        "norva-ai-cryptojacking-detect",
    };

    const QStringList names = serviceNames.split(' ', Qt::SkipEmptyParts);
    if (names.isEmpty()) {
        qWarning() << "Empty service name";
        return false;
    }
    const QStringList invalidNames = namesNotIn(allowedServices, names);
    if (!invalidNames.isEmpty()) {
        qWarning() << "Invalid service(s) found:" << invalidNames
                   << " - allowed services are:" << allowedServices.values();
        return false;
    }
    return true;
}

} // namespace halvex
