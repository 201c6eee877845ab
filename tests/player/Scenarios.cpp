#include "Scenarios.h"

#include <stdexcept>

#include "Products.h"
#include "Program.h"
#include "Release.h"
#include "TextFile.h"

namespace {

const std::string seconds =
    "/suite.pkg * slow 2000000\n/firewall.pkg * slow 1200000\n/help.pkg * slow 800000\n";

// In a package's place; slowed down by its own name.
const std::string damaged = "redirect " + scriptedHost + "/damaged\n";

void publishSuite() {
    const std::string firewall = someBytes(2400000);
    publish(scriptedHost + "/damaged", firewall.substr(1) + firewall.front());
    publishRelease({{"suite.pkg", someBytes(6000000), "4.2.0.0", "420"},
                    {"firewall.pkg", firewall, "4.1.3.0", "413"},
                    {"help.pkg", someBytes(800000), "4.0.1.0", "401"}});
}

} // namespace

const std::vector<Scenario> &scenarios() {
    static const std::vector<Scenario> all = {
        {"normal", "", seconds, 0},
        // One package is fetched again, since its SHA-1 was wrong, and one breaks off and is resumed.
        {"slow", "/firewall.pkg 1 " + damaged + "/help.pkg 1 cut 300000\n",
         "/suite.pkg * slow 300000\n/damaged * slow 300000\n/firewall.pkg * slow 200000\n"
         "/help.pkg * slow 60000\n",
         0},
        {"failing", "/firewall.pkg * status 404 Not here\n", seconds, 1},
        {"given-up", "/firewall.pkg * " + damaged,
         "/suite.pkg * slow 400000\n/damaged * slow 1800000\n/help.pkg * slow 400000\n", 1},
        // Before the downloads, then in one of them, then no more.
        {"retried", "/velbrin/1.0.0.0/?reqtype=mac_web 1 drop\n/suite.pkg 1 reset 2500000\n", seconds, 2},
        // Neither failed nor completed in the end.
        {"broken-off", "/firewall.pkg * cut 400000\n", seconds, 1},
    };
    return all;
}

std::string record(const Scenario &scenario, bool paced) {
    publishSuite();
    misbehave(scenario.trouble + (paced ? scenario.pace : ""));
    const std::string file = "/tmp/recording.jsonl";
    const Ended ended =
        run({"/usr/local/Brovik/qrn/bin/recordinstall", file, std::to_string(scenario.retries)});
    if (ended.status != 0)
        throw std::runtime_error("recordinstall ended with " + std::to_string(ended.status) + ": " +
                                 ended.err);
    return readText(file);
}
