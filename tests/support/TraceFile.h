// What the engine wrote to its trace, as tests want to read it.
#pragma once

#include <regex>
#include <string>
#include <vector>

#include "Paths.h"
#include "TextFile.h"

// The whole trace file, stamps included; "" when there is none.
inline std::string traceText() {
    return readText(traceLogPath);
}

// The messages of a trace without their stamps. A message that holds line ends stays one message: only a
// stamp starts a new one. What stands before the first stamp is a message too. The line end that closes a
// message stays, so that one that lacks it is seen.
inline std::vector<std::string> messagesOf(const std::string &text) {
    static const std::regex stamp(R"(\d{4}-\d{2}-\d{2}\.\d{2}:\d{2}:\d{2} : )");
    std::vector<std::string> messages;
    auto begin = text.cbegin();
    const std::sregex_iterator end;
    for (std::sregex_iterator match(text.cbegin(), text.cend(), stamp); match != end; ++match) {
        const auto stampBegin = text.cbegin() + match->position();
        if (stampBegin != text.cbegin())
            messages.emplace_back(begin, stampBegin);
        begin = stampBegin + match->length();
    }
    if (!text.empty())
        messages.emplace_back(begin, text.cend());
    return messages;
}

inline std::vector<std::string> traceMessages() {
    return messagesOf(traceText());
}
