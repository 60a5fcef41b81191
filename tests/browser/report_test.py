#!/usr/bin/env python3
"""report_test - the pages of quarrypack-check in a real browser.

    report_test.py WRITE_REPORTS MODULES [--pictures FOLDER]

Opens reports in headless Chromium: one with everything that a page can show, an empty one, and one of a
long film. The cues that it finds in each page must be those of the caption document beside it. A page
must cause no message on the console and no request, must not be wider than a telephone, and must break
no rule of WCAG 2.1 AA, in light and in dark. A page that breaks all of this must be found out.

MODULES is the folder of node_modules with playwright-core and axe-core. The pictures of the pages are
kept in FOLDER. Without a browser or its packages the status is 77 (skipped), with the reason."""
import json
import pathlib
import shutil
import subprocess
import sys
import tempfile

SKIPPED = 77
HERE = pathlib.Path(__file__).resolve().parent

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
    """The cues of a caption document in the shape in which the browser finds them."""
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


def main():
    arguments = sys.argv[1:]
    kept = None
    if len(arguments) == 4 and arguments[2] == "--pictures":
        kept = pathlib.Path(arguments[3])
    elif len(arguments) != 2:
        sys.exit(__doc__)
    write_reports, modules = pathlib.Path(arguments[0]), pathlib.Path(arguments[1])
    require_browser(modules)
    with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as name:
        folder = pathlib.Path(name)
        pictures = kept or folder
        pictures.mkdir(parents=True, exist_ok=True)
        subprocess.run([write_reports, folder], check=True)
        (folder / "bad.html").write_text(BAD_PAGE)
        seen = look(modules, pictures, sorted(folder.glob("*.html")))
        bad = seen.pop("bad.html")
        unseen = [kind for kind in ("complaints", "requests", "tooWide", "violations")
                  if not bad[kind]]
        faults = [f"bad.html passes: {unseen}"] if unseen else []
        for report, page in seen.items():
            document = json.loads((folder / report).with_suffix(".json").read_text("utf-8"))
            expected = cues_of(document)
            print(f"report_test: {report}: {len(page['cues'])} cues")
            faults += [f"{report}: {fault}"
                       for fault in faults_of(report, page, expected, pictures)]
    print("\n".join(faults) or f"report_test: {len(seen)} pages are right")
    return 1 if faults or len(seen) != 3 else 0


if __name__ == "__main__":
    sys.exit(main())
