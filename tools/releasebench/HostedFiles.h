// Where the servers of a sealed machine have what a release publishes.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "Release.h"

// The files of a release by the paths that a sealed machine's servers have them under. What has no URL that
// a server can be asked for is none of them.
using HostedFiles = std::map<std::filesystem::path, std::filesystem::path>;

// "https://host:443", as rehearsal/seal takes them. Throws UnusableInput, with the place, for a host that no
// machine can stand in for.
std::vector<std::string> hostsOf(const Release &release);

// The catalogs are those that build made. Throws UnusableInput when two files would be one.
HostedFiles hostedFilesOf(const Release &release, const std::filesystem::path &built);
