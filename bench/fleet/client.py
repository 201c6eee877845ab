"""What one client sends and gets, counted at relays before the servers of a sealed machine."""
import re
import subprocess
import time
from pathlib import Path

import release
from relay import Relays

UPDATER = "/usr/local/Brovik/qrn/bin/productUpdater"
LOG = Path("/var/log/DownloadManager.log")


def _check(last_line):
    LOG.unlink(missing_ok=True)
    subprocess.run([UPDATER, "1.0.0.5", "105", "CheckForInstall"], check=True, stdout=subprocess.DEVNULL)
    if last_line not in LOG.read_text():
        raise RuntimeError(f"the check did not tell: {last_line}")


def _update():
    _check("Product updater is exited")
    if "ERROR: Download Failed" in LOG.read_text():
        raise RuntimeError("the download failed")


def _requests():
    """Of every request in the servers' logs: server, method, range."""
    found = []
    subprocess.run(["curl", "-s", f"{release.ROOT}/log-is-written"], check=True)
    log = release.REHEARSAL / "log"
    for line in (log / "download.log").read_text().splitlines() if (log / "download.log").exists() else []:
        request, _, asked, _ = line.split(" | ")
        found.append(("packages", request.split()[0], asked))
    for line in (log / "service-requests.log").read_text().splitlines():
        _, host, method, _, asked, *_ = line.split(" | ")
        found.append(("service" if host.startswith("update") else "packages", method, asked))
    return found


def _scenario(relays, job):
    for name in ("download.log", "service-requests.log"):
        path = release.REHEARSAL / "log" / name
        if path.exists():
            path.write_text("")
    relays.forget()
    job()
    time.sleep(0.3)  # until the relays have seen the connections' ends
    result = relays.counted()
    requests = _requests()
    for server, counts in result.items():
        counts["requests"] = sum(1 for name, _, _ in requests if name == server)
        counts["heads"] = sum(1 for name, method, _ in requests if name == server and method == "HEAD")
        counts["ranges"] = sum(1 for name, _, asked in requests if name == server and asked not in ("-", ""))
    return result


def _signatures():
    """Handshakes' signatures a second, of one processor."""
    told = subprocess.run(["openssl", "speed", "-seconds", "1", "rsa2048", "ecdsap256"], check=True,
                          stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True).stdout
    found = {}
    for name, pattern in (("rsa2048", r"^rsa 2048 bits.* (\S+) +\S+$"),
                          ("ecdsap256", r"^ *256 bits ecdsa.* (\S+) +\S+$")):
        found[name] = float(re.search(pattern, told, re.MULTILINE).group(1))
    return found


def count(programs):
    field = release.FIELD
    result = {"kilobytes": field, "signaturesPerSecond": _signatures(), "certificateBytes": len(subprocess.run(
        ["openssl", "x509", "-in", "/srv/rehearsal/tls/server.pem", "-outform", "DER"], check=True,
        stdout=subprocess.PIPE).stdout)}
    with Relays() as relays:
        release.offer_nothing()
        result["no update"] = _scenario(relays, lambda: _check("ERROR Tolvane response"))
        release.offer_hotfixes(field, applies=False)
        result["none that applies"] = _scenario(relays, lambda: _check("No updates Found"))
        release.offer_hotfixes(field)
        result["catalogBytes"] = [(release.DOWNLOAD / "catalogs" / f"{name}_maccat.xml").stat().st_size
                                  for name in ("platform", "partner")]
        result["release"] = _scenario(relays, _update)
        result["release again"] = _scenario(relays, _update)
        release.offer_hotfixes(field, root=release.SCRIPTED_ROOT)
        # An orderly end in the middle of three of them is resumed; a reset connection ends the check.
        release.misbehave("".join(f"/packages/hotfix{number}.pkg 1 cut {field[number - 1] * 512}\n"
                                  for number in (4, 8, 12)))
        result["release, 3 cut"] = _scenario(relays, _update)
        release.misbehave(f"/packages/hotfix12.pkg 3 reset {field[11] * 512}\n")
        result["release, 1 reset"] = _scenario(relays, lambda: _check("ERROR: Download Failed"))
        release.misbehave("")
        release.offer_products(field)
        result["fresh installation"] = _scenario(relays, lambda: subprocess.run(
            [programs / "bench-polling-host", "0", "0", "0"], check=True, stdout=subprocess.DEVNULL))
    return result
