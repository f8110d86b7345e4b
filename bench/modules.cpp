// SPDX-License-Identifier: MIT
//
// Measures the modules alone, compared with tools and libraries that do only the same core work.
#include "bench.h"
#include "config/ai_settings.h"
#include "config/intervention_settings.h"
#include "config/notify_settings.h"
#include "security/caller_environment.h"
#include "stats/alert_export.h"
#include "stats/event_counter.h"
#include "stats/export_file.h"

#include <QDir>
#include <QFile>

#include <pugixml.hpp>
#include <yaml-cpp/yaml.h>

#include <fstream>
#include <map>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int rounds = 21;

void write(const QString &path, const QByteArray &content)
{
    QDir().mkpath(path.section('/', 0, -2));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size()) {
        std::exit(1);
    }
}

void run(const std::vector<const char *> &command, const char *output)
{
    if (fork() == 0) {
        if (std::freopen(output, "w", stdout) == nullptr) {
            _exit(1);
        }
        execvp(command[0], const_cast<char *const *>(command.data()));
        _exit(1);
    }
    int status = 0;
    if (wait(&status) < 0 || status != 0) {
        std::exit(1);
    }
}

/// Returns the maximum growth, in KiB, of this process's memory during @p action.
int peakGrowthOf(const bench::Action &action)
{
    const auto field = [](const QByteArray &name) {
        QFile status("/proc/self/status");
        static_cast<void>(status.open(QIODevice::ReadOnly));
        const QByteArray text = status.readAll();
        const QByteArray line = text.mid(text.indexOf(name) + name.size());
        return line.left(line.indexOf(" kB")).simplified().toInt();
    };
    write("/proc/self/clear_refs", "5"); // resets the peak
    const int before = field("VmRSS:");
    action();
    return field("VmHWM:") - before;
}

void measureExport(const char *what, int count, int size)
{
    const QString directory = "/srv/bench/alerts";
    QDir(directory).removeRecursively();
    const QByteArray line = QByteArray(127, 'x') + '\n';
    for (int i = 0; i < count; ++i) {
        write(QString("%1/%2/%3.log").arg(directory).arg(i % 50).arg(i), line.repeated(size / 128));
    }
    halvex::ExpendableWorker worker("bench-export");
    const char *output = "/srv/bench/export.log";
    const char *list = "/srv/bench/list";
    run({"find", "/srv/bench/alerts", "-name", "*.log", "-print0", nullptr}, list);
    const auto exportAll = [&] {
        if (halvex::generateLogFile(worker, directory, output) != 0) {
            std::exit(1);
        }
    };
    bench::compare(
        what, rounds, exportAll,
        [&] {
            run({"xargs", "-0", "-a", list, "cat", nullptr}, output);
        },
        "1.0",
        [&] {
            unlink(output);
            sync();
        });
    // For this row, the export runs in this process, whose memory can be measured, not in a worker.
    std::printf(
        "| %s: memory that its work takes | %d KiB | | | constant |\n", what, peakGrowthOf([&] {
            const auto file = halvex::prepareExportFile(output);
            const halvex::JobControl control;
            halvex::ExportWriter writer(file, output, control, halvex::exportPatienceMs);
            if (!halvex::appendAlertLogs(directory.toStdString(), ".log", file, writer).empty()) {
                std::exit(1);
            }
        }));
    std::fflush(stdout); // otherwise a child would print it again
    QDir(directory).removeRecursively();
    unlink(output);
}

void measureAiSettings()
{
    const QString path = "/srv/bench/config.yaml";
    QByteArray yaml = "dga_detect: 1\nlist:\n";
    for (int i = 0; yaml.size() < (1 << 20); ++i) {
        yaml += "  entry" + QByteArray::number(i) + ":\n    threshold: 80\n    name: \"engine\"\n";
    }
    write(path, yaml);
    QString value;
    const auto load = [&] { return YAML::LoadFile(path.toStdString()); };
    bench::compare(
        "AI settings read, 1 MiB of YAML", rounds,
        [&] { static_cast<void>(halvex::getAiConfig(path, 0, "dga_detect", value)); },
        [&] { static_cast<void>(load()["dga_detect"].as<std::string>()); }, "1.1");
    bench::compare(
        "AI settings written, 1 MiB of YAML", rounds,
        [&] { static_cast<void>(halvex::setAiConfig(path, 0, "dga_detect", "2")); },
        [&] {
            YAML::Node root = load();
            root["dga_detect"] = "2";
            YAML::Emitter emitter;
            emitter << root;
            std::ofstream(path.toStdString()) << emitter.c_str();
        },
        "1.1", [&] { write(path, yaml); });
}

