#include "Replay.h"

#include <algorithm>
#include <set>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "LibXmlWrapper.h"
#include "LogReader.h"
#include "OwnStreams.h"
#include "Paths.h"
#include "ReplayMasks.h"
#include "Story.h"

namespace {

using Paths = std::vector<std::string>;

// What the engine's parsers make of catalogs takes many times their bytes.
constexpr std::size_t mostJudgedBytes = std::size_t(16) << 20;

const char *const packages = "/productrequest/pkglist/package";

// --- what the log tells

class NewestRuns {
public:
    void take(RunStory story) {
        if (story.kind == RunKind::check || story.kind == RunKind::freshInstallation) {
            asked = std::move(story);
            installed.reset();
        } else if (story.kind == RunKind::installation && !story.installations.empty()) {
            installed = std::move(story);
        }
    }

    std::optional<RunStory> asked;
    std::optional<RunStory> installed;
};

NewestRuns newestRuns(const std::string &log) {
    NewestRuns newest;
    StoryTeller teller([&newest](RunStory story) { newest.take(std::move(story)); });
    std::istringstream stream(log);
    teller.takeAll(stream);
    return newest;
}

// What the run said about the machine and who it is.
void fillQuestion(Explanation &explanation, const RunStory &run, const ReplayBundle &bundle) {
    const OwnStreams quiet; // the engine tells what it cannot parse
    const LibXmlWrapper request(run.request.data(), run.request.size());
    const std::string system = request.getXPathStringValue(std::string(packages) + "/metadata/macos/version");
    explanation.machine = {run.version, system.empty() ? bundle.systemVersion() : system};
    explanation.asker.affiliate = run.affiliate.empty()
                                      ? request.getXPathStringValue(std::string(packages) + "/metadata/affid")
                                      : run.affiliate;
    for (const std::string &id :
         request.getPropertyValue(std::string(packages) + "/products/product", "appid"))
        explanation.asker.application += (explanation.asker.application.empty() ? "" : ",") + id;
}

Paths pathsOf(const RunStory &installation) {
    Paths paths;
    for (const InstallationStory &package : installation.installations)
        paths.push_back(package.path);
    return paths;
}

Paths nonEmptyLines(const std::string &text) {
    Paths lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        if (!line.empty())
            lines.push_back(line);
    }
    return lines;
}

Paths sorted(Paths paths) {
    std::sort(paths.begin(), paths.end());
    return paths;
}

// --- the answer

class Answer {
public:
    Answer(Replay &replay, const ReplayBundle &bundle)
        : m_replay(replay)
        , m_bundle(bundle) {}

    void find() {
        findOrderNames();
        explain();
        findFetched();
        if (m_replay.explanation)
            compareWithLog(m_replay.explanation->plan);
        else
            orderWhatIsKnown();
    }

private:
    void miss(std::string what) { m_replay.unanswered.push_back(std::move(what)); }

    void findOrderNames() {
        const std::string *const list = m_bundle.find(dynaConfigPlistPath);
        if (list != nullptr)
            m_orderNames = orderNamesIn(*list);
        else if (!m_bundle.wasAbsent(dynaConfigPlistPath))
            miss(std::string("Which order of installation was configured: ") + dynaConfigPlistPath +
                 " is not in the bundle. What is told of the order is without it.");
    }

    void explain() {
        Explanation explanation;
        explanation.job = m_replay.run.kind == RunKind::check ? Job::update : Job::freshInstall;
        fillQuestion(explanation, m_replay.run, m_bundle);
        if (m_replay.run.reply.empty())
            return miss("Why each hot-fix was or was not chosen: the log does not have the service's reply" +
                        std::string(m_replay.run.answer == "no reply" ? ", since none came." : " whole."));
        explanation.offer = offerOf(m_replay.run.reply, explanation.job,
                                    [this](const OfferedCatalog &catalog) { return textOf(catalog); });
        for (const OfferedCatalog &catalog : explanation.offer.catalogs)
            m_catalogUrls.insert(catalog.url);
        if (!hasCatalogs(explanation.offer))
            return miss("Why each hot-fix was or was not chosen: none of the catalogs is in the bundle. An "
                        "installation removes them.");
        tellMissing();
        explanation.plan = explanation.job == Job::update
                               ? planUpdate(explanation.offer, explanation.machine, m_orderNames)
                               : planFreshInstall(explanation.offer);
        tellMasked(explanation);
        m_replay.explanation = std::move(explanation);
    }

    void tellMasked(const Explanation &explanation) {
        if (!m_bundle.isMasked())
            return;
        for (const std::string &judged : maskedJudgements(explanation, m_orderNames))
            miss("For certain, " + judged +
                 ": a masked value stands in it. A bundle that is made with --unmasked tells it.");
    }

    std::optional<std::string> textOf(const OfferedCatalog &catalog) {
        const std::string *const text = m_bundle.find(catalog.path);
        if (text != nullptr) {
            countJudged(text->size());
            return *text;
        }
        m_missing.insert(catalog.url);
        return std::nullopt;
    }

    // A catalog that is named again is read again.
    void countJudged(std::size_t bytes) {
        m_judgedBytes += bytes;
        if (m_judgedBytes > mostJudgedBytes)
            throw std::runtime_error(m_bundle.path() + ": the catalogs that its log names are too long");
    }

    // Where none was to be fetched, none is missing.
    bool hasCatalogs(const Offer &offer) const {
        return m_missing.empty() ||
               std::any_of(offer.catalogs.begin(), offer.catalogs.end(), [this](const OfferedCatalog &each) {
                   return !each.path.empty() && m_missing.count(each.url) == 0;
               });
    }

