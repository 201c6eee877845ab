#pragma once

#include <string>

#include "CIPtr.h"
#include "IDBR.h"

class ISubInfo;

// One section of the suite's subscription database. Gone before the library that it came from is unloaded.
// Used by one thread.
class SubscriptionSection {
public:
    // A section that is not there has no fields.
    SubscriptionSection(ISubInfo &subInfo, int number);

    // The value of the field in the last node that holds one of that name (kept: the last wins), in each node
    // the first; "" when there is none.
    std::string lastValueOf(const std::string &fieldName);

private:
    CIPtr<IDBR> m_reader;
};
