#include "GrowingLog.h"

#include <string_view>

#include "TimeForm.h"

namespace {

// Where the last line begins that has a time; 0 where none has.
std::size_t lastMessage(const std::string &text) {
    std::size_t end = text.size();
    while (end > 0) {
        const std::size_t lineEnd = text.rfind('\n', end - 1);
        const std::size_t begin = lineEnd == std::string::npos ? 0 : lineEnd + 1;
        if (hasForm(std::string_view(text).substr(begin, stampForm.size()), stampForm))
            return begin;
        end = begin == 0 ? 0 : lineEnd;
    }
    return 0;
}

std::size_t behindLastLineEnd(const std::string &text) {
    const std::size_t end = text.rfind('\n');
    return end == std::string::npos ? 0 : end + 1;
}

} // namespace

void GrowingLog::add(const std::string &text) {
    m_held += text;
    release(lastMessage(m_held));
    if (m_held.size() > most)
        settle();
    if (m_held.size() > most)
        finish();
}

void GrowingLog::settle() {
    release(behindLastLineEnd(m_held));
}

void GrowingLog::finish() {
    release(m_held.size());
}

GrowingLog::int_type GrowingLog::underflow() {
    return gptr() == egptr() ? traits_type::eof() : traits_type::to_int_type(*gptr());
}

void GrowingLog::release(std::size_t length) {
    m_given.erase(0, static_cast<std::size_t>(gptr() - eback()));
    m_given.append(m_held, 0, length);
    m_held.erase(0, length);
    setg(m_given.data(), m_given.data(), m_given.data() + m_given.size());
}
