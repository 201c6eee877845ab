#include "RunsPage.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>
#include <utility>

#include "PageHead.h"
#include "Readable.h"
#include "RunsPageLook.h"
#include "Telling.h"
#include "TimeSpan.h"
#include "XmlOut.h"

namespace {

using Attributes = XmlOut::Attributes;
using Lines = std::vector<const RunLine *>;

// By what the page's lines can be filtered.
constexpr std::array<std::string_view, 5> levels = {"error", "broken off", "information", "script",
                                                    "unknown"};

std::string levelOf(const RunLine &line) {
    if (line.message == nullptr)
        return "unknown";
    if (!line.message->level)
        return "script";
    constexpr int errors = 2;
    constexpr int brokenTransfers = 4;
    return *line.message->level == errors            ? "error"
           : *line.message->level == brokenTransfers ? "broken off"
                                                     : "information";
}

std::string idOf(const RunStory &story) {
    return "run-" + std::to_string(story.number);
}

std::string idOf(const RunStory &story, std::uint64_t line) {
    return idOf(story) + "-line-" + std::to_string(line);
}

std::string countOfLines(std::size_t count) {
    return std::to_string(count) + (count == 1 ? " line" : " lines");
}

// From 0 to 1000.
std::string percent(long long tenths) {
    return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + "%";
}

bool isKept(const RunOfPage &run, std::uint64_t line) {
    const auto &lines = run.lines.lines;
    return std::any_of(lines.begin(), lines.end(), [line](const RunLine &each) { return each.line == line; });
}

void writeFilter(XmlOut &out) {
    out.open("form", {{"id", "filter"}, {"role", "search"}, {"hidden", "hidden"}});
    out.open("label");
    out.leaf("span", "Lines with");
    out.empty("input", {{"id", "word"}, {"type", "search"}, {"autocomplete", "off"}});
    out.close();
    out.open("fieldset");
    out.leaf("legend", "Level");
    for (const std::string_view level : levels) {
        out.open("label");
        out.empty("input", {{"type", "checkbox"}, {"checked", "checked"}, {"value", std::string(level)}});
        out.leaf("span", std::string(level));
        out.close();
    }
    out.close();
    out.leaf("output", Attributes{{"id", "count"}, {"for", "word"}}, "");
    out.close();
}

void writeContents(const std::vector<RunOfPage> &runs, XmlOut &out) {
    out.open("nav", {{"aria-label", "Runs"}});
    out.open("ul");
    for (const RunOfPage &run : runs) {
        out.open("li", {{"class", isWell(run.story) ? "fine" : "bad"}});
        out.leaf("a", {{"href", "#" + idOf(run.story)}}, printable(inOneLine(run.story).text));
        out.close();
    }
    out.close();
    out.close();
}

void writeFacts(const RunStory &story, XmlOut &out) {
    out.open("ul");
    for (const std::string &fact : factsOf(story))
        out.leaf("li", printable(fact));
    if (story.left > 0)
        out.leaf("li", std::to_string(story.left) + " more failures, files or unknown lines than are kept");
    out.close();
}

void writeFinding(const RunOfPage &run, const FindingTelling &told, XmlOut &out) {
    const std::string line = "line " + std::to_string(told.finding->line);
    out.open("li");
    if (isKept(run, told.finding->line))
        out.leaf("a", {{"href", "#" + idOf(run.story, told.finding->line)}}, line);
    else
        out.leaf("span", line);
    out.leaf("span", Attributes{{"class", told.finding->settled.empty() ? "text bad" : "text"}},
             printable(onOneLine(told.finding->text)));
    for (const std::string &words : told.words)
        out.leaf("p", printable(words));
    out.close();
}

void writeFindings(const RunOfPage &run, XmlOut &out) {
    if (run.story.findings.empty())
        return;
    out.leaf("h3", "What went wrong");
    out.open("ol");
    for (const FindingTelling &told : tellingsOf(run.story))
        writeFinding(run, told, out);
    out.close();
}

// Those in the table of all lines are what the others lead to.
enum class Rows { all, behindABar };

void writeLine(const RunStory &story, const RunLine &line, Rows rows, XmlOut &out) {
    const std::string level = levelOf(line);
    Attributes attributes = {{"data-level", level}};
    if (rows == Rows::all)
        attributes.emplace_back("id", idOf(story, line.line));
    if (line.isFailure)
        attributes.emplace_back("class", "bad");
    out.open("tr", attributes);
    if (rows == Rows::all) {
        out.leaf("td", std::to_string(line.line));
    } else {
        out.open("td");
        out.leaf("a", {{"href", "#" + idOf(story, line.line)}}, std::to_string(line.line));
        out.close();
    }
    out.leaf("td", line.time);
    out.leaf("td", level);
    out.open("td");
    out.leaf("span", Attributes{{"class", "text"}}, printable(onOneLine(line.text)));
    if (line.message != nullptr)
        out.leaf("span", Attributes{{"class", "means"}},
                 line.which != nullptr ? line.which->happened : line.message->happened);
    out.close();
    out.close();
}

void writeLines(const RunStory &story, const Lines &lines, Rows rows, XmlOut &out) {
    out.open("div", {{"class", "scroll"}});
    out.open("table");
    out.open("tbody");
    for (const RunLine *const line : lines)
        writeLine(story, *line, rows, out);
    out.close();
    out.close();
    out.close();
}

struct Bar {
    std::string words;
    bool isFine = false;
    std::optional<Share> share; // none where its lines have no times
    Lines lines{};
    bool hasAllLines = true;
};

void writeMark(const char *kind, const std::string &style, XmlOut &out) {
    out.leaf("span", Attributes{{"class", kind}, {"style", style}}, "");
}

// With a gap wherever it began anew.
void writeBar(const Bar &bar, const TimeSpan &span, XmlOut &out) {
    if (!bar.share)
        return;
    out.open("span", {{"class", bar.isFine ? "track fine" : "track bad"}, {"aria-hidden", "true"}});
    writeMark("bar", "left: " + percent(bar.share->begin) + "; width: " + percent(bar.share->length), out);
    for (const RunLine *const line : bar.lines) {
        const std::optional<Share> at = span.shareOf(line->time, line->time);
        if (line->message->id == "transfer-started" && at && at->begin > bar.share->begin)
            writeMark("tick", "left: " + percent(at->begin), out);
    }
    out.close();
}

void writeFile(const RunStory &story, const Bar &bar, const TimeSpan &span, XmlOut &out) {
    out.open("details");
    out.open("summary");
    out.leaf("span", printable(bar.words));
    writeBar(bar, span, out);
    out.close();
    writeLines(story, bar.lines, Rows::behindABar, out);
    if (!bar.hasAllLines)
        out.leaf("p", "Its lines are among those of the run, below.");
    out.close();
}

// The lines behind the bars. A file name may be that of many files, and each line stands behind all of them:
// so their number has a bound.
class LinesBehindBars {
public:
    explicit LinesBehindBars(const std::vector<RunLine> &lines)
        : m_lines(lines)
        , m_left(most * lines.size()) {}

