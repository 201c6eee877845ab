#include "TemporaryFolder.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <system_error>

namespace {

[[noreturn]] void fail(const std::filesystem::path &path) {
    throw std::system_error(errno, std::generic_category(), path.string());
}

std::filesystem::path makeFolder(const std::filesystem::path &parent, const std::string &prefix) {
    std::string name = std::filesystem::absolute(parent / (prefix + "XXXXXX")).string();
    if (mkdtemp(name.data()) == nullptr)
        fail(name);
    return name;
}

// Somebody may still be writing into it, until it is gone.
void removeFolder(const std::filesystem::path &folder) {
    constexpr int mostTries = 1000;
    std::error_code failed;
    for (int i = 0; i < mostTries && std::filesystem::exists(folder, failed); ++i)
        std::filesystem::remove_all(folder, failed);
}

} // namespace

TemporaryFolder::TemporaryFolder(const std::filesystem::path &parent, const std::string &prefix)
    : TemporaryFolder(parent, prefix, InterruptHold()) {
}

TemporaryFolder::TemporaryFolder(const std::filesystem::path &parent, const std::string &prefix,
                                 const InterruptHold &hold)
    : m_path(makeFolder(parent, prefix))
    , m_cleanUp(hold, [this] { removeFolder(m_path); }) {
}

TemporaryFolder::TemporaryFolder()
    : TemporaryFolder(std::filesystem::temp_directory_path(), "releasebench-") {
}

TemporaryFolder::~TemporaryFolder() {
    removeFolder(m_path);
}

void writeNewFile(const std::filesystem::path &file, const std::string &content) {
    std::filesystem::create_directories(file.parent_path());
    std::ofstream stream(file, std::ios::binary | std::ios::trunc);
    stream << content;
    stream.close();
    if (!stream)
        fail(file);
}
