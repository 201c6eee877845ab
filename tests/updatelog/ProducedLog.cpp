#include "ProducedLog.h"

#include <algorithm>

#include "TextFile.h"
#include "TraceFile.h"

namespace {

const std::vector<Fault> &packageFaults() {
    static const std::vector<Fault> all = {
        {"well", {}},
        {"wrong once", {"wrong 9"}},
        {"wrong twice", {"wrong 0", "wrong 50"}},
        {"wrong always", {"wrong 7"}, true},
        {"cut once", {"cut 400"}},
        {"cut three times", {"cut 400", "cut 1", "cut 90"}},
        {"cut always", {"cut 100"}, true},
        {"cut, then wrong", {"cut 400", "wrong 10"}},
        {"cut, then without ranges", {"cut 400", "no-ranges"}},
        {"cut, then missing", {"cut 400", "status 404 Not here"}},
        {"wrong, then unavailable", {"wrong 1", "status 503"}},
        {"wrong, then cut", {"wrong 1", "cut 700"}},
        {"reset", {"reset 300"}},
        {"dropped", {"drop"}},
        {"missing once", {"status 404 Not here"}},
        {"forbidden always", {"status 403"}, true},
        {"moved", {"redirect https://scripted.brovik.example/moved/One.pkg"}},
        {"without length", {"no-length"}},
        {"in chunks", {"chunked"}},
        {"a page", {"as /page.html"}, true},
        {"without hash", {}, false, false},
    };
    return all;
}

const Fault stalled = {"stalled", {"stall 100"}};
const Fault slow = {"slow", {"slow 30000"}};

const std::vector<Fault> &catalogFaults() {
    static const std::vector<Fault> all = {
        {"catalog missing", {"status 404 Not here"}},
        {"catalog cut once", {"cut 200"}},
        {"catalog cut always", {"cut 30"}, true},
        {"catalog reset", {"reset 100"}},
        {"catalog dropped", {"drop"}},
    };
    return all;
}

const std::vector<std::pair<std::string, Reply>> &replies() {
    static const std::vector<std::pair<std::string, Reply>> all = {
        {"no update", Reply::noUpdate}, {"refusal", Reply::refusal}, {"unsupported", Reply::unsupported},
        {"page", Reply::page},          {"empty", Reply::empty},     {"no reply", Reply::none},
        {"unfit", Reply::unfit}};
    return all;
}

using Way = PlannedInstallation::Way;

const std::vector<std::pair<std::string, Way>> &ways() {
    static const std::vector<std::pair<std::string, Way>> all = {{"installed", Way::whole},
                                                                 {"installed", Way::whole},
                                                                 {"installed", Way::whole},
                                                                 {"without script", Way::withoutScript},
                                                                 {"empty list", Way::emptyList},
                                                                 {"no list", Way::noList},
                                                                 {"killed before the script", Way::killed}};
    return all;
}

} // namespace

std::vector<std::string> LogProducer::scenarios() {
    std::vector<std::string> names = {"unknown mode", "arguments missing", "two checks", "killed",
                                      "fresh",        "retried",           "of a check", "branding"};
    for (const Fault &fault : packageFaults())
        names.emplace_back(fault.name);
    for (const Fault &fault : catalogFaults())
        names.emplace_back(fault.name);
    for (const auto &[name, reply] : replies())
        names.push_back(name);
    for (const auto &[name, way] : ways())
        names.push_back(name);
    return names;
}

ProducedLog LogProducer::produce(bool isLong) {
    m_customer.restore();
    ProducedLog log;
    const std::size_t steps = isLong ? m_chance.between(1, 3) : 1;
    for (std::size_t step = 0; step < steps; ++step) {
        LogPart part;
        part.begin = log.text.size();
        part.runs = drawRuns(isLong);
        part.holdsLock = part.runs.size() == 1 && part.runs.front().kind != "unknown";
        log.text = traceText();
        part.end = log.text.size();
        log.parts.push_back(std::move(part));
    }
    return log;
}

std::vector<KnownRun> LogProducer::drawRuns(bool isLong) {
    const std::size_t draw = m_chance.below(30);
    if (draw == 0) {
        ++m_drawn["unknown mode"];
        return {m_customer.unknownMode()};
    }
    if (draw == 1) {
        ++m_drawn["arguments missing"];
        return {m_customer.missingArguments()};
    }
    if (draw < 11)
        return {drawInstallation()};
    return drawDownload(isLong);
}

PlannedDownload LogProducer::drawPackages() {
    PlannedDownload plan;
    plan.affiliate = m_chance.oneIn(2) ? "105-1" : "105-7";
    std::vector<std::string> names = Customer::packageNames();
    names.resize(m_chance.between(1, names.size()));
    const bool isWell = m_chance.oneIn(4);
    for (const std::string &name : names) {
        const Fault &fault =
            isWell || m_chance.oneIn(3) ? packageFaults().front() : m_chance.oneOf(packageFaults());
        ++m_drawn[fault.name];
        plan.packages.push_back({name, &fault});
    }
    return plan;
}

std::vector<KnownRun> LogProducer::drawDownload(bool isLong) {
    PlannedDownload plan = drawPackages();
    const bool isFresh = m_chance.oneIn(3);
    m_drawn["fresh"] += isFresh ? 1 : 0;
    if (m_chance.oneIn(4)) {
        const auto &[name, reply] = m_chance.oneOf(replies());
        if (reply != Reply::unfit || !isFresh) {
            plan.reply = reply;
            ++m_drawn[name];
        }
    } else if (m_chance.oneIn(5)) {
        plan.catalogFault = &m_chance.oneOf(catalogFaults());
        ++m_drawn[plan.catalogFault->name];
    } else if (m_chance.oneIn(6)) {
        ++m_drawn["killed"];
        plan.isKilled = true;
        for (PlannedPackage &package : plan.packages)
            package.fault = &stalled;
    } else if (isLong && !isFresh && m_chance.oneIn(6)) {
        ++m_drawn["two checks"];
        plan.packages.resize(1);
        plan.packages.front().fault = &slow;
        return m_customer.twoChecks(plan);
    }
    if (!isFresh)
        return {m_customer.check(plan)};
    plan.retries = isLong && m_chance.oneIn(2) ? 1 : 0;
    m_drawn["retried"] += plan.retries;
    return m_customer.freshInstallation(plan);
}

KnownRun LogProducer::drawInstallation() {
    PlannedInstallation plan;
    const auto &[name, way] = m_chance.oneOf(ways());
    ++m_drawn[name];
    plan.way = way;
    if (way != Way::whole || !m_chance.oneIn(3)) {
        plan.packages = Customer::packageNames();
        plan.packages.resize(m_chance.between(1, plan.packages.size()));
        if (m_chance.oneIn(3)) {
            ++m_drawn["branding"];
            plan.packages.emplace_back("DynamicBranding.pkg");
        }
    } else {
        ++m_drawn["of a check"];
    }
    for (const std::string &package : plan.packages) {
        if (m_chance.oneIn(6))
            plan.refused.insert(package);
    }
    return m_customer.installation(plan);
}
