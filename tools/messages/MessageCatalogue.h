// What the engine, its installer script and the tools that they start can write, with what each line means:
// share/messages.json, which is part of the program.
//
// Threads: a catalogue does not change once it is made.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

enum class MessageWriter { engine, script, tool };
enum class MessageStream { trace, output, error };

// Values of a message for which more can be told.
struct MessageCase {
    std::map<std::string, std::string> with;
    std::string happened;
    std::string remedy;
};

// What a line further down in the same run says about a message; of the same file, where both name one.
struct FollowingMessage {
    std::string by;
    std::string says;
    bool isNormal = false;
};

struct Message {
    std::string id;
    std::string text; // {name:kind} stands for what varies
    MessageWriter writer = MessageWriter::engine;
    MessageStream stream = MessageStream::trace;
    std::optional<int> level; // at which the trace writes it
    std::string step;
    std::string happened;
    bool isNormal = false;
    std::vector<std::string> causes;
    std::string remedy;
    std::vector<MessageCase> cases; // the first that fits counts
    std::vector<FollowingMessage> followed;
    std::vector<std::string> faults; // rows of docs/faults.md, those of its cases included
    std::string test;                // the test's name, where one sees it
};

// A message found in a text.
struct Recognised {
    const Message *message = nullptr;
    const MessageCase *which = nullptr; // null when it has none, or none fits
    std::map<std::string, std::string> values;
    std::size_t length = 0; // of the text that is its own, line ends included
};

class MessageCatalogue {
public:
    // The one of this version.
    static const MessageCatalogue &builtIn();

    // Of a text like share/messages.json. Throws std::exception when it is none.
    explicit MessageCatalogue(const std::string &json);

    const std::vector<Message> &messages() const { return m_messages; }
    const Message *find(std::string_view id) const; // null when there is none

    // The message with which a text begins that stands behind a time stamp of the trace. What follows in the
    // text is not looked at, but by a message that ends with a document.
    std::optional<Recognised> behindStamp(std::string_view text) const;
    // The same for the beginning of a line that has none: the script's in the trace, whoever's in the others.
    std::optional<Recognised> atLine(std::string_view text, MessageStream stream) const;

    // All that fit equally well: more than one only where two texts cannot be told apart.
    std::vector<Recognised> fitting(std::string_view text, MessageStream stream, bool isStamped) const;

private:
    // A part that varies, and the fixed text behind it.
    struct Part {
        std::string name;
        std::string kind;
        std::string fixed;
    };
    struct Pattern {
        std::string beginning;
        std::vector<Part> parts;
        std::size_t fixedLength = 0;
    };

    static Pattern patternOf(const std::string &text);
    static std::optional<Recognised> matched(const Pattern &pattern, std::string_view text, bool spansLines);
    std::vector<Recognised> bestOf(std::string_view text, MessageStream stream, bool isStamped,
                                   bool spansLines) const;

    std::vector<Message> m_messages;
    std::vector<Pattern> m_patterns; // one for each of them
};
