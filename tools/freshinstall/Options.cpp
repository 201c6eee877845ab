#include "Options.h"

#include <CLI/CLI.hpp>

#include "Statuses.h"

namespace {

// "010" may mean eight or ten.
std::string isDecimal(const std::string &text) {
    const bool digitsOnly = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
    return digitsOnly && (text == "0" || text.front() != '0') ? "" : "N must be a decimal number: " + text;
}

} // namespace

std::optional<int> readOptions(int argc, const char *const *argv, Options &options) {
    options.library = LIBRARY_NAME;
    CLI::App app("Runs a fresh installation's downloads by the suite's engine and shows how far they are.",
                 "freshinstall");
    app.add_option("--retry", options.retries, "Retry failed packages up to N times")
        ->type_name("N")
        ->check(isDecimal);
    auto *json = app.add_flag("--json", options.json, "Print one JSON object a line");
    app.add_flag("--plain", options.plain, "Print plain lines, on a terminal too")->excludes(json);
    app.add_option("--library", options.library, "Use this library instead of the one installed beside")
        ->type_name("FILE");
    app.set_version_flag("--version", VERSION);
    app.footer("Exit status:\n"
               "  0    all packages are downloaded and checked, but for any whose file could not be made\n"
               "  1    failed before the downloads: no service, no catalogs, or a package is missing\n"
               "  2    the downloads failed, or some of them\n"
               "  64   called wrongly\n"
               "  69   the engine's library cannot be used\n"
               "  70   out of memory, threads or files\n"
               "  130  interrupted by Ctrl-C (128 and the signal's number)\n"
               "\n"
               "The engine's log is /var/log/DownloadManager.log.");
    try {
        app.parse(argc, argv);
        return {};
    } catch (const CLI::ParseError &error) {
        // Help and version come this way too.
        return app.exit(error) == 0 ? Statuses::done : Statuses::calledWrongly;
    }
}
