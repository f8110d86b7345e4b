// SPDX-License-Identifier: MIT
#include "bus_message.h"

#include <cstdio>
#include <cstdlib>

namespace {

constexpr const char *busName = "org.freedesktop.DBus";
constexpr const char *busPath = "/org/freedesktop/DBus";

struct Error : DBusError
{
    Error() { dbus_error_init(this); }
    ~Error() { dbus_error_free(this); }
    Error(const Error &) = delete;
    Error &operator=(const Error &) = delete;
};

/// Sends @p message and waits for the answer, without a time limit: the test that started this
/// program has one.
DBusMessage *answered(DBusConnection *bus, DBusMessage *message, DBusError *error = nullptr)
{
    return dbus_connection_send_with_reply_and_block(bus, message, DBUS_TIMEOUT_INFINITE, error);
}

Message callOfTheBus(const char *member)
{
    return Message(dbus_message_new_method_call(busName, busPath, busName, member));
}

void appendText(DBusMessageIter *items, const std::string &text)
{
    const char *bytes = text.c_str();
    dbus_message_iter_append_basic(items, DBUS_TYPE_STRING, &bytes);
}

void appendVariant(DBusMessageIter *items, const std::string &text)
{
    DBusMessageIter inside;
    dbus_message_iter_open_container(items, DBUS_TYPE_VARIANT, "s", &inside);
    appendText(&inside, text);
    dbus_message_iter_close_container(items, &inside);
}

unsigned pidOf(DBusConnection *bus, const char *name)
{
    const Message call = callOfTheBus("GetConnectionUnixProcessID");
    dbus_message_append_args(call.get(), DBUS_TYPE_STRING, &name, DBUS_TYPE_INVALID);
    const Message answer(answered(bus, call.get()));
    dbus_uint32_t pid = 0;
    if (answer) {
        dbus_message_get_args(answer.get(), nullptr, DBUS_TYPE_UINT32, &pid, DBUS_TYPE_INVALID);
    }
    return pid;
}

} // namespace

DBusConnection *connectToBus()
{
    const Error error;
    DBusConnection *bus = dbus_bus_get_private(DBUS_BUS_SYSTEM, const_cast<Error *>(&error));
    if (bus == nullptr) {
        std::fprintf(stderr, "cannot connect to the bus: %s\n", error.message);
        std::exit(2);
    }
    dbus_connection_set_exit_on_disconnect(bus, FALSE);
    // An attack must not be limited by libdbus's own limit.
    dbus_connection_set_max_message_size(bus, 128L << 20);
    return bus;
}

Message makeMessage(const Address &address, const std::vector<std::string> &arguments)
{
    const char *interface = address.interface.empty() ? nullptr : address.interface.c_str();
    DBusMessage *message = nullptr;
    if (address.isSignal) {
        message = dbus_message_new_signal(address.path.c_str(), interface, address.member.c_str());
        dbus_message_set_destination(message, address.destination.c_str());
    } else {
        message = dbus_message_new_method_call(address.destination.c_str(), address.path.c_str(),
                                               interface, address.member.c_str());
    }
    DBusMessageIter items;
    dbus_message_iter_init_append(message, &items);
    const std::string variant = "variant:";
    for (const std::string &argument : arguments) {
        if (argument.compare(0, variant.size(), variant) == 0) {
            appendVariant(&items, argument.substr(variant.size()));
        } else if (argument == "list:") {
            DBusMessageIter list;
            dbus_message_iter_open_container(&items, DBUS_TYPE_ARRAY, DBUS_TYPE_INT32_AS_STRING,
                                             &list);
            dbus_message_iter_close_container(&items, &list);
        } else {
            appendText(&items, argument);
        }
    }
    return Message(message);
}

void appendList(DBusMessage *message, int count)
{
    const std::vector<const char *> texts(static_cast<std::size_t>(count), "x");
    const char *const *items = texts.data();
    dbus_message_append_args(message, DBUS_TYPE_ARRAY, DBUS_TYPE_STRING, &items, count,
                             DBUS_TYPE_INVALID);
}

std::string answerTo(DBusConnection *bus, DBusMessage *message)
{
    Error error;
    const Message answer(answered(bus, message, &error));
    if (!answer) {
        return std::string("error ") + error.name;
    }
    dbus_int32_t status = 0;
    return dbus_message_get_args(answer.get(), nullptr, DBUS_TYPE_INT32, &status, DBUS_TYPE_INVALID)
               ? "status " + std::to_string(status)
               : "answer";
}

void waitUntilTaken(DBusConnection *bus)
{
    const Message call = callOfTheBus("GetId");
    const Message answer(answered(bus, call.get()));
    if (!answer) {
        std::fprintf(stderr, "the bus does not answer\n");
        std::exit(3);
    }
}

std::vector<std::string> namesOfProcess(DBusConnection *bus, unsigned pid)
{
    const Message call = callOfTheBus("ListNames");
    const Message answer(answered(bus, call.get()));
    char **names = nullptr;
    int count = 0;
    if (!answer || !dbus_message_get_args(answer.get(), nullptr, DBUS_TYPE_ARRAY, DBUS_TYPE_STRING,
                                          &names, &count, DBUS_TYPE_INVALID)) {
        return {};
    }
    std::vector<std::string> found;
    for (int i = 0; i < count; ++i) {
        if (names[i][0] == ':' && pidOf(bus, names[i]) == pid) {
            found.emplace_back(names[i]);
        }
    }
    dbus_free_string_array(names);
    return found;
}
