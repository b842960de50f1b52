"""`watch`, and what other commands do beside it."""

import json
import os
import plistlib
import signal
import socket
import subprocess

import harness
from harness import BINARY, SAMPLES, RootTest


class DropTest(RootTest):
    def test_what_lies_there_at_the_start_and_what_comes_later_all_arrives_once(self):
        self.drop_file(self.sample("morning.m4a"))
        self.drop_file(self.sample("bars.mp3"))
        watch = self.watch()
        self.assertEqual({one["file"] for one in watch.events(2)}, {"morning.m4a", "bars.mp3"})
        self.drop_file(self.sample("stream.aac"))
        self.drop_file(self.sample("bars.mp3", number=2))  # a second file of the same name
        self.assertEqual([one["status"] for one in watch.events(2)], ["imported"] * 2)
        self.assertEqual(watch.stop(), 130)
        self.assert_whole(4)

    def test_polling_sees_the_same(self):
        watch = self.watch("--poll")
        files = [os.readlink(f"/proc/{watch.process.pid}/fd/{name}") for name in
                 os.listdir(f"/proc/{watch.process.pid}/fd")]
        self.assertNotIn("anon_inode:inotify", files)
        self.drop_file(self.sample("bars.mp3"))
        self.assertEqual(watch.events(1)[0]["file"], "bars.mp3")

    def test_a_file_that_is_still_written_or_partial_waits_while_others_arrive(self):
        watch = self.watch()
        content = (SAMPLES / "morning.m4a").read_bytes()
        with open(self.drop / "slow.m4a", "wb") as slow:
            slow.write(content[:9000])
            slow.flush()
            self.drop_file(self.sample("bars.mp3"))
            (self.drop / "later.m4a.part").write_bytes(content)
            (self.drop / ".hidden.m4a").write_bytes(content)
            self.assertEqual(watch.events(1)[0]["file"], "bars.mp3")
            slow.write(content[9000:])
        event = watch.events(1)[0]
        self.assertEqual((event["file"], event["durationMs"]), ("slow.m4a", 3000))
        os.rename(self.drop / "later.m4a.part", self.drop / "later.m4a")
        self.assertEqual(watch.events(1)[0]["file"], "later.m4a")
        self.assertEqual([path.name for path in self.drop.iterdir()], [".hidden.m4a"])
        watch.stop()
        self.assert_whole(3)

    def test_what_is_no_audio_lies_in_rejected_under_its_own_name_and_good_files_arrive(self):
        self.drop.mkdir(parents=True)
        (self.drop / "folder.mp3").mkdir()
        os.mkfifo(self.drop / "fifo.mp3")
        with socket.socket(socket.AF_UNIX) as listener:
            listener.bind(os.path.relpath(self.drop / "socket.mp3"))
        os.symlink("/nowhere", self.drop / "link.mp3")
        (self.drop / "empty.mp3").touch()
        (self.drop / "notes.txt").write_text("words")
        strange = os.path.join(os.fsencode(self.drop), b"bad \xff\n.txt")
        with open(strange, "wb") as file:
            file.write(b"words")
        longest = "n" * 251 + ".mp3"
        (self.drop / longest).write_text("no audio")
        self.rejected.mkdir()
        (self.rejected / longest).write_text("an earlier one")
        good = [self.sample(name, new) for name, new in (("morning.m4a", "y" * 251 + ".m4a"), ("bars.mp3", "noext"))]
        for path in good:
            self.drop_file(path)
        watch = self.watch()
        statuses = [event["status"] for event in watch.events(10)]
        self.assertEqual((statuses.count("imported"), statuses.count("rejected")), (2, 8))
        names = {os.fsencode(path.name) for path in self.rejected.iterdir()}
        self.assertEqual(names, {b"folder.mp3", b"fifo.mp3", b"socket.mp3", b"link.mp3", b"empty.mp3", b"notes.txt",
                                 b"bad \xff\n.txt", longest.encode(), ("n" * 247 + " (2).mp3").encode()})
        self.assertEqual(list(self.drop.iterdir()), [])
        self.assertEqual((self.rejected / longest).read_text(), "an earlier one")
        watch.stop()
        self.assertEqual(sum("rejected" in note or "it is now" in note for note in watch.notes), 8)
        self.assert_whole(2)

    def test_files_that_come_during_a_batch_and_a_drop_folder_made_anew_are_seen(self):
        watch = self.watch()
        for number in range(40):
            self.drop_file(self.sample("morning.m4a", f"{number}.m4a", number))
        harness.wait_until(lambda: any(self.media.iterdir()), "the batch")
        self.drop_file(self.sample("bars.mp3"))
        self.assertEqual(len({event["file"] for event in watch.events(41)}), 41)
        os.rmdir(self.drop)
        watch.read_note_until("made again")
        self.drop_file(self.sample("bars.mp3"))
        self.assertEqual(watch.events(1)[0]["file"], "bars.mp3")


