#pragma once

// Raises the number of files that this process may have open as far as the system takes it. Where it takes no
// more, the limit stays. Children inherit it, and have to: those that run beside transfers inherit the
// transfers' sockets as well, and could open nothing under a lower limit.
void raiseOpenFileLimit() noexcept;
