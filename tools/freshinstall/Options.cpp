#include "Options.h"

#include <iostream>

#include <CLI/CLI.hpp>

#include "Statuses.h"

namespace {

constexpr std::size_t mostDigits = 9; // which fit every type that follows

// An option's number, that is called so. "010" may mean eight or ten.
CLI::Validator number(const std::string &name) {
    const auto check = [name](const std::string &text) -> std::string {
        const bool digitsOnly = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
        if (!digitsOnly || (text != "0" && text.front() == '0'))
            return name + " must be a decimal number: " + text;
        if (text.size() > mostDigits)
            return name + " must be at most " + std::string(mostDigits, '9') + ": " + text;
        return {};
    };
    return CLI::Validator(check, "");
}

// Of help and version, which are all the output there is.
int statusOfAnswer() {
    return std::cout.flush() ? Statuses::done : Statuses::outputLost;
}

} // namespace

std::optional<int> readOptions(int argc, const char *const *argv, Options &options) {
    options.library = LIBRARY_NAME;
    CLI::App app("Runs a fresh installation's downloads by the suite's engine and shows how far they are.",
                 "freshinstall");
    app.add_option("--retry", options.retries, "Retry failed packages up to N times")
        ->type_name("N")
        ->check(number("N"));
    app.add_option("--timeout", options.timeoutSeconds, "Give up the whole run after that time; 0: never")
        ->type_name("SECONDS")
        ->check(number("SECONDS"));
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
               "  72   a tool that the engine needs is missing\n"
               "  74   all is done, but not all output could be written\n"
               "  77   not run as root\n"
               "  124  given up after the time of --timeout\n"
               "  130  interrupted by Ctrl-C (128 and the signal's number)\n"
               "\n"
               "The engine's log is /var/log/DownloadManager.log.");
    try {
        app.parse(argc, argv);
        return {};
    } catch (const CLI::ParseError &error) {
        // Help and version come this way too.
        return app.exit(error) == 0 ? statusOfAnswer() : Statuses::calledWrongly;
    }
}
