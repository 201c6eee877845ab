#include "Transfers.h"

#include <algorithm>
#include <utility>

#include "MessageFile.h"

using State = TransferStory::State;

void Transfers::take(const LogEntry &entry, Room &room) {
    const Recognised &known = *entry.known;
    const std::string &id = known.message->id;
    if (known.message->step != "transfer" && known.message->step != "hash")
        return;
    TransferStory *const transfer =
        id == "transfer-started" ? begun(valueOf(known, "url"), entry.time, room) : about(known);
    if (transfer == nullptr)
        return;
    transfer->ended = entry.time;
    if (id == "transfer-started") {
        ++transfer->attempts;
        transfer->state = State::begun;
    } else if (id == "transfer-resumed") {
        ++transfer->resumes;
    } else if (id == "hash-checked") {
        ++transfer->hashChecks;
    } else if (id == "hash-wrong" || id == "hash-not-had") {
        ++transfer->hashFailures;
    } else if (id == "downloaded") {
        transfer->state = State::done;
    } else if (id == "hash-given-up") {
        transfer->state = State::givenUp;
    } else if (id == "package-not-accepted") {
        // Told of every try behind which a better one may have come.
        if (transfer->state == State::begun)
            transfer->state = State::failed;
    } else if (!known.message->isNormal) {
        transfer->state = State::failed; // until it begins again
    }
}

bool Transfers::hasFailed() const {
    return std::any_of(m_stories.begin(), m_stories.end(), [](const TransferStory &transfer) {
        return transfer.state == State::failed || transfer.state == State::givenUp;
    });
}

TransferStory *Transfers::about(const Recognised &known) {
    const std::string url = valueOf(known, "url");
    const std::string path = valueOf(known, "path");
    const auto &places = url.empty() ? m_byFile : m_byUrl;
    if (url.empty() && path.empty())
        return nullptr;
    const auto place = places.find(url.empty() ? fileNameOf(path) : url);
    return place == places.end() ? nullptr : &m_stories[place->second];
}

// Null where there is no room for another one.
TransferStory *Transfers::begun(const std::string &url, const std::string &time, Room &room) {
    auto place = m_byUrl.find(url);
    if (place == m_byUrl.end()) {
        constexpr std::size_t copies = 3;
        if (!room.take(sizeof(TransferStory) + copies * (url.size() + sizeof(std::string))))
            return nullptr;
        place = m_byUrl.emplace(url, m_stories.size()).first;
        m_byFile[fileNameOf(url)] = m_stories.size();
        m_stories.push_back({});
        m_stories.back().url = url;
        m_stories.back().began = time;
    }
    return &m_stories[place->second];
}
