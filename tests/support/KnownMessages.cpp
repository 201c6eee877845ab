#include "KnownMessages.h"

#include <filesystem>
#include <set>
#include <string_view>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "MessageCatalogue.h"
#include "TraceFile.h"

namespace {

const MessageCatalogue &catalogue() {
    return MessageCatalogue::builtIn();
}

// What else stands at its name is nothing to read, or to wait for.
std::string presentTrace() {
    return std::filesystem::is_regular_file(traceLogPath) ? readText(traceLogPath) : "";
}

// A message with the values that its case is for.
std::string nameOf(const Recognised &found) {
    std::string name = found.message->id;
    if (found.which != nullptr) {
        for (const auto &[part, value] : found.which->with)
            name.append(" ").append(part).append("=").append(value);
    }
    return name;
}

bool mayBeUnknown = false;

constexpr std::size_t stampLength = sizeof "2026-11-22.07:00:00 : " - 1;

// What was seen since the test began.
class Seen {
public:
    // Who writes it may be in the midst of its last message.
    void note(const std::string &text, bool mayGrow) {
        // Mostly the trace has only grown.
        const bool hasGrown = text.compare(0, m_text.size(), m_text) == 0;
        const std::size_t known = hasGrown ? m_text.size() : 0;
        m_text = text;
        const bool beginsWithStamp = isStampAt(text, known);
        const std::vector<std::string> messages = messagesOf(text.substr(known));
        for (std::size_t i = 0; i < messages.size(); ++i) {
            const bool isStamped = beginsWithStamp || i > 0;
            m_isUnderWay = mayGrow && i + 1 == messages.size();
            noteMessage(messages[i], isStamped);
            if (m_isUnderWay) // looked up again when there is more of it
                m_text.resize(text.size() - messages[i].size() - (isStamped ? stampLength : 0));
        }
    }
    // What stands there before a test begins is another one's.
    void skip(const std::string &text) { m_text = text; }
    void noteOutput(std::string_view text, MessageStream stream) {
        m_hasOutput = true;
        while (!text.empty()) {
            if (const auto found = catalogue().atLine(text, stream))
                m_ids.insert(found->message->id);
            const std::size_t end = text.find('\n');
            text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        }
    }
    bool hasOutput() const { return m_hasOutput; }

    const std::set<std::string> &ids() const { return m_ids; }
    // Those that tell of a failure, each with its case.
    const std::set<std::string> &failures() const { return m_failures; }

private:
    void noteMessage(std::string_view text, bool isStamped) {
        if (isStamped)
            text = takeOff(text, catalogue().fitting(text, MessageStream::trace, true));
        while (!text.empty())
            text = takeOff(text, catalogue().fitting(text, MessageStream::trace, false));
    }

    // What is left behind a message that was looked up.
    std::string_view takeOff(std::string_view text, const std::vector<Recognised> &found) {
        if (found.size() != 1) {
            // Whoever is killed, or meets a full disk, leaves half a line.
            const bool isCut = text.find('\n') == std::string_view::npos;
            EXPECT_TRUE(mayBeUnknown || isCut || m_isUnderWay)
                << found.size() << " entries of share/messages.json for this: " << text.substr(0, 500);
            return {};
        }
        m_ids.insert(found.front().message->id);
        if (!found.front().message->isNormal)
            m_failures.insert(nameOf(found.front()));
        return text.substr(found.front().length);
    }

    std::string m_text;
    std::set<std::string> m_ids;
    std::set<std::string> m_failures;
    bool m_hasOutput = false;
    bool m_isUnderWay = false;
};

// "Suite.Case" of "Prefix/Suite.Case/Parameter", and the parameter.
struct Name {
    explicit Name(const testing::TestInfo &test) {
        const std::string suite = test.test_suite_name();
        const std::string name = test.name();
        scenario = suite.substr(suite.rfind('/') + 1) + "." + name.substr(0, name.find('/'));
        if (name.find('/') != std::string::npos)
            parameter = name.substr(name.find('/') + 1);
    }
    bool is(const std::string &other) const {
        return other == scenario || other == scenario + "/" + parameter;
    }
    std::string scenario;
    std::string parameter;
};

// Follows a test from outside, so that no test can forget it.
class KnownMessages : public testing::EmptyTestEventListener {
public:
    static KnownMessages &instance() {
        static auto *const listener = new KnownMessages; // GoogleTest's from then on
        return *listener;
    }
    Seen &seen() { return m_seen; }

private:
    KnownMessages() { testing::UnitTest::GetInstance()->listeners().Append(this); }

    void OnTestStart(const testing::TestInfo &) override {
        static_cast<void>(catalogue()); // read now, and not while a test waits
        m_seen = Seen();
        // Cases that share a machine share its trace.
        m_seen.skip(presentTrace());
    }
    void OnTestEnd(const testing::TestInfo &test) override {
        if (test.result()->Skipped())
            return;
        m_seen.note(presentTrace(), false);
        const Name name(test);
        expectWhatEntriesName(name);
        expectWhatIsReported(name);
    }

    void expectWhatEntriesName(const Name &name) const {
        for (const Message &message : catalogue().messages()) {
            // Tests of classes look at the standard streams themselves.
            const bool canBeSeen = message.stream == MessageStream::trace || m_seen.hasOutput();
            if (name.is(message.test) && canBeSeen) {
                EXPECT_EQ(m_seen.ids().count(message.id), 1U)
                    << "share/messages.json names this test for " << message.id;
            }
        }
    }
    void expectWhatIsReported(const Name &name) const {
        const std::string text = readText(REPORTED_MESSAGES);
        if (text.find('"' + name.scenario + '"') == std::string::npos)
            return; // most tests are no scenarios, and need not wait for the parser
        const auto reported = nlohmann::json::parse(text).at(name.scenario);
        if (!reported.contains(name.parameter))
            return;
        EXPECT_EQ(m_seen.failures(), reported.at(name.parameter).get<std::set<std::string>>())
            << "tests/faults/reported.json has other messages for this scenario";
    }

    Seen m_seen;
};

[[maybe_unused]] const KnownMessages &registered = KnownMessages::instance();

} // namespace

void noteTrace(const std::string &text) {
    if (testing::UnitTest::GetInstance()->current_test_info() == nullptr)
        return; // programs that are no tests share the code of tests
    KnownMessages::instance().seen().note(text, true);
}

void noteOutput(const std::string &out, const std::string &err) {
    Seen &seen = KnownMessages::instance().seen();
    seen.noteOutput(out, MessageStream::output);
    seen.noteOutput(err, MessageStream::error);
}

bool allowUnknownMessages() {
    mayBeUnknown = true;
    return true;
}
