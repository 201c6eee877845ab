#pragma once

#include <cstdint>
#include <string>

// One way to answer. README.md lists the names with their arguments.
struct Action {
    std::string name = "ok";
    std::uint64_t number = 0;
    std::string text;     // the argument as written, to the end of the line; of "raw" the file
    std::string ending;   // of "raw" only
    std::string repeated; // the file that is sent for ever, when that is the ending
};

// The action of the first rule for this request in the text of a script; "ok" when there is none.
// A rule that can't be understood throws std::invalid_argument, whether or not it is for this request:
// a test with a slip in its script must not pass.
Action actionFor(const std::string &script, const std::string &method, const std::string &target,
                 unsigned attempt);
