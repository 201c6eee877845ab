#include "LogReader.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace {

constexpr std::size_t timeLength = sizeof "2026-11-22.07:00:00" - 1;
constexpr std::size_t stampLength = sizeof "2026-11-22.07:00:00 : " - 1;

bool beginsWithStamp(std::string_view text) {
    constexpr std::string_view form = "dddd-dd-dd.dd:dd:dd : ";
    return text.size() >= form.size() &&
           std::equal(form.begin(), form.end(), text.begin(), [](char expected, char found) {
               return expected == 'd' ? found >= '0' && found <= '9' : found == expected;
           });
}

bool isWhole(const Recognised &known, std::string_view text) {
    return known.length == text.size();
}

// Whether a message may have more lines than the first: those that quote a document, and those that begin
// with an empty line.
bool maySpan(const std::optional<Recognised> &known, std::string_view text) {
    return !known || known->message->text.find(":document}") != std::string::npos || !isWhole(*known, text);
}

void withoutLineEnd(std::string &text) {
    if (!text.empty() && text.back() == '\n')
        text.pop_back();
}

} // namespace

LogReader::LogReader(std::istream &log)
    : m_log(log) {
}

std::optional<LogEntry> LogReader::next() {
    if (peek() == nullptr)
        return std::nullopt;
    Line line = take();
    return beginsWithStamp(line.text) ? stamped(std::move(line)) : unstamped(std::move(line));
}

LogEntry LogReader::unstamped(Line line) const {
    LogEntry entry{line.number, "", std::move(line.text), line.isShortened, std::nullopt};
    entry.known = MessageCatalogue::builtIn().atLine(entry.text, MessageStream::trace);
    withoutLineEnd(entry.text);
    return entry;
}

LogEntry LogReader::stamped(Line line) {
    LogEntry entry{line.number, line.text.substr(0, timeLength), line.text.substr(stampLength),
                   line.isShortened, std::nullopt};
    entry.known = MessageCatalogue::builtIn().behindStamp(entry.text);
    if (maySpan(entry.known, entry.text))
        gather(entry);
    withoutLineEnd(entry.text);
    return entry;
}

// Takes the lines that belong to the message, and leaves the others.
void LogReader::gather(LogEntry &entry) {
    const MessageCatalogue &catalogue = MessageCatalogue::builtIn();
    std::deque<Line> taken;
    std::string text = entry.text;
    bool isShortened = entry.isShortened;
    std::optional<bool> isDocument; // known once there is too much of it
    while (peek() != nullptr && !beginsWithStamp(peek()->text)) {
        // What closes a message may stand behind a line that is too long.
        if (text.size() < 2 * longest) {
            taken.push_back(take());
            text += taken.back().text;
            isShortened |= taken.back().isShortened;
            continue;
        }
        // Of a document that is too long its beginning will do; of anything else nothing may be lost.
        if (!isDocument) {
            const auto known = catalogue.behindStamp(text);
            isDocument = known && isWhole(*known, text);
        }
        if (!*isDocument)
            break;
        static_cast<void>(take());
        isShortened = true;
    }
    std::optional<Recognised> known = catalogue.behindStamp(text);
    if (!known) {
        m_waiting.insert(m_waiting.begin(), taken.begin(), taken.end());
        return;
    }
    // What stands behind the message begins with a line of its own.
    std::size_t behind = text.size();
    while (!taken.empty() && behind - taken.back().text.size() >= known->length) {
        behind -= taken.back().text.size();
        m_waiting.push_front(std::move(taken.back()));
        taken.pop_back();
    }
    entry.text = text.substr(0, known->length);
    entry.isShortened = isShortened;
    entry.known = std::move(known);
}

const LogReader::Line *LogReader::peek() {
    if (m_waiting.empty()) {
        if (std::optional<Line> line = readLine())
            m_waiting.push_back(std::move(*line));
    }
    return m_waiting.empty() ? nullptr : &m_waiting.front();
}

LogReader::Line LogReader::take() {
    Line line = std::move(m_waiting.front());
    m_waiting.pop_front();
    return line;
}

std::optional<LogReader::Line> LogReader::readLine() {
    Line line;
    std::streambuf &bytes = *m_log.rdbuf();
    for (int byte = bytes.sbumpc(); byte != std::streambuf::traits_type::eof(); byte = bytes.sbumpc()) {
        const char character = std::streambuf::traits_type::to_char_type(byte);
        if (character == '\n') {
            line.text += '\n';
            break;
        }
        if (line.text.size() < longest)
            line.text += character;
        else
            line.isShortened = true;
    }
    if (line.text.empty())
        return std::nullopt;
    line.number = ++m_number;
    return line;
}
