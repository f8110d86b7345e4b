// SPDX-License-Identifier: MIT
#include "support/open_watch.h"

#include <QFile>

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <sys/inotify.h>
#include <unistd.h>

OpenWatch::OpenWatch(const QStringList &paths)
    : notifications(inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
{
    for (const QString &path : paths) {
        const int watch =
            inotify_add_watch(notifications, QFile::encodeName(path).constData(), IN_OPEN);
        EXPECT_GE(watch, 0) << qPrintable(path);
        pathOf[watch] = path;
    }
}

OpenWatch::~OpenWatch()
{
    close(notifications);
}

QStringList OpenWatch::opened()
{
    QStringList paths;
    std::array<char, 65536> events{};
    const auto length = read(notifications, events.data(), events.size());
    for (ssize_t place = 0; place < length;) {
        inotify_event event{};
        std::memcpy(&event, events.data() + place, sizeof event);
        paths << pathOf.value(event.wd);
        place += static_cast<ssize_t>(sizeof event + event.len);
    }
    paths.removeDuplicates();
    paths.sort();
    return paths;
}
