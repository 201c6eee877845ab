// usage: bench-first-line ROUNDS PROGRAM...
// Starts the programs in turn, and prints for every round and program the milliseconds from before its start
// to its first line in the trace, one round a line. The trace is a FIFO meanwhile, so that nothing has to
// look for the line again and again. Only for the sealed machine.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

const char *const tracePath = "/var/log/DownloadManager.log";

double millisecondsToFirstLine(char *program, int trace) {
    char *arguments[] = {program, nullptr};
    char *environment[] = {nullptr};
    char bytes[4096];
    pid_t child = 0;
    const auto start = std::chrono::steady_clock::now();
    if (posix_spawn(&child, program, nullptr, nullptr, arguments, environment) != 0)
        std::exit(EXIT_FAILURE);
    if (read(trace, bytes, sizeof bytes) <= 0)
        std::exit(EXIT_FAILURE);
    const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - start;
    waitpid(child, nullptr, 0);
    // What else it said.
    fcntl(trace, F_SETFL, O_NONBLOCK);
    while (read(trace, bytes, sizeof bytes) > 0) {
    }
    fcntl(trace, F_SETFL, 0);
    return taken.count();
}

} // namespace

int main(int argc, char *argv[]) {
    std::remove(tracePath);
    if (argc < 3 || mkfifo(tracePath, 0600) != 0)
        return EXIT_FAILURE;
    const int trace = open(tracePath, O_RDWR | O_CLOEXEC); // its own writer as well: no end of file
    for (int round = 0; round < std::stoi(argv[1]); ++round) {
        for (int program = 2; program < argc; ++program)
            std::cout << millisecondsToFirstLine(argv[program], trace) << ' ';
        std::cout << '\n';
    }
}
