// SPDX-License-Identifier: MIT
#include "forgeries/arguments.h"

#include "forgeries/bus_socket.h"

namespace forgery {
namespace {

void append(DBusMessageIter *out, DBusSignatureIter *signature, const std::string &value);

/// Appends the container that @p signature points to, with its elements.
void appendContainer(DBusMessageIter *out, DBusSignatureIter *signature, const std::string &value)
{
    const int type = dbus_signature_iter_get_current_type(signature);
    DBusSignatureIter inner;
    std::string held;
    if (type == DBUS_TYPE_VARIANT) {
        held = "(i)";
        dbus_signature_iter_init(&inner, held.c_str());
    } else {
        dbus_signature_iter_recurse(signature, &inner);
    }
    if (type == DBUS_TYPE_ARRAY) {
        char *element = dbus_signature_iter_get_signature(&inner);
        held = element;
        dbus_free(element);
    }
    DBusMessageIter container;
    dbus_message_iter_open_container(out, type, held.empty() ? nullptr : held.c_str(), &container);
    do {
        append(&container, &inner, value);
    } while (dbus_signature_iter_next(&inner) != 0);
    dbus_message_iter_close_container(out, &container);
}

void append(DBusMessageIter *out, DBusSignatureIter *signature, const std::string &value)
{
    const int type = dbus_signature_iter_get_current_type(signature);
    const char *text = value.c_str();
    DBusBasicValue number = {};
    switch (type) {
    case DBUS_TYPE_STRING:
        dbus_message_iter_append_basic(out, type, &text);
        break;
    case DBUS_TYPE_INT32:
    case DBUS_TYPE_UINT32:
    case DBUS_TYPE_INT64:
        number.i64 = std::stoll(value);
        dbus_message_iter_append_basic(out, type, &number);
        break;
    case DBUS_TYPE_BOOLEAN:
        number.bool_val = value == "1" ? TRUE : FALSE;
        dbus_message_iter_append_basic(out, type, &number);
        break;
    case DBUS_TYPE_STRUCT:
    case DBUS_TYPE_ARRAY:
    case DBUS_TYPE_VARIANT:
        appendContainer(out, signature, value);
        break;
    default:
        fail("an argument of another type");
    }
}

} // namespace

void appendArgument(DBusMessage *message, const std::string &word)
{
    const auto sign = word.find('=');
    const std::string type = word.substr(0, sign);
    if (sign == std::string::npos || dbus_signature_validate_single(type.c_str(), nullptr) == 0) {
        fail("not an argument: " + word);
    }
    DBusSignatureIter signature;
    dbus_signature_iter_init(&signature, type.c_str());
    DBusMessageIter out;
    dbus_message_iter_init_append(message, &out);
    append(&out, &signature, word.substr(sign + 1));
}

} // namespace forgery
