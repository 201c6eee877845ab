// libcurl handles that are released when their owner goes away.
#pragma once

#include <memory>

struct CurlEasyDeleter {
    void operator()(void *handle) const noexcept;
};

// An easy handle; used by one thread at a time.
using CurlEasy = std::unique_ptr<void, CurlEasyDeleter>;

// Runs the transfer and gives libcurl's result code. A connection that the other side has closed raises no
// signal, which would end the host's process. While nothing arrives libcurl calls the progress callback about
// once a second, so that is how soon it can end the transfer.
int performTransfer(const CurlEasy &handle) noexcept;

// A new handle that raises no signals, since transfers run on threads; null when libcurl gives none.
CurlEasy makeCurlEasy() noexcept;
