// How all ended, in a form that people and programs can use.
#pragma once

#include <exception>
#include <string>
#include <vector>

#include "Progress.h"

struct Package {
    std::string path;
    std::string sha1; // the catalog's, which the file's was found to be
};

struct Ending {
    std::string name; // "done", "failed-before-downloads", "downloads-failed", "error", "interrupted"
    int status = 0;   // the process's
    std::vector<std::string> lines;
    std::vector<Package> packages; // finished ones
};

Ending endingBy(Outcome outcome, std::vector<Package> finished);
Ending endingBy(int signal, std::vector<Package> finished);
Ending endingBy(const std::exception &error);
