// How all ended, in a form that people and programs can use.
#pragma once

#include <chrono>
#include <exception>
#include <string>
#include <vector>

#include "Progress.h"

struct Package {
    std::string path;
    std::string sha1; // the catalog's, which the file's was found to be
};

// What an installation leaves.
struct Remains {
    std::vector<Package> finished;
    std::vector<std::string> unfinished; // files of packages that were begun
    bool diskFull = false;
};

struct Ending {
    // "done", "failed-before-downloads", "downloads-failed", "error", "timed-out", "interrupted"
    std::string name;
    int status = 0; // the process's
    std::vector<std::string> lines;
    Remains remains;
};

Ending endingBy(Outcome outcome, Remains remains);
Ending endingBy(int signal, Remains remains);
Ending endingBy(std::chrono::seconds timeout, Remains remains);
Ending endingBy(const std::exception &error);
