"""Where the packages come from: nginx, or the scripted service where connections are cut, beside or over a link."""
import os
import re
import signal
import subprocess
import time
from pathlib import Path

HERE = Path(__file__).resolve().parent
REHEARSAL = HERE.parent.parent / "rehearsal"
PROGRAMS = HERE.parent.parent / "build/bench"
LOGS = Path("/srv/rehearsal/log")
LINK = ["100", "20", "1024"]  # Mbit/s, milliseconds each way, KB of queue


def run(*command):
    subprocess.run([str(word) for word in command], check=True)


def stopRehearsal():
    """The servers that the sealed machine starts with have the ports that these ones need."""
    run(REHEARSAL / "serve", "--stop")


def moveHosts(fromAddress, toAddress):
    hosts = Path("/etc/hosts")
    hosts.write_text(re.sub(rf"^{re.escape(fromAddress)} ", f"{toAddress} ", hosts.read_text(), flags=re.M))


class Place:
    """A network namespace that holds the servers; prefix is what runs a command in it."""

    def __init__(self, prefix=(), nginxAddress="127.0.0.3", scriptedAddress="127.0.0.2", pid="self"):
        self.prefix = list(prefix)
        self.nginxAddress = nginxAddress
        self.scriptedAddress = scriptedAddress
        self.pid = pid

    def __enter__(self):
        return self

    def __exit__(self, *_):
        pass

    def connections(self):
        """How many connections its servers have accepted, by the system's own count."""
        said = subprocess.run([*self.prefix, "cat", "/proc/self/net/snmp"], capture_output=True, check=True, text=True)
        names, values = [line.split() for line in said.stdout.splitlines() if line.startswith("Tcp:")]
        return int(values[names.index("PassiveOpens")])

    def nginx(self):
        return Nginx(self)

    def scripted(self, rules):
        return Scripted(self, rules)


class Nginx:
    def __init__(self, place):
        self.place = place
        self.log = LOGS / "bench.log"
        self.configuration = Path("/tmp/nginx.conf")

    def __enter__(self):
        text = (HERE / "nginx.conf").read_text().replace("ADDRESS", self.place.nginxAddress)
        self.configuration.write_text(text)
        self.control()
        return self

    def __exit__(self, *_):
        process = Path("/srv/rehearsal/run/bench-nginx.pid")
        self.control("-s", "quit")
        while process.exists():
            time.sleep(0.05)

    def control(self, *words):
        run(*self.place.prefix, "/usr/sbin/nginx", "-e", LOGS / "bench-nginx.log", "-c", self.configuration, *words)

    def reset(self):
        os.truncate(self.log, 0)

    def sentBytes(self):
        time.sleep(0.1)  # a client may have its last byte before the line is written
        return sum(int(line.split()[1]) for line in self.log.read_text().splitlines())


class Scripted:
    """The rehearsal's own service, begun anew for every run, since it counts attempts."""

    def __init__(self, place, rules):
        self.place = place
        self.program = PROGRAMS / "reference-service"
        self.rules = rules
        self.log = LOGS / "service-requests.log"
        self.service = None

    def __enter__(self):
        Path("/srv/rehearsal/service/script").write_text("\n".join(self.rules) + "\n")
        return self

    def __exit__(self, *_):
        self.stop()

    def stop(self):
        if self.service:
            self.service.terminate()
            self.service.wait()
            self.service = None

    def reset(self):
        self.stop()
        self.log.unlink(missing_ok=True)
        self.service = subprocess.Popen(
            [*self.place.prefix, self.program, "--root", "/srv/rehearsal", "--address", self.place.scriptedAddress,
             "--update-host", "update.brovik.example", "--tls-port", "443", "--plain-port", "80"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        if self.service.stdout.readline() != b"ready\n":
            raise RuntimeError("the scripted service did not start")

    def sentBytes(self):
        time.sleep(0.1)
        return sum(self.sent(*(field.strip() for field in line.split("|")))
                   for line in self.log.read_text().splitlines())

    @staticmethod
    def sent(_number, _host, _method, target, asked, _attempt, action, _status):
        size = (Path("/srv/rehearsal/scripted") / target.lstrip("/")).stat().st_size
        if action == "cut":
            return size // 2
        asked = re.match(r"bytes=(\d+)-(\d*)", asked)
        if not asked or int(asked[1]) >= size:
            return 0 if asked else size
        return (int(asked[2]) + 1 if asked[2] else size) - int(asked[1])


class Link(Place):
    """The servers at the other end of a line of their own."""

    def __init__(self):
        super().__init__(["nsenter", "--net=/run/netns/far"], "10.99.0.2", "10.99.0.3")
        self.carrier = None

    def __enter__(self):
        run("ip", "netns", "add", "far")
        self.carrier = subprocess.Popen([PROGRAMS / "bench/downloads/benchLink", "far", *LINK], stdout=subprocess.PIPE)
        if self.carrier.stdout.readline() != b"ready\n":
            raise RuntimeError("the link did not come up")
        for prefix, device, address in ([], "near", "10.99.0.1"), (self.prefix, "far", self.nginxAddress):
            run(*prefix, "ip", "address", "add", f"{address}/24", "dev", device)
            run(*prefix, "ip", "link", "set", device, "up", "mtu", "1500")
        run(*self.prefix, "ip", "address", "add", f"{self.scriptedAddress}/24", "dev", "far")
        moveHosts("127.0.0.3", self.nginxAddress)
        moveHosts("127.0.0.2", self.scriptedAddress)
        return self

    def __exit__(self, *_):
        moveHosts(self.scriptedAddress, "127.0.0.2")
        moveHosts(self.nginxAddress, "127.0.0.3")
        self.carrier.send_signal(signal.SIGTERM)
        print("  the link:", self.carrier.communicate()[0].decode().replace("\n", "; "), flush=True)
        run("ip", "netns", "del", "far")
