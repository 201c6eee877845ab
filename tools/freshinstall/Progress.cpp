#include "Progress.h"

#include <algorithm>
#include <cmath>
#include <utility>

using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

constexpr milliseconds speedWindow = seconds(5);
constexpr milliseconds patience = seconds(2);        // before what is seen is worth a word
constexpr seconds longestEstimate = seconds(359999); // 99:59:59; beyond, an estimate says nothing

bool sameFigures(const DownloadProgressInfo &one, const DownloadProgressInfo &other) {
    return one.downloadedSize == other.downloadedSize && one.totalSize == other.totalSize &&
           one.progressPercent == other.progressPercent;
}

// A figure that no server can spoil.
double sane(double figure) {
    return std::isfinite(figure) && figure > 0 ? figure : 0;
}

// Of the bytes, below 100: hashes may still be wrong. Until every server has told its package's length these
// are measured against too little; the engine's average counts such packages as 0, so the smaller figure is
// the right one.
int percentOf(const DownloadProgressInfo &info) {
    const double total = sane(info.totalSize);
    const double ofBytes = total > 0 ? sane(info.downloadedSize) / total * 100 : 0;
    return static_cast<int>(std::floor(std::min({ofBytes, sane(info.progressPercent), 99.0})));
}

} // namespace

const char *nameOf(Phase phase) {
    switch (phase) {
    case Phase::preparing:
        return "preparing";
    case Phase::downloading:
        return "downloading";
    case Phase::checking:
        return "checking";
    case Phase::done:
        return "done";
    }
    return "";
}

bool operator==(const Figures &one, const Figures &other) {
    return one.phase == other.phase && one.percent == other.percent && one.presentKb == other.presentKb &&
           one.totalKb == other.totalKb && one.kbPerSecond == other.kbPerSecond && one.left == other.left &&
           one.waitsFor == other.waitsFor && one.waits == other.waits;
}

bool operator==(const Event &one, const Event &other) {
    return one.kind == other.kind && one.text == other.text;
}

std::vector<Event> Progress::take(const Snapshot &snapshot) {
    if (!m_begun) {
        m_last.resumable = true;
        m_lastChange = snapshot.time;
        tell(Event::Kind::phaseBegan, nameOf(m_figures.phase));
        m_begun = true;
    }
    const bool moves = !sameFigures(snapshot.info, m_last) || snapshot.packages != m_packages;
    m_stale = m_stale && sameFigures(snapshot.info, m_last);
    if (!m_stale)
        enter(phaseOf(snapshot.info));
    noticePackages(snapshot.packages);
    noticeTroubles(snapshot.info, snapshot.time);
    if (!m_stale)
        measure(snapshot.info, snapshot.time);
    if (moves)
        m_lastChange = snapshot.time;
    m_last = snapshot.info;
    noticeStandstill(snapshot);
    return std::exchange(m_news, {});
}

void Progress::goOn(milliseconds time) {
    m_lastChange = time;
    m_averageFell.reset();
    m_samples.clear();
}

std::vector<Event> Progress::end(const Snapshot &last, Outcome outcome) {
    m_stale = false;
    m_news = take(last);
    m_figures.kbPerSecond = 0;
    m_figures.left.reset();
    m_figures.waitsFor.clear();
    if (std::exchange(m_averageFell, std::nullopt))
        tell(Event::Kind::packageFetchedAgain);
    // Packages that failed without a byte leave no figures, and quick ones are not seen to fail.
    if (outcome == Outcome::downloadsFailed && !m_toldFailure)
        tell(Event::Kind::packageFailed);
    if (outcome == Outcome::done) {
        // A server that told no length left its figures at 0.
        m_figures.percent = 100;
        m_figures.totalKb = std::max(m_figures.totalKb, m_figures.presentKb);
        m_figures.presentKb = m_figures.totalKb;
        enter(Phase::done);
    }
    return std::exchange(m_news, {});
}

void Progress::beginAnew(milliseconds time) {
    const Phase phase = m_figures.phase;
    m_figures = Figures();
    m_figures.phase = phase;
    m_toldFailure = false;
    m_stale = true;
    goOn(time);
}

// Every byte there and no end yet means that hashes are being computed; a package fetched again leads back,
// and of one that failed the bytes are an error page.
Phase Progress::phaseOf(const DownloadProgressInfo &info) const {
    if (sane(info.totalSize) == 0)
        return m_figures.phase;
    const bool everyByte = info.downloadedSize >= info.totalSize && info.progressPercent >= 100;
    return everyByte && !info.failed ? Phase::checking : Phase::downloading;
}

