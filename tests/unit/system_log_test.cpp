// SPDX-License-Identifier: MIT
#include "support/system_log.h"
#include "util/file_descriptor.h"
#include "util/system_log.h"

#include <QStringList>

#include <gtest/gtest.h>

#include <array>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

namespace {

TEST(SystemLogLine, EqualsTheLineThatSyslogWrites)
{
    SystemLog log;
    syslog(LOG_INFO, "The caller has no permission");
    halvex::SystemLog().write("The caller has no permission");
    const QStringList lines = log.takeLines();
    ASSERT_EQ(lines.size(), 2);
    EXPECT_EQ(lines[0], lines[1]);
}

TEST(SystemLogLine, IsLostWithoutALogger)
{
    unlink("/dev/log");
    halvex::SystemLog systemLog;
    systemLog.write("to nobody");
    SystemLog log;
    systemLog.write("to somebody");
    EXPECT_EQ(log.takeLines().size(), 1);
}

TEST(SystemLogLine, IsLostIfTheLoggerDoesNotRead)
{
    const halvex::FileDescriptor log(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    constexpr sockaddr_un address{AF_UNIX, "/dev/log"};
    unlink("/dev/log");
    ASSERT_EQ(bind(log.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    halvex::SystemLog systemLog;
    // This loop would take too long if each line waited as long as the first one.
    for (int i = 0; i < 5000; ++i) {
        systemLog.write("again");
    }
    std::array<char, 100> line{};
    int kept = 0;
    while (recv(log.get(), line.data(), line.size(), MSG_DONTWAIT) > 0) {
        ++kept;
    }
    EXPECT_GT(kept, 0) << "the first lines are lost too";
    EXPECT_LT(kept, 200) << "the lines leave no room for other programs in the queue";
}

TEST(SystemLogLine, WaitsForAReaderThatIsSlow)
{
    SystemLog log;
    halvex::SystemLog systemLog;
    // More than the queue holds, but not so many that a slow machine waits for two seconds.
    constexpr int lines = 500;
    for (int i = 0; i < lines; ++i) {
        systemLog.write("many");
    }
    EXPECT_EQ(log.takeLines().size(), lines);
}

} // namespace
