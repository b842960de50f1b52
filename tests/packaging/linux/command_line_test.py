"""Man pages and completions against what the command itself says in its --help."""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

import shells

BINARY = os.environ["QUILLET_BINARY"]
SOURCE = pathlib.Path(os.environ["QUILLET_SOURCE"])
PACKAGING = SOURCE / "packaging/linux"
EVERYWHERE = {"--root", "--json", "-h", "--help"}  # whatever the command
PAGES = sorted((PACKAGING / "man").glob("*.1"))


def help_of(path):
    """The options and the commands below that the help of a command names."""
    text = subprocess.run([BINARY, *path, "--help"], capture_output=True, text=True, check=True).stdout
    parts = dict(re.findall(r"^(Options|Subcommands):\n((?:  .*\n)+)", text, re.MULTILINE))
    options = re.findall(r"^  (-\S+)", parts.get("Options", ""), re.MULTILINE)
    below = re.findall(r"^  (\w+)", parts.get("Subcommands", ""), re.MULTILINE)
    return {name for option in options for name in option.split(",")}, below


def commands():
    """All commands: words to (options, commands below)."""
    found, open_paths = {}, [()]
    while open_paths:
        path = open_paths.pop()
        found[path] = help_of(path)
        open_paths += [path + (word,) for word in found[path][1]]
    return found


COMMANDS = commands()


def flags(mdoc):
    """The options that a piece of a man page names: "Fl -output | o" is --output and -o."""
    found = set()
    for names in re.findall(r"\bFl ((?:-?[a-z][-a-z]*)(?: \| -?[a-z][-a-z]*)*)", mdoc):
        found |= {"-" + name for name in names.split(" | ")}
    return found


class PageTest(unittest.TestCase):
    def test_pages_have_no_faults(self):
        for page in PAGES:
            for tool in (["mandoc", "-T", "lint", "-W", "warning", page], ["groff", "-ww", "-mandoc", "-Tutf8", "-z", page]):
                with self.subTest(page=page.name, tool=tool[0]):
                    run = subprocess.run(tool, capture_output=True, text=True, check=False)
                    self.assertEqual((run.returncode, run.stdout + run.stderr), (0, ""))

    def test_each_command_has_a_synopsis_with_just_its_options(self):
        told = {}
        for page in PAGES:
            synopsis = re.search(r"^\.Sh SYNOPSIS\n(.*?)^\.Sh", page.read_text(), re.MULTILINE | re.DOTALL).group(1)
            for words, body in re.findall(r"^\.Nm quillet ?(.*)\n((?:(?!\.Nm).*\n)*)", synopsis, re.MULTILINE):
                path = tuple(words.split())
                told[path] = told.get(path, set()) | flags(body)
        leaves = {path: options for path, (options, below) in COMMANDS.items() if not below}
        leaves[()] = COMMANDS[()][0]
        self.assertEqual(set(told), set(leaves))
        for path, options in leaves.items():
            with self.subTest(command=path):
                self.assertEqual(told[path] - EVERYWHERE, options - EVERYWHERE)
        self.assertEqual(told[()], leaves[()])

    def test_what_a_synopsis_names_is_described_and_nothing_else(self):
        for page in PAGES:
            with self.subTest(page=page.name):
                text = page.read_text()
                synopsis = re.search(r"^\.Sh SYNOPSIS\n(.*?)^\.Sh", text, re.MULTILINE | re.DOTALL).group(1)
                described = flags("\n".join(re.findall(r"^\.It (Fl .*)", text, re.MULTILINE)))
                self.assertEqual(described, flags(synopsis))


FILES = {"a.mp3", "b.m4a", "c.png"}
# A line, what is offered behind it, and what is not.
WORDS = [
    ("quillet library show ", {"1"}, {"a.mp3"}),
    ("quillet library remove ", {"1"}, {"a.mp3"}),
    ("quillet --root nowhere library show ", set(), {"1"}),
    ("quillet import ", {"a.mp3", "b.m4a"}, {"import"}),
    ("quillet import --move ", {"a.mp3", "b.m4a"}, set()),
    ("quillet --json info ", {"a.mp3"}, {"tag"}),
    ("quillet tag show --jobs 2 ", {"a.mp3"}, {"show"}),
    ("quillet tag cover a.mp3 -o ", FILES, set()),
    ("quillet tag set --cover ", {"c.png", "none"}, {"show"}),
    ("quillet tag set --title ", set(), FILES),
    ("quillet tag copy ", {"v1-to-v2", "v2-to-v1"}, {"a.mp3"}),
    ("quillet tag copy v1-to-v2 ", {"a.mp3"}, {"v1-to-v2"}),
    ("quillet tag drop --dry-run ", {"v1", "v2"}, {"a.mp3"}),
    ("quillet tag drop v2 ", {"a.mp3"}, {"v1"}),
    ("quillet tag convert --to ", {"2.2", "2.3", "2.4"}, {"a.mp3"}),
    ("quillet tag convert --to 2.3 ", {"a.mp3"}, {"2.3"}),
    ("quillet tag se", {"set"}, {"show"}),
]


class CompletionTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        here = pathlib.Path(self.folder.name)
        for name in FILES:
            (here / name).touch()
        shutil.copy(SOURCE / "samples/bars.mp3", here / "a.mp3")
        root = os.path.join(tempfile.mkdtemp(dir=here, prefix=".root"))
        self.environment = {"PATH": os.path.dirname(BINARY) + ":" + os.environ["PATH"], "QUILLET_ROOT": root,
                            "COMPLETIONS": str(PACKAGING / "completions")}
        subprocess.run([BINARY, "--root", root, "import", here / "a.mp3"], check=True, capture_output=True)

    def offers(self, shell):
        paths = list(COMMANDS)
        groups = [path for path in paths if COMMANDS[path][1]]
        lines = [" ".join(("quillet", *path, "-")) for path in paths]
        lines += [" ".join(("quillet", *path, "")) for path in groups]
        lines += [line for line, _, _ in WORDS]
        answers = iter(shells.ask(shell, lines, self.folder.name, self.environment))
        for path in paths:
            with self.subTest(shell=shell, options_of=path):
                self.assertEqual(next(answers), COMMANDS[path][0] | EVERYWHERE)
        for path in groups:
            with self.subTest(shell=shell, commands_below=path):
                self.assertEqual(next(answers), set(COMMANDS[path][1]))
        for line, offered, not_offered in WORDS:
            with self.subTest(shell=shell, line=line):
                answer = next(answers)
                self.assertLessEqual(offered, answer)
                self.assertFalse(not_offered & answer, answer)

    def test_bash(self):
        self.offers("bash")

    def test_fish(self):
        self.offers("fish")

    def test_zsh(self):
        self.offers("zsh")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
