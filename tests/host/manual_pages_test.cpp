// SPDX-License-Identifier: MIT
#include "frontend/interface_description.h"
#include "support/command.h"
#include "support/printing.h"

#include <QRegularExpression>

#include <gmock/gmock.h>

namespace {

/// The lines of the page as a reader sees them, without the blanks around them.
QStringList linesOf(const QString &page)
{
    const auto result = host::run({"mandoc", "-T", "utf8", "-O", "width=500", DOC "/" + page});
    QString text = QString::fromUtf8(result.output);
    text.remove(QRegularExpression(".\b")); // bold and underlined letters are struck twice
    QStringList lines;
    for (const QString &line : text.split('\n')) {
        lines << line.trimmed();
    }
    return lines;
}

QString list(const QVector<Argument> &arguments)
{
    QStringList texts;
    for (const Argument &argument : arguments) {
        texts << (argument.name.isEmpty() ? argument.type : argument.name + ": " + argument.type);
    }
    return '(' + texts.join(", ") + ')';
}

TEST(ManualPages, AreWellFormed)
{
    for (const char *page : {"halvex-desktop-daemon.8", "com.norva.halvex.desktop.5"}) {
        const auto result =
            host::run({"mandoc", "-T", "lint", "-W", "style", DOC "/" + QString(page)});
        EXPECT_LE(result.exitCode, 1) << result.errors.constData();
        for (const QByteArray &line : result.output.split('\n')) {
            // The pages of other programs need not be installed here.
            EXPECT_TRUE(line.isEmpty() || line.contains("referenced manual not found"))
                << line.constData();
        }
    }
}

TEST(ManualPages, HaveEachMethodAndSignalWithItsArguments)
{
    const InterfaceDescription description = readInterfaceDescription();
    QStringList expected;
    for (const Member &method : description.methods) {
        expected << method.name + list(method.in) + " -> " + list(method.out);
    }
    for (const Member &member : description.signalMembers) {
        expected << "signal " + member.name + list(member.out);
    }
    ASSERT_FALSE(expected.isEmpty());
    QStringList documented;
    for (const QString &line : linesOf("com.norva.halvex.desktop.5")) {
        if (line.contains(") -> (") || line.startsWith("signal ")) {
            documented << line;
        }
    }
    EXPECT_EQ(documented, expected);
}

TEST(ManualPages, CallEachMethodWithItsSignature)
{
    const InterfaceDescription description = readInterfaceDescription();
    QStringList called;
    const QStringList lines = linesOf("com.norva.halvex.desktop.5");
    for (const QString &line : lines) {
        if (line.startsWith("CALL ")) {
            QString signature = line.section(' ', 2, 2);
            const Member *method = description.method(line.section(' ', 1, 1));
            ASSERT_NE(method, nullptr) << qPrintable(line);
            QString expected;
            for (const Argument &argument : method->in) {
                expected += argument.type;
            }
            EXPECT_EQ(signature.remove('\''), expected) << qPrintable(line);
            called << method->name;
        }
    }
    for (const Member &method : description.methods) {
        EXPECT_TRUE(called.contains(method.name)) << qPrintable(method.name);
    }
    const QString text = lines.join('\n');
    EXPECT_TRUE(text.contains(description.name));
    EXPECT_TRUE(text.contains("/com/norva/halvex/desktop\n"));
}

TEST(ManualPages, NameTheFilesAndTheFrontEnds)
{
    const QString text = linesOf("halvex-desktop-daemon.8").join('\n');
    for (const char *path :
         {"/etc/halvex/intervention.conf", "/etc/halvex/research/etc/ossec.conf",
          "/etc/halvex/interventions/.block_time", "/opt/norva-ai-dga-detect/config.yaml",
          "/usr/lib/halvex_net_ai/config.yaml", "/var/log/halvex/logs/alerts",
          "/tmp/halvex_alerts.log", "/var/lib/halvex/var/run/halvex-research.state",
          "/etc/halvex/halvex-desktop-wrapper", "/usr/sbin/halvex-desktop",
          "/var/opt/appdata/halvex/bin/halvex-desktop", "/opt/appdata/halvex/bin/halvex-desktop"}) {
        EXPECT_TRUE(text.contains(path)) << path;
    }
}

} // namespace
