#pragma once

#include <ostream>
#include <string>

// What a script wrote, standard error included, and how it ended.
struct Outcome {
    std::string output;
    int status = 0;
};

bool operator==(const Outcome &left, const Outcome &right);
std::ostream &operator<<(std::ostream &stream, const Outcome &outcome);

// Runs a bash script on this machine. $rehearsal is the tools' folder, $seal the seal, $service the service,
// $build the folder of this build.
Outcome outside(const std::string &script);

// Runs a bash script in a fresh sealed machine started with these options.
Outcome inside(const std::string &script, const std::string &options = "");
Outcome insideWithServers(const std::string &script);

// Defines "hide COMMAND...", which removes commands from a sealed machine, and ends with this status where
// only real root may.
extern const std::string hide;
constexpr int needsRealRoot = 77;
