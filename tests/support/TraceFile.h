// What the engine wrote to its trace, as tests want to read it.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "KnownMessages.h"
#include "Paths.h"
#include "TextFile.h"

// The whole trace file, stamps included; "" when there is none.
inline std::string traceText() {
    std::string text = readText(traceLogPath);
    noteTrace(text);
    return text;
}

// Whether a stamp begins here: its digits, and between them its other characters.
inline bool isStampAt(const std::string &text, std::size_t position) {
    const std::string form = "dddd-dd-dd.dd:dd:dd : ";
    if (text.size() - position < form.size())
        return false;
    for (std::size_t i = 0; i < form.size(); ++i) {
        const char found = text[position + i];
        if (form[i] == 'd' ? found < '0' || found > '9' : found != form[i])
            return false;
    }
    return true;
}

// The messages of a trace without their stamps. A message that holds line ends stays one message: only a
// stamp starts a new one. What stands before the first stamp is a message too. The line end that closes a
// message stays, so that one that lacks it is seen.
inline std::vector<std::string> messagesOf(const std::string &text) {
    constexpr std::size_t stampLength = 22;
    std::vector<std::string> messages;
    std::size_t begin = 0;
    for (std::size_t position = 0; position < text.size(); ++position) {
        if (!isStampAt(text, position))
            continue;
        if (position != 0)
            messages.push_back(text.substr(begin, position - begin));
        begin = position + stampLength;
        position = begin - 1;
    }
    if (!text.empty())
        messages.push_back(text.substr(begin));
    return messages;
}

inline std::vector<std::string> traceMessages() {
    return messagesOf(traceText());
}
