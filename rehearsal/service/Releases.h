#pragma once

#include "Exchange.h"

#include <string>

// Answers a posted "productrequest" from the data in the folder: the bytes of "reply.xml" when it is there,
// else the document that "releases.xml" calls for. README.md describes both.
Reply releaseReply(const std::string &folder, const Request &request);
