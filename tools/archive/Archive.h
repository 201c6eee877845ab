// Archives of the format tar, made and read in memory.
#pragma once

#include <cstddef>
#include <map>
#include <stdexcept>
#include <string>

using ArchivedFiles = std::map<std::string, std::string>; // contents by path

enum class Compression { none, gzip };

// An archive of regular files of root's, of the first second of 1970, so that its bytes depend on nothing but
// the files. Others than root may read what comes out of it where the mode says so. Throws
// std::runtime_error.
std::string archiveOf(const ArchivedFiles &files, Compression compression, unsigned mode);

// What an archive may be to be read.
struct ArchiveBounds {
    std::size_t files;
    std::size_t bytes; // of all contents
};

// No archive, one that is broken or cut, one beyond the bounds, or one that holds anything but regular files
// of different plain paths: no link, no device, nothing absolute, and nothing that leads out.
class UnusableArchive : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Reads a gzip-compressed archive whole; nothing is written anywhere. Takes no more memory than the bounds
// and a little, whatever the archive is. Throws UnusableArchive, and std::system_error when there is no such
// file.
ArchivedFiles filesOfArchive(const std::string &path, const ArchiveBounds &bounds);
