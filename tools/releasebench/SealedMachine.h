// The sealed machine that a rehearsal runs in, from inside: the customer's files and the servers' there, and
// what they tell afterwards.
#pragma once

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "Explain.h"
#include "HostedFiles.h"

namespace SealedMachine {

inline const std::filesystem::path programs = "/usr/local/Brovik/qrn/bin";

// Makes it the customer's that was asked about. The configuration, when there is one, is the customer's own.
void describe(const Explanation &explanation, const std::filesystem::path &configuration);
// Puts a release that was built where the servers and the engine find it.
void publish(const HostedFiles &files, const std::filesystem::path &built);
// The scripted hosts' misbehaviour, as rehearsal/README.md describes it.
void publishScript(const std::filesystem::path &script);
// Has the installer refuse packages of that file name.
void refuse(const std::string &package);

// An element of the installed product's configuration; "" when it has none.
std::string configured(const std::string &element);
// A value of the release that a fresh installation recorded; "" when there is none.
std::string recorded(const std::string &key);
std::vector<std::string> packageList();
std::string contentOf(const std::filesystem::path &file);

// What the machine's installer was told to install, and whether it did.
using Installation = std::pair<std::string, bool>;
std::vector<Installation> installations();

} // namespace SealedMachine
