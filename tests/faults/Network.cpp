#include "Network.h"

#include <sstream>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "Program.h"
#include "TextFile.h"

namespace {

const std::string hostsFile = "/etc/hosts";
const std::string farSpace = "nsenter --net=/run/netns/far ";

// A user's PATH may lack the folder of these tools.
Ended tools(const std::string &script) {
    return run({"bash", "-euc", "PATH=$PATH:/usr/sbin:/sbin\n" + script});
}

std::string firstLine(const std::string &text) {
    return text.substr(0, text.find('\n'));
}

void must(const std::string &what, const std::string &script) {
    const Ended ended = tools(script);
    if (ended.status != 0)
        throw Unavailable(what + " cannot be had here: " + firstLine(ended.err));
}

} // namespace

HostNames::HostNames()
    : m_before(readText(hostsFile)) {
}

HostNames::~HostNames() {
    writeText(hostsFile, m_before);
}

void HostNames::forget(const std::string &name) {
    std::istringstream lines(readText(hostsFile));
    std::string kept;
    for (std::string line; std::getline(lines, line);) {
        const std::size_t at = line.find(name);
        kept += (at == std::string::npos ? line : line.erase(at, name.size())) + "\n";
    }
    writeText(hostsFile, kept);
}

void HostNames::move(const std::string &from, const std::string &to) {
    std::string text = readText(hostsFile);
    const std::size_t at = text.find(from + " ");
    writeText(hostsFile, text.replace(at, from.size(), to));
}

Resolver::Resolver(Kind kind) {
    for (const char *file : {"/etc/resolv.conf", "/etc/nsswitch.conf"})
        m_before.emplace_back(file, readText(file));
    const bool isSilent = kind == Kind::silent;
    writeText("/etc/resolv.conf", "nameserver 127.0.0.1\noptions timeout:1 attempts:1\n");
    writeText("/etc/nsswitch.conf", isSilent ? "hosts: files dns\n" : "hosts: files\n");
    if (!isSilent)
        return;
    m_socket = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(53);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(m_socket, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0)
        throw Unavailable("port 53 cannot be had here");
}

Resolver::~Resolver() {
    for (const auto &[file, content] : m_before)
        writeText(file, content);
    if (m_socket != -1)
        static_cast<void>(close(m_socket)); // nothing was written there
}

PacketFilter::PacketFilter(const std::string &rule) {
    // What was received is counted for "ct ... bytes".
    must("a packet filter", "echo 1 >/proc/sys/net/netfilter/nf_conntrack_acct\n"
                            "nft add table ip faults\n"
                            "nft add chain ip faults received '{ type filter hook input priority 0; }'\n"
                            "nft add rule ip faults received '" +
                                rule + "'");
}

PacketFilter::~PacketFilter() {
    static_cast<void>(tools("nft delete table ip faults"));
}

bool PacketFilter::wasMet() const {
    const std::string table = tools("nft list table ip faults").out;
    return table.find("counter packets") != std::string::npos &&
           table.find("counter packets 0 ") == std::string::npos;
}

std::string PacketFilter::connectionsFrom(int first) {
    return "tcp dport { 80, 443 } tcp flags & (syn | ack) == syn numgen inc mod 1000 >= " +
           std::to_string(first) + " counter ";
}

NarrowLink::NarrowLink(const std::string &rate, const std::string &queueBytes) {
    // The loopback's packets are larger than any other link's, and than such a queue.
    must("a narrow link", "ip link set lo mtu 1500\n"
                          "tc qdisc add dev lo root tbf rate " +
                              rate + " burst 4kb limit " + queueBytes);
}

NarrowLink::~NarrowLink() {
    static_cast<void>(tools("tc qdisc del dev lo root; ip link set lo mtu 65536"));
}

FarServers::FarServers() {
    must("a second machine",
         "ip netns add far\n"
         "ip link add near type veth peer name far netns far\n"
         "ip address add 10.99.0.1/24 dev near\n"
         "ip link set near up\n" +
             farSpace + "ip address add 10.99.0.2/24 dev far\n" + farSpace +
             "ip link set far up\n"
             "service=$(readlink /proc/$(</srv/rehearsal/run/reference-service.pid)/exe)\n"
             "exec {ready}< <(exec " +
             farSpace +
             "\"$service\" --root /srv/rehearsal --address 10.99.0.2 "
             "--update-host update.brovik.example --tls-port 443 "
             "--plain-port 80 2>/tmp/far.log)\n"
             "echo $! >/tmp/far.pid\n"
             "read -r line <&\"$ready\"\n"
             "[[ $line == ready ]]");
    HostNames::move("127.0.0.2", "10.99.0.2");
}

FarServers::~FarServers() {
    static_cast<void>(tools("kill $(</tmp/far.pid); ip link del near; ip netns del far"));
}

void FarServers::setLink(bool up) {
    must("a link", std::string("ip link set near ") + (up ? "up" : "down"));
}

long FarServers::segmentsSentAgain() {
    // The second line of "Tcp:" has the figures that the first one names.
    std::istringstream names(tools(farSpace + "grep ^Tcp: /proc/net/snmp | sed -n 1p").out);
    std::istringstream figures(tools(farSpace + "grep ^Tcp: /proc/net/snmp | tail -1").out);
    std::string name, figure;
    while (names >> name && figures >> figure) {
        if (name == "RetransSegs")
            return std::stol(figure);
    }
    return 0;
}
