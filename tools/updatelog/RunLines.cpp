#include "RunLines.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <utility>

#include "MessageFile.h"

namespace {

std::string aboutOf(const Recognised &known) {
    const std::string url = valueOf(known, "url");
    return url.empty() ? fileOf(known) : url;
}

} // namespace

void LineKeeper::take(const LogEntry &entry, const OpenRun &run) {
    RunLine line;
    line.line = entry.line;
    line.time = entry.time;
    line.text = entry.text;
    if (entry.known) {
        line.about = aboutOf(*entry.known);
        line.message = entry.known->message;
        line.which = entry.known->which;
    }
    line.isFailure = run.found() != nullptr;
    RunLines &kept = m_runs[run.number()];
    if (kept.room.refused() > 0)
        kept.room.refuse(); // what is kept has no gaps
    else if (kept.room.take(sizeof line + line.text.size() + line.about.size()))
        kept.lines.push_back(std::move(line));
}

RunLines LineKeeper::linesOf(std::uint64_t run) {
    RunLines lines = std::move(m_runs[run]);
    m_runs.erase(run);
    return lines;
}

LinesByFile::LinesByFile(const std::vector<RunLine> &lines) {
    for (const RunLine &line : lines) {
        if (!line.about.empty())
            m_lines.emplace(line.about, &line);
    }
}

std::vector<const RunLine *> LinesByFile::about(const std::string &file) const {
    std::vector<const RunLine *> found;
    for (const std::string &name : std::set<std::string>{file, fileNameOf(file)}) {
        const auto [begin, end] = m_lines.equal_range(name);
        std::transform(begin, end, std::back_inserter(found), [](const auto &each) { return each.second; });
    }
    std::sort(found.begin(), found.end()); // they stand behind each other
    return found;
}
