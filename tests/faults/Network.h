// What the network does to the machine's packets. Each class undoes in its destructor what it did, and throws
// Unavailable with the reason where this kernel, or this user, cannot have it; where something else is wrong
// with it, std::runtime_error, so that no test is skipped for that.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

class Unavailable : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Lines of /etc/hosts that are not the test's own.
class HostNames {
public:
    HostNames();
    ~HostNames();
    HostNames(const HostNames &) = delete;
    HostNames &operator=(const HostNames &) = delete;

    static void forget(const std::string &name);
    static void move(const std::string &from, const std::string &to); // addresses

private:
    std::string m_before;
};

// No name server answers, or none is asked.
class Resolver {
public:
    enum class Kind { silent, none };
    explicit Resolver(Kind kind);
    ~Resolver();
    Resolver(const Resolver &) = delete;
    Resolver &operator=(const Resolver &) = delete;

private:
    std::vector<std::pair<std::string, std::string>> m_before; // file, content
    int m_socket = -1;
};

// Rules for the packets that this machine receives; over the loopback these are the servers' as well.
class PacketFilter {
public:
    // In the words of nftables.
    explicit PacketFilter(const std::string &rule);
    ~PacketFilter();
    PacketFilter(const PacketFilter &) = delete;
    PacketFilter &operator=(const PacketFilter &) = delete;

    // Whether any packet met the rule.
    bool wasMet() const;

    // Connections to the web servers from this one on; the first is 0.
    static std::string connectionsFrom(int first);
};

// All traffic goes at this rate through a queue of so many bytes, what does not fit in it is lost.
class NarrowLink {
public:
    NarrowLink(const std::string &rate, const std::string &queueBytes);
    ~NarrowLink();
    NarrowLink(const NarrowLink &) = delete;
    NarrowLink &operator=(const NarrowLink &) = delete;
};

// The update service and the scripted host on another machine, at the other end of a link.
class FarServers {
public:
    FarServers();
    ~FarServers();
    FarServers(const FarServers &) = delete;
    FarServers &operator=(const FarServers &) = delete;

    static void setLink(bool up);
    // How often these servers have sent anything again.
    static long segmentsSentAgain();

private:
    HostNames m_names;
};
