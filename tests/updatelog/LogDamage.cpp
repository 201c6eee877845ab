#include "LogDamage.h"

#include <algorithm>
#include <functional>
#include <sstream>
#include <string_view>

#include "LogReader.h"
#include "TimeForm.h"

namespace {

DamagedLog untouched(const ProducedLog &log) {
    return {log.text, std::vector<bool>(log.parts.size(), true), {}};
}

// From the first byte on, up to the last, is no more what it was.
void touch(DamagedLog &damaged, const ProducedLog &log, std::size_t begin, std::size_t end) {
    for (std::size_t i = 0; i < log.parts.size(); ++i) {
        if (log.parts[i].begin < end && begin < log.parts[i].end)
            damaged.isWhole[i] = false;
    }
}

// Where lines begin that have a time.
std::vector<std::size_t> stampedLines(std::string_view text) {
    std::vector<std::size_t> begins;
    for (std::size_t begin = 0; begin < text.size(); begin = text.find('\n', begin) + 1) {
        if (hasForm(text.substr(begin, stampForm.size()), stampForm))
            begins.push_back(begin);
        if (text.find('\n', begin) == std::string_view::npos)
            break;
    }
    return begins;
}

// What stands behind a document may be a line of it: nobody can tell.
bool isBehindDocument(const std::string &text, std::size_t position) {
    const std::size_t line = position < 2 ? 0 : text.rfind('\n', position - 2) + 1;
    const std::string_view before = std::string_view(text).substr(line, position - line);
    if (before.size() <= stampForm.size())
        return false;
    const auto known = MessageCatalogue::builtIn().behindStamp(before.substr(stampForm.size()));
    return known && known->message->text.find(":document}") != std::string::npos;
}

DamagedLog cutShort(const ProducedLog &log, Chance &chance) {
    DamagedLog damaged = untouched(log);
    const std::size_t end = chance.below(log.text.size() + 1);
    damaged.text.resize(end);
    touch(damaged, log, end, log.text.size());
    return damaged;
}

DamagedLog withoutBeginning(const ProducedLog &log, Chance &chance) {
    DamagedLog damaged = untouched(log);
    const std::size_t begin = chance.below(log.text.size() + 1);
    damaged.text.erase(0, begin);
    touch(damaged, log, 0, begin);
    return damaged;
}

// What puts logs aside cuts between lines.
DamagedLog rotated(const ProducedLog &log, Chance &chance) {
    DamagedLog damaged = untouched(log);
    const std::size_t begin = log.text.find('\n', chance.below(log.text.size())) + 1;
    damaged.text.erase(0, begin);
    touch(damaged, log, 0, begin);
    return damaged;
}

DamagedLog withAHole(const ProducedLog &log, Chance &chance) {
    DamagedLog damaged = untouched(log);
    const std::size_t begin = chance.below(log.text.size());
    const std::size_t length = std::min(chance.between(1, 3000), log.text.size() - begin);
    damaged.text.erase(begin, length);
    touch(damaged, log, begin, begin + length);
    return damaged;
}

DamagedLog withoutSomeLines(const ProducedLog &log, Chance &chance) {
    DamagedLog damaged = untouched(log);
    damaged.text.clear();
    const std::size_t oneIn = chance.between(5, 100);
    for (std::size_t begin = 0; begin < log.text.size();) {
        const std::size_t end = std::min(log.text.find('\n', begin), log.text.size() - 1) + 1;
        if (chance.oneIn(oneIn))
            touch(damaged, log, begin, end);
        else
            damaged.text.append(log.text, begin, end - begin);
        begin = end;
    }
    return damaged;
}

DamagedLog withFlippedBits(const ProducedLog &log, Chance &chance) {
    DamagedLog damaged = untouched(log);
    for (std::size_t count = chance.between(1, 20); count > 0; --count) {
        const std::size_t place = chance.below(log.text.size());
        damaged.text[place] = static_cast<char>(damaged.text[place] ^ (1 << chance.below(8)));
        touch(damaged, log, place, place + 1);
    }
    return damaged;
}

DamagedLog ofAnotherSystem(const ProducedLog &log, Chance & /*chance*/) {
    DamagedLog damaged = untouched(log);
    damaged.text.clear();
    for (const char character : log.text)
        damaged.text += character == '\n' ? std::string("\r\n") : std::string(1, character);
    return damaged;
}

// Between the engine's messages, from the last place to the first one.
DamagedLog withLinesBetween(const ProducedLog &log, Chance &chance,
                            const std::function<std::string()> &line) {
    DamagedLog damaged = untouched(log);
    std::vector<std::size_t> places = stampedLines(log.text);
    for (auto place = places.rbegin(); place != places.rend(); ++place) {
        if (!chance.oneIn(6) || isBehindDocument(log.text, *place))
            continue;
        damaged.foreign.push_back(line());
        damaged.text.insert(*place, damaged.foreign.back() + "\n");
    }
    return damaged;
}

DamagedLog withForeignLines(const ProducedLog &log, Chance &chance) {
    std::size_t number = 0;
    return withLinesBetween(log, chance, [&number] {
        return "Nov 22 07:00:00 host kernel: [" + std::to_string(++number) + "] something else";
    });
}

DamagedLog withBinaryLines(const ProducedLog &log, Chance &chance) {
    return withLinesBetween(log, chance, [&chance] {
        std::string bytes;
        for (std::size_t count = chance.between(1, 300); count > 0; --count)
            bytes += static_cast<char>(chance.below(256));
        std::replace(bytes.begin(), bytes.end(), '\n', '\0');
        bytes.back() = '\xff'; // no line's end of another system
        return bytes;
    });
}

} // namespace

