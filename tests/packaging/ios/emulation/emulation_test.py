"""emulation_test.py IMAGE NATIVE FOLDER...: the device's tag engine, run as arm64 code, must say of every file below the
FOLDERs what this machine's own says, and leave the same bytes behind when it changes their tags."""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

import macho
from device_calls import Device
from machine import Machine

DIALECTS = {"system": 0, "standard": 1}
LARGEST_SAMPLE = 200_000  # bytes
CUTS = (0, 1, 2, 3)  # quarters of a file that are cut off, for tags that end too early


def device_answer(image, path, dialect, changes):
    """What the device says, and the names of the calls that it made."""
    device = Device()
    machine = Machine(image, device.call, device.data)
    machine.run("_quilletAnswer", machine.new_string(os.fsencode(path)), DIALECTS[dialect], changes)
    return bytes(device.output), device.used


def native_answer(program, path, dialect, changes):
    return subprocess.run([program, str(DIALECTS[dialect]), str(changes), path], stdout=subprocess.PIPE, check=True,
                          timeout=60).stdout


def first_difference(device, native):
    for ours, theirs in zip(device.splitlines() + [b"(end)"], native.splitlines() + [b"(end)"]):
        if ours != theirs:
            return f"the device says {ours!r}, this machine {theirs!r}"
    return "they differ in their length"


def cases(folders):
    """(name, content) of every file, whole and cut."""
    for folder in folders:
        for path in sorted(pathlib.Path(folder).rglob("*")):
            if path.is_file() and path.stat().st_size <= LARGEST_SAMPLE:
                content = path.read_bytes()
                for cut in CUTS:
                    yield f"{path.parent.name}/{path.name} less {cut}/4", content[:len(content) * (4 - cut) // 4]


def compare(image, program, name, content, work):
    """The complaints about one file, and the calls that the device made."""
    complaints, used = [], set()
    path = work / "song.mp3"
    for dialect in DIALECTS:
        path.write_bytes(content)
        device, calls = device_answer(image, path, dialect, 1)
        after_device = path.read_bytes()
        path.write_bytes(content)
        native = native_answer(program, path, dialect, 1)
        used |= calls
        if device != native:
            complaints.append(f"{name}, {dialect} dialect: {first_difference(device, native)}")
        if after_device != path.read_bytes():
            complaints.append(f"{name}, {dialect} dialect: the saved files differ")
        if sorted(entry.name for entry in work.iterdir()) != ["song.mp3"]:
            complaints.append(f"{name}, {dialect} dialect: files were left behind")
    return complaints, used


def is_found_out(image, program, folders, work):
    """Whether an image with one wrong letter in it is told from this machine's."""
    wrong = macho.Image(image.data.replace(b"Cover (front)", b"Cover (Front)"))
    return any(compare(wrong, program, name, content, work)[0] for name, content in cases(folders[:1]))


def main():
    if not os.path.exists(sys.argv[1]):
        sys.exit(f"{sys.argv[1]} is not there: cmake --workflow --preset ios makes it")
    image, program, folders = macho.Image(pathlib.Path(sys.argv[1]).read_bytes()), sys.argv[2], sys.argv[3:]
    work = pathlib.Path(tempfile.mkdtemp(prefix="quillet-emulation-"))
    complaints, used, count = [], set(), 0
    try:
        for name, content in cases(folders):
            found, calls = compare(image, program, name, content, work)
            complaints += found
            used |= calls
            count += 1
        if not is_found_out(image, program, folders, work):
            complaints.append("an image with a wrong letter in it is not found out")
    finally:
        shutil.rmtree(work)
    for line in complaints:
        print(line)
    print(f"{count} files in {len(DIALECTS)} dialects, read, changed and read again; {len(complaints)} complaints; "
          f"calls made: {' '.join(sorted(used))}")
    # A run that saved nothing or met nothing compressed has not tried what it is for.
    missing = {"_rename", "_pwrite", "_fsync", "_compress", "_uncompress", "_CC_MD5_Final"} - used
    if missing:
        print(f"never called: {' '.join(sorted(missing))}")
    sys.exit(1 if complaints or missing or count == 0 else 0)


main()
