// SPDX-License-Identifier: MIT
//
// A front end that is in an odd state when the daemon looks at it, or whose call is odd.
//
//   odd-front-end [STEP]... call [--stop] [--flags=NUMBER] PATH INTERFACE|- MEMBER [ARGUMENT]...
//
// Connects to the system bus, takes the steps in their order, and calls the daemon. "-" leaves the
// interface out of the call. An argument is a word as in arguments.h, or "()" for a structure
// without elements, which D-Bus forbids. Prints the answer as the front-end stand-in does with
// --json: {"values":[...]}, {"error":NAME} or {"error":"disconnected"}. For a call without reply,
// prints {} once the daemon has handled it.
//
//   pause            print "connected PID", PID being the process that takes this step, and wait
//                    for the end of the input
//   unshare=NAME     leave the namespace NAME (user, mnt or pid) for a new one
//   enter-mount=PID  enter the mount namespace of the process PID
//   not-dumpable     forbid other users to look into this process
//   zombie           exit; a child keeps the connection and continues when this process is a zombie
//   leader-exit      end the thread group's leader; another thread continues when it is a zombie
//   strict           enter strict seccomp mode; a child keeps the connection and continues
//   hand-over=PATH   start PATH, another copy of this program, which takes over the connection
//   adopt=NUMBER     (first step only) use the connection with this descriptor; do not connect
//
// --stop stops the process as soon as the call has been written to the bus's socket.
#include "forgeries/arguments.h"
#include "forgeries/bus_socket.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <array>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <linux/seccomp.h>
#include <memory>
#include <sched.h>
#include <string>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using forgery::BusSocket;
using forgery::fail;
using forgery::Message;
using Words = std::vector<std::string>;

constexpr const char *daemonName = "com.norva.halvex.desktop";
constexpr dbus_uint32_t callSerial = 500;

void print(const QJsonObject &object)
{
    const QByteArray line = QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
    static_cast<void>(
        std::fwrite(line.constData(), 1, static_cast<std::size_t>(line.size()), stdout));
    static_cast<void>(std::fflush(stdout));
}

QJsonArray valuesOf(DBusMessage *message)
{
    QJsonArray values;
    DBusMessageIter in;
    if (dbus_message_iter_init(message, &in) == 0) {
        return values;
    }
    do {
        DBusBasicValue value = {};
        switch (dbus_message_iter_get_arg_type(&in)) {
        case DBUS_TYPE_INT32:
            dbus_message_iter_get_basic(&in, &value);
            values << value.i32;
            break;
        case DBUS_TYPE_STRING:
            dbus_message_iter_get_basic(&in, &value);
            values << QString::fromUtf8(value.str);
            break;
        default:
            values << QJsonValue();
        }
    } while (dbus_message_iter_next(&in) != 0);
    return values;
}

void printAnswer(DBusMessage *answer)
{
    if (answer == nullptr) {
        print({{"error", "disconnected"}});
    } else if (dbus_message_get_type(answer) == DBUS_MESSAGE_TYPE_ERROR) {
        print({{"error", dbus_message_get_error_name(answer)}});
    } else {
        print({{"values", valuesOf(answer)}});
    }
}

/// A call of the daemon, as bytes.
struct Call
{
    std::string bytes;
    bool wantsReply = true;
    bool stops = false;
};

/// The call that @p words describe: the words after "call".
Call readCall(Words words)
{
    Call call;
    int flags = 0;
    while (!words.empty() && words.front().rfind("--", 0) == 0) {
        if (words.front() == "--stop") {
            call.stops = true;
        } else {
            flags = std::stoi(words.front().substr(words.front().find('=') + 1));
        }
        words.erase(words.begin());
    }
    if (words.size() < 3) {
        fail("the call is missing");
    }
    const char *interface = words[1] == "-" ? nullptr : words[1].c_str();
    const Message message(
        dbus_message_new_method_call(daemonName, words[0].c_str(), interface, words[2].c_str()));
    bool hasEmptyStructure = false;
    for (std::size_t i = 3; i < words.size(); ++i) {
        hasEmptyStructure = hasEmptyStructure || words[i] == "()";
        forgery::appendArgument(message.get(), words[i] == "()" ? "(i)=0" : words[i]);
    }
    call.bytes = forgery::bytesOf(message.get(), callSerial);
    call.bytes[2] = static_cast<char>(flags); // follows byte order and message type
    call.wantsReply = (flags & DBUS_HEADER_FLAG_NO_REPLY_EXPECTED) == 0;
    if (hasEmptyStructure) {
        call.bytes.replace(call.bytes.find("(i)"), 3, "()i");
    }
    return call;
}

/// Returns once the daemon has served all calls so far: it serves one after the other.
void awaitDaemon(const BusSocket &bus)
{
    const Message question(dbus_message_new_method_call(daemonName, "/com/norva/halvex/desktop",
                                                        "org.freedesktop.DBus.Introspectable",
                                                        "Introspect"));
    bus.send(forgery::bytesOf(question.get(), callSerial + 1));
    if (bus.receiveReply(callSerial + 1) == nullptr) {
        fail("the bus has closed the connection");
    }
}

void make(const Call &call, const BusSocket &bus)
{
    bus.send(call.bytes);
    if (call.stops) {
        static_cast<void>(raise(SIGSTOP));
    }
    if (call.wantsReply) {
        printAnswer(bus.receiveReply(callSerial).get());
    } else {
        awaitDaemon(bus);
        print({});
    }
}

