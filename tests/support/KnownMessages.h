// Whatever the engine leaves in its trace while a test runs stands in the catalogue of messages, once: all
// that a test reads, and what is there at its end. A test that an entry names has to show the message, and a
// test that tests/faults/reported.json has, exactly the failures that stand there.
#pragma once

#include <string>

// A trace that a test has read, from its first byte on.
void noteTrace(const std::string &text);

// What a program has written to standard output and to standard error: whoever's words may be among them.
void noteOutput(const std::string &out, const std::string &err);

// For a test program that puts lines of its own into the trace: none of them is asked for. Called before its
// tests.
bool allowUnknownMessages();
