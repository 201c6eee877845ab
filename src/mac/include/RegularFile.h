// Reading whole files whose names may stand for something else.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "Descriptor.h"

// What a link at a file's name is. In a folder that is open to everybody a link may be anybody's.
enum class Links { follow, refuse };

// A regular file that is open for reading. Anything else that a name may stand for, a FIFO or a device say,
// is neither waited for nor read. Used by one thread.
class RegularFile {
public:
    // None when there is no such file, when it is no regular one or a link that is refused, or when this
    // process may not read it. Throws std::system_error when the system fails to open it, for want of memory
    // or descriptors say, which tells nothing about the file.
    static std::optional<RegularFile> open(const std::string &path, Links links);

    // Whether the file is this process's user's and nobody else may write to it.
    bool isOwn() const noexcept { return m_isOwn; }

    // The whole content; none when it has more bytes than the limit. To be called once. Throws
    // std::system_error when the system fails to read it.
    std::optional<std::string> read(std::size_t limit);

private:
    RegularFile(Descriptor descriptor, bool isOwn) noexcept;

    Descriptor m_descriptor;
    bool m_isOwn;
};

// Whether another try a moment later may not meet that failure: it is the system's and not the file's.
bool isMomentary(int error) noexcept;

// Whether nothing at all stands at the path, not even a link that leads nowhere.
bool isAbsent(const std::string &path) noexcept;
