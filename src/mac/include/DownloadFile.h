// The file that a download writes.
#pragma once

#include "File.h"

// Opens the file to append to it, or makes or empties it; null when that fails. The programs that other
// threads start meanwhile do not inherit it. Nothing is buffered: what is written is in the file, or the
// write fails; and closing writes nothing.
File openDownloadFile(const char *path, bool append) noexcept;

// Cuts what the file holds beyond that size; false when it is gone, holds less or cannot be cut.
bool cutDownloadFile(const char *path, long size) noexcept;