    void put(const std::string &file, Bar &bar) {
        Lines lines = m_lines.about(file);
        bar.hasAllLines = lines.size() <= m_left;
        if (!bar.hasAllLines)
            return;
        m_left -= lines.size();
        bar.lines = std::move(lines);
    }

private:
    static constexpr std::size_t most = 4;

    const LinesByFile m_lines;
    std::size_t m_left;
};

std::vector<Bar> barsOf(const RunOfPage &run, const TimeSpan &span) {
    LinesBehindBars lines(run.lines.lines);
    std::vector<Bar> bars;
    for (const TransferStory &transfer : run.story.transfers) {
        bars.push_back({inWords(transfer), transfer.state == TransferStory::State::done,
                        span.shareOf(transfer.began, transfer.ended)});
        lines.put(transfer.url, bars.back());
    }
    // The script writes no times.
    for (const InstallationStory &installation : run.story.installations) {
        bars.push_back({inWords(installation), installation.isOver(), std::nullopt});
        lines.put(installation.path, bars.back());
    }
    return bars;
}

void writeAxis(const RunStory &story, XmlOut &out) {
    out.open("p", {{"class", "axis"}});
    out.leaf("span", story.began);
    out.leaf("span", story.ended);
    out.close();
}

void writeTimeline(const RunOfPage &run, XmlOut &out) {
    const TimeSpan span(run.story.began, run.story.ended);
    const std::vector<Bar> bars = barsOf(run, span);
    if (bars.empty() && run.moreFiles == 0)
        return;
    out.leaf("h3", "Files and packages");
    if (!bars.empty())
        writeAxis(run.story, out);
    for (const Bar &bar : bars)
        writeFile(run.story, bar, span, out);
    if (run.moreFiles > 0)
        out.leaf("p", "And " + std::to_string(run.moreFiles) + " more, which are too many for a page.");
}

void writeAllLines(const RunOfPage &run, bool isOpen, XmlOut &out) {
    out.leaf("h3", "Lines");
    out.open("details", isOpen ? Attributes{{"open", "open"}} : Attributes{});
    out.leaf("summary", countOfLines(run.lines.lines.size()));
    Lines lines;
    for (const RunLine &line : run.lines.lines)
        lines.push_back(&line);
    writeLines(run.story, lines, Rows::all, out);
    if (run.moreLines > 0)
        out.leaf("p", "And " + countOfLines(run.moreLines) +
                          " more, which are too many for a page; they stand in the log.");
    out.close();
}

void writeRun(const RunOfPage &run, bool isNewest, XmlOut &out) {
    out.open("section", {{"id", idOf(run.story)}});
    out.leaf("h2", Attributes{{"class", isWell(run.story) ? "fine" : "bad"}},
             printable(inOneLine(run.story).text));
    writeFacts(run.story, out);
    writeFindings(run, out);
    writeTimeline(run, out);
    writeAllLines(run, isNewest, out);
    out.close();
}

// Keeps the first of them, and gives the number of the others.
template <typename Story>
std::size_t cut(std::vector<Story> &stories, std::size_t most) {
    const std::size_t kept = std::min(stories.size(), most);
    const std::size_t more = stories.size() - kept;
    stories.resize(kept);
    stories.shrink_to_fit();
    return more;
}

} // namespace

