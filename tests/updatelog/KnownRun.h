// What a run of the engine did, as it is known from outside: by whoever served it, by what it called, and by
// what it left; never by its log. The words are those of the stories.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "RunStory.h"

struct KnownTransfer {
    std::string state;
    unsigned attempts = 0;
    unsigned hashChecks = 0;
    unsigned wrongHashes = 0;
    unsigned brokenOff = 0; // attempts that ended in the midst, and are gone on with
    unsigned refused = 0;   // attempts that ended otherwise without the file
};

struct KnownRun {
    std::string kind;
    std::string end;
    std::string version;
    std::string affiliate;
    std::string httpCode;
    std::string answer;
    bool waited = false;
    bool recorded = false;
    std::map<std::string, KnownTransfer> transfers;   // by their URLs
    std::map<std::string, std::string> installations; // states by paths
    // By the clock, from before the run to behind it.
    std::string notBefore;
    std::string notAfter;
};

// Both in the same words, to be compared.
std::string inPlainWords(const KnownRun &run);
std::string inPlainWords(const RunStory &story);
