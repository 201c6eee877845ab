// Giving a file new content at once: whoever reads it sees the old or the new content, never a half, and the
// new one is on the disk before it can be seen. All functions give false when they failed; the file is then
// as it was, and nothing is left beside it.
#pragma once

#include <string>
#include <string_view>

// For a file in a folder that is open to everybody, and that others have written before. It keeps mode and
// owner. A link is replaced and not followed: it would lead root to any other file. So is whatever else is no
// regular file. A new file is writable for its owner only.
bool replaceFile(const std::string &path, std::string_view bytes);

// The same for a file that is nobody else's: whatever stands at the path, the new file is this process's
// user's and writable for nobody else.
bool replaceByOwnFile(const std::string &path, std::string_view bytes);

// For a file in a folder of this process's user, with the results that writing to it in place would have:
// links are followed, also to a file that is not there yet; a file that may not be written stays; mode and
// owner are kept; a new file has the mode that any new file has. What is no regular file, a device or a FIFO
// with a reader, has no content to be replaced and is written to.
bool rewriteFile(const std::string &path, std::string_view bytes);
