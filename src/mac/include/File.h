// A standard I/O stream that is closed when its owner goes away.
#pragma once

#include <cstdio>
#include <memory>

struct FileCloser {
    void operator()(std::FILE *file) const noexcept;
};

using File = std::unique_ptr<std::FILE, FileCloser>;
