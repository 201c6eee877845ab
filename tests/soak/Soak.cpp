// usage: soak --cycles N --installs N [--csv FILE]
// Runs that many jobs in this one process by what the installed library exports, and watches what the process
// holds. Status 1 when a job did not end as it should or something piles up. Only for the sealed machine.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "Footprint.h"
#include "Host.h"
#include "Offer.h"
#include "OwnStreams.h"
#include "Plan.h"
#include "Trend.h"

namespace {

struct Options {
    std::size_t cycles = 0;
    std::size_t installs = 0;
    std::string csv = "/dev/null";
};

class Soak {
public:
    // What is found out is written to the stream.
    Soak(const Options &options, std::ostream &out)
        : m_plan(planOf(options.cycles, options.installs))
        , m_csv(options.csv)
        , m_out(out) {
        m_samples.reserve(m_plan.tasks.size()); // or it would grow with what is measured
        m_csv
            << "jobs,updates,installs,seconds,resident_kb,heap_bytes,descriptors,threads,children,downloads,"
               "temporary,log_bytes\n";
    }

    // Whether the process held as much after the last job as after the first ones.
    bool runAll() {
        const std::size_t every = std::max<std::size_t>(1, m_plan.tasks.size() / 200);
        for (const Task &task : m_plan.tasks) {
            run(task);
            ++(task.isInstallation ? m_installs : m_updates);
            if (jobs() == m_plan.firstOfAll || (jobs() > m_plan.firstOfAll && jobs() % every == 0))
                sample();
        }
        const auto faults = std::count_if(m_plan.tasks.begin(), m_plan.tasks.end(),
                                          [](const Task &task) { return task.fault != Fault::none; });
        m_out << m_updates << " updates and " << m_installs << " installations, " << faults
              << " of them with a fault, in " << seconds() << " seconds\n";
        return isFlat(m_samples, m_out);
    }

    // In one engine replies pile up, by design: nothing else does, and all of it goes with the engine.
    bool pileUp() {
        constexpr std::size_t times = 40;
        const std::size_t before = footprint().heapBytes;
        m_host.installAndStay();
        const std::size_t first = footprint().heapBytes;
        for (std::size_t i = 0; i < times; ++i)
            m_host.installInVain();
        const std::size_t last = footprint().heapBytes;
        m_host.release();
        const std::size_t after = footprint().heapBytes;

        // A text has room for up to twice its bytes.
        const std::size_t replies = (times + 1) * m_offer.replyBytes();
        const bool accountedFor = last <= first + 2 * replies + heapNoise && after <= before + heapNoise;
        m_out << times << " more installations in one engine: replies of " << replies << " bytes; heap "
              << before << " bytes before, " << first << " after the first, " << last << " after the last, "
              << after << " after the engine's end: " << verdict(accountedFor) << "\n";
        return accountedFor;
    }

private:
    void run(const Task &task) {
        try {
            if (task.isInstallation)
                m_host.install(task.fault);
            else
                m_host.update(task.fault);
        } catch (const std::exception &error) {
            throw std::runtime_error("job " + std::to_string(jobs()) +
                                     (task.isInstallation ? ", an installation " : ", an update ") +
                                     nameOf(task.fault) + ": " + error.what());
        }
    }

    void sample() {
        const Footprint now = footprint();
        m_samples.push_back({jobs(), now});
        m_csv << jobs() << ',' << m_updates << ',' << m_installs << ',' << seconds() << ',' << now.residentKb
              << ',' << now.heapBytes << ',' << now.descriptors << ',' << now.threads << ',' << now.children
              << ',' << now.downloads << ',' << now.temporary << ',' << now.logBytes << std::endl;
    }

    std::size_t jobs() const { return m_updates + m_installs; }

    std::int64_t seconds() const {
        return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - m_begin)
            .count();
    }

    const Plan m_plan;
    const Offer m_offer;
    Host m_host{m_offer};
    const std::chrono::steady_clock::time_point m_begin = std::chrono::steady_clock::now();
    std::ofstream m_csv;
    std::ostream &m_out;
    std::vector<Sample> m_samples;
    std::size_t m_updates = 0;
    std::size_t m_installs = 0;
};

Options readOptions(int argc, char *argv[]) {
    Options options;
    CLI::App app("Runs one job after another in one process and watches what it holds.", "soak");
    app.add_option("--cycles", options.cycles, "Updates")->required()->check(CLI::Range(4, 1000000));
    app.add_option("--installs", options.installs, "Fresh installations")
        ->required()
        ->check(CLI::Range(5, 1000000));
    app.add_option("--csv", options.csv, "Where the samples are written");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        std::exit(app.exit(error));
    }
    return options;
}

// Without the remarks of the engine and its tools.
bool soak(const Options &options, std::ostream &out) {
    const OwnStreams streams;
    Soak soak(options, out);
    const bool flat = soak.runAll();
    return soak.pileUp() && flat;
}

} // namespace

int main(int argc, char *argv[]) {
    std::ostringstream report;
    try {
        const bool good = soak(readOptions(argc, argv), report);
        std::cout << report.str();
        return good ? EXIT_SUCCESS : EXIT_FAILURE;
    } catch (const std::exception &error) {
        std::cerr << report.str() << "soak: " << error.what() << '\n';
        return EXIT_FAILURE;
    }
}
