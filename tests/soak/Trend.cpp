#include "Trend.h"

#include <algorithm>
#include <functional>
#include <iomanip>
#include <string>

namespace {

// Where memory settles: libraries fill their caches, and each arena grows to what a job needs at most.
constexpr double warmUp = 0.1;

// What a process's memory may grow by: something at all, since it goes up and down by that from job to job,
// and something a job, which is less than the smallest block that one job in four could leave behind.
struct Bound {
    double bytes;
    double bytesPerJob;
};
constexpr Bound heapBound = {heapNoise, 8};
constexpr Bound residentBound = {1024.0 * 1024, 100};

using Figure = std::function<double(const Footprint &)>;

// By least squares.
double slope(const std::vector<Sample> &samples, const Figure &figure) {
    const auto count = static_cast<double>(samples.size());
    double x = 0;
    double y = 0;
    for (const Sample &sample : samples) {
        x += static_cast<double>(sample.jobs) / count;
        y += figure(sample.held) / count;
    }
    double covariance = 0;
    double variance = 0;
    for (const Sample &sample : samples) {
        const double distance = static_cast<double>(sample.jobs) - x;
        covariance += distance * (figure(sample.held) - y);
        variance += distance * distance;
    }
    return variance == 0 ? 0 : covariance / variance;
}

} // namespace

const char *verdict(bool good) {
    return good ? "ok" : "TOO MUCH";
}

bool isFlat(const std::vector<Sample> &samples, std::ostream &out) {
    const auto settled = static_cast<std::ptrdiff_t>(static_cast<double>(samples.size()) * warmUp);
    const std::vector<Sample> counted(samples.begin() + settled, samples.end());
    const Footprint &first = samples.front().held;
    const Footprint &last = samples.back().held;
    out << std::fixed << std::setprecision(1);

    bool flat = true;
    const auto grows = [&](const char *name, const Figure &bytes, const Bound &bound) {
        const auto jobs = static_cast<double>(counted.back().jobs - counted.front().jobs);
        const double perJob = slope(counted, bytes);
        const double most = bound.bytes + bound.bytesPerJob * jobs;
        const bool good = perJob * jobs <= most;
        out << name << ": " << bytes(first) / 1024 << " KB when every kind of job had run, "
            << bytes(counted.front().held) / 1024 << " after the warm-up, " << bytes(last) / 1024
            << " in the end; by the slope " << perJob << " bytes a job, " << perJob * jobs / 1024
            << " KB in all, at most " << most / 1024 << ": " << verdict(good) << "\n";
        flat = flat && good;
    };
    grows(
        "heap in use", [](const Footprint &held) { return static_cast<double>(held.heapBytes); }, heapBound);
    grows(
        "resident", [](const Footprint &held) { return static_cast<double>(held.residentKb) * 1024; },
        residentBound);

    const auto stays = [&](const char *name, std::size_t Footprint::*count) {
        const bool same = std::all_of(samples.begin(), samples.end(), [&](const Sample &sample) {
            return sample.held.*count == first.*count;
        });
        out << name << ": " << first.*count << " at first, " << last.*count
            << " in the end: " << (same ? "always the same" : "NOT ALWAYS THE SAME") << "\n";
        flat = flat && same;
    };
    stays("descriptors", &Footprint::descriptors);
    stays("threads", &Footprint::threads);
    stays("children", &Footprint::children);
    stays("files of downloads", &Footprint::downloads);
    stays("temporary files", &Footprint::temporary);
    out << "log: "
        << static_cast<double>(last.logBytes - first.logBytes) /
               static_cast<double>(samples.back().jobs - samples.front().jobs)
        << " bytes a job, which is what it is for\n";
    return flat;
}
