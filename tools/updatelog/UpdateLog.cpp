#include "UpdateLog.h"

#include <cerrno>
#include <deque>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <system_error>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "Interrupts.h"
#include "OutputFile.h"
#include "Paper.h"
#include "RunLines.h"
#include "RunsPage.h"
#include "Story.h"
#include "Telling.h"
#include "TimeForm.h"
#include "UnusableInput.h"

namespace {

// So many runs are told where nothing else is asked for, and so many fit a page at most.
constexpr std::size_t newestRuns = 10;
constexpr std::size_t mostRunsOfPage = 100;

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
            // All as ASCII: who looks at it in a terminal is not to have that commanded.
            m_paper.verbatim(inJson(story).dump(-1, ' ', true, nlohmann::json::error_handler_t::replace) +
                             "\n");
        else if (m_kept.size() == 1)
            write(inFull(story));
        else
            write({inOneLine(story)});
        m_kept.pop_front();
        m_paper.finish(); // so that a slow reader does not have it all kept
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

// A page of the same runs, with their lines.
class PageMaker {
public:
    explicit PageMaker(const UpdateLogOptions &options)
        : m_options(options) {}

    bool isWanted() const { return m_options.page.has_value(); }
    void watch(const LogEntry &entry, const OpenRun &run) {
        if (isWanted())
            m_lines.take(entry, run);
    }
    void take(const RunStory &story) {
        RunLines lines = m_lines.linesOf(story.number);
        m_hasRuns |= story.isOfEngine;
        if (!isWanted() || !isAskedFor(story, m_options))
            return;
        m_runs.push_back(forPage(story, std::move(lines)));
        m_weight += weightOf(m_runs.back());
        if (m_runs.size() > (m_options.all ? mostRunsOfPage : newestRuns)) {
            m_weight -= weightOf(m_runs.front());
            m_runs.erase(m_runs.begin());
        }
        lightenOldest();
    }
    // Nothing is written where there is nothing to tell.
    void finish() const {
        if (isWanted() && m_hasRuns && !m_runs.empty())
            putFile(*m_options.page, runsPage(m_options.file, m_runs));
    }

private:
    void lightenOldest() {
        for (auto run = m_runs.begin(); m_weight > RunOfPage::mostWeight; ++run) {
            m_weight -= weightOf(*run);
            lighten(*run);
        }
    }

    const UpdateLogOptions &m_options;
    LineKeeper m_lines;
    std::vector<RunOfPage> m_runs;
    std::size_t m_weight = 0; // of them together
    bool m_hasRuns = false;
};

void refuseTheLogAsPage(const UpdateLogOptions &options) {
    std::error_code unknown; // what cannot be looked at is not the log, which can be read
    if (options.page && std::filesystem::equivalent(options.file, *options.page, unknown))
        throw UnusableInput(*options.page + " is the log itself");
}

void read(std::istream &log, const std::string &name, StoryTeller &stories) {
    try {
        stories.takeAll(log);
    } catch (const std::ios_base::failure &error) {
        throw std::system_error(error.code(), name); // the stream knows no name
    }
}

} // namespace

bool isTime(const std::string &text) {
    return hasForm(text, dayForm) || hasForm(text, timeForm);
}

int runUpdateLog(const UpdateLogOptions &options) {
    // An interrupt leaves no half of a page; it is waited for before there is any other thread.
    std::optional<Interrupts> interrupts;
    if (options.page)
        interrupts.emplace();
    std::ifstream log(options.file, std::ios::binary);
    if (!log)
        throw std::system_error(errno, std::generic_category(), options.file);
    refuseTheLogAsPage(options);
    Teller teller(options);
    PageMaker page(options);
    StoryTeller stories(
        [&teller, &page](RunStory story) {
            page.take(story);
            teller.take(std::move(story));
        },
        [&page](const LogEntry &entry, const OpenRun &run) { page.watch(entry, run); });
    read(log, options.file, stories);
    page.finish();
    const int status = teller.finish();
    if (status == Statuses::unusable)
        std::cerr << "updatelog: " << options.file
                  << (options.run ? " has no run of this number\n" : " has no run of the engine\n");
    return status;
}
