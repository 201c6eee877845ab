// How the process ends; documented by --help and in the man page. A signal ends it by itself.
#pragma once

namespace Statuses {

constexpr int done = 0;
constexpr int findings = 1;
constexpr int unusable =
    2; // input that cannot be used, a wrong call, or a system that refuses what is needed

} // namespace Statuses
