// SPDX-License-Identifier: MIT
#include "frontend/interface_description.h"

#include <QFile>
#include <QXmlStreamReader>

#include <algorithm>

const Member *InterfaceDescription::method(const QString &wanted) const
{
    const auto *found = std::find_if(methods.begin(), methods.end(),
                                     [&](const Member &member) { return member.name == wanted; });
    return found == methods.end() ? nullptr : &*found;
}

InterfaceDescription readInterfaceDescription()
{
    InterfaceDescription description;
    QFile file(":/com.norva.halvex.desktop.xml");
    if (!file.open(QIODevice::ReadOnly)) {
        return description;
    }
    Member *member = nullptr;
    for (QXmlStreamReader xml(&file); !xml.atEnd(); xml.readNext()) {
        if (!xml.isStartElement()) {
            continue;
        }
        const auto attribute = [&](const char *name) {
            return xml.attributes().value(QLatin1String(name)).toString();
        };
        if (xml.name() == QLatin1String("interface")) {
            description.name = attribute("name");
        } else if (xml.name() == QLatin1String("method")) {
            description.methods.append({attribute("name"), {}, {}});
            member = &description.methods.last();
        } else if (xml.name() == QLatin1String("signal")) {
            description.signalMembers.append({attribute("name"), {}, {}});
            member = &description.signalMembers.last();
        } else if (xml.name() == QLatin1String("arg") && member != nullptr) {
            auto &arguments = attribute("direction") == "in" ? member->in : member->out;
            arguments.append({attribute("name"), attribute("type")});
        }
    }
    return description;
}
