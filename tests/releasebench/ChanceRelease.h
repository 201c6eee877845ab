// A release by chance, and a machine that asks for it: mostly sound, now and then with what the engine
// refuses, ends at or takes in its own way.
#pragma once

#include <map>
#include <random>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

struct ChanceRelease {
    nlohmann::json release;                   // as in release.json
    std::map<std::string, std::string> files; // packages' contents by their files
    std::string product;
    std::string system;
    std::string application;
    std::string affiliate;
};

ChanceRelease chanceRelease(std::mt19937 &chance);
