#pragma once

// A system that has no more threads: while it lives, every thread that the engine asks for is refused, but
// for the first few. One may live at a time. Needs the link option
// --wrap=_ZN5boost6thread21start_thread_noexceptEv.
class RefusedThreads {
public:
    explicit RefusedThreads(int allowed) noexcept;
    ~RefusedThreads();
    RefusedThreads(const RefusedThreads &) = delete;
    RefusedThreads &operator=(const RefusedThreads &) = delete;
};
