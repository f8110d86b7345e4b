// SPDX-License-Identifier: MIT
#include "config/notify_xml.h"

#include <pugixml.hpp>

#include <algorithm>
#include <cstddef>

namespace halvex {
namespace {

constexpr std::array<const char *, 3> elementNames{"notify_disabled", "notify_timeout",
                                                   "notify_fold"};

/// Parses @p xml into @p document, which then points into @p xml.
///
/// @return the element with the three settings; a null node if there is none
pugi::xml_node loadNotify(pugi::xml_document &document, QByteArray &xml)
{
    if (!document.load_buffer_inplace(xml.data(), std::size_t(xml.size()), pugi::parse_default,
                                      pugi::encoding_auto)) {
        return {};
    }
    return document.child("ossec_config").child("alerts").child("notify");
}

class ByteWriter : public pugi::xml_writer
{
public:
    void write(const void *data, std::size_t size) override
    {
        bytes.append(static_cast<const char *>(data), int(size));
    }

    QByteArray bytes;
};

} // namespace

std::optional<NotifyValues> notifyValuesIn(QByteArray xml)
{
    pugi::xml_document document;
    const pugi::xml_node notify = loadNotify(document, xml);
    if (!notify) {
        return std::nullopt;
    }
    NotifyValues values;
    for (std::size_t i = 0; i < values.size(); ++i) {
        values[i] = notify.child(elementNames[i]).text().get();
    }
    return values;
}

std::optional<QByteArray> withNotifyValues(QByteArray xml, const NotifyValues &values)
{
    pugi::xml_document document;
    pugi::xml_node notify = loadNotify(document, xml);
    if (!notify || std::any_of(values.begin(), values.end(),
                               [](const QByteArray &value) { return value.isEmpty(); })) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < values.size(); ++i) {
        pugi::xml_node element = notify.child(elementNames[i]);
        if (!element) {
            element = notify.append_child(elementNames[i]);
        }
        element.text().set(values[i].constData());
    }
    ByteWriter writer;
    document.save(writer, "", pugi::format_no_declaration, pugi::encoding_auto);
    return writer.bytes;
}

} // namespace halvex
