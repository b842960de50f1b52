"""reproducible_test.py ROOT PACKAGE: builds the package anew from a copy of the sources in another folder; it must be
the same, byte by byte. $SOURCE_DATE_EPOCH is that of PACKAGE."""

import filecmp
import pathlib
import shutil
import subprocess
import sys
import tempfile

SOURCES = ("CMakeLists.txt", "CMakePresets.json", "cmake", "util", "id3", "platform", "import", "host", "packaging")


def main():
    root, package = map(pathlib.Path, sys.argv[1:])
    with tempfile.TemporaryDirectory() as folder:
        for name in SOURCES:
            copy = shutil.copytree if (root / name).is_dir() else shutil.copy
            copy(root / name, pathlib.Path(folder, name))
        for command in (["--preset", "ios", "-DQUILLET_TESTS=OFF"],
                        ["--build", "--preset", "ios", "--target", "device_package", "--parallel", "2"]):
            done = subprocess.run(["cmake", *command], cwd=folder, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                  text=True)
            if done.returncode != 0:
                sys.exit(done.stdout)
        again = pathlib.Path(folder, "build/ios/packaging/ios", package.name)
        if not filecmp.cmp(package, again, shallow=False):
            sys.exit(f"{package.name} is another when it is built again")


main()
