#include "LogReader.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "TimeForm.h"

namespace {

bool beginsWithStamp(std::string_view text) {
    return hasForm(text.substr(0, stampForm.size()), stampForm);
}

// A file may end without a line end. What varies may be cut there, fixed text is not.
std::string withLineEnd(const std::string &text) {
    const std::string whole = text + "\n";
    const auto known = MessageCatalogue::builtIn().behindStamp(whole);
    const bool isFixed = known && known->message->text.find("}\n") == std::string::npos;
    return isFixed ? whole : text;
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
    const bool isLast = line.text.back() != '\n';
    LogEntry entry{line.number, line.text.substr(0, timeForm.size()), line.text.substr(stampForm.size()),
                   line.isShortened, std::nullopt};
    if (isLast)
        entry.text = withLineEnd(entry.text);
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
    line.number = m_stamp.empty() ? m_number + 1 : m_number;
    line.text = std::exchange(m_stamp, {});
    std::streambuf &bytes = *m_log.rdbuf();
    bool hasEnd = false;
    for (int byte = bytes.sbumpc(); byte != std::streambuf::traits_type::eof(); byte = bytes.sbumpc()) {
        hasEnd = byte == '\n';
        if (hasEnd)
            break;
        line.text += std::streambuf::traits_type::to_char_type(byte);
        if (byte == ' ' && takeStampBehind(line.text))
            break;
        // A stamp may still come: as much is kept as is one.
        if (line.text.size() == 2 * longest)
            line.text.erase(longest + 1, longest - 1 - stampForm.size());
    }
    if (line.text.empty() && !hasEnd)
        return std::nullopt;
    if (hasEnd && !line.text.empty() && line.text.back() == '\r')
        line.text.pop_back();
    line.isShortened = line.text.size() > longest;
    line.text.resize(std::min(line.text.size(), longest));
    if (hasEnd)
        line.text += '\n';
    m_number = line.number;
    return line;
}

// Whether the text ends with a stamp behind something else: then that is the next line's.
bool LogReader::takeStampBehind(std::string &text) {
    if (text.size() <= stampForm.size())
        return false;
    const std::size_t begin = text.size() - stampForm.size();
    if (!beginsWithStamp(std::string_view(text).substr(begin)))
        return false;
    m_stamp = text.substr(begin);
    text.resize(begin);
    return true;
}