    // What is told then is told without them, or of what there is of them.
    void tellMissing() {
        for (const std::string &url : m_missing)
            miss("What " + url + " offers: that catalog is not in the bundle.");
        for (const TransferStory &transfer : m_replay.run.transfers) {
            const bool isWhole = transfer.state == TransferStory::State::done;
            if (!isWhole && m_catalogUrls.count(transfer.url) != 0 && m_missing.count(transfer.url) == 0)
                miss("Whether " + transfer.url +
                     " was then as it is now: it did not come whole in that run.");
        }
    }

    void findFetched() {
        for (const TransferStory &transfer : m_replay.run.transfers) {
            if (m_catalogUrls.count(transfer.url) == 0)
                m_replay.fetched.push_back(transfer);
        }
    }

    // Which of two packages that nothing tells apart comes first depends on which download began first; the
    // list has them in that order.
    void takeListedOrder(Plan &plan) const {
        const std::string *const list = m_bundle.find(packageListPath);
        if (list == nullptr || plan.outcome != Outcome::done || plan.order.empty())
            return;
        Paths foretold;
        for (const Download &download : plan.downloads)
            foretold.push_back(download.path);
        const Paths listed = nonEmptyLines(*list);
        if (sorted(listed) == sorted(foretold))
            orderPackages(listed, m_orderNames, plan);
    }

    void compareWithLog(Plan &plan) {
        compareFetched(plan);
        takeListedOrder(plan);
        if (m_replay.installation && m_replay.run.kind == RunKind::check && plan.outcome == Outcome::done)
            takeLoggedOrder(plan);
    }

    void orderWhatIsKnown() {
        const std::string *const list = m_bundle.find(packageListPath);
        if (m_replay.installation) {
            orderPackages(pathsOf(*m_replay.installation), m_orderNames, m_replay.order);
            takeLoggedOrder(m_replay.order);
        } else if (list != nullptr) {
            orderPackages(nonEmptyLines(*list), m_orderNames, m_replay.order);
        }
    }

    void compareFetched(const Plan &plan) {
        std::set<std::string> foretold;
        const bool isRefused = std::any_of(plan.downloads.begin(), plan.downloads.end(),
                                           [](const Download &download) { return download.path.empty(); });
        if (!isRefused) {
            for (const Download &download : plan.downloads)
                foretold.insert(download.url);
        }
        std::set<std::string> fetched;
        for (const TransferStory &transfer : m_replay.fetched)
            fetched.insert(transfer.url);
        const std::size_t before = m_replay.differences.size();
        for (const std::string &url : foretold) {
            if (fetched.count(url) == 0)
                m_replay.differences.push_back(url + " was to be fetched, and the log does not tell of it");
        }
        for (const std::string &url : fetched) {
            if (foretold.count(url) == 0)
                m_replay.differences.push_back(url + " was fetched, and was not to be");
        }
        if (m_replay.differences.size() == before)
            m_replay.agreements.push_back("fetched were just the packages that were to be: " +
                                          std::to_string(foretold.size()));
    }

    // Where nothing tells two packages apart, the log has them in the order in which they came.
    void takeLoggedOrder(Plan &plan) {
        const Paths logged = pathsOf(*m_replay.installation);
        Paths foretold = plan.branding;
        for (const std::string &path : scriptedPackages(plan))
            foretold.push_back(path);
        if (sorted(logged) != sorted(foretold))
            return m_replay.differences.push_back(
                "the log tells of other packages that were to be installed: " +
                std::to_string(logged.size()) + " instead of " + std::to_string(foretold.size()));
        Plan inLoggedOrder = plan;
        putInOrder(inLoggedOrder, logged);
        if (placesOf(inLoggedOrder) != placesOf(plan) || !isBrandingFirst(inLoggedOrder, logged))
            return m_replay.differences.push_back("the log tells of another order of installation");
        plan = std::move(inLoggedOrder);
        m_replay.agreements.push_back("installed were just these, in this order");
    }

    static void putInOrder(Plan &plan, const Paths &paths) {
        const auto placeOf = [&paths](const std::string &path) {
            return std::find(paths.begin(), paths.end(), path);
        };
        std::stable_sort(plan.branding.begin(), plan.branding.end(),
                         [&](const std::string &left, const std::string &right) {
                             return placeOf(left) < placeOf(right);
                         });
        plan.order.sort([&](const PlacedPackage &left, const PlacedPackage &right) {
            return placeOf(left.path) < placeOf(right.path);
        });
    }

    // What gives the packages their places, in their order.
    static std::vector<std::string> placesOf(const Plan &plan) {
        std::vector<std::string> places;
        for (const PlacedPackage &package : plan.order)
            places.push_back(whyPlaced(package));
        return places;
    }

    static bool isBrandingFirst(const Plan &plan, const Paths &paths) {
        return std::equal(plan.branding.begin(), plan.branding.end(), paths.begin());
    }

    Replay &m_replay;
    const ReplayBundle &m_bundle;
    std::vector<std::string> m_orderNames;
    std::set<std::string> m_catalogUrls;
    std::set<std::string> m_missing; // catalogs
    std::size_t m_judgedBytes = 0;   // of catalogs
};

} // namespace

Replay replayOf(const ReplayBundle &bundle) {
    const std::string *const log = bundle.find(traceLogPath);
    if (log == nullptr)
        throw std::runtime_error(bundle.path() + ": the bundle has no " + traceLogPath);
    NewestRuns newest = newestRuns(*log);
    if (!newest.asked)
        throw std::runtime_error(bundle.path() + ": nobody asked the service in the log of the bundle");
    Replay replay;
    replay.run = std::move(*newest.asked);
    replay.installation = std::move(newest.installed);
    Answer(replay, bundle).find();
    return replay;
}
