// What can be seen from outside once the updater ran: its trace, what the servers were asked, and files.
#pragma once

#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

// The whole trace with every stamp written as ">". Lines of transfers that ran side by side stand file by
// file, in the order of the files' names, those without a file's name first; each file's own lines, and all
// other lines, keep their order.
std::string transcript();

// The requests to the update service, each byte by byte.
std::vector<std::string> updateRequests();

// What the update service and the scripted host were asked and how they answered, sorted since transfers run
// side by side: lines "HOST | METHOD | TARGET | RANGE | ATTEMPT | ACTION | STATUS".
std::vector<std::string> scriptedAnswers();

// What the download host was asked and how it answered, sorted: lines "REQUEST | STATUS | RANGE | BYTES".
std::vector<std::string> downloadAnswers();

// Every file below a folder by its path from there; no folder, no files.
using Files = std::map<std::string, std::string>;
Files filesBelow(const std::string &folder);

// Says which file differs, and shows none of a package's bytes.
testing::AssertionResult sameFiles(const Files &expected, const Files &actual);

// Names the case of a table whose entries have a name.
inline constexpr auto caseName = [](const auto &parameter) { return std::string(parameter.param.name); };
