// A replay for people and for programs.
#pragma once

#include <string>

#include "Replay.h"
#include "ReplayBundle.h"

class Paper;

void tellReplay(const Replay &replay, const ReplayBundle &bundle, Paper &paper);
std::string replayInJson(const Replay &replay, const ReplayBundle &bundle);
