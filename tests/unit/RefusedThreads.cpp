#include "RefusedThreads.h"

#include <atomic>
#include <limits>

namespace {

constexpr int all = std::numeric_limits<int>::max();

std::atomic<int> threadsLeft{all};

} // namespace

RefusedThreads::RefusedThreads(int allowed) noexcept {
    threadsLeft = allowed;
}

RefusedThreads::~RefusedThreads() {
    threadsLeft = all;
}

// The linker leads the engine's calls of boost::thread's start here.
extern "C" {
bool __real__ZN5boost6thread21start_thread_noexceptEv(void *thread);
bool __wrap__ZN5boost6thread21start_thread_noexceptEv(void *thread);
bool __wrap__ZN5boost6thread21start_thread_noexceptEv(void *thread) {
    if (threadsLeft != all && threadsLeft-- <= 0)
        return false;
    return __real__ZN5boost6thread21start_thread_noexceptEv(thread);
}
}
