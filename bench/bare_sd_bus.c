// SPDX-License-Identifier: MIT
//
// The same service as bare_adaptor.cpp, written in C with sd-bus.
#define _GNU_SOURCE
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

static uint32_t ask_bus(sd_bus *bus, const char *question, const char *name)
{
    sd_bus_message *reply = NULL;
    uint32_t answer = 0;
    if (sd_bus_call_method(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                           "org.freedesktop.DBus", question, NULL, &reply, "s", name) >= 0) {
        sd_bus_message_read(reply, "u", &answer);
    }
    sd_bus_message_unref(reply);
    return answer;
}

// Reads at most size - 1 bytes, and ends them with a NUL.
static ssize_t read_file(const char *path, char *bytes, size_t size)
{
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    const ssize_t length = file < 0 ? -1 : read(file, bytes, size - 1);
    bytes[length < 0 ? 0 : length] = '\0';
    close(file);
    return length;
}

static int shares_namespace(uint32_t pid, const char *name)
{
    char path[64];
    char host[64] = "";
    char caller[64] = "";
    snprintf(path, sizeof path, "/proc/1/ns/%s", name);
    const ssize_t host_length = readlink(path, host, sizeof host - 1);
    snprintf(path, sizeof path, "/proc/%u/ns/%s", pid, name);
    const ssize_t length = readlink(path, caller, sizeof caller - 1);
    return length > 0 && length == host_length && strcmp(host, caller) == 0;
}

static int is_accepted(sd_bus *bus, const char *sender)
{
    const uint32_t pid = ask_bus(bus, "GetConnectionUnixProcessID", sender);
    char path[64];
    char environment[65536];
    snprintf(path, sizeof path, "/proc/%u/environ", pid);
    const ssize_t length = read_file(path, environment, sizeof environment);
    for (const char *entry = environment; entry < environment + length;
         entry += strlen(entry) + 1) {
        if (strncmp(entry, "LD_PRELOAD=", strlen("LD_PRELOAD=")) == 0) {
            return 0;
        }
    }
    if (!shares_namespace(pid, "user") || !shares_namespace(pid, "mnt") ||
        !shares_namespace(pid, "pid")) {
        return 0;
    }
    ask_bus(bus, "GetConnectionUnixUser", sender);
    ask_bus(bus, "GetConnectionUnixUser", sender);
    FILE *tool = popen("/usr/sbin/getstatus", "re");
    char line[1024];
    while (fgets(line, sizeof line, tool) != NULL) {
    }
    pclose(tool);
    char program[4096] = "";
    struct stat file;
    snprintf(path, sizeof path, "/proc/%u/exe", pid);
    return readlink(path, program, sizeof program - 1) > 0 && stat(program, &file) == 0;
}

static int answer(sd_bus_message *message, void *data, sd_bus_error *error)
{
    (void)data;
    (void)error;
    if (!is_accepted(sd_bus_message_get_bus(message), sd_bus_message_get_sender(message))) {
        return sd_bus_reply_method_return(message, "is", -999, "");
    }
    char state[4096];
    read_file("/var/lib/halvex/var/run/halvex-research.state", state, sizeof state);
    char *rest = NULL;
    strtok_r(state, "'", &rest);
    const char *count = strtok_r(NULL, "'", &rest);
    return sd_bus_reply_method_return(message, "is", 0, count != NULL ? count : "");
}

static const sd_bus_vtable methods[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("getEventTotalCount", "", "is", answer, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END,
};

int main(void)
{
    sd_bus *bus = NULL;
    if (sd_bus_open_system(&bus) < 0 ||
        sd_bus_add_object_vtable(bus, NULL, "/bench", "bench.bare", methods, NULL) < 0 ||
        sd_bus_request_name(bus, "bench.sdbus", 0) < 0) {
        return EXIT_FAILURE;
    }
    for (;;) {
        if (sd_bus_process(bus, NULL) == 0) {
            sd_bus_wait(bus, UINT64_MAX);
        }
    }
}
