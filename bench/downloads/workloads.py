"""What is downloaded, by which way, and how far behind the engine may be."""
import hashlib
import os
from dataclasses import dataclass

KIB, MIB, GIB = 2**10, 2**20, 2**30
VERSION = "3.3.0.1"

# A release as it is in the field: 200 KiB to 80 MiB.
FIELD = [200 * KIB, 350 * KIB, 600 * KIB, 1 * MIB, 2 * MIB, 3 * MIB, 5 * MIB, 9 * MIB, 16 * MIB, 28 * MIB, 50 * MIB,
         80 * MIB]

PACKAGES = {
    "1x1g": ("1 x 1 GiB", [GIB]),
    "8x128m": ("8 x 128 MiB", [128 * MIB] * 8),
    "release": ("release of 12 packages", FIELD),
    "64x4m": ("64 x 4 MiB", [4 * MIB] * 64),
    "1000x64k": ("1,000 x 64 KiB", [64 * KIB] * 1000),
    "cut": ("10 x 8 MiB, 3 cut once", [8 * MIB] * 10),
}
SAME_HASH_TOOL = ("curl", "wget2", "aria2c, sha1sum")
OWN_HASH = ("aria2c",)
LARGE = ("1x1g", "8x128m")


@dataclass(frozen=True)
class Host:
    name: str
    folder: str


DOWNLOAD = Host("download.brovik.example", "download")
SCRIPTED = Host("scripted.brovik.example", "scripted")


@dataclass(frozen=True)
class Workload:
    files: str
    protocol: str
    place: str  # "memory", "disk"
    link: bool = False

    @property
    def name(self):
        return f"{self.files}-{self.protocol}-{'link' if self.link else self.place}"

    @property
    def title(self):
        place = "100 Mbit/s, 40 ms" if self.link else f"to {self.place}"
        return f"{PACKAGES[self.files][0]}, {self.protocol.upper()}, {place}"

    @property
    def host(self):
        return SCRIPTED if self.files == "cut" else DOWNLOAD

    @property
    def address(self):
        return f"{self.protocol}://{self.host.name}/{self.files}"

    @property
    def slow(self):
        """Too slow to be run once more for warmth, which would show nothing there."""
        return self.link or (self.files == "1000x64k" and self.protocol == "https")

    def serve(self, place, packages):
        if self.files == "cut":
            return place.scripted([f"/{self.files}/{name} 1 cut {size // 2}" for name, size, _ in packages[:3]])
        return place.nginx()

    def limits(self):
        """(metric, of what, the most that the engine's median may be of it)"""
        limits = [(metric, "bare design", 1.05) for metric in ("wall", "cpu", "memory")]
        if self.files in ("release", "cut") or self.link:
            limits += [("wall", peers, 1.05) for peers in (SAME_HASH_TOOL, OWN_HASH)]
        elif self.files in LARGE:
            limits += [("wall", peers, 1.20) for peers in (SAME_HASH_TOOL, OWN_HASH)]
        return limits


WORKLOADS = [
    *(Workload(files, protocol, place)
      for files in ("1x1g", "8x128m", "release", "64x4m", "1000x64k")
      for protocol in ("http", "https")
      for place in ("memory", "disk")),
    Workload("release", "http", "memory", link=True),
    Workload("release", "https", "memory", link=True),
    Workload("1000x64k", "https", "memory", link=True),
    Workload("cut", "http", "memory"),
    Workload("cut", "https", "memory", link=True),
]


def makePackages(files, folder):
    """Writes the packages of random bytes where the server finds them; their names, sizes and SHA-1."""
    folder = folder / files
    folder.mkdir(parents=True, exist_ok=True)
    made = []
    for number, size in enumerate(PACKAGES[files][1]):
        name = f"part{number + 1:04}.pkg"
        path = folder / name
        sha1 = hashlib.sha1()
        if path.exists():
            with open(path, "rb") as file:
                while block := file.read(MIB):
                    sha1.update(block)
        else:
            with open(path, "wb") as file:
                for begin in range(0, size, MIB):
                    block = os.urandom(min(MIB, size - begin))
                    sha1.update(block)
                    file.write(block)
        made.append((name, size, sha1.hexdigest().upper()))
    return made
