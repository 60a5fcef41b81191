#!/usr/bin/env python3
"""text_track_test - a browser reads the WebVTT of quarrypack-captions as intended.

    text_track_test.py QUARRYPACK_CAPTIONS

Writes captions as WebVTT and lets headless Chromium load them in a <track> element. The page reports
to the server which cues its parser found: their times, positions, and texts without styles. They must
be those of --format json. Without chromium the status is 77 (skipped), with the reason."""
import json
import pathlib
import shutil
import subprocess
import sys
import tempfile

from browser_test import Handler, result_of_page, serve

SKIPPED = 77

# Italics, a colour, an indented second row, a special character, and what must be escaped.
SCC = """Scenarist_SCC V1.0

00:00:01;00\t9420 9420 91ae 91ae 97a1 97a1 c849 2080 91b7 2080 942f 942f

00:00:03;00\t9420 9420 94d0 94d0 9128 9128 d2e5 6480 26bc 2045 9470 9470 97a2 97a2 73ef 942f 942f

00:00:05;00\t942c 942c
"""

PAGE = """<!DOCTYPE html><title>-</title><video><track id="t" src="film.vtt"></video>
<script>
const element = document.getElementById("t");
const tell = text => fetch("/result?" + encodeURIComponent(text));
element.addEventListener("error", () => tell("error"));
element.addEventListener("load", () => tell(JSON.stringify(Array.from(element.track.cues, cue => ({
  start: cue.startTime, end: cue.endTime, line: cue.line, position: cue.position,
  align: cue.align, snap: cue.snapToLines, text: cue.getCueAsHTML().textContent})))));
element.track.mode = "hidden";
</script>"""


def expected_cues(document):
    """The expected cues, if no rows share a WebVTT cue, in order of time and row."""
    for cue in document["channels"][0]["cues"]:
        for row in cue["rows"]:
            yield (cue["start"], cue["end"], round(10 + 5.33 * (row["row"] - 1), 2),
                   10 + 2.5 * row["column"], "".join(run["text"] for run in row["runs"]))


def main():
    reader = pathlib.Path(sys.argv[1]).resolve()
    chromium = shutil.which("chromium") or shutil.which("chromium-browser")
    if not chromium:
        print("text_track_test: skipped: there is no chromium")
        return SKIPPED
    with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as name:
        folder = pathlib.Path(name)
        (folder / "film.scc").write_text(SCC)
        subprocess.run([reader, folder / "film.scc", "--output-file", folder / "film.vtt"],
                       check=True, stderr=subprocess.DEVNULL)
        document = json.loads(subprocess.run(
            [reader, folder / "film.scc", "--format", "json"], check=True, stdout=subprocess.PIPE,
            stderr=subprocess.DEVNULL).stdout)
        (folder / "index.html").write_text(PAGE)
        server = serve(folder)
        result = result_of_page(chromium, f"http://127.0.0.1:{server.server_port}/index.html",
                                folder / "profile")
        server.shutdown()
    print(f"text_track_test: {result or 'the page told nothing'}")
    if not result or result == "error":
        return 1
    found = [(cue["start"], cue["end"], round(cue["line"], 2), cue["position"], cue["text"])
             for cue in json.loads(result) if not cue["snap"]]
    expected = list(expected_cues(document))
    print(f"text_track_test: expected {expected}")
    return 0 if len(expected) == 3 and found == expected else 1


if __name__ == "__main__":
    sys.exit(main())
