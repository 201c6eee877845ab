// The installations that are recorded for libdownloadManager-player: what is published and what goes wrong.
#pragma once

#include <string>
#include <vector>

struct Scenario {
    std::string name;    // of the recording's file, without its ending
    std::string trouble; // lines for the scripted servers
    std::string pace;    // likewise: how fast the packages come, for a recording that can be watched
    unsigned retries;    // to make at most
};

const std::vector<Scenario> &scenarios();

// Records it in a sealed machine with servers; gives the recording's lines. Without its pace it takes a
// moment.
std::string record(const Scenario &scenario, bool paced);
