"""check_package.py PACKAGE LIBRARY FILTER SCRIPT VERSION: fails unless the package installs these files, runs SCRIPT and
does no more."""

import collections
import io
import pathlib
import subprocess
import sys
import tarfile

FOLDERS = [".", "./Library", "./Library/MobileSubstrate", "./Library/MobileSubstrate/DynamicLibraries"]
FIELDS = {"Package": "quillet", "Architecture": "iphoneos-arm", "Depends": "mobilesubstrate, firmware (>= 7.0)"}
TEXTS = {"Name", "Description", "Section", "Maintainer", "Author"}  # any, but each is there
Member = collections.namedtuple("Member", "kind mode owner content")
ROOT = (0, 0, "root", "root")


def output(*command):
    return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=True).stdout


def folder():
    return Member(tarfile.DIRTYPE, 0o755, ROOT, None)


def file(mode, content):
    return Member(tarfile.REGTYPE, mode, ROOT, content)


def members(package, part):
    """The archive `part` of the package: all members of each name, in the archive's order."""
    found = collections.defaultdict(list)
    with tarfile.open(fileobj=io.BytesIO(output("dpkg-deb", part, package))) as archive:
        for member in archive:
            content = archive.extractfile(member).read() if member.type == tarfile.REGTYPE else None
            owner = (member.uid, member.gid, member.uname, member.gname)
            found[member.name].append(Member(member.type, member.mode, owner, content))
    return found


def installs(package, library, filter_list):
    wanted = {name: [folder()] for name in FOLDERS}
    wanted[f"{FOLDERS[-1]}/QuilletCompat.dylib"] = [file(0o755, library)]
    wanted[f"{FOLDERS[-1]}/QuilletCompat.plist"] = [file(0o644, filter_list)]
    installed = members(package, "--fsys-tarfile")
    for name in sorted(wanted.keys() | installed.keys()):
        if installed.get(name) != wanted.get(name):
            yield f"installs: {name} is missing, another or not wanted"


def control(package, script, version):
    found = members(package, "--ctrl-tarfile")
    text = found["./control"][0].content if "./control" in found else None
    wanted = {".": [folder()], "./control": [file(0o644, text)], "./postinst": [file(0o755, script)]}
    if text is None or found != wanted:
        yield f"control: holds {sorted(found)}, or they are others than wanted"
        return
    lines = [line for line in text.decode().splitlines() if not line.startswith(" ")]
    fields = {name: value for name, _, value in (line.partition(": ") for line in lines)}
    for name, value in (FIELDS | {"Version": version}).items():
        if fields.get(name) != value:
            yield f"control: {name} is {fields.get(name)}"
    for name in sorted(TEXTS):
        if not fields.get(name):
            yield f"control: {name} is missing"
    for name in sorted(fields.keys() - FIELDS.keys() - TEXTS - {"Version"}):
        yield f"control: {name} is not wanted"
    if len(lines) != len(fields):
        yield "control: a field stands twice"


def complaints(package, library, filter_list, script, version):
    try:
        yield from installs(package, library, filter_list)
        yield from control(package, script, version)
        kinds = output("ar", "t", package).decode().split()
        if kinds != ["debian-binary", "control.tar.gz", "data.tar.gz"]:
            yield f"archive: is made of {kinds}"
    except (subprocess.CalledProcessError, tarfile.TarError, ValueError) as error:
        yield f"archive: cannot be read ({error})"


def main():
    package, *files, version = sys.argv[1:]
    try:
        contents = [pathlib.Path(path).read_bytes() for path in files]
        found = list(complaints(package, *contents, version))
    except OSError as error:
        found = [f"files: {error}"]
    for line in found:
        print(line)
    sys.exit(1 if found else 0)


if __name__ == "__main__":
    main()
