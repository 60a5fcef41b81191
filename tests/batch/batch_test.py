#!/usr/bin/env python3
"""batch_test - quarrypack-batch over a dozen movies, one of them broken, interrupted and resumed.

    batch_test.py PROGRAM [-v]

Status 77 (skipped) with the reason when GNU parallel or ffmpeg is not installed."""
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
BATCH = ROOT / "batch" / "quarrypack-batch"
SKIPPED = 77
MOVIES = 12
BROKEN = "movie 07.mov"
program = None


def make_movies(folder):
    """A dozen short captioned movies of different lengths in a folder and one below it."""
    (folder / "second day").mkdir()
    for number in range(1, MOVIES + 1):
        path = folder / ("second day" if number > 9 else ".") / f"movie {number:02}.mov"
        subprocess.run(
            ["ffmpeg", "-nostdin", "-v", "error", "-f", "lavfi",
             "-i", f"testsrc2=size=64x48:rate=30:duration={1.5 + number / 10}",
             "-i", ROOT / "demo" / "captions.scc", "-map", "0:v", "-map", "1:s",
             "-c:v", "libx264", "-preset", "ultrafast", "-c:s", "copy",
             "-video_track_timescale", "30000", "-movie_timescale", "30000",
             "-bsf:s", "setts=time_base=1/30000:ts=1000*ceil(TS/1000):duration=1000", path],
            check=True)
    broken = folder / BROKEN
    broken.write_bytes(broken.read_bytes()[:3000])


