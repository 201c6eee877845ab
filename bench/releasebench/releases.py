"""Releases of 100,000 hot-fixes, as release folders."""
import json
from dataclasses import dataclass
from typing import Callable

HOT_FIXES = 100_000
HOST = "https://download.brovik.example"
CATALOG = "large_maccat"


def version(number):
    return f"1.{number // 10_000}.{number // 100 % 100}.{number % 100}"


@dataclass(frozen=True)
class Shape:
    """By the number of a hot-fix its package, and the versions that it is for, from and to, and that it brings."""
    name: str
    title: str
    package: Callable[[int], str]
    versions: Callable[[int], tuple]
    product: str  # the installed one that is explained


SHAPES = [
    Shape("steps", "2,000 versions of 50 packages, each for the version before",
          lambda number: f"part-{number % 50}.pkg",
          lambda number: (number // 50, number // 50, number // 50 + 1), version(1_000)),
    Shape("cumulative", "1,000 versions, each for all before",
          lambda number: f"part-{number}.pkg",
          lambda number: (0, number // 100, number // 100 + 1), version(500)),
    Shape("bounds", "100,000 bounds around one another",
          lambda number: f"part-{number}.pkg",
          lambda number: (number, 2 * HOT_FIXES - number, number + HOT_FIXES // 2), version(50_000)),
]


def hotFix(shape, number):
    least, most, brings = map(version, shape.versions(number))
    package = shape.package(number)
    return {"file": f"packages/{brings}/{package}", "url": f"{HOST}/HF_{brings}/{package}",
            "minVersion": least, "maxVersion": most, "minSystem": "10.6.0", "maxSystem": "10.9.5",
            "version": brings, "build": str(1000 + number)}


def release(shape):
    return {
        "audience": [{"affiliates": ["105"], "releaseName": "large", "coreVersion": "2", "partnerVersion": "2",
                      "products": [{"application": "quaformac", "catalogs": [CATALOG]}]}],
        "catalogs": [{"name": CATALOG, "root": f"{HOST}/catalogs", "version": "1", "productVersion": "1.0.0.0",
                      "mainBuild": "1000",
                      "fullInstall": {"file": "packages/suite.pkg", "url": f"{HOST}/full/suite.pkg"},
                      "hotFixes": [hotFix(shape, number) for number in range(HOT_FIXES)]}],
        "order": ["part-16.pkg"]}


def write(shape, folder):
    document = release(shape)
    catalog = document["catalogs"][0]
    for number, package in enumerate([catalog["fullInstall"], *catalog["hotFixes"]]):
        file = folder / package["file"]
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(f"package {number}\n")
    (folder / "release.json").write_text(json.dumps(document, indent=1) + "\n")
