#pragma once

// The mode in which popen gives a command whose output nobody reads. The suite's own system takes a
// two-way pipe, which other systems refuse.
extern const char *const runCommandPipeMode;
