// usage: benchLink NETNS MBIT_PER_S MILLISECONDS_EACH_WAY QUEUE_KB
// A network link between this network namespace and the named one: two TUN devices, "near" here and "far"
// there, whose packets this program carries over, in each direction at one rate for all connections together,
// from a queue of that size that drops what does not fit, and then with that delay. What TCP does of a long
// line is thereby real: the round trips of a handshake, slow start, retransmission. Prints "ready" once both
// devices are there, and in the end, at SIGTERM, the packets carried and dropped.
#include <fcntl.h>
#include <linux/if.h>
#include <linux/if_tun.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstring>
#include <deque>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::microseconds;
using std::chrono::nanoseconds;

volatile std::sig_atomic_t isOver = 0;

// What Ethernet adds to an IP packet: preamble, header, checksum, gap.
constexpr std::size_t framing = 38;

int openTun(const char *name) {
    const int device = open("/dev/net/tun", O_RDWR | O_NONBLOCK | O_CLOEXEC);
    ifreq request{};
    std::strncpy(request.ifr_name, name, IFNAMSIZ - 1);
    request.ifr_flags = IFF_TUN | IFF_NO_PI;
    if (device < 0 || ioctl(device, TUNSETIFF, &request) != 0)
        throw std::runtime_error(std::string("no TUN device ") + name + ": " + std::strerror(errno));
    return device;
}

void enter(const std::string &space) {
    const int file = open(("/run/netns/" + space).c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0 || setns(file, CLONE_NEWNET) != 0)
        throw std::runtime_error("no network namespace " + space + ": " + std::strerror(errno));
    close(file);
}

class Direction {
public:
    Direction(int from, int to, double bitPerSecond, nanoseconds delay, std::size_t queueBytes)
        : m_from(from)
        , m_to(to)
        , m_nanosecondsPerByte(8e9 / bitPerSecond)
        , m_delay(delay)
        , m_queueTime(timeOf(queueBytes)) {}

    // Takes in what has come, lets out what is due.
    void carry() {
        for (ssize_t size = read(m_from, m_packet.data(), m_packet.size()); size > 0;
             size = read(m_from, m_packet.data(), m_packet.size()))
            enqueue(static_cast<std::size_t>(size));
        const Clock::time_point now = Clock::now();
        while (!m_packets.empty() && m_packets.front().due <= now) {
            const std::vector<char> &bytes = m_packets.front().bytes;
            if (write(m_to, bytes.data(), bytes.size()) < 0)
                ++m_dropped;
            ++m_carried;
            m_packets.pop_front();
        }
    }

    Clock::time_point next() const {
        return m_packets.empty() ? Clock::time_point::max() : m_packets.front().due;
    }
    int source() const { return m_from; }
    std::string told() const {
        return std::to_string(m_carried) + " packets carried, " + std::to_string(m_dropped) + " dropped";
    }

private:
    struct Packet {
        Clock::time_point due;
        std::vector<char> bytes;
    };

    nanoseconds timeOf(std::size_t bytes) const {
        return nanoseconds(static_cast<nanoseconds::rep>(static_cast<double>(bytes) * m_nanosecondsPerByte));
    }

    void enqueue(std::size_t size) {
        const Clock::time_point now = Clock::now();
        if (m_free < now)
            m_free = now;
        if (m_free - now > m_queueTime) {
            ++m_dropped;
            return;
        }
        m_free += timeOf(size + framing);
        m_packets.push_back(
            {m_free + m_delay, {m_packet.begin(), m_packet.begin() + static_cast<long>(size)}});
    }

    int m_from, m_to;
    double m_nanosecondsPerByte;
    nanoseconds m_delay, m_queueTime;
    Clock::time_point m_free{}; // when the line has sent what was given to it
    std::deque<Packet> m_packets{};
    std::array<char, 65536> m_packet{};
    unsigned long m_carried = 0, m_dropped = 0;
};

void carryUntilTold(Direction &up, Direction &down) {
    while (isOver == 0) {
        up.carry();
        down.carry();
        const Clock::time_point next = std::min(up.next(), down.next());
        microseconds left = std::chrono::seconds(1);
        if (next != Clock::time_point::max())
            left = std::clamp(std::chrono::ceil<microseconds>(next - Clock::now()), microseconds(0), left);
        timeval wait{left / std::chrono::seconds(1), (left % std::chrono::seconds(1)).count()};
        fd_set sources;
        FD_ZERO(&sources);
        FD_SET(up.source(), &sources);
        FD_SET(down.source(), &sources);
        select(std::max(up.source(), down.source()) + 1, &sources, nullptr, nullptr, &wait);
    }
}

} // namespace

int main(int argc, char *argv[]) {
    if (argc != 5) {
        std::cerr << "usage: benchLink NETNS MBIT_PER_S MILLISECONDS_EACH_WAY QUEUE_KB\n";
        return 64;
    }
    try {
        const double bitPerSecond = std::stod(argv[2]) * 1e6;
        const nanoseconds delay = std::chrono::milliseconds(std::stol(argv[3]));
        const std::size_t queue = std::stoul(argv[4]) * 1024;
        std::signal(SIGTERM, [](int) { isOver = 1; });
        const int near = openTun("near");
        enter(argv[1]);
        const int far = openTun("far");
        std::cout << "ready" << std::endl;
        Direction up(near, far, bitPerSecond, delay, queue);
        Direction down(far, near, bitPerSecond, delay, queue);
        carryUntilTold(up, down);
        std::cout << "up: " << up.told() << "\ndown: " << down.told() << std::endl;
    } catch (const std::exception &error) {
        std::cerr << "benchLink: " << error.what() << "\n";
        return 70;
    }
    return 0;
}
