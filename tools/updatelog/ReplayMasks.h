// Where masks stand in what decides.
#pragma once

#include <string>
#include <vector>

#include "Explanation.h"

// What may be judged otherwise than it was, since a mask stands in it: versions, bounds, build numbers, names
// and paths of packages, names of the order. URLs and folders before a file's name decide nothing.
std::vector<std::string> maskedJudgements(const Explanation &explanation,
                                          const std::vector<std::string> &orderNames);
