#!/usr/bin/env python3
"""docs_test - every command of the README and of doc/batch.md is run, every link resolves.

    docs_test.py PROGRAM [--quick]

Runs the ```sh blocks in their order in a copy of the sources. --quick leaves out the blocks that build.
Nothing on the machine is changed: commands after `sudo` install into a separate folder, and packages
are only looked up. ./scripts/test.sh is left to tests/package/bare_machine_test.sh, which runs it on a
bare machine. Status 77 (skipped) with the reason without ffmpeg or GNU parallel."""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests" / "media"))
import caption_track  # noqa: E402  (found through the path set above)

SKIPPED = 77
program = None
quick = False

BLOCK = re.compile(r"^```(\w+)\n(.*?)^```$", re.MULTILINE | re.DOTALL)
ALIGNED = ("-video_track_timescale", "30000", "-movie_timescale", "30000", "-bsf:s",
           "setts=time_base=1/30000:ts=1001*ceil(TS/1001):duration=1001")
COUNT = 18  # of the lines of roll_up
TEXTS = ["Captions travel with the picture", "Two rows of text,", "one above the other", "The end."]


def blocks(document, language):
    return [text for kind, text in BLOCK.findall((ROOT / document).read_text(encoding="utf-8"))
            if kind == language]


def ffmpeg(*arguments, cwd=None):
    return subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-y", *map(str, arguments)], cwd=cwd,
                          check=True, stdout=subprocess.PIPE, text=True).stdout


def ffprobe(path, *entries):
    return subprocess.run(["ffprobe", "-v", "error", *entries, "-of", "csv=p=0", path], check=True,
                          stdout=subprocess.PIPE, text=True).stdout.strip().strip(",")


def texts_in(path):
    srt = ffmpeg("-f", "lavfi", "-i", f"movie={path.name}[out+subcc]", "-map", "0:s", "-f", "srt", "-",
                 cwd=path.parent)
    srt = re.sub(r"<[^>]*>|\{[^}]*\}|\r", "", srt)
    return [line for line in srt.split("\n") if line and not re.match(r"\d+$|.*-->", line)]


def roll_up(lines):
    """An SCC file with each line rolled up at the bottom of the screen, two seconds apart. ffmpeg
    does not report the last of them, because no later line rolls it away."""
    def with_parity(byte):
        return byte if bin(byte).count("1") % 2 else byte | 0x80

    def word(pair):
        return "".join(f"{with_parity(ord(letter)):02x}" for letter in pair)
    scc = ["Scenarist_SCC V1.0\n"]
    for number, line in enumerate(lines):
        words = ["9425", "9425", "94ad", "94ad", "9470", "9470"]
        words += [word(line[at:at + 2].ljust(2)) for at in range(0, len(line), 2)]
        scc.append(f"\n00:00:{2 + 2 * number:02}:00\t{' '.join(words)}\n")
    return "".join(scc)


def make_movies(folder):
    """The movies that the README mentions, each with the trait that the README describes."""
    def make(name, b_frames=0, sound="aac", extra=()):
        ffmpeg("-f", "lavfi", "-i", "testsrc2=size=160x90:rate=30000/1001:duration=8",
               "-f", "lavfi", "-i", "sine=frequency=440:sample_rate=48000:duration=8",
               "-i", ROOT / "demo" / "captions.scc", "-map", "0:v", "-map", "1:a", "-map", "2:s",
               "-c:v", "libx264", "-preset", "veryfast", "-pix_fmt", "yuv420p", "-g", "24", "-bf",
               b_frames, "-c:a", sound, "-c:s", "copy", *extra, folder / name)
    make("delivery.mov")
    make("pcm.mov", sound="pcm_s16le")
    make("b_frames.mov", b_frames=2, extra=ALIGNED)
    make("upright_source.mov", extra=ALIGNED)
    ffmpeg("-i", folder / "upright_source.mov", "-map", "0:v", "-map", "0:a", "-map", "0:s", "-c", "copy",
           "-metadata:s:v", "rotate=90", *ALIGNED, folder / "rotated.mov")
    ffmpeg("-i", folder / "upright_source.mov", "-itsoffset", "0.5", "-i", folder / "upright_source.mov",
           "-map", "0:v", "-map", "1:a", "-map", "0:s", "-c", "copy", *ALIGNED, folder / "late.mov")
    # One caption in a single line that is longer than a caption message can be.
    short = (ROOT / "demo" / "captions.scc").read_text(encoding="ascii")
    long = short.replace("\n\n00:00:03:27\t", " ")
    assert long != short
    (folder / "captions.scc").write_text(long, encoding="ascii")
    ffmpeg("-i", folder / "upright_source.mov", "-i", folder / "captions.scc", "-map", "0:v", "-map",
           "0:a", "-map", "1:s", "-c", "copy", *ALIGNED, folder / "long.mov")


