"""The Debian packages: what is in them, what Debian's checker says, and that packing again changes nothing."""

import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

BUILD = os.environ["QUILLET_BUILD"]
SOURCE = pathlib.Path(os.environ["QUILLET_SOURCE"])
# In each package, what must be there, and what it must depend on.
CONTENTS = {
    "quillet": (
        ["usr/bin/quillet", "usr/lib/systemd/user/quillet-watch.service", "usr/share/man/man1/quillet.1.gz",
         "usr/share/man/man1/quillet-recheck.1.gz", "usr/share/bash-completion/completions/quillet",
         "usr/share/zsh/vendor-completions/_quillet", "usr/share/fish/vendor_completions.d/quillet.fish",
         "usr/share/doc/quillet/copyright", "usr/share/doc/quillet/changelog.gz"],
        ["libc6", "libstdc++6", r"libavformat\d+", r"libsqlite3-\d", r"libplist\d", r"libuv\d", "zlib1g"]),
    "libquillet-dev": (
        ["usr/include/quillet/id3/TagAPI.hpp", "usr/include/quillet/util/PropertyValue.hpp",
         r"usr/lib/[^/]*/libquillet_id3\.a", r"usr/lib/[^/]*/libquillet_util\.a", r"usr/lib/[^/]*/pkgconfig/quillet\.pc",
         r"usr/lib/[^/]*/cmake/quillet/quilletConfig\.cmake", "usr/share/doc/libquillet-dev/copyright",
         "usr/share/doc/libquillet-dev/changelog.gz"],
        ["zlib1g-dev", "libssl-dev"]),
}


def run(*command):
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
    if done.returncode:
        raise AssertionError(f"{command}: {done.stdout}")
    return done.stdout


class PackageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = pathlib.Path(folder.name)
        once = cls.made_in(cls.folder / "once")
        # The date of the last commit, which may be another one a moment later.
        cls.date = once[0].read_bytes()[24:36].decode().strip()
        cls.made = [once, cls.made_in(cls.folder / "again", f"SOURCE_DATE_EPOCH={cls.date}")]
        cls.names = {path.name.split("_")[0]: path for path in cls.made[0]}

    @staticmethod
    def made_in(folder, *environment):
        run("env", *environment, "cpack", "--config", f"{BUILD}/CPackConfig.cmake", "-B", folder)
        return sorted(folder.glob("*.deb"))

    def test_one_build_packed_twice_gives_the_same_bytes(self):
        self.assertEqual(set(self.names), set(CONTENTS))
        for once, again in zip(*self.made):
            self.assertEqual(once.name, again.name)
            self.assertEqual(once.read_bytes(), again.read_bytes(), once.name)

    def test_debian_finds_no_fault(self):
        run("lintian", "--allow-root", "--fail-on", "error,warning", *self.made[0])

    def test_each_has_its_files_and_dependencies(self):
        seen = set()
        for name, (files, dependencies) in CONTENTS.items():
            run("dpkg-deb", "-x", self.names[name], self.folder / name)
            there = {path.relative_to(self.folder / name).as_posix() for path in (self.folder / name).rglob("*")
                     if not path.is_dir()}
            self.assertFalse(there & seen)
            seen |= there
            depends = [word.split()[0] for word in run("dpkg-deb", "-f", self.names[name], "Depends").split(",")]
            for wanted, given in ((files, there), (dependencies, depends)):
                for pattern in wanted:
                    self.assertTrue(any(re.fullmatch(pattern.replace("++", r"\+\+"), one) for one in given), pattern)
            for path in there:
                self.assertTrue(path.startswith("usr/"), path)
        version = run("dpkg-deb", "-f", self.names["quillet"], "Version")
        self.assertEqual(run(self.folder / "quillet/usr/bin/quillet", "--version"), f"quillet {version}")

    def test_the_unit_has_no_fault(self):
        """With the command where it is here: the packaged unit finds it in the usual places."""
        text = (SOURCE / "packaging/linux/quillet-watch.service").read_text()
        self.assertIn("ExecStart=quillet watch\n", text)
        unit = self.folder / "quillet-watch.service"
        unit.write_text(text.replace("=quillet watch", f"={os.environ['QUILLET_BINARY']} watch"))
        printed = run("env", f"XDG_RUNTIME_DIR={self.folder}", "systemd-analyze", "--user", "--man=no", "verify", unit)
        self.assertNotIn("quillet-watch", printed)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
