// Records an installation by the engine, for libdownloadManager-player.
#include <charconv>
#include <exception>
#include <fstream>
#include <iostream>
#include <optional>
#include <string>
#include <system_error>

#include "Recorder.h"
#include "Statuses.h"
#include "Surroundings.h"

namespace {

const std::string usage =
    "usage: recordinstall FILE [RETRIES]\n"
    "\n"
    "Runs a fresh installation's downloads by the suite's engine and records what a host sees\n"
    "of them, for libdownloadManager-player. Retries so often what is not completed.\n";

std::optional<unsigned> numberIn(const std::string &text) {
    unsigned number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size())
        return {};
    return number;
}

int complain(const std::exception &error, int status) {
    std::cerr << "recordinstall: " << error.what() << '\n';
    return status;
}

int record(const std::string &file, unsigned retries) {
    std::ofstream out(file);
    if (!out)
        throw std::ios_base::failure(file);
    Recorder recorder(out);
    recorder.record(Function::freshInstall);
    for (unsigned retry = 0; retry < retries && !recorder.isCompleted(); ++retry)
        recorder.record(Function::retryDownloadPackages);
    if (!out)
        throw std::ios_base::failure(file);
    return Statuses::done;
}

} // namespace

int main(int argc, char **argv) {
    const bool hasFile = (argc == 2 || argc == 3) && argv[1][0] != '-';
    const std::optional<unsigned> retries = argc == 3 ? numberIn(argv[2]) : 0;
    if (!hasFile || !retries) {
        std::cerr << usage;
        return Statuses::calledWrongly;
    }
    try {
        checkSurroundings();
        return record(argv[1], *retries);
    } catch (const UnfitSurroundings &error) {
        return complain(error, error.status);
    } catch (const std::ios_base::failure &error) {
        return complain(error, Statuses::outputLost);
    } catch (const std::exception &error) {
        return complain(error, Statuses::outOfResources);
    }
}
