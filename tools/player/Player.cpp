#include "Player.h"

#include <algorithm>
#include <cstddef>
#include <thread>
#include <utility>

using std::chrono::milliseconds;
using Milliseconds = std::chrono::duration<double, std::milli>;

Player::Player(Recording recording, double speed)
    : m_recording(std::move(recording))
    , m_speed(speed) {
}

int Player::freshInstall() {
    const std::lock_guard<std::mutex> job(m_jobMutex);
    const Call *const call = next(Function::freshInstall);
    if (call == nullptr)
        return -1;
    play(*call);
    return call->result;
}

void Player::retryDownloadPackages() {
    if (!mayRetry())
        return;
    const std::lock_guard<std::mutex> job(m_jobMutex);
    if (const Call *const call = next(Function::retryDownloadPackages); call != nullptr)
        play(*call);
}

ProgressAnswer Player::progress() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return answersNow().progress;
}

PackagesAnswer Player::packages() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return *answersNow().packages;
}

std::string Player::hashIn(const std::string &text) const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto begin = m_recording.hashes.begin();
    const auto end = begin + static_cast<std::ptrdiff_t>(answersNow().hashes);
    const auto found = std::find_if(
        begin, end, [&text](const auto &hash) { return text.find(hash.first) != std::string::npos; });
    return found == end ? std::string() : found->second;
}

const Call *Player::next(Function function) const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_played == m_recording.calls.size() || m_recording.calls[m_played].function != function)
        return nullptr;
    return &m_recording.calls[m_played];
}

void Player::play(const Call &call) {
    const Clock::time_point began = Clock::now();
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_began = began;
    }
    while (!call.returned)
        std::this_thread::sleep_for(std::chrono::hours(1));
    std::this_thread::sleep_until(
        began + std::chrono::duration_cast<Clock::duration>(Milliseconds(*call.returned) / m_speed));
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_began.reset();
    ++m_played;
}

// Beside a running call the engine resumes what has failed already; here that is the next recorded call's
// work.
bool Player::mayRetry() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_began)
        return true;
    const ProgressAnswer &progress = answersNow().progress;
    return progress && progress->failed;
}

const Answers &Player::answersNow() const {
    if (!m_began)
        return m_played == 0 ? m_recording.before : m_recording.calls[m_played - 1].moments.back().answers;
    const Milliseconds position = Milliseconds(Clock::now() - *m_began) * m_speed;
    const std::vector<Moment> &moments = m_recording.calls[m_played].moments;
    const auto later =
        std::upper_bound(moments.begin() + 1, moments.end(), position,
                         [](const Milliseconds &wanted, const Moment &moment) { return wanted < moment.at; });
    return std::prev(later)->answers;
}
