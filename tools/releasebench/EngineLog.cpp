#include "EngineLog.h"

#include <fstream>
#include <iterator>
#include <utility>

namespace {

// "2026-11-22-10:00:00 : "
std::string withoutStamp(const std::string &line) {
    constexpr std::size_t digits = 19;
    const std::string end = " : ";
    const bool isStamped = line.size() >= digits + end.size() && line.compare(digits, end.size(), end) == 0;
    return isStamped ? line.substr(digits + end.size()) : line;
}

} // namespace

EngineLog::EngineLog(std::filesystem::path log, std::filesystem::path copy)
    : m_log(std::move(log))
    , m_copy(std::move(copy)) {
    std::filesystem::remove(m_copy); // that of a rehearsal before
}

void EngineLog::follow(const Tell &tell) {
    std::ifstream log(m_log, std::ios::binary);
    log.seekg(static_cast<std::streamoff>(m_text.size()));
    const std::string news{std::istreambuf_iterator<char>(log), std::istreambuf_iterator<char>()};
    if (news.empty())
        return;
    m_text += news;
    std::ofstream(m_copy, std::ios::binary | std::ios::app) << news;
    for (std::size_t end = m_text.find('\n', m_told); end != std::string::npos;
         end = m_text.find('\n', m_told)) {
        tell(withoutStamp(m_text.substr(m_told, end - m_told)));
        m_told = end + 1;
    }
}
