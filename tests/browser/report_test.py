#!/usr/bin/env python3
"""report_test - the pages of quarrypack-check in a real browser.

    report_test.py WRITE_REPORTS MODULES [--programs CHECK CAPTIONS] [--pictures FOLDER]

Opens reports in headless Chromium: one with everything that a page can show, an empty one, and one of a
long film. With the programs quarrypack-check and quarrypack-captions it also opens the report of an SCC
file and, if ffmpeg is installed, of a movie with a caption track. The cues in each page must be those of
the caption document beside it. A page must cause no message on the console and no request. It must not be
wider than the screen of a telephone, and must break no rule of WCAG 2.1 AA, in light and dark colour
schemes. The test must also detect a page that breaks all of this.

MODULES is the folder of node_modules with playwright-core and axe-core. The pictures of the pages are
kept in FOLDER. Without a browser or its packages the status is 77 (skipped), with the reason."""
import argparse
import json
import pathlib
import shutil
import subprocess
import sys
import tempfile

from text_track_test import SCC

SKIPPED = 77
HERE = pathlib.Path(__file__).resolve().parent
sys.path.append(str(HERE.parent / "media"))

BAD_PAGE = """<!DOCTYPE html><html lang="en"><head><title>bad</title></head><body><main><h1>Bad</h1>
<p style="color: #aaa">Too pale.</p><img src="missing.png" alt="">
<div style="width: 1000px">Too wide.</div><script>console.error("a complaint")</script></main>"""


def skip(reason):
    print(f"report_test: skipped: {reason}")
    sys.exit(SKIPPED)


def require_browser(modules):
    if not shutil.which("chromium"):
        skip("there is no chromium")
    if not shutil.which("node"):
        skip("there is no node")
    for name in ("playwright-core", "axe-core"):
        if not (modules / "node_modules" / name).is_dir():
            skip(f"{modules} has no {name}: scripts/test.sh --browser gets it")


def look(modules, pictures, reports):
    """What the browser sees in each report."""
    found = subprocess.run(["node", HERE / "look.mjs", modules, pictures, *reports], check=True,
                           stdout=subprocess.PIPE)
    return json.loads(found.stdout)


def cues_of(document):
    """The cues of a caption document, in the form in which the browser reports them."""
    return [{"channel": channel["channel"], "start": cue["start"], "end": cue["end"],
             "mode": cue["mode"], "rows": cue["rows"],
             "text": "\n".join("".join(run["text"] for run in row["runs"])
                               for row in cue["rows"])}
            for channel in document["channels"] for cue in channel["cues"]]


def faults_of(name, seen, expected, pictures):
    """What is wrong with a page, in words."""
    faults = [f"{kind}: {seen[kind][:5]}"
              for kind in ("complaints", "requests", "tooWide", "violations") if seen[kind]]
    if len(seen["cues"]) != len(expected):
        faults.append(f"{len(seen['cues'])} cues instead of {len(expected)}")
    faults += [f"cue {found} instead of {wanted}"
               for found, wanted in zip(seen["cues"], expected) if found != wanted][:3]
    stem = pathlib.Path(name).stem
    for kind in ("light.png", "dark.png", "telephone.png", "print.pdf"):
        picture = pictures / f"{stem}_{kind}"
        if not picture.is_file() or picture.stat().st_size < 1000:
            faults.append(f"no picture {picture.name}")
    return faults


def write_film_reports(check, captions, folder):
    """The reports of films by the programs, each with its caption document. Returns their names."""
    (folder / "scc_film.scc").write_text(SCC)
    films = [folder / "scc_film.scc"]
    if shutil.which("ffmpeg"):
        films.append(folder / "movie.mov")
        write_movie(films[-1])
    else:
        print("report_test: skipped: the report of a movie, because there is no ffmpeg")
    for film in films:
        report = film.with_suffix(".html")
        status = subprocess.run([check, film, "--html", report], stdout=subprocess.DEVNULL,
                                check=False).returncode
        if status not in (0, 3):
            sys.exit(f"report_test: {check.name} ends with status {status} for {film.name}")
        subprocess.run([captions, film, "--format", "json", "--channel", "all", "--output-file",
                        film.with_suffix(".json")], check=True)
    return [film.with_suffix(".html").name for film in films]


def write_movie(path):
    """A movie of eight seconds with the pairs of SCC in a caption track."""
    import caption_track
    bare = path.with_name("bare.mov")
    subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-f", "lavfi", "-i",
                    "testsrc2=s=320x240:r=30000/1001:d=8", "-c:v", "libx264", "-pix_fmt",
                    "yuv420p", bare], check=True)
    pairs = [b"\x80\x80"] * 240
    for line in SCC.splitlines():
        time, _, words = line.partition("\t")
        first = 30 * int(time[6:8]) if words else 0
        for number, word in enumerate(words.split()):
            pairs[first + number] = bytes.fromhex(word)
    samples = [caption_track.caption_sample(pair) for pair in pairs]
    path.write_bytes(caption_track.with_caption_track(bare.read_bytes(), 30000, 1001, samples))


def options():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("write_reports", type=pathlib.Path)
    parser.add_argument("modules", type=pathlib.Path)
    parser.add_argument("--programs", nargs=2, type=pathlib.Path, metavar=("CHECK", "CAPTIONS"))
    parser.add_argument("--pictures", type=pathlib.Path)
    return parser.parse_args()


def faults_of_bad_page(seen):
    passed = [kind for kind in ("complaints", "requests", "tooWide", "violations")
              if not seen[kind]]
    return [f"bad.html passes: {passed}"] if passed else []


def main():
    given = options()
    require_browser(given.modules)
    with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as name:
        folder = pathlib.Path(name)
        pictures = given.pictures or folder
        pictures.mkdir(parents=True, exist_ok=True)
        reports = ["rich.html", "empty.html", "long.html"]
        subprocess.run([given.write_reports, folder], check=True)
        if given.programs:
            reports += write_film_reports(*(path.resolve() for path in given.programs), folder)
        (folder / "bad.html").write_text(BAD_PAGE)
        seen = look(given.modules, pictures, [folder / report for report in ["bad.html", *reports]])
        faults = faults_of_bad_page(seen["bad.html"])
        for report in reports:
            document = json.loads((folder / report).with_suffix(".json").read_text("utf-8"))
            expected = cues_of(document)
            print(f"report_test: {report}: {len(expected)} cues")
            faults += [f"{report}: {fault}"
                       for fault in faults_of(report, seen[report], expected, pictures)]
            if not expected and report != "empty.html":
                faults.append(f"{report}: no cues to compare")
    print("\n".join(faults) or f"report_test: {len(reports)} pages are right")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
