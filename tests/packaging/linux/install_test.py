"""The installed tag engine, used by a program of somebody else's, by way of CMake and of pkg-config."""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

BUILD = os.environ["QUILLET_BUILD"]
SOURCE = pathlib.Path(os.environ["QUILLET_SOURCE"])
COMPILER = os.environ["QUILLET_COMPILER"]
CONSUMER = SOURCE / "tests/packaging/linux/consumer"
ROOTS = ["id3/TagAPI.hpp", "util/Log.hpp"]


def run(*command, **more):
    done = subprocess.run(command, capture_output=True, text=True, check=False, **more)
    if done.returncode:
        raise AssertionError(f"{command}: {done.stdout}{done.stderr}")
    return done.stdout


def reached(headers):
    """These headers, and all that they include of ours."""
    found, left = set(), list(headers)
    while left:
        header = left.pop()
        if header not in found:
            found.add(header)
            left += re.findall(r'^#include "(.*)"', (SOURCE / header).read_text(), re.MULTILINE)
    return found


class InstallTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = pathlib.Path(folder.name)
        run("cmake", "--install", BUILD, "--prefix", cls.folder / "first")
        # What is installed is not bound to its place.
        cls.prefix = (cls.folder / "first").rename(cls.folder / "moved")
        cls.pkgconfig, = cls.prefix.rglob("pkgconfig")
        cls.environment = {**os.environ, "PKG_CONFIG_PATH": str(cls.pkgconfig)}

    def answers(self, program):
        sample = shutil.copy(SOURCE / "samples/bars.mp3", self.folder)
        self.assertEqual(run(program, sample), "Colour Bars by Test Card, 4049 ms\nnow of 2001\n")
        old = shutil.copy(SOURCE / "samples/old-label.mp3", self.folder)
        self.assertEqual(run(program, old), "Old Label by First Version, 3000 ms\nnow of 2001\n")

    def test_by_way_of_cmake(self):
        build = self.folder / "build"
        run("cmake", "-S", CONSUMER, "-B", build, "-G", "Ninja", f"-DCMAKE_PREFIX_PATH={self.prefix}",
            f"-DCMAKE_CXX_COMPILER={COMPILER}", "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON")
        run("cmake", "--build", build)
        self.answers(build / "consumer")
        commands = (build / "compile_commands.json").read_text()
        for ours in ("-Werror", "-Wall", "-fno-exceptions", "-fno-rtti", "-fvisibility", str(SOURCE / "id3")):
            self.assertNotIn(ours, commands)

    def test_by_way_of_pkg_config(self):
        flags = run("pkg-config", "--cflags", "--libs", "quillet", env=self.environment).split()
        self.assertFalse([flag for flag in flags if not re.match("-[ILl]", flag)], flags)
        program = self.folder / "by-pkg-config"
        run(COMPILER, "-std=c++20", "-Wall", "-Wextra", "-Werror", CONSUMER / "main.cpp", "-o", program, *flags)
        self.answers(program)

    def test_the_headers_are_those_that_the_facade_reaches(self):
        folder = self.prefix / "include/quillet"
        installed = {path.relative_to(folder).as_posix() for path in folder.rglob("*.hpp")}
        self.assertEqual(installed, reached(ROOTS))

    def test_the_command_runs_from_there(self):
        told = run(self.prefix / "bin/quillet", "--version")
        version = run("pkg-config", "--modversion", "quillet", env=self.environment)
        self.assertEqual(told, f"quillet {version}")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
