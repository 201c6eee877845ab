"""What the sealed machine's servers offer: releases as the update service names them and their packages."""
import hashlib
import os
from pathlib import Path

REHEARSAL = Path("/srv/rehearsal")
DOWNLOAD = REHEARSAL / "download"
ROOT = "https://download.brovik.example"
SCRIPTED_ROOT = "https://packages.brovik.example"  # the same packages, from a server that obeys a script

# A release as it is in the field: kilobytes of its packages.
FIELD = [200, 400, 800, 1500, 2500, 4000, 6000, 9000, 14000, 22000, 40000, 80000]


def _package(name, size):
    """Its SHA-1; the file holds bytes that nothing compresses."""
    content = os.urandom(size)
    path = DOWNLOAD / "packages" / name
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_bytes(content)
    scripted = REHEARSAL / "scripted" / "packages"
    if not scripted.exists():
        scripted.symlink_to(path.parent)
    return hashlib.sha1(content).hexdigest().upper()


def _catalog(name, manifest, version="1.0.1.0"):
    path = DOWNLOAD / "catalogs" / f"{name}.xml"
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text(
        '<?xml version="1.0" encoding="utf-8"?>\n<product_catalog>\n'
        f"  <configuration>\n    <version>{version}</version>\n    <mainbuildno>130</mainbuildno>\n"
        "  </configuration>\n  <manifest><server_package_information>\n"
        f"{manifest}  </server_package_information></manifest>\n</product_catalog>\n")


def _releases(core, partner):
    def catalogs(names):
        return "".join(f'<catalog root="{ROOT}/catalogs" name="{name}" version="1"/>' for name in names)

    (REHEARSAL / "service" / "releases.xml").write_text(
        '<releases><release affid="105" relname="basicmac3.4" relver="2" partnerrelver="2">'
        f'<product appid="quaformac">{catalogs(core)}</product>'
        f'<partner appid="quaformac">{catalogs(partner)}</partner></release></releases>')


def offer_nothing():
    """The service says that there is no update."""
    (REHEARSAL / "service" / "releases.xml").write_text("<releases/>")


def offer_products(kilobytes):
    """A fresh installation: one package a catalog."""
    names = []
    for number, size in enumerate(kilobytes, 1):
        package = f"product{number}.pkg"
        digest = _package(package, size * 1024)
        names.append(f"product{number}_maccat")
        _catalog(names[-1], "   <fullinstall_package_list>\n"
                 f'    <server_package name="{package}" hash="{digest}" url="{ROOT}/packages/{package}"/>\n'
                 "   </fullinstall_package_list>\n")
    _releases(names, [])


def misbehave(script):
    """Rules for the reference service, see the sealed machine's."""
    (REHEARSAL / "service" / "script").write_text(script)


def offer_hotfixes(kilobytes, applies=True, root=ROOT):
    """A product update: all hot-fixes in the core catalog, an empty partner catalog. They apply to version 1.0.0.5,
    or only to older ones."""
    highest = "1.0.0.9" if applies else "1.0.0.4"
    items = "".join(
        "    <hf_package>\n"
        f"      <name>hotfix{number}.pkg</name>\n"
        f"      <url>{root}/packages/hotfix{number}.pkg</url>\n"
        f"      <hash>{_package(f'hotfix{number}.pkg', size * 1024)}</hash>\n"
        f"      <size>{size * 1024}</size>\n"
        f"      <minver>1.0.0.0</minver>\n      <maxver>{highest}</maxver>\n"
        "      <osx_minver>10.6.0</osx_minver>\n      <osx_maxver>10.9.9</osx_maxver>\n"
        f"      <product_ver>1.0.1.0</product_ver>\n      <buildno>{100 + number}</buildno>\n"
        "    </hf_package>\n" for number, size in enumerate(kilobytes, 1))
    _catalog("platform_maccat", f"   <ProductPackage>\n{items}   </ProductPackage>\n")
    _catalog("partner_maccat", "   <ProductPackage>\n   </ProductPackage>\n")
    _releases(["platform_maccat"], ["partner_maccat"])
