#include "UpdateLog.h"

#include <cerrno>
#include <deque>
#include <fstream>
#include <iostream>
#include <system_error>

#include <nlohmann/json.hpp>

#include "LogReader.h"
#include "Paper.h"
#include "Story.h"
#include "Telling.h"

namespace {

// So many runs are told where nothing else is asked for.
constexpr std::size_t newestRuns = 10;

std::optional<Colour> colourOf(TellingLine::Tone tone) {
    switch (tone) {
    case TellingLine::Tone::good:
        return Colour::green;
    case TellingLine::Tone::bad:
        return Colour::red;
    case TellingLine::Tone::plain:
        break;
    }
    return std::nullopt;
}

// What a run was asked for by: its number, or when it was last heard of.
bool isAskedFor(const RunStory &story, const UpdateLogOptions &options) {
    if (options.run)
        return story.number == *options.run;
    return story.ended >= options.since;
}

class Teller {
public:
    explicit Teller(const UpdateLogOptions &options)
        : m_options(options) {}

    void take(RunStory story) {
        if (story.isOfEngine) {
            m_isNewestWell = isWell(story);
            m_hasRuns = true;
        }
        if (!isAskedFor(story, m_options))
            return;
        m_kept.push_back(std::move(story));
        if (m_options.all && m_kept.size() > 1)
            tellOldest();
        else if (m_kept.size() > newestRuns)
            m_kept.pop_front();
    }

    // Gives the status.
    int finish() {
        while (!m_kept.empty())
            tellOldest();
        m_paper.finish();
        if (!m_hasRuns || (m_options.run && !m_hasTold))
            return Statuses::unusable;
        return (m_options.run ? m_isToldWell : m_isNewestWell) ? Statuses::well : Statuses::notWell;
    }

private:
    // The newest, or the one that was asked for, in full.
    void tellOldest() {
        const RunStory &story = m_kept.front();
        m_hasTold = true;
        m_isToldWell = isWell(story);
        if (m_options.json)
            m_paper.verbatim(inJson(story).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) +
                             "\n");
        else if (m_kept.size() == 1)
            write(inFull(story));
        else
            write({inOneLine(story)});
        m_kept.pop_front();
    }
    void write(const std::vector<TellingLine> &lines) {
        for (const TellingLine &line : lines)
            m_paper.line(line.text, line.indent, colourOf(line.tone));
    }

    const UpdateLogOptions &m_options;
    Paper m_paper;
    std::deque<RunStory> m_kept;
    bool m_isNewestWell = false;
    bool m_isToldWell = false;
    bool m_hasRuns = false;
    bool m_hasTold = false;
};

} // namespace

int runUpdateLog(const UpdateLogOptions &options) {
    std::ifstream log(options.file, std::ios::binary);
    if (!log)
        throw std::system_error(errno, std::generic_category(), options.file);
    Teller teller(options);
    StoryTeller stories([&teller](RunStory story) { teller.take(std::move(story)); });
    LogReader reader(log);
    while (const std::optional<LogEntry> entry = reader.next())
        stories.take(*entry);
    stories.finish();
    const int status = teller.finish();
    if (status == Statuses::unusable)
        std::cerr << "updatelog: " << options.file
                  << (options.run ? " has no run of this number\n" : " has no run of the engine\n");
    return status;
}
