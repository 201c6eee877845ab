#pragma once

#include <chrono>
#include <string>
#include <vector>

// What is not as the folder says, or will not do for the engine.
struct ServerFinding {
    std::string id; // the same for the same kind of finding
    std::string text;
};

// One thing that a server was asked, and what came of it.
struct ServerCheck {
    std::string kind; // "certificate", "reply" or "file"
    std::string subject;
    std::vector<std::string> facts;
    std::vector<ServerFinding> findings;

    void find(std::string id, std::string text) { findings.push_back({std::move(id), std::move(text)}); }
};

// How long servers may take.
struct AskingTime {
    std::chrono::seconds each;                      // an answer, or a while without enough of one
    std::chrono::steady_clock::time_point deadline; // everything
};
