// Tells the runs that a log holds.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

struct UpdateLogOptions {
    std::string file;
    bool all = false;
    std::optional<std::uint64_t> run;
    std::string since; // "2026-11-22" or "2026-11-22.07:00:00"
    bool json = false;
    std::optional<std::string> page; // the file that they are written to, too
};

// Whether it may stand for "since".
bool isTime(const std::string &text);

// How the process ends; documented by --help and in the manual page.
namespace Statuses {

constexpr int well = 0;
constexpr int notWell = 1;
constexpr int unusable = 2;

} // namespace Statuses

// Gives the process's status. Throws std::system_error when the log cannot be read or the output not written.
int runUpdateLog(const UpdateLogOptions &options);