class BesideTest(RootTest):
    def test_an_import_beside_a_watch_need_not_wait_for_the_folder_to_be_quiet(self):
        self.watch()
        self.sample("bars.mp3", number=1)
        (self.files / "other").mkdir()
        self.sample("bars.mp3", "other/bars.mp3", number=2)
        with subprocess.Popen(["sh", "-c", "while printf x; do :; done > growing.mp3.part"], cwd=self.drop) as writer:
            self.addCleanup(writer.kill)
            self.run_quillet("import", self.files)
            self.assertIsNone(writer.poll())
            writer.kill()
        self.assertEqual([track["file"] for track in self.tracks()], ["bars.mp3"] * 2)

    def test_a_second_watch_says_who_is_there_and_imports_hand_over(self):
        watch = self.watch()
        self.run_quillet("watch", status=1)
        self.assertIn(f"watch (process {watch.process.pid})", self.errors)
        done = self.run_json("import", SAMPLES)
        self.assertEqual({one["status"] for one in done}, {"imported"})
        self.assertEqual([one["persistentID"] for one in done], [str(n + 1) for n in range(len(done))])
        self.assertEqual(watch.stop(signal.SIGINT), 130)
        self.assert_whole(len(done))

    def test_recheck_and_remove_are_done_by_the_watch_also_under_a_long_root(self):
        self.use_root(self.base / ("long" * 25) / "root")
        watch = self.watch()
        self.run_quillet("import", SAMPLES / "morning.m4a", SAMPLES / "bars.mp3")
        self.run_quillet("library", "remove", "1", "--keep-file")
        self.assertEqual(self.run_json("recheck")[0]["addedAgain"], 1)
        self.run_quillet("library", "remove", "2")
        self.run_quillet("library", "remove", "2", status=1)
        watch.stop()
        self.assert_whole(1)
        self.assertEqual(list(plistlib.loads(self.database.read_bytes())), ["3"])
        self.assertEqual(self.run_json("recheck")[0]["records"], 1)

    def test_an_import_whose_watch_ends_becomes_the_library_side(self):
        watch = self.watch()
        command = [BINARY, "--root", self.root, "--json", "import", SAMPLES]
        with subprocess.Popen(command, text=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL) as process:
            harness.wait_until(lambda: any(self.drop.iterdir()), "the hand-over")
            watch.process.kill()
            done = [json.loads(line) for line in process.stdout]
        self.assertEqual(process.returncode, 0)
        self.assert_whole(len(done))

    def test_two_imports_at_once_both_end_well(self):
        commands = [[BINARY, "--root", self.root, "import", path] for path in (SAMPLES, SAMPLES)]
        processes = [subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE) for command in commands]
        for process in processes:
            _, errors = process.communicate(timeout=harness.LONGEST)
            self.assertEqual(process.returncode, 0, errors)
        self.assert_whole(12)


class KillTest(RootTest):
    def test_a_kill_at_any_write_of_the_library_leaves_one_that_opens(self):
        killed = 0
        for write in range(1, 115, 6):  # from making the tables to the last checkpoint
            with self.subTest(write=write):
                self.use_root(self.base / f"root{write}")
                files = [self.sample("untagged.m4a", f"{number}.m4a", number) for number in range(3)]
                done = subprocess.run(["strace", "-f", "-o", "/dev/null", "-e", "trace=pwrite64", "-e",
                                       f"inject=pwrite64:signal=KILL:when={write}", BINARY, "--root", self.root,
                                       "import", "--move", *files], capture_output=True)
                killed += done.returncode == -signal.SIGKILL
                self.run_quillet("recheck")
                waiting = [*self.files.iterdir(), *self.drop.iterdir()]
                self.assert_whole(3 - len(waiting))
                for path in self.files.iterdir():
                    path.unlink()
        self.assertGreater(killed, 10)

    def test_after_a_kill_in_the_middle_of_a_batch_every_file_is_in_the_library_once(self):
        for number in range(60):
            self.drop_file(self.sample("untagged.m4a", f"{number}.m4a", number))
        for enough in (3, 25):  # killed twice, at different points
            watch = self.watch()
            harness.wait_until(lambda: len(list(self.media.iterdir())) >= enough, "the middle of the batch")
            watch.process.kill()
            watch.process.wait()
        watch = self.watch()
        harness.wait_until(lambda: not any(self.drop.iterdir()), "the rest")
        watch.stop()
        self.run_quillet("recheck")
        self.assert_whole(60)
        self.assertEqual({track["file"] for track in self.tracks()}, {f"{number}.m4a" for number in range(60)})


if __name__ == "__main__":
    harness.main()
