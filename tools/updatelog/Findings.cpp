#include "Findings.h"

#include <map>
#include <utility>

#include "MessageFile.h"

namespace {

bool mayBeOne(const std::string &file, const std::string &other) {
    return file.empty() || other.empty() || file == other;
}

Finding findingOf(const LogEntry &entry, const std::string &file) {
    const Message &message = *entry.known->message;
    const MessageCase *const which = entry.known->which;
    Finding finding;
    finding.line = entry.line;
    finding.time = entry.time;
    finding.text = entry.text;
    finding.id = message.id;
    finding.file = file;
    finding.happened = which == nullptr ? message.happened : which->happened;
    // What happened in this very case says why.
    finding.causes = which == nullptr ? message.causes : std::vector<std::string>();
    finding.remedy = which == nullptr ? message.remedy : which->remedy;
    return finding;
}

bool isNormal(const std::string &id) {
    const Message *const message = MessageCatalogue::builtIn().find(id);
    return message == nullptr || message->isNormal;
}

// What a line says about one before it by which that one is no failure, by the entries of both.
using Settlements = std::map<std::pair<std::string, std::string>, std::string>;

Settlements settlementsOf(const MessageCatalogue &catalogue) {
    Settlements settlements;
    for (const Message &message : catalogue.messages()) {
        for (const FollowingMessage &following : message.followed) {
            if (!message.isNormal && following.isNormal)
                settlements[{following.by, message.id}] = following.says;
        }
    }
    return settlements;
}

const Settlements &settlements() {
    static const Settlements all = settlementsOf(MessageCatalogue::builtIn());
    return all;
}

} // namespace

bool Findings::take(const LogEntry &entry, Room &room) {
    const Message &message = *entry.known->message;
    const std::string file = fileOf(*entry.known);
    settle(message.id, file);
    if (message.isNormal) {
        expect(message, file);
        return false;
    }
    if (isExpected(message.id, file))
        return false;
    add(findingOf(entry, file), room);
    return true;
}

void Findings::add(Finding finding, Room &room) {
    if (m_findings.size() == RunStory::mostLines)
        room.refuse();
    else if (room.take(sizeof finding + finding.text.size() + finding.file.size()))
        m_findings.push_back(std::move(finding));
}

void Findings::settle(const std::string &id, const std::string &file) {
    for (auto known = settlements().lower_bound({id, ""});
         known != settlements().end() && known->first.first == id; ++known) {
        for (Finding &finding : m_findings) {
            if (finding.id == known->first.second && finding.settled.empty() && mayBeOne(finding.file, file))
                finding.settled = known->second;
        }
    }
}

void Findings::expect(const Message &message, const std::string &file) {
    for (const FollowingMessage &following : message.followed) {
        if (following.isNormal && !isNormal(following.by) && m_expected.count({following.by, file}) == 0 &&
            m_roomForExpected.take(following.by.size() + file.size()))
            m_expected.emplace(following.by, file);
    }
}

bool Findings::isExpected(const std::string &id, const std::string &file) const {
    const auto first = m_expected.lower_bound({id, ""}); // the one about no file comes before the others
    if (first == m_expected.end() || first->first != id)
        return false;
    return mayBeOne(first->second, file) || m_expected.count({id, file}) > 0;
}
