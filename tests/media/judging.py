"""Code of the tests in which players and tools judge movies: a table of judges by movies, and the players.

A judge is a function of a case. It returns what it found, raises Disagreement, or raises NotAsked if its
program is missing. A case is the result of `make_case` for an input; it has a member `modules`."""
import argparse
import concurrent.futures
import json
import os
import pathlib
import re
import shutil
import subprocess
import tempfile

from media_test import output_of

HERE = pathlib.Path(__file__).resolve().parent
SKIPPED = 77


class Disagreement(Exception):
    pass


class NotAsked(Exception):
    pass


def expect(found, expected, what):
    if found != expected:
        raise Disagreement(f"{what}: {found!r} in place of {expected!r}")


# ---------------------------------------------------------------- players
def gstreamer_captions(path, coding="h264"):
    """(time in seconds, caption data) of every picture that GStreamer decodes."""
    if not shutil.which("gst-launch-1.0"):
        raise NotAsked("gstreamer1.0-tools is not installed")
    text = output_of(
        "gst-launch-1.0", "-v", "filesrc", f"location={path}", "!", "qtdemux", "name=d",
        "d.video_0", "!", f"{coding}parse", "!", f"avdec_{coding}", "!", "ccextractor", "name=c",
        "c.src", "!", "queue", "!", "fakesink", "sync=false", "async=false",
        "c.caption", "!", "queue", "!", "fakesink", "name=captions", "sync=false", "async=false",
        "silent=false", "dump=true")
    # The sink announces a buffer and dumps it, sixteen bytes per line.
    pattern = re.compile(r"captions: last-message = chain .*? pts: (\d+):(\d+):([\d.]+)"
                         r"|^([0-9a-f]{8}) \(0x[0-9a-f]+\): ((?:[0-9a-f]{2} )+)", re.MULTILINE)
    times, data = [], []
    for hours, minutes, seconds, offset, hexadecimal in pattern.findall(text):
        if hours:
            times.append(int(hours) * 3600 + int(minutes) * 60 + float(seconds))
        elif int(offset, 16) == 0:
            data.append(bytes.fromhex(hexadecimal))
        else:
            data[-1] += bytes.fromhex(hexadecimal)
    return list(zip(times, data))


def play_in_browser(modules, folder, name):
    """What headless Chromium reports of a movie, or of an HLS package that hls.js plays in it."""
    if not modules:
        raise NotAsked("only with --browser")
    return json.loads(output_of("node", HERE.parent / "browser" / "play.mjs", modules, folder,
                                name))


def versions(modules):
    """The programs that judged, with their versions as they print them."""
    def of(command, pattern):
        found = re.search(pattern, output_of(*command)) if shutil.which(command[0]) else None
        return found and found.group(1)
    found = [("ffmpeg", of(("ffmpeg", "-version"), r"version ([\d.]+)")),
             ("mediainfo", of(("mediainfo", "--Version"), r"v([\d.]+)")),
             ("GStreamer", of(("gst-launch-1.0", "--version"), r"GStreamer ([\d.]+)"))]
    if modules:
        hls = pathlib.Path(modules) / "node_modules" / "hls.js" / "package.json"
        found += [("Chromium", of((os.environ.get("CHROMIUM", "chromium"), "--version"),
                                  r"Chromium ([\d.]+)")),
                  ("hls.js", json.loads(hls.read_text(encoding="utf-8"))["version"])]
    return ", ".join(f"{name} {version}" for name, version in found if version)


# ---------------------------------------------------------------- table
def _judged(judges, make_case):
    try:
        case = make_case()
    except NotAsked as reason:
        return [f"skipped: {reason}"] * len(judges)
    except (Disagreement, RuntimeError) as failure:
        return [f"**no**: {last_line(failure)}"] * len(judges)
    results = []
    for _, judge in judges:
        try:
            results.append(judge(case))
        except NotAsked as reason:
            results.append(f"skipped: {reason}")
        except (Disagreement, RuntimeError, subprocess.SubprocessError) as failure:
            results.append(f"**no**: {last_line(failure)}")
    return results


def last_line(failure):
    return (str(failure).strip() or type(failure).__name__).splitlines()[-1]


def _markdown(first_column, judges, rows):
    lines = [f"| {first_column} | " + " | ".join(name for name, _ in judges) + " |",
             "|---" * (len(judges) + 1) + "|"]
    for name, results in rows:
        lines.append("| " + " | ".join([name] + [r.replace("|", "/") for r in results]) + " |")
    return "\n".join(lines) + "\n"


def main(arguments, doc, inputs, judges, make_case, first_column="input"):
    """Returns the exit status of a program that judges inputs, each of which has a name.

    make_case(input, folder, program, modules) prepares one in an empty folder of its own."""
    parser = argparse.ArgumentParser(description=doc,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("program", type=lambda text: pathlib.Path(text).resolve())
    parser.add_argument("--browser", metavar="MODULES", help="the folder that contains node_modules")
    parser.add_argument("--table", type=pathlib.Path, help="where to write the table as Markdown")
    parser.add_argument("--document", type=pathlib.Path, help="must contain exactly this table")
    parser.add_argument("--only", metavar="PATTERN", help="the inputs whose names match")
    parser.add_argument("--keep", type=pathlib.Path, help="a folder for the movies, which stay")
    asked = parser.parse_args(arguments)
    for tool in ("ffmpeg", "ffprobe"):
        if not shutil.which(tool):
            print(f"skipped: {tool} is not installed")
            return SKIPPED
    inputs = [one for one in inputs if re.search(asked.only or "", one.name)]
    judged_by = versions(asked.browser)  # fails at once where something is missing
    with tempfile.TemporaryDirectory(prefix="quarrypack_players_") as temporary:
        def judge(number, one):
            own = (asked.keep or pathlib.Path(temporary)) / str(number)
            own.mkdir(parents=True)
            return _judged(judges, lambda: make_case(one, own, asked.program, asked.browser))

        # Browsers wait for their movies more than they compute.
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            rows = []
            for one, results in zip(inputs, pool.map(judge, range(len(inputs)), inputs)):
                rows.append((one.name, results))
                print(f"{one.name}:")
                for (name, _), result in zip(judges, results):
                    print(f"  {name}: {result}", flush=True)
    table = _markdown(first_column, judges, rows)
    text = f"Judged by {judged_by}.\n\n{table}"
    print(text)
    if asked.table:
        asked.table.write_text(text, encoding="utf-8")
    if asked.document and table not in asked.document.read_text(encoding="utf-8"):
        print(f"{asked.document} does not hold this table")
        return 1
    return 1 if "**no**" in table else 0
