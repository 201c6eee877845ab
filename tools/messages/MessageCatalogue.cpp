#include "MessageCatalogue.h"

#include <algorithm>
#include <stdexcept>

#include <nlohmann/json.hpp>

#include "MessagesText.h"

namespace {

using Json = nlohmann::json;
using Texts = std::vector<std::string>;

MessageWriter writerNamed(const std::string &name) {
    if (name == "engine")
        return MessageWriter::engine;
    return name == "installer script" ? MessageWriter::script : MessageWriter::tool;
}

MessageStream streamNamed(const std::string &name) {
    if (name == "trace")
        return MessageStream::trace;
    return name == "standard output" ? MessageStream::output : MessageStream::error;
}

void append(Texts &texts, const Json &more) {
    const Texts added = more.value("faults", Texts());
    texts.insert(texts.end(), added.begin(), added.end());
}

Message messageOf(const Json &entry) {
    Message message;
    message.id = entry.at("id");
    message.text = entry.at("text");
    message.writer = writerNamed(entry.at("by"));
    message.stream = streamNamed(entry.at("stream"));
    if (entry.contains("level"))
        message.level = entry.at("level").get<int>();
    message.step = entry.at("step");
    message.happened = entry.at("happened");
    message.isNormal = entry.at("normal");
    message.causes = entry.at("causes").get<Texts>();
    message.remedy = entry.at("remedy");
    message.test = entry.value("test", "");
    append(message.faults, entry);
    for (const Json &which : entry.value("cases", Json::array())) {
        message.cases.push_back({which.at("with"), which.at("happened"), which.at("remedy")});
        append(message.faults, which);
    }
    for (const Json &following : entry.value("followed", Json::array()))
        message.followed.push_back({following.at("by"), following.at("says"), following.at("normal")});
    return message;
}

bool isNumber(std::string_view text) {
    const std::string_view digits = text.substr(!text.empty() && text.front() == '-' ? 1 : 0);
    return !digits.empty() && digits.find_first_not_of("0123456789") == std::string_view::npos;
}

bool beginsWith(std::string_view text, std::string_view beginning) {
    return text.substr(0, beginning.size()) == beginning;
}

bool hasAll(const std::map<std::string, std::string> &values,
            const std::map<std::string, std::string> &wanted) {
    return std::all_of(wanted.begin(), wanted.end(), [&values](const auto &pair) {
        const auto found = values.find(pair.first);
        return found != values.end() && found->second == pair.second;
    });
}

} // namespace

const MessageCatalogue &MessageCatalogue::builtIn() {
    static const MessageCatalogue catalogue(messagesText);
    return catalogue;
}

MessageCatalogue::MessageCatalogue(const std::string &json) {
    const Json document = Json::parse(json);
    for (const Json &entry : document.at("messages")) {
        m_messages.push_back(messageOf(entry));
        m_patterns.push_back(patternOf(m_messages.back().text));
    }
}

const Message *MessageCatalogue::find(std::string_view id) const {
    const auto found = std::find_if(m_messages.begin(), m_messages.end(),
                                    [id](const Message &message) { return message.id == id; });
    return found == m_messages.end() ? nullptr : &*found;
}

std::optional<Recognised> MessageCatalogue::behindStamp(std::string_view text) const {
    std::vector<Recognised> all = fitting(text, MessageStream::trace, true);
    return all.empty() ? std::nullopt : std::optional(std::move(all.front()));
}

std::optional<Recognised> MessageCatalogue::atLine(std::string_view text, MessageStream stream) const {
    std::vector<Recognised> all = fitting(text, stream, false);
    return all.empty() ? std::nullopt : std::optional(std::move(all.front()));
}

std::vector<Recognised> MessageCatalogue::fitting(std::string_view text, MessageStream stream,
                                                  bool isStamped) const {
    std::vector<Recognised> best = bestOf(text, stream, isStamped, false);
    // What a reply or a catalog says may hold line ends where nobody expects them.
    return !best.empty() || !isStamped ? best : bestOf(text, stream, isStamped, true);
}

std::vector<Recognised> MessageCatalogue::bestOf(std::string_view text, MessageStream stream, bool isStamped,
                                                 bool spansLines) const {
    std::vector<Recognised> best;
    std::size_t most = 0;
    for (std::size_t i = 0; i < m_messages.size(); ++i) {
        const Message &message = m_messages[i];
        const bool standsBehindStamp =
            message.stream == MessageStream::trace && message.writer == MessageWriter::engine;
        if (message.stream != stream || standsBehindStamp != isStamped || m_patterns[i].fixedLength < most)
            continue;
        std::optional<Recognised> found = matched(m_patterns[i], text, spansLines);
        if (!found)
            continue;
        if (m_patterns[i].fixedLength > most)
            best.clear();
        most = m_patterns[i].fixedLength;
        found->message = &message;
        for (const MessageCase &which : message.cases) {
            if (found->which == nullptr && hasAll(found->values, which.with))
                found->which = &which;
        }
        best.push_back(std::move(*found));
    }
    return best;
}

MessageCatalogue::Pattern MessageCatalogue::patternOf(const std::string &text) {
    Pattern pattern;
    std::string *fixed = &pattern.beginning;
    std::size_t position = 0;
    for (std::size_t open = text.find('{'); open != std::string::npos; open = text.find('{', position)) {
        const std::size_t colon = text.find(':', open);
        const std::size_t close = text.find('}', open);
        if (colon == std::string::npos || close == std::string::npos || colon > close)
            throw std::invalid_argument("no placeholder: " + text);
        *fixed = text.substr(position, open - position);
        pattern.fixedLength += fixed->size();
        pattern.parts.push_back(
            {text.substr(open + 1, colon - open - 1), text.substr(colon + 1, close - colon - 1), ""});
        fixed = &pattern.parts.back().fixed;
        position = close + 1;
    }
    *fixed = text.substr(position);
    pattern.fixedLength += fixed->size();
    return pattern;
}

std::optional<Recognised> MessageCatalogue::matched(const Pattern &pattern, std::string_view text,
                                                    bool spansLines) {
    if (!beginsWith(text, pattern.beginning))
        return std::nullopt;
    Recognised found;
    std::size_t position = pattern.beginning.size();
    for (const Part &part : pattern.parts) {
        const bool maySpan = spansLines || part.kind == "document";
        // Only what ends a message may hold the text behind it as well.
        const bool reachesTheEnd = maySpan && &part == &pattern.parts.back();
        const std::size_t end = reachesTheEnd ? text.rfind(part.fixed) : text.find(part.fixed, position);
        if (end == std::string_view::npos || end < position)
            return std::nullopt;
        const std::string_view value = text.substr(position, end - position);
        if (part.kind == "number" ? !isNumber(value) : !maySpan && value.find('\n') != std::string_view::npos)
            return std::nullopt;
        found.values[part.name] = value;
        position = end + part.fixed.size();
    }
    found.length = position;
    return found;
}
