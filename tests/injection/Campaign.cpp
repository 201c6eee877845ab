#include "Campaign.h"

#include <algorithm>
#include <iostream>
#include <set>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "TraceFile.h"

namespace {

const std::vector<std::pair<Outcome, const char *>> columns = {
    {Outcome::complete, "complete"}, {Outcome::limited, "known limit"},    {Outcome::told, "told"},
    {Outcome::aborted, "aborted"},   {Outcome::notReached, "not reached"}, {Outcome::found, "FOUND"}};

std::vector<FaultPoint> pointsOf(const std::vector<FallibleCall> &calls, FaultKind kind, Depth depth) {
    std::map<std::uint64_t, std::uint32_t> occurrences; // of every site
    std::set<std::uint64_t> taken;
    std::vector<FaultPoint> points;
    for (const FallibleCall &call : calls) {
        if (call.kind != kind)
            continue;
        const std::uint32_t occurrence = occurrences[call.site]++;
        const bool isNew =
            depth == Depth::every || taken.insert(depth == Depth::paths ? call.group : call.site).second;
        if (isNew)
            points.push_back({call.site, call.pageOffset, occurrence, kind});
    }
    // By their sites, since the order of calls on different threads is another one each time.
    std::sort(points.begin(), points.end(), [](const FaultPoint &left, const FaultPoint &right) {
        return std::pair(left.site, left.occurrence) < std::pair(right.site, right.occurrence);
    });
    return points;
}

std::vector<FaultPoint> selected(const std::vector<FallibleCall> &calls, FaultKind kind,
                                 const Selection &selection) {
    std::vector<FaultPoint> points;
    // The other kinds have few enough.
    const bool isSparse = selection.depth == Depth::paths && kind != FaultKind::memory;
    const std::vector<FaultPoint> all = pointsOf(calls, kind, isSparse ? Depth::stacks : selection.depth);
    const std::size_t count = selection.most == 0 ? all.size() : std::min(selection.most, all.size());
    for (std::size_t i = selection.part; i < count; i += selection.parts)
        points.push_back(all[i * all.size() / count]);
    return points;
}

std::string nameOf(const FaultPoint &point) {
    std::ostringstream name;
    name << std::hex << point.site << ":" << point.pageOffset << ":" << std::dec << point.occurrence;
    return name.str();
}

} // namespace

std::string Finding::text() const {
    static const std::map<Outcome, const char *> names(columns.begin(), columns.end());
    std::ostringstream line;
    line << names.at(judgement.outcome) << " | " << run << " | "
         << faultKinds[static_cast<std::size_t>(point.kind)] << " " << nameOf(point) << " | " << call << " | "
         << place << " | " << judgement.words;
    return line.str();
}

void injectInto(const std::string &run, const Selection &selection, const std::string &sanitizer,
                Report &report, const std::function<void(const Finding &)> &tell) {
    FaultInjection injection(sanitizer);
    const std::unique_ptr<Scenario> scenario = makeScenario(run);
    scenario->prepare();
    FaultedEnd plain;
    const std::vector<FallibleCall> calls = injection.takeDown(scenario->command(), plain);
    if (!scenario->learn(plain))
        throw std::runtime_error("\"" + run + "\" does not succeed without a fault: " +
                                 scenario->judge(plain).words + "\n" + plain.ended.err);
    for (const FaultKind kind : selection.kinds) {
        for (const FaultPoint &point : selected(calls, kind, selection)) {
            scenario->prepare();
            const FaultedEnd end = injection.run(scenario->command(), point);
            Finding finding{run, point, scenario->judge(end), end.failedCall, ""};
            if (!end.reached && finding.judgement.outcome == Outcome::complete)
                finding.judgement.outcome = Outcome::notReached;
            ++report.counts[kind][finding.judgement.outcome];
            if (finding.judgement.outcome == Outcome::complete ||
                finding.judgement.outcome == Outcome::notReached)
                continue;
            finding.place = engineCalls(end.stack);
            tell(finding);
            report.findings.push_back(std::move(finding));
        }
    }
}

void showPoint(const std::string &run, const std::string &point, const std::string &sanitizer) {
    FaultInjection injection(sanitizer);
    const std::unique_ptr<Scenario> scenario = makeScenario(run);
    scenario->prepare();
    FaultedEnd end;
    for (const FallibleCall &call : injection.takeDown(scenario->command(), end)) {
        const std::uint32_t occurrence =
            static_cast<std::uint32_t>(std::stoul(point.substr(point.rfind(':') + 1)));
        const FaultPoint candidate{call.site, call.pageOffset, occurrence, call.kind};
        if (nameOf(candidate) != point)
            continue;
        static_cast<void>(scenario->learn(end));
        scenario->prepare();
        end = injection.run(scenario->command(), candidate);
        for (const std::string &frame : end.stack)
            std::cout << frame << "\n";
        std::cout << end.failedCall << " in " << engineCalls(end.stack) << "\n"
                  << traceText() << end.ended.out << end.ended.err << "status " << end.ended.status << ": "
                  << scenario->judge(end).words << "\n";
        return;
    }
    throw std::invalid_argument("this run has no point " + point);
}

std::string tableOf(const Report &report) {
    std::ostringstream table;
    table << "| kind | points |";
    for (const auto &column : columns)
        table << " " << column.second << " |";
    table << "\n|---|---|";
    for (std::size_t i = 0; i < columns.size(); ++i)
        table << "---|";
    table << "\n";
    for (const auto &[kind, counts] : report.counts) {
        std::size_t points = 0;
        for (const auto &count : counts)
            points += count.second;
        table << "| " << faultKinds[static_cast<std::size_t>(kind)] << " | " << points << " |";
        for (const auto &[outcome, name] : columns) {
            const auto found = counts.find(outcome);
            table << " " << (found == counts.end() ? 0 : found->second) << " |";
        }
        table << "\n";
    }
    return table.str();
}