void measureNotifySettings()
{
    const QString path = "/srv/bench/ossec.conf";
    const QByteArray rule = "<rule id=\"1\"><match>a b c</match><level>3</level></rule>\n";
    write(path, "<ossec_config><alerts><notify><notify_fold>1</notify_fold></notify></alerts>\n" +
                    rule.repeated((16 << 20) / rule.size()) + "</ossec_config>\n");
    QString first;
    QString second;
    QString third;
    bench::compare(
        "notification settings read, 16 MiB of XML", rounds,
        [&] { static_cast<void>(halvex::getNotifyConfig(path, first, second, third)); },
        [&] {
            pugi::xml_document document;
            document.load_file(path.toUtf8().constData());
        },
        "1.1");
    bench::compare(
        "notification settings written, 16 MiB of XML", rounds,
        [&] { static_cast<void>(halvex::setNotifyConfig(path, "1", "2", "3")); },
        [&] {
            pugi::xml_document document;
            document.load_file(path.toUtf8().constData());
            document.save_file(path.toUtf8().constData(), "", pugi::format_no_declaration);
        },
        "1.1");
}

/// Prints the time per unit for 16 units and for 64 units, each compared with the time for a single
/// unit.
void measureGrowth(const char *what, const char *unit,
                   const std::function<void(int units)> &prepare, const bench::Action &action)
{
    std::map<int, std::vector<double>> times;
    for (int round = 0; round < rounds; ++round) {
        for (const int units : {1, 16, 64}) {
            prepare(units);
            times[units].push_back(bench::secondsOf(action) / units);
        }
    }
    for (const int units : {16, 64}) {
        bench::printRow(qPrintable(QString("%1, time per %2 for %3 of them, against one alone")
                                       .arg(what, unit)
                                       .arg(units)),
                        bench::medianOf(times[units]), bench::medianOf(times[1]), "constant");
    }
}

void measureGrowths()
{
    const QString path = "/srv/bench/file";
    QString value;
    measureGrowth(
        "intervention field read", "MiB",
        [&](int mebibytes) {
            write(path, "action \"a\"\n" + QByteArray("x = \"1\"\n").repeated(mebibytes << 17) +
                            "last = \"1\"\n");
        },
        [&] { static_cast<void>(halvex::getInterventionConfig(path, "", "a", "last", value)); });
    measureGrowth(
        "intervention field written", "MiB",
        [&](int mebibytes) {
            write(path, "action \"a\"\n" + QByteArray("x = \"1\"\n").repeated(mebibytes << 17) +
                            "last = \"1\"\n");
        },
        [&] { static_cast<void>(halvex::setInterventionConfig(path, "", "a", "last", "2")); });
    measureGrowth(
        "event total", "MiB",
        [&](int mebibytes) {
            write(path, QByteArray("events_dropped='0'\n").repeated((mebibytes << 20) / 19) +
                            "events_processed='1'\n");
        },
        [&] { static_cast<void>(halvex::getEventTotalCount(path, value)); });
    QByteArray block;
    measureGrowth(
        "a caller's environment judged", "16 KiB",
        [&](int pieces) {
            block = (QByteArray("NAME_OF_A_VARIABLE=") + QByteArray(85, 'x') + '\0')
                        .repeated((pieces << 14) / 105);
        },
        [&] {
            static_cast<void>(halvex::holdsForbiddenName(
                std::string_view(block.constData(), std::size_t(block.size()))));
        });
}

} // namespace

int main()
{
    measureExport("alert export, 1 GiB in 2,000 files", 2000, 1 << 19);
    measureExport("alert export, 100,000 small files", 100000, 384);
    measureAiSettings();
    measureNotifySettings();
    measureGrowths();
}
