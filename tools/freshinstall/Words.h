// What the views for people say.
#pragma once

#include <string>

#include "View.h"

std::string inWords(const Event &event);
std::string inWords(const Retry &retry);
