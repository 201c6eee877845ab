// How programs are told of outcomes.
#pragma once

#include "Plan.h"

inline const char *nameOf(Outcome outcome) {
    switch (outcome) {
    case Outcome::done:
        return "done";
    case Outcome::nothingToDo:
        return "nothing-to-do";
    case Outcome::fails:
        break;
    }
    return "fails";
}
