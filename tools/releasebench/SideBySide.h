#pragma once

#include <cstddef>
#include <functional>

// Carries out jobs 0 to count - 1, each once, by that many threads at most. The watcher is called ten times a
// second meanwhile, by the calling thread. Throws what a job threw, after which no other begins, and
// std::system_error when there is no thread to be had.
void runSideBySide(std::size_t count, std::size_t threads, const std::function<void(std::size_t)> &job,
                   const std::function<void()> &watcher);