const std::vector<NamedDamage> &damages() {
    static const std::vector<NamedDamage> all = {{"cut short", cutShort},
                                                 {"without its beginning", withoutBeginning},
                                                 {"rotated", rotated},
                                                 {"with a hole", withAHole},
                                                 {"without some lines", withoutSomeLines},
                                                 {"with flipped bits", withFlippedBits},
                                                 {"of another system", ofAnotherSystem},
                                                 {"with foreign lines", withForeignLines},
                                                 {"with binary lines", withBinaryLines}};
    return all;
}

ProducedLog takenTogether(const ProducedLog &one, const ProducedLog &other, Chance &chance) {
    ProducedLog both;
    auto left = one.parts.begin();
    auto right = other.parts.begin();
    while (left != one.parts.end() || right != other.parts.end()) {
        const bool isLeft = right == other.parts.end() || (left != one.parts.end() && chance.oneIn(2));
        LogPart part = isLeft ? *left++ : *right++;
        const std::string &from = isLeft ? one.text : other.text;
        const std::size_t begin = both.text.size();
        both.text.append(from, part.begin, part.end - part.begin);
        part.begin = begin;
        part.end = both.text.size();
        both.parts.push_back(std::move(part));
    }
    return both;
}

std::string mixedByLines(const ProducedLog &one, const ProducedLog &other, Chance &chance) {
    std::string mixed;
    std::istringstream left(one.text);
    std::istringstream right(other.text);
    std::string line;
    while (left || right) {
        if (std::getline(chance.oneIn(2) ? left : right, line))
            mixed += line + "\n";
    }
    return mixed;
}

std::vector<MeetingRuns> meetings(const ProducedLog &one, const ProducedLog &other, Chance &chance) {
    // What a run writes before it looks whether another one is at work.
    constexpr std::size_t linesBefore = 3;
    for (const LogPart &first : one.parts) {
        for (const LogPart &second : other.parts) {
            if (!first.holdsLock || !second.holdsLock || second.runs.front().kind != "check")
                continue;
            const std::string text = one.text.substr(first.begin, first.end - first.begin);
            const std::string waiting = other.text.substr(second.begin, second.end - second.begin);
            const std::vector<std::size_t> places = stampedLines(text);
            const std::size_t place = places[chance.between(linesBefore + 1, places.size() - 1)];
            const std::size_t work = stampedLines(waiting)[linesBefore];
            const std::string stamp = waiting.substr(0, stampForm.size());
            MeetingRuns both{text, first.runs.front(), second.runs.front()};
            both.text.insert(place, waiting.substr(0, work) + stamp +
                                        "INFO: Waiting for another job on this machine to end\n");
            both.text += waiting.substr(work);
            both.second.waited = true;
            return {both};
        }
    }
    return {};
}