def write_script(path, text):
    path.write_text(text)
    path.chmod(0o755)


class Commands(unittest.TestCase):
    """All blocks, run once in order; the tests examine the results."""

    @classmethod
    def setUpClass(cls):
        cls.scratch = tempfile.TemporaryDirectory(prefix="quarrypack_docs_")
        cls.addClassCleanup(cls.scratch.cleanup)
        base = pathlib.Path(cls.scratch.name)
        cls.folder, tools = base / "sources", base / "tools"
        cls.folder.mkdir()
        tools.mkdir()
        names = subprocess.run(["git", "ls-files", "-z", "--cached", "--others",
                                "--exclude-standard"], cwd=ROOT, check=True,
                               stdout=subprocess.PIPE).stdout
        subprocess.run(f"tar -c --null --files-from=- | tar -x -C '{cls.folder}'", cwd=ROOT,
                       shell=True, check=True, input=names)
        (tools / "quarrypack").symlink_to(program)
        for companion in ("quarrypack-captions", "quarrypack-check", "quarrypack-embed"):
            (tools / companion).symlink_to(program.parent / companion)
        (tools / "quarrypack-batch").symlink_to(ROOT / "batch" / "quarrypack-batch")
        write_script(tools / "sudo", '#!/bin/sh\n[ "$1" = apt-get ] && shift && '
                     'exec apt-get --simulate "$@"\nexec "$@"\n')
        cls.environment = dict(os.environ, DESTDIR=str(base / "installed"), QUARRYPACK=str(program),
                               PATH=f"{tools}:{os.environ['PATH']}")
        if shutil.which("ccache"):
            cls.environment["CMAKE_CXX_COMPILER_LAUNCHER"] = "ccache"
        make_movies(cls.folder)
        for document in ("README.md", "doc/batch.md"):
            for block in blocks(document, "sh"):
                cls.run_block(block)
        cls.installed = base / "installed"

    @classmethod
    def run_block(cls, block):
        block = re.sub(r"^\./scripts/test\.sh.*\n", "", block, flags=re.MULTILINE)
        if quick and ("cmake" in block or "package.sh" in block):
            print(f"left out (--quick):\n{block}")
            return
        done = subprocess.run(["bash", "-euo", "pipefail", "-c", block], cwd=cls.folder,
                              env=cls.environment, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        if done.returncode:
            raise AssertionError(f"status {done.returncode} of\n{block}\n{done.stdout}")

    def test_readme_has_commands(self):
        self.assertGreaterEqual(len(blocks("README.md", "sh")), 12)

    def test_captions_come_through(self):
        for name in ("clip", "aligned", "aac", "spread", "b_frames", "b_frames_edited", "upright",
                     "rotated", "filled", "converted/clip"):
            with self.subTest(movie=name):
                self.assertEqual(texts_in(self.folder / f"{name}.mp4"), TEXTS)

    def test_the_traits_that_the_readme_warns_of_occur(self):
        for name in ("delivery", "pcm", "long"):
            output = self.folder / f"unprepared_{name}.mp4"
            subprocess.run([program, "--input-file", self.folder / f"{name}.mov", "--output-file",
                            output], check=True, stdout=subprocess.DEVNULL)
            with self.subTest(movie=name):
                self.assertNotEqual(texts_in(output) if self.has_captions(output) else [], TEXTS)

    @staticmethod
    def has_captions(path):
        try:
            texts_in(path)
            return True
        except subprocess.CalledProcessError:
            return False

    def test_pictures_keep_their_number_when_the_edit_is_written_again(self):
        for name in ("b_frames", "b_frames_edited"):
            self.assertEqual(ffprobe(self.folder / f"{name}.mp4", "-select_streams", "v",
                                     "-show_entries", "stream=nb_frames"), "240")

    def test_ffmpeg_shows_all_pictures_when_the_edit_is_written_again(self):
        for name, pictures in (("b_frames", 238), ("b_frames_edited", 240)):
            hashes = ffmpeg("-i", self.folder / f"{name}.mp4", "-map", "0:v", "-vsync", "passthrough",
                            "-f", "framemd5", "-")
            self.assertEqual(len(re.findall(r"(?m)^0,", hashes)), pictures, name)

    @unittest.skipUnless(shutil.which("gst-launch-1.0"), "gstreamer1.0-tools is not installed")
    def test_all_pictures_are_shown_when_the_edit_is_written_again(self):
        for name, pictures in (("b_frames", 238), ("b_frames_edited", 240)):
            shown = subprocess.run(
                ["gst-launch-1.0", "-v", "filesrc", f"location={self.folder}/{name}.mp4", "!", "qtdemux",
                 "!", "h264parse", "!", "avdec_h264", "!", "fakesink", "sync=false", "silent=false"],
                check=True, stdout=subprocess.PIPE, text=True).stdout
            self.assertEqual(shown.count("last-message = chain "), pictures, name)

    def test_rotation_is_lost_and_set_again(self):
        def rotation(name):
            return ffprobe(self.folder / name, "-select_streams", "v", "-show_entries",
                           "stream_side_data=rotation")
        recipe, = [block for block in blocks("README.md", "sh") if "rotate=" in block]
        for angle in (-90, 90, 180):
            with self.subTest(angle=angle):
                ffmpeg("-i", "upright_source.mov", "-map", "0:v", "-map", "0:a", "-map", "0:s", "-c",
                       "copy", "-metadata:s:v", f"rotate={angle}", *ALIGNED, "rotated.mov",
                       cwd=self.folder)
                self.assertEqual(abs(int(rotation("rotated.mov"))), abs(angle))
                self.run_block(recipe)
                self.assertEqual(rotation("upright.mp4"), "")
                self.assertEqual(rotation("rotated.mp4"), rotation("rotated.mov"))

    def test_captions_get_a_picture_each_at_other_rates(self):
        """A roll-up line of 30 letters every two seconds, long enough for all places of a caption
        between two pictures."""
        lines = [f"Line number {number:02} of {COUNT}, no more." for number in range(1, COUNT + 1)]
        (self.folder / "rates.scc").write_text(roll_up([*lines, "one more", "last"]), encoding="ascii")
        align, = [block for block in blocks("README.md", "sh") if "aligned.mov" in block]
        spread, = [block for block in blocks("README.md", "sh") if "spread_scc" in block]
        for rate, timescale, tick in (("30000/1001", 30000, 1001), ("25", 25000, 1000),
                                      ("24000/1001", 24000, 1001)):
            with self.subTest(rate=rate):
                ffmpeg("-f", "lavfi", "-i", f"testsrc2=size=160x90:rate={rate}:duration=44", "-f",
                       "lavfi", "-i", "sine=sample_rate=48000:duration=44", "-i", "rates.scc", "-map",
                       "0:v", "-map", "1:a", "-map", "2:s", "-c:v", "libx264", "-preset",
                       "ultrafast", "-pix_fmt", "yuv420p", "-bf", "0", "-c:a", "aac", "-c:s", "copy",
                       "rates.mov", cwd=self.folder)
                for block in (align, spread):
                    block = re.sub(r"\b(delivery|clip|captions)\b", "rates", block)
                    block = re.sub(r"\b(aligned|spread)\b", r"rates_\1", block)
                    self.run_block(block.replace("1001", str(tick)).replace("30000", str(timescale)))
                for name in ("rates_aligned", "rates_spread"):
                    found = set(texts_in(self.folder / f"{name}.mp4")) - {"one more"}
                    self.assertEqual(sorted(found), lines)

    def test_silence_fills_the_beginning_of_late_sound(self):
        def duration(name):
            return float(ffprobe(self.folder / name, "-select_streams", "a", "-show_entries",
                                 "stream=duration"))
        self.assertAlmostEqual(duration("filled.mp4") - duration("clip.mp4"), 0.5, delta=0.1)
        loudness = subprocess.run(
            ["ffmpeg", "-nostdin", "-i", self.folder / "filled.mp4", "-t", "0.3", "-map", "0:a", "-af",
             "volumedetect", "-f", "null", "-"], check=True, stderr=subprocess.PIPE, text=True).stderr
        self.assertLess(float(re.search(r"max_volume: (-?[\d.]+)", loudness).group(1)), -50)

    def test_bytes_shown_are_those_written(self):
        written = (self.folder / "clip.mp4").read_bytes()
        text = (ROOT / "doc" / "output-format.md").read_text(encoding="utf-8")
        shown = [bytes.fromhex("".join(re.findall(r"^    ((?:[0-9a-f]{2} {1,2})+)", dump, re.MULTILINE)))
                 for dump in re.findall(r"(?:^    (?:[0-9a-f]{2} {1,2})+ .*\n)+", text, re.MULTILINE)]
        self.assertEqual(len(shown), 2)
        self.assertTrue(written.startswith(shown[0]))
        self.assertIn(shown[1], written)

    def test_boxes_written_are_those_documented(self):
        def kinds(data, start, end):
            for kind, first, last in caption_track.children(data, start, end):
                name = kind.decode().strip()
                yield name
                if name in ("moov", "trak", "mdia", "minf", "dinf", "stbl", "edts"):
                    yield from kinds(data, first + 8, last)
                if name == "dref":
                    yield from kinds(data, first + 16, last)
        text = (ROOT / "doc" / "output-format.md").read_text(encoding="utf-8")
        tree = re.search(r"^    ftyp\n(?:    .*\n)+", text, re.MULTILINE).group(0)
        told = set(re.findall(r"(?m)^ +([\w|]+(?: \| \w+)*)", tree.replace("|", "\n ")))
        written = (self.folder / "clip.mp4").read_bytes()
        found = set(kinds(written, 0, len(written)))
        self.assertEqual(told - found, {"tref", "hmhd", "nmhd", "sdtp"})
        self.assertEqual(found - told, set())

    def test_playlist_offers_the_captions(self):
        playlist = (self.folder / "hls" / "clip.m3u8").read_text()
        self.assertIn("TYPE=CLOSED-CAPTIONS", playlist)
        self.assertIn('INSTREAM-ID="CC1"', playlist)

    def test_subtitles_are_read_back(self):
        subtitles = (self.folder / "clip.srt").read_text()
        for text in TEXTS:
            self.assertIn(text, subtitles)

    def test_configuration_shown_is_the_one_carried(self):
        def settings(text):
            return {child.tag: child.text for child in xml.etree.ElementTree.fromstring(text)}
        shown = blocks("README.md", "xml")
        self.assertEqual(len(shown), 1)
        self.assertEqual(settings(shown[0]), settings(
            (ROOT / "doc" / "quarrypack_config.example.xml").read_bytes()))

    def test_job_array_converts_what_its_list_names(self):
        job = blocks("doc/batch.md", "sbatch")
        self.assertEqual(len(job), 1)
        write_script(self.folder / "convert.sbatch", job[0])
        shutil.rmtree(self.folder / "converted")
        (self.folder / "converted").mkdir()
        shutil.copyfile(self.folder / "clip.mov", self.folder / "deliveries" / "second.mov")
        self.run_block(blocks("doc/batch.md", "sh")[0])
        movies = (self.folder / "movies.txt").read_text().splitlines()
        self.assertEqual(len(movies), 2)
        for task in range(1, len(movies) + 1):
            subprocess.run(["bash", "convert.sbatch"], cwd=self.folder, check=True,
                           stdout=subprocess.DEVNULL,
                           env=dict(self.environment, SLURM_ARRAY_TASK_ID=str(task)))
        self.assertEqual({path.name for path in (self.folder / "converted").iterdir()},
                         {"clip.mp4", "second.mp4"})

    @unittest.skipIf("--quick" in sys.argv, "nothing is built")
    def test_installs_what_it_says(self):
        local = self.installed / "usr" / "local"
        for name in ("bin/quarrypack", "bin/quarrypack-batch", "bin/quarrypack-captions",
                     "bin/quarrypack-check", "bin/quarrypack-embed",
                     "share/man/man1/quarrypack-embed.1.gz",
                     "share/man/man1/quarrypack-check.1.gz",
                     "share/bash-completion/completions/quarrypack-check",
                     "share/zsh/site-functions/_quarrypack-check",
                     "share/fish/vendor_completions.d/quarrypack-check.fish",
                     "share/man/man1/quarrypack-captions.1.gz",
                     "share/bash-completion/completions/quarrypack-captions",
                     "share/zsh/site-functions/_quarrypack-captions",
                     "share/fish/vendor_completions.d/quarrypack-captions.fish",
                     "share/man/man1/quarrypack.1.gz",
                     "share/man/man1/quarrypack-batch.1.gz", "lib/libquarrypack_kav.a",
                     "lib/libquarrypack_kaf.a", "include/quarrypack/kav/reader.h",
                     "include/quarrypack/kaf/kav_stream.h", "lib/pkgconfig/quarrypack.pc",
                     "lib/cmake/quarrypack/quarrypackConfig.cmake",
                     "share/bash-completion/completions/quarrypack",
                     "share/bash-completion/completions/quarrypack-batch",
                     "share/bash-completion/completions/quarrypack-embed",
                     "share/zsh/site-functions/_quarrypack",
                     "share/fish/vendor_completions.d/quarrypack.fish",
                     "share/fish/vendor_completions.d/quarrypack-batch.fish",
                     "share/fish/vendor_completions.d/quarrypack-embed.fish",
                     "share/doc/quarrypack/LICENSE", "share/doc/quarrypack/README.md",
                     "share/doc/quarrypack/examples/quarrypack_config.xml"):
            self.assertTrue((local / name).exists(), name)
        documents = local / "share" / "doc" / "quarrypack" / "doc"
        self.assertEqual({path.name for path in documents.iterdir()},
                         {path.name for path in (ROOT / "doc").glob("*.md")})


class Links(unittest.TestCase):
    def documents(self):
        names = subprocess.run(["git", "ls-files", "--cached", "--others", "--exclude-standard",
                                "*.md"], cwd=ROOT, check=True, stdout=subprocess.PIPE,
                               text=True).stdout
        return [ROOT / name for name in names.splitlines()]

    @staticmethod
    def anchors(path):
        text = re.sub(r"^```.*?^```$", "", path.read_text(encoding="utf-8"),
                      flags=re.MULTILINE | re.DOTALL)
        return {re.sub(r"[^\w\- ]", "", heading.lower()).strip().replace(" ", "-")
                for heading in re.findall(r"^#+ (.*)$", text, re.MULTILINE)}

    def test_every_link_resolves(self):
        found = 0
        for document in self.documents():
            text = document.read_text(encoding="utf-8")
            for target in re.findall(r"\]\(([^)\s]+)\)", text):
                with self.subTest(document=document.name, target=target):
                    self.assertNotRegex(target, r"^https?:", "no link leaves the repository")
                    name, _, anchor = target.partition("#")
                    path = (document.parent / name).resolve() if name else document
                    self.assertTrue(path.exists())
                    if anchor:
                        self.assertIn(anchor, self.anchors(path))
                    found += 1
        self.assertGreater(found, 10)

    def test_installed_documents_link_to_installed_files(self):
        installed = {*ROOT.glob("*.md"), *(ROOT / "doc").glob("*.md"), ROOT / "LICENSE"}
        for document in installed:
            for target in re.findall(r"\]\(([^)#\s]+)", document.read_text(encoding="utf-8")):
                with self.subTest(document=document.name, target=target):
                    self.assertIn((document.parent / target).resolve(), installed)

    def test_completions_offer_the_rates_of_time_codes(self):
        rates = re.findall(r'{"([\d.]+)", \d+, Time', (ROOT / "captions/timecode.cpp").read_text())
        self.assertGreater(len(rates), 5)
        found = 0
        for completion in (ROOT / "completion").iterdir():
            for offered in re.findall(r"23\.976[\d. ]*", completion.read_text()):
                with self.subTest(completion=completion.name):
                    self.assertEqual(offered.split(), rates)
                found += 1
        self.assertEqual(found, 9, "three programs in three shells")

    def test_one_version_everywhere(self):
        version = re.search(r"project\(quarrypack VERSION ([\d.]+)",
                            (ROOT / "CMakeLists.txt").read_text()).group(1)
        self.assertRegex((ROOT / "CHANGELOG.md").read_text(), rf"(?m)\A.*?\n\n.*?\n\n## {version}\b")
        self.assertIn(f"quarrypack_{version}_amd64.deb", (ROOT / "README.md").read_text())
        self.assertIn(f"find_package(quarrypack {version} ", (ROOT / "doc" / "api.md").read_text())


def main(arguments):
    global program, quick
    if not arguments:
        sys.exit(__doc__)
    for tool in ("ffmpeg", "parallel", "git"):
        if not shutil.which(tool):
            print(f"skipped: {tool} is not installed")
            return SKIPPED
    if not (ROOT / ".git").exists():
        print("skipped: the sources are not a clone, so git cannot list the files that belong to them")
        return SKIPPED
    program = pathlib.Path(arguments[0]).resolve()
    quick = "--quick" in arguments
    load = unittest.defaultTestLoader.loadTestsFromTestCase
    tests = unittest.TestSuite([load(Links), load(Commands)])
    return 0 if unittest.TextTestRunner(verbosity=1).run(tests).wasSuccessful() else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
