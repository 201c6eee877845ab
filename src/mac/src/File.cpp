#include "File.h"

void FileCloser::operator()(std::FILE *file) const noexcept {
    // Nothing that matters is written only now: a download's file is not buffered, a script's is flushed
    // before.
    static_cast<void>(std::fclose(file));
}