void Progress::enter(Phase phase) {
    if (phase == m_figures.phase)
        return;
    m_figures.phase = phase;
    tell(Event::Kind::phaseBegan, nameOf(phase));
}

void Progress::noticePackages(const std::vector<std::string> &packages) {
    for (const std::string &package : packages) {
        if (std::find(m_packages.begin(), m_packages.end(), package) == m_packages.end())
            tell(Event::Kind::packageFinished, package);
    }
    m_packages = packages;
}

void Progress::noticeTroubles(const DownloadProgressInfo &info, milliseconds time) {
    noticeAnotherFetch(info, time);
    // Without any figures it may have been no package: the end of the try tells.
    const bool packageFailed = info.failed && sane(info.totalSize) > 0;
    if (packageFailed && !m_packageFailed) {
        tell(Event::Kind::packageFailed);
        m_toldFailure = true;
    }
    m_packageFailed = packageFailed;
    if (!info.resumable && m_last.resumable)
        tell(Event::Kind::packageGivenUp);
}

// Only a file that is cut to nothing makes the sum fall. Beside a quick package the sum rises all the same,
// but not the average per cent. That falls as well when a package begins, which then adds its length, or
// fails.
void Progress::noticeAnotherFetch(const DownloadProgressInfo &info, milliseconds time) {
    const bool sumFell = info.downloadedSize < m_last.downloadedSize;
    const bool packageBegan = info.totalSize != m_last.totalSize || info.failed;
    if (packageBegan)
        m_averageFell.reset();
    else if (info.progressPercent < m_last.progressPercent && !m_averageFell)
        m_averageFell = time;
    if (!sumFell && !(m_averageFell && time - *m_averageFell >= patience))
        return;
    tell(Event::Kind::packageFetchedAgain);
    m_averageFell.reset();
}

void Progress::measure(const DownloadProgressInfo &info, milliseconds time) {
    // Bytes that come a second time count for the speed, so it starts anew below the mark.
    const double present = sane(info.downloadedSize);
    if (!m_samples.empty() && present < m_samples.back().presentKb)
        m_samples.clear();
    m_samples.push_back({time, present});
    while (m_samples.size() > 2 && time - m_samples[1].time >= speedWindow)
        m_samples.pop_front();
    const Sample &first = m_samples.front();
    const double passed = std::chrono::duration<double>(time - first.time).count();
    m_figures.kbPerSecond = passed > 0 ? sane((present - first.presentKb) / passed) : 0;

    const double total = sane(info.totalSize);
    m_figures.totalKb = std::max(m_figures.totalKb, total);
    m_figures.presentKb = std::min(std::max(m_figures.presentKb, present), m_figures.totalKb);
    m_figures.percent = std::max(m_figures.percent, percentOf(info));

    m_figures.left.reset();
    const double missing = total - present;
    if (m_figures.phase != Phase::downloading || missing <= 0)
        m_figures.kbPerSecond = 0;
    else if (m_figures.kbPerSecond > 0 &&
             missing / m_figures.kbPerSecond <= static_cast<double>(longestEstimate.count()))
        m_figures.left = seconds(std::lround(std::ceil(missing / m_figures.kbPerSecond)));
}

void Progress::noticeStandstill(const Snapshot &snapshot) {
    const milliseconds still = snapshot.time - m_lastChange;
    if (still < patience) {
        m_figures.waitsFor.clear();
        m_figures.waits = seconds(0);
        m_toldStandstill = false;
        return;
    }
    m_figures.waitsFor = whatItWaitsFor();
    m_figures.waits = std::chrono::duration_cast<seconds>(still);
    if (!m_toldStandstill)
        tell(Event::Kind::standsStill, m_figures.waitsFor);
    m_toldStandstill = true;
}

std::string Progress::whatItWaitsFor() const {
    if (!m_last.resumable)
        return "the packages that were not given up"; // the engine's figures stand still for good
    switch (m_figures.phase) {
    case Phase::preparing:
        return "the update service, its catalogs, the packages' server, or another job on this machine";
    case Phase::downloading:
        return "data from the packages' server";
    case Phase::checking:
    case Phase::done:
        break;
    }
    return "the check of the packages' SHA-1";
}

void Progress::tell(Event::Kind kind, std::string text) {
    m_news.push_back({kind, std::move(text)});
}

Outcome outcomeOf(const DownloadProgressInfo &info, bool downloadsBegan) {
    if (info.completed)
        return Outcome::done;
    if (!downloadsBegan)
        return Outcome::failedBeforeDownloads;
    if (info.failed)
        return Outcome::downloadsFailed;
    return info.resumable ? Outcome::brokenOff : Outcome::givenUp;
}
