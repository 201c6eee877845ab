// libcurl handles that are released when their owner goes away.
#pragma once

#include <memory>

struct CurlEasyDeleter {
    void operator()(void *handle) const noexcept;
};

// An easy handle; used by one thread at a time.
using CurlEasy = std::unique_ptr<void, CurlEasyDeleter>;

// A new handle that raises no signals, since transfers run on threads; null when libcurl gives none.
CurlEasy makeCurlEasy() noexcept;
