#include "RefusedLock.h"

#include <cerrno>
#include <utility>

#include <pthread.h>

namespace {

constexpr int never = -1;

thread_local int locksLeft = never; // until the one that is refused
thread_local const std::function<void()> *watch = nullptr;

} // namespace

RefusedLock::RefusedLock(int index) noexcept {
    locksLeft = index;
}

RefusedLock::~RefusedLock() {
    locksLeft = never;
}

bool RefusedLock::happened() const noexcept {
    return locksLeft == never;
}

LockWatch::LockWatch(std::function<void()> look)
    : m_look(std::move(look)) {
    watch = &m_look;
}

LockWatch::~LockWatch() {
    watch = nullptr;
}

// The linker leads this program's calls here.
extern "C" {
int __real_pthread_mutex_lock(pthread_mutex_t *mutex);
int __wrap_pthread_mutex_lock(pthread_mutex_t *mutex);
int __wrap_pthread_mutex_lock(pthread_mutex_t *mutex) {
    if (watch != nullptr) {
        const auto *look = std::exchange(watch, nullptr);
        (*look)();
        watch = look;
    }
    if (locksLeft != never && locksLeft-- == 0)
        return EINVAL;
    return __real_pthread_mutex_lock(mutex);
}
}
