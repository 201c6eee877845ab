// Records an installation by the engine, for libdownloadManager-player.
#include <exception>
#include <fstream>
#include <iostream>
#include <string>

#include <CLI/CLI.hpp>

#include "Recorder.h"
#include "Statuses.h"
#include "Surroundings.h"

namespace {

int complain(const std::exception &error, int status) {
    std::cerr << "recordinstall: " << error.what() << '\n';
    return status;
}

int record(const std::string &file, unsigned retries) {
    std::ofstream out(file);
    Recorder recorder(out);
    recorder.record(Function::freshInstall);
    for (unsigned retry = 0; retry < retries && !recorder.isCompleted(); ++retry)
        recorder.record(Function::retryDownloadPackages);
    if (out)
        return Statuses::done;
    throw std::ios_base::failure(file);
}

} // namespace

int main(int argc, char **argv) {
    std::string file;
    unsigned retries = 0;
    CLI::App app(
        "Runs a fresh installation's downloads by the suite's engine and records what a host sees of them.",
        "recordinstall");
    app.add_option("FILE", file, "The recording")->required();
    app.add_option("--retry", retries, "Retry up to N times what is not completed")->type_name("N");
    try {
        app.parse(argc, argv);
        checkSurroundings();
        return record(file, retries);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? Statuses::done : Statuses::calledWrongly;
    } catch (const UnfitSurroundings &error) {
        return complain(error, error.status);
    } catch (const std::ios_base::failure &error) {
        return complain(error, Statuses::outputLost);
    } catch (const std::exception &error) {
        return complain(error, Statuses::outOfResources);
    }
}
