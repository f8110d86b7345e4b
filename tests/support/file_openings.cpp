// SPDX-License-Identifier: MIT
#include "support/file_openings.h"

#include <QFile>

#include <gtest/gtest.h>

#include <cstring>
#include <sys/inotify.h>
#include <unistd.h>

FileOpenings::FileOpenings(const QStringList &paths)
    : queue(inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
{
    EXPECT_GE(queue, 0);
    for (const QString &path : paths) {
        const int watch = inotify_add_watch(queue, QFile::encodeName(path).constData(), IN_OPEN);
        EXPECT_GE(watch, 0) << qPrintable(path);
        pathOfWatch[watch] = path;
    }
}

FileOpenings::~FileOpenings()
{
    close(queue);
}

QStringList FileOpenings::take()
{
    // The kernel queues an event before open() returns, so the queue already holds all events.
    QStringList opened;
    char buffer[4096];
    for (ssize_t size = 0; (size = read(queue, buffer, sizeof buffer)) > 0;) {
        inotify_event event = {};
        for (ssize_t at = 0; at < size; at += ssize_t(sizeof event + event.len)) {
            std::memcpy(&event, buffer + at, sizeof event);
            EXPECT_TRUE(pathOfWatch.contains(event.wd)) << "the inotify queue overflowed";
            opened << pathOfWatch.value(event.wd);
        }
    }
    opened.removeDuplicates();
    opened.sort();
    return opened;
}