class Batch(unittest.TestCase):
    movies = None

    def setUp(self):
        scratch = tempfile.TemporaryDirectory(prefix="quarrypack_batch_")
        self.addCleanup(scratch.cleanup)
        self.folder = pathlib.Path(scratch.name)
        shutil.copytree(self.movies, self.folder / "in")
        self.environment = dict(os.environ, QUARRYPACK=str(program))

    def slow_program(self, seconds):
        """A converter on a slow disk: it begins to write, and then waits."""
        script = self.folder / "slow_quarrypack"
        script.write_text(f'#!/bin/sh\n: >"$4"\nsleep {seconds}\nexec "{program}" "$@"\n')
        script.chmod(0o755)
        self.environment["QUARRYPACK"] = str(script)

    def start(self, *arguments):
        # As if from a terminal, where an interruption is not ignored.
        return subprocess.Popen([BATCH, *arguments], cwd=self.folder, env=self.environment,
                                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, text=True, start_new_session=True)

    def run_batch(self, *arguments):
        run = self.start(*arguments)
        run.out, run.err = run.communicate(timeout=120)
        return run

    def outputs(self):
        return {str(path.relative_to(self.folder / "out")): path
                for path in (self.folder / "out").rglob("*") if path.is_file()}

    def all_names(self):
        return {str(path.relative_to(self.folder / "in").with_suffix(".mp4"))
                for path in (self.folder / "in").rglob("*.mov") if path.name != BROKEN}

    def expect_converted(self, names):
        for name in names:
            direct = self.folder / "direct.mp4"
            subprocess.run([program, "--input-file",
                            self.folder / "in" / pathlib.Path(name).with_suffix(".mov"),
                            "--output-file", direct], check=True, stdout=subprocess.DEVNULL)
            self.assertEqual((self.folder / "out" / name).read_bytes(), direct.read_bytes(), name)

    def interrupt_after(self, count, number, *arguments):
        run = self.start(*arguments)
        end = time.monotonic() + 60
        while sum(1 for name in self.outputs() if name.endswith(".mp4")) < count:
            self.assertLess(time.monotonic(), end, "nothing is converted")
            time.sleep(0.02)
        if number == signal.SIGKILL:
            os.killpg(run.pid, number)
        else:
            run.send_signal(number)
        run.out, run.err = run.communicate(timeout=30)
        return run

    def test_converts_all_but_the_broken_one(self):
        run = self.run_batch("--output-dir", "out", "in")
        self.assertEqual(run.returncode, 1, run.err)
        self.assertEqual(set(self.outputs()), self.all_names())
        self.expect_converted(self.all_names())
        self.assertIn("11 converted, 1 failed, 0 open, 0 already there\n", run.out)
        failed = [line for line in run.out.splitlines() if line.startswith("failed")]
        self.assertEqual(len(failed), 1)
        self.assertTrue(failed[0].endswith(BROKEN))
        self.assertIn("Caught an unknown exception", run.err)
        log = (self.folder / "quarrypack-batch.log").read_text().splitlines()
        self.assertEqual(len(log), 1 + MOVIES)

    def test_embeds_when_it_is_told_to(self):
        embed = pathlib.Path(program).parent / "quarrypack-embed"
        self.environment["QUARRYPACK_EMBED"] = str(embed)
        run = self.run_batch("--embed", "--output-dir", "out", "in")
        self.assertEqual(run.returncode, 1, run.err)
        self.assertEqual(set(self.outputs()), self.all_names())
        for name in self.all_names():
            direct = self.folder / "direct.mp4"
            subprocess.run([embed, self.folder / "in" / pathlib.Path(name).with_suffix(".mov"),
                            direct], check=True, stdout=subprocess.DEVNULL)
            self.assertEqual((self.folder / "out" / name).read_bytes(), direct.read_bytes(), name)
        self.assertIn("11 converted, 1 failed, 0 open, 0 already there\n", run.out)
        self.assertIn("quarrypack-embed: cannot read", run.err)

    def test_says_0_when_none_failed(self):
        (self.folder / "in" / BROKEN).unlink()
        run = self.run_batch("--jobs", "2", "--log", "other.log", "--output-dir", "out", "in")
        self.assertEqual(run.returncode, 0, run.err)
        self.assertEqual(run.err, "")
        self.assertTrue((self.folder / "other.log").exists())

    def test_needs_no_more_of_its_surroundings_than_the_path(self):
        self.environment = {name: self.environment[name] for name in ("PATH", "QUARRYPACK")}
        run = self.run_batch("--output-dir", "out", "in/movie 01.mov")
        self.assertEqual((run.returncode, run.err), (0, ""))
        self.assertEqual(set(self.outputs()), {"movie 01.mp4"})

    def test_counts_processors_where_little_is_known_of_them(self):
        """lscpu complains if there is no /sys, as in some containers."""
        lscpu = self.folder / "lscpu"
        lscpu.write_text('#!/bin/sh\necho "lscpu: failed to determine number of CPUs" >&2\nexit 1\n')
        lscpu.chmod(0o755)
        self.environment["PATH"] = f"{self.folder}:{self.environment['PATH']}"
        run = self.run_batch("--output-dir", "out", "in/movie 01.mov")
        self.assertEqual((run.returncode, run.err), (0, ""))

    def test_writes_beside_the_inputs_without_a_folder(self):
        run = self.run_batch("in/movie 01.mov", "in/second day")
        self.assertEqual(run.returncode, 0, run.err)
        self.assertEqual({str(path.relative_to(self.folder)) for path in self.folder.rglob("*.mp4")},
                         {"in/Converted_movie 01.mp4", "in/second day/Converted_movie 10.mp4",
                          "in/second day/Converted_movie 11.mp4",
                          "in/second day/Converted_movie 12.mp4"})

    def expect_interruption_and_resume(self, number, status):
        self.slow_program(0.4)
        run = self.interrupt_after(3, number, "--jobs", "2", "--output-dir", "out", "in")
        self.assertEqual(run.returncode, status, run.err)
        if number == signal.SIGKILL:
            time.sleep(1.5)  # the jobs themselves live on to their ends
        done = {name for name in self.outputs() if name.endswith(".mp4")}
        self.assertLess(len(done), MOVIES - 1)
        self.expect_converted(done)
        before = {name: self.outputs()[name].stat().st_mtime_ns for name in done}
        if number != signal.SIGKILL:
            self.assertEqual(set(self.outputs()), done, "an unfinished file was left")
            self.assertRegex(run.out, r"[1-9]\d* open, 0 already there\n")

        self.slow_program(0)
        run = self.run_batch("--resume", "--output-dir", "out", "in")
        self.assertEqual(run.returncode, 1, run.err)
        self.assertEqual(set(self.outputs()), self.all_names())
        self.expect_converted(self.all_names())
        self.assertEqual({name: self.outputs()[name].stat().st_mtime_ns for name in done}, before,
                         "a finished movie was converted again")
        self.assertIn(f"{MOVIES - 1 - len(done)} converted, 1 failed, 0 open, {len(done)} already",
                      run.out)

    def test_resumes_after_an_interruption(self):
        self.expect_interruption_and_resume(signal.SIGINT, 130)

    def test_resumes_after_a_termination(self):
        self.expect_interruption_and_resume(signal.SIGTERM, 143)

    def test_resumes_after_a_crash(self):
        self.expect_interruption_and_resume(signal.SIGKILL, -signal.SIGKILL)

    def test_resume_converts_again_what_is_newer(self):
        self.run_batch("--output-dir", "out", "in")
        os.utime(self.folder / "in" / "movie 02.mov", (time.time() + 60, time.time() + 60))
        run = self.run_batch("--resume", "--output-dir", "out", "in")
        self.assertIn("1 converted, 1 failed, 0 open, 10 already there\n", run.out)
        log = (self.folder / "quarrypack-batch.log").read_text().splitlines()
        self.assertEqual(sum(1 for line in log if "\t:\t" in line), MOVIES + 2)

    def remote_shell(self, command):
        """A replacement for ssh that runs the command on this machine."""
        shell = self.folder / "ssh"
        shell.write_text('#!/bin/sh\necho "$1" >>"%s/machines"\nshift\n[ "$1" != -- ] || shift\n'
                         '%s\n' % (self.folder, command))
        shell.chmod(0o755)
        return shell

    def test_runs_on_other_machines(self):
        # A real login sets SHELL, the shell in which GNU parallel runs its jobs.
        shell = self.remote_shell('SHELL=/bin/sh exec sh -c "$*"')
        self.environment["PATH"] = f"{BATCH.parent}:{self.folder}:{self.environment['PATH']}"
        (self.folder / "quarrypack").symlink_to(program)
        del self.environment["QUARRYPACK"]
        run = self.run_batch("--sshlogin", f"2/{shell} one,2/{shell} two", "--output-dir", "out",
                             "in")
        self.assertEqual(run.returncode, 1, run.err)
        self.assertEqual(set(self.outputs()), self.all_names())
        self.assertEqual(set((self.folder / "machines").read_text().split()), {"one", "two"})

    def test_believes_a_machine_only_what_is_there(self):
        """A machine may report success without having done anything."""
        shell = self.remote_shell("exit 0")
        run = self.run_batch("--sshlogin", f"2/{shell} idle", "--output-dir", "out",
                             "in/movie 01.mov")
        self.assertEqual(run.returncode, 1, run.out)
        self.assertIn("0 converted, 1 failed", run.out)
        self.assertIn("its job wrote nothing", run.err)
        self.assertEqual(self.outputs(), {})
        self.run_batch("--output-dir", "out", "in/movie 01.mov")
        run = self.run_batch("--sshlogin", f"2/{shell} idle", "--output-dir", "out",
                             "in/movie 01.mov")
        self.assertEqual(run.returncode, 1, run.out)

    def test_leaves_a_movie_to_the_run_that_has_it(self):
        self.slow_program(2)
        first = self.start("--output-dir", "out", "in/movie 01.mov")
        while "movie 01.mp4.partial" not in self.outputs():
            time.sleep(0.02)
        second = self.run_batch("--log", "second.log", "--output-dir", "out", "in/movie 01.mov")
        first.communicate(timeout=30)
        self.assertEqual((first.returncode, second.returncode), (0, 1))
        self.assertIn("is being converted by another run", second.err)
        self.expect_converted(["movie 01.mp4"])

    def test_never_replaces_its_input(self):
        movie = self.folder / "in" / "movie 01.mov"
        same = movie.with_suffix(".mp4")
        movie.rename(same)
        before = same.read_bytes()
        run = self.run_batch("--output-dir", "in", same)
        self.assertEqual(run.returncode, 1)
        self.assertIn("would be replaced", run.err)
        self.assertEqual(same.read_bytes(), before)

    def test_refuses_two_inputs_for_one_output(self):
        run = self.run_batch("--output-dir", "out", "in/movie 01.mov", "in/../in/movie 02.mov",
                             "in/second day/movie 10.mov")
        self.assertEqual(run.returncode, 0, run.err)
        (self.folder / "in" / "second day" / "movie 01.mov").write_bytes(b"")
        run = self.run_batch("--output-dir", "out", "in/movie 01.mov",
                             "in/second day/movie 01.mov")
        self.assertEqual(run.returncode, 2)
        self.assertIn("would both become", run.err)

    def test_takes_odd_names(self):
        odd = self.folder / "in" / "it's \"$(odd)\" & ünïcode;\ttab.mov"
        (self.folder / "in" / "movie 01.mov").rename(odd)
        run = self.run_batch("--output-dir", "out", odd)
        self.assertEqual(run.returncode, 0, run.err)
        self.assertEqual(set(self.outputs()), {odd.with_suffix(".mp4").name})

    def test_a_missing_file_fails_alone(self):
        run = self.run_batch("--output-dir", "out", "in/movie 01.mov", "in/nothing.mov")
        self.assertEqual(run.returncode, 1)
        self.assertIn("1 converted, 1 failed", run.out)
        self.assertIn("File not found", run.err)

    def test_tells_how_it_is_used(self):
        help_run = self.run_batch("--help")
        self.assertEqual((help_run.returncode, help_run.err), (0, ""))
        self.assertIn("usage: quarrypack-batch", help_run.out)
        for wrong in ([], ["--jobs"], ["--unknown", "x"]):
            with self.subTest(wrong=wrong):
                run = self.run_batch(*wrong)
                self.assertEqual((run.returncode, run.out), (2, ""))
                self.assertNotEqual(run.err, "")


def main(arguments):
    global program
    if not arguments:
        sys.exit(__doc__)
    for tool in ("parallel", "ffmpeg"):
        if not shutil.which(tool):
            print(f"skipped: {tool} is not installed")
            return SKIPPED
    program = pathlib.Path(arguments[0]).resolve()
    with tempfile.TemporaryDirectory(prefix="quarrypack_movies_") as folder:
        Batch.movies = pathlib.Path(folder)
        make_movies(Batch.movies)
        runner = unittest.TextTestRunner(verbosity=2 if "-v" in arguments else 1)
        tests = unittest.defaultTestLoader.loadTestsFromTestCase(Batch)
        return 0 if runner.run(tests).wasSuccessful() else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
