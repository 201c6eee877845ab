// How the tools write figures and names for people.
#pragma once

#include <chrono>
#include <string>

std::string megabytes(double kb);           // "12.3"
std::string duration(std::chrono::seconds); // "0:07", "1:02:03"
// Names come from elsewhere: what could command a terminal or rearrange its text, and what is no UTF-8, is
// shown as "?".
std::string printable(const std::string &text);
