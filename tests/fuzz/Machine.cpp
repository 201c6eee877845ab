#include "Machine.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>

#include <unistd.h>

namespace fs = std::filesystem;

namespace {

constexpr const char *traceLog = "/var/log/DownloadManager.log";

// libFuzzer puts the null device in its place, since the engine prints at every other input.
const int standardError = dup(STDERR_FILENO);

void tell(std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = write(standardError, text.data(), text.size());
        if (count < 0 && errno != EINTR)
            return; // the stack trace tells the rest
        text.remove_prefix(count < 0 ? 0 : static_cast<std::size_t>(count));
    }
}

} // namespace

void require(bool holds, const char *promise) {
    if (holds)
        return;
    tell(std::string("Broken: ") + promise + "\n");
    std::abort();
}

void putFile(const std::string &path, const std::string &content) {
    const fs::path folder = fs::path(path).parent_path();
    if (!fs::exists(folder))
        fs::create_directories(folder);
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << content;
    require(static_cast<bool>(file.flush()), "a file of the target's own can be written");
}

std::string fileContent(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// libFuzzer calls this once, before the first input.
extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    if (!fs::exists("/srv/rehearsal")) {
        tell("This writes at the engine's fixed paths. Run it in the sealed machine: rehearsal/seal PROGRAM "
             "...\n");
        std::_Exit(EXIT_FAILURE);
    }
    // Every line is formatted and written, but a run would fill the machine with them.
    fs::remove(traceLog);
    fs::create_symlink("/dev/null", traceLog);
    return 0;
}
