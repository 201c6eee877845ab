#pragma once

#include <string>

#include "ServerCheck.h"

// A certificate that is valid for fewer days is a finding.
constexpr int fewDaysLeft = 14;

// Asks "https://host:443" for its certificate: whose it is, by whom, for how long, and whether this system
// trusts it for that host.
ServerCheck checkCertificate(const std::string &server, const AskingTime &time);
