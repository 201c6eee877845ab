// How the process ends; documented by --help and in the man page.
#pragma once

namespace Statuses {

constexpr int done = 0;
constexpr int failedBeforeDownloads = 1;
constexpr int downloadsFailed = 2;
constexpr int calledWrongly = 64;
constexpr int engineUnusable = 69;
constexpr int outOfResources = 70;
constexpr int toolMissing = 72;
constexpr int outputLost = 74;
constexpr int notRoot = 77;
constexpr int timedOut = 124;
constexpr int interrupted = 128; // and the signal's number

} // namespace Statuses
