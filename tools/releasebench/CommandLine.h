#pragma once

// Reads the command line and runs the subcommand that it names. Gives the process's status; what a subcommand
// throws passes.
int runCommandLine(int argc, const char *const *argv);