RunOfPage forPage(RunStory story, RunLines lines) {
    story.request = std::string();
    story.reply = std::string();
    for (Finding &finding : story.findings)
        finding.text = onOneLine(finding.text);
    for (UnknownLine &unknown : story.unknownLines)
        unknown.text = std::string(); // they are counted, and stand among the lines
    std::size_t moreFiles = cut(story.transfers, RunOfPage::mostFiles);
    moreFiles += cut(story.installations, RunOfPage::mostFiles - story.transfers.size());
    const std::uint64_t moreLines = lines.room.refused();
    return {std::move(story), std::move(lines), moreFiles, moreLines};
}

std::size_t weightOf(const RunOfPage &run) {
    constexpr std::size_t weightOfFile = 256;
    return run.lines.room.taken() +
           weightOfFile * (run.story.transfers.size() + run.story.installations.size());
}

void lighten(RunOfPage &run) {
    run.moreFiles += cut(run.story.transfers, 0) + cut(run.story.installations, 0);
    run.lines.room = Room(0);
    run.moreLines += cut(run.lines.lines, 0);
}

std::string runsPage(const std::string &log, const std::vector<RunOfPage> &runs) {
    const std::string title = "What the update engine did, from " + printable(log);
    XmlOut out(XmlOut::Kind::page);
    out.open("html", {{"lang", "en"}, {"xmlns", "http://www.w3.org/1999/xhtml"}});
    writePageHead({title, runsPageStyle, runsPageScript}, out);
    out.open("body");
    out.open("main");
    out.leaf("h1", title);
    writeContents(runs, out);
    writeFilter(out);
    for (const RunOfPage &run : runs)
        writeRun(run, &run == &runs.back(), out);
    return out.text();
}
