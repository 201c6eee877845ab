#include "File.h"

void FileCloser::operator()(std::FILE *file) const noexcept {
    // Bytes that could not be written show where the content is checked: a package by its hash, a catalog
    // when it is parsed.
    static_cast<void>(std::fclose(file));
}
