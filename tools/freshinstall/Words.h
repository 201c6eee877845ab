// What the views for people say, and how they write figures.
#pragma once

#include <chrono>
#include <string>

#include "View.h"

std::string inWords(const Event &event);
std::string inWords(const Retry &retry);

std::string megabytes(double kb);           // "12.3"
std::string duration(std::chrono::seconds); // "0:07", "1:02:03"
// Names come from the network: what could command a terminal, and what is no UTF-8, is shown as "?".
std::string printable(const std::string &text);
