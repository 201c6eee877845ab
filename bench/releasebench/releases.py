"""Releases of 100,000 hot-fixes, as release folders."""
import json
from dataclasses import dataclass
from typing import Callable

HOT_FIXES = 100_000
HOST = "https://download.brovik.example"


def version(number):
    return f"1.{number // 10_000}.{number // 100 % 100}.{number % 100}"


@dataclass(frozen=True)
class Shape:
    """Which products the hot-fix of a number is for, and what it brings: numbers of versions."""
    name: str
    title: str
    package: Callable[[int], str]
    bounds: Callable[[int], tuple]
    product: str  # the one that is explained


SHAPES = [
    # A release every month for ages, of one product: each hot-fix replaces a part of the release before.
    Shape("steps", "50 parts, 2,000 versions, each for the one before", lambda number: f"part-{number % 50}.pkg",
          lambda number: (number // 50, number // 50, number // 50 + 1), version(1_000)),
    Shape("cumulative", "1,000 versions, each for all before", lambda number: f"part-{number}.pkg",
          lambda number: (0, number // 100, number // 100 + 1), version(500)),
    Shape("bounds", "bounds of its own each", lambda number: f"part-{number}.pkg",
          lambda number: (number, 2 * HOT_FIXES - number, number + HOT_FIXES // 2), version(50_000)),
]


def hotFix(shape, number):
    least, most, brings = map(version, shape.bounds(number))
    package = shape.package(number)
    return {"file": f"packages/{brings}/{package}", "url": f"{HOST}/HF_{brings}/{package}",
            "minVersion": least, "maxVersion": most, "minSystem": "10.6.0", "maxSystem": "10.9.5",
            "version": brings, "build": str(1000 + number)}


def document(shape):
    return {
        "audience": [{"affiliates": ["105"], "releaseName": "large", "coreVersion": "2", "partnerVersion": "2",
                      "products": [{"application": "quaformac", "catalogs": ["large_maccat"]}]}],
        "catalogs": [{"name": "large_maccat", "root": f"{HOST}/catalogs", "version": "1", "productVersion": "1.0.0.0",
                      "mainBuild": "1000",
                      "fullInstall": {"file": "packages/suite.pkg", "url": f"{HOST}/full/suite.pkg"},
                      "hotFixes": [hotFix(shape, number) for number in range(HOT_FIXES)]}],
        "order": ["part-16.pkg"]}


def write(shape, folder):
    release = document(shape)
    catalog = release["catalogs"][0]
    for number, package in enumerate([catalog["fullInstall"], *catalog["hotFixes"]]):
        file = folder / package["file"]
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(f"package {number}\n")
    (folder / "release.json").write_text(json.dumps(release, indent=1) + "\n")
