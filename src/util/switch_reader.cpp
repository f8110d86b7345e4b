// SPDX-License-Identifier: MIT
#include "util/switch_reader.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <memory>
#include <string_view>
#include <sys/wait.h>

namespace halvex {
namespace {

struct PipeCloser
{
    void operator()(std::FILE *pipe) const { static_cast<void>(pclose(pipe)); }
};

using Pipe = std::unique_ptr<std::FILE, PipeCloser>;

bool startsWith(std::string_view text, std::string_view beginning)
{
    return text.substr(0, beginning.size()) == beginning;
}

std::string trimmed(const std::string &text)
{
    constexpr const char *whiteSpace = " \t\n\r";
    const auto first = text.find_first_not_of(whiteSpace);
    if (first == std::string::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(whiteSpace) - first + 1);
}

} // namespace

std::optional<bool> switchInLine(std::string line, const std::string &key)
{
    std::transform(line.begin(), line.end(), line.begin(),
                   [](unsigned char byte) { return static_cast<char>(std::tolower(byte)); });
    const auto keyStart = line.find(key);
    if (keyStart == std::string::npos) {
        return std::nullopt;
    }
    const auto colon = line.find(':', keyStart);
    if (colon == std::string::npos) {
        return std::nullopt;
    }
    const std::string value = trimmed(line.substr(colon + 1));
    return startsWith(value, "on") || startsWith(value, "enable");
}

bool readSwitchFromCommand(const char *command, const char *key)
{
    return querySwitch(command, key).value_or(false);
}

std::optional<bool> querySwitch(const char *command, const char *key)
{
    // "e" sets close-on-exec, so that no other child inherits the pipe.
    Pipe pipe(popen(command, "re"));
    if (!pipe) {
        return std::nullopt;
    }
    // A longer line is read in several pieces, and each piece is treated as a line.
    std::array<char, 1024> piece{};
    while (std::fgets(piece.data(), static_cast<int>(piece.size()), pipe.get()) != nullptr) {
        if (const auto isOn = switchInLine(piece.data(), key)) {
            return isOn;
        }
    }
    const bool isCutShort = std::ferror(pipe.get()) != 0;
    const int status = pclose(pipe.release());
    // A program for which there is no memory left may also be terminated by a signal at its start.
    const bool isNotStarted =
        !WIFEXITED(status) || WEXITSTATUS(status) == 126 || WEXITSTATUS(status) == 127;
    return isCutShort || isNotStarted ? std::nullopt : std::optional(false);
}

} // namespace halvex
