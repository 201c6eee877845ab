// Who saw what the engine did: the server that it asked, its hash tool and the installer, from the witnesses'
// construction on. A witness of the hash tool must have been called in before.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

struct SeenRequest {
    std::string host;
    std::string method;
    std::string target;
    std::string range;
    std::string action;
    std::string status;
};

struct SeenHash {
    std::string file;
    std::string sum; // in upper case
    std::size_t requestsBefore = 0;
};

class Witnesses {
public:
    // The engine's hash tool tells what it found from now on.
    static void watchHashTool();

    Witnesses();
    std::vector<SeenRequest> requests() const;
    // Those that wait for the rest of a file.
    std::size_t stalled() const;
    std::vector<SeenHash> hashes() const;
    // The statuses of the installer, by packages.
    std::map<std::string, int> installed() const;

    // How often a file was asked for since the server's start.
    static std::size_t attemptsAt(const std::string &target);

private:
    std::vector<std::string> newLines(const std::string &file) const;

    std::map<std::string, std::size_t> m_before; // sizes
    std::size_t m_requestsBefore = 0;
};
