"""check_package.py PACKAGE LIBRARY FILTER VERSION: fails unless the package installs these files and no more."""

import io
import pathlib
import subprocess
import sys
import tarfile

FOLDERS = [".", "./Library", "./Library/MobileSubstrate", "./Library/MobileSubstrate/DynamicLibraries"]
FIELDS = {"Package": "quillet", "Architecture": "iphoneos-arm", "Depends": "mobilesubstrate, firmware (>= 7.0)"}


def members(package, part):
    """The archive `part` of the package: each member by name, with its mode, owner and content (None for a folder)."""
    tar = subprocess.run(["dpkg-deb", part, package], stdout=subprocess.PIPE, check=True).stdout
    with tarfile.open(fileobj=io.BytesIO(tar)) as archive:
        return {member.name: (oct(member.mode), (member.uid, member.gid),
                              archive.extractfile(member).read() if member.isfile() else None) for member in archive}


def complaints(package, library, filter_list, version):
    root = (0, 0)
    wanted = {name: ("0o755", root, None) for name in FOLDERS}
    wanted[f"{FOLDERS[-1]}/QuilletCompat.dylib"] = ("0o755", root, library)
    wanted[f"{FOLDERS[-1]}/QuilletCompat.plist"] = ("0o644", root, filter_list)
    installed = members(package, "--fsys-tarfile")
    for name in sorted(wanted.keys() | installed.keys()):
        if installed.get(name) != wanted.get(name):
            yield f"installs: {name} is missing, another or not wanted"
    control = members(package, "--ctrl-tarfile")
    if sorted(control) != [".", "./control"]:
        yield f"control: holds {sorted(control)}"
    fields = dict(line.split(": ", 1) for line in control["./control"][2].decode().splitlines() if line[0] != " ")
    for name, value in (FIELDS | {"Version": version}).items():
        if fields.get(name) != value:
            yield f"control: {name} is {fields.get(name)}"
    kinds = subprocess.run(["ar", "t", package], stdout=subprocess.PIPE, text=True, check=True).stdout.split()
    if kinds != ["debian-binary", "control.tar.gz", "data.tar.gz"]:
        yield f"archive: is made of {kinds}"


def main():
    package, library, filter_list, version = sys.argv[1:]
    contents = (pathlib.Path(path).read_bytes() for path in (library, filter_list))
    found = list(complaints(package, *contents, version))
    for line in found:
        print(line)
    sys.exit(1 if found else 0)


if __name__ == "__main__":
    main()