void awaitZombie(pid_t process)
{
    const std::string path = "/proc/" + std::to_string(process) + "/stat";
    std::string state;
    while (state.find(") Z ") == std::string::npos) {
        std::ifstream file(path);
        if (!std::getline(file, state)) {
            fail(path);
        }
    }
}

void pauseForInput()
{
    std::printf("connected %d\n", getpid());
    static_cast<void>(std::fflush(stdout));
    char next = 0;
    while (read(STDIN_FILENO, &next, 1) > 0) {
    }
}

void unshareNamespace(const std::string &name)
{
    const int flag = name == "user" ? CLONE_NEWUSER : name == "mnt" ? CLONE_NEWNS : CLONE_NEWPID;
    if (unshare(flag) != 0) {
        fail("unshare " + name);
    }
}

void enterMountNamespace(const std::string &process)
{
    const int file = open(("/proc/" + process + "/ns/mnt").c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0 || setns(file, CLONE_NEWNS) != 0) {
        fail("setns");
    }
    close(file);
}

/// Returns in a child, once this process is a zombie.
void becomeZombie()
{
    const pid_t connector = getpid();
    if (fork() != 0) {
        _exit(0);
    }
    awaitZombie(connector);
}

/// Returns in a child, once this process is in strict seccomp mode. This process lives until the
/// child exits.
void becomeStrict()
{
    std::array<int, 2> entered{};
    std::array<int, 2> childLives{};
    if (pipe(entered.data()) != 0 || pipe(childLives.data()) != 0) {
        fail("pipe");
    }
    const bool isChild = fork() == 0;
    close(childLives[isChild ? 0 : 1]);
    close(entered[isChild ? 1 : 0]);
    char byte = 's';
    if (isChild) {
        if (read(entered[0], &byte, 1) != 1) {
            fail("strict mode was not entered");
        }
        return;
    }
    if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_STRICT) == 0 && write(entered[1], &byte, 1) == 1) {
        while (read(childLives[0], &byte, 1) > 0) {
        }
    }
    syscall(SYS_exit, 0); // the only exit that strict mode allows
}

/// Makes the program @p path take the remaining steps @p words, and waits until it exits.
[[noreturn]] void handOver(const std::string &path, Words words, const BusSocket &bus)
{
    const pid_t child = fork();
    if (child == 0) {
        words.insert(words.begin(), {path, "adopt=" + std::to_string(bus.descriptor())});
        std::vector<char *> arguments;
        for (std::string &word : words) {
            arguments.push_back(word.data());
        }
        arguments.push_back(nullptr);
        execv(path.c_str(), arguments.data());
        fail(path);
    }
    waitpid(child, nullptr, 0);
    _exit(0);
}

void take(const std::string &step, const Words &rest, BusSocket &bus);

/// Takes all steps and makes the call.
[[noreturn]] void takeAll(Words words, BusSocket &bus)
{
    while (!words.empty() && words.front() != "call") {
        const std::string step = words.front();
        words.erase(words.begin());
        take(step, words, bus);
    }
    if (words.empty()) {
        fail("the call is missing");
    }
    make(readCall(Words(words.begin() + 1, words.end())), bus);
    _exit(0);
}

/// Ends the leader of this thread group. Another thread takes the remaining steps @p rest.
[[noreturn]] void endLeader(const Words &rest, BusSocket &bus)
{
    std::thread([&rest, &bus] {
        awaitZombie(getpid());
        takeAll(rest, bus);
    }).detach();
    for (;;) {
        syscall(SYS_exit, 0); // ends only this thread; its stack stays valid
    }
}

void take(const std::string &step, const Words &rest, BusSocket &bus)
{
    const auto sign = step.find('=');
    const std::string name = step.substr(0, sign);
    const std::string value = sign == std::string::npos ? "" : step.substr(sign + 1);
    if (name == "pause") {
        pauseForInput();
    } else if (name == "unshare") {
        unshareNamespace(value);
    } else if (name == "enter-mount") {
        enterMountNamespace(value);
    } else if (name == "not-dumpable") {
        prctl(PR_SET_DUMPABLE, 0);
    } else if (name == "zombie") {
        becomeZombie();
    } else if (name == "leader-exit") {
        endLeader(rest, bus);
    } else if (name == "strict") {
        becomeStrict();
    } else if (name == "hand-over") {
        handOver(value, rest, bus);
    } else {
        fail("not a step: " + step);
    }
}

[[noreturn]] void connectAndTakeAll(Words words)
{
    std::unique_ptr<BusSocket> bus;
    if (!words.empty() && words.front().rfind("adopt=", 0) == 0) {
        bus = std::make_unique<BusSocket>(std::stoi(words.front().substr(6)));
        words.erase(words.begin());
    } else {
        bus = std::make_unique<BusSocket>();
    }
    takeAll(std::move(words), *bus);
}

} // namespace

/// A child does all the work. This process does not wait for the child before all of the child's
/// descendants have exited, so a zombie stays a zombie meanwhile.
int main(int argc, char **argv)
{
    std::array<int, 2> lives{};
    if (pipe(lives.data()) != 0) {
        fail("pipe");
    }
    if (fork() == 0) {
        close(lives[0]);
        connectAndTakeAll(Words(argv + 1, argv + argc));
    }
    close(lives[1]);
    char byte = 0;
    while (read(lives[0], &byte, 1) > 0) {
    }
    return 0;
}
