#!/usr/bin/env python3
"""browser_test - a fragmented movie plays in a real browser.

    browser_test.py REMUX

Makes a movie of H.264 and AAC with ffmpeg, has REMUX write it in fragments, and lets headless
Chromium play it in a <video> element. The page reports the result to the server. Without
chromium or ffmpeg the status is 77 (skipped), with the reason."""
import functools
import http.server
import pathlib
import queue
import re
import shutil
import subprocess
import sys
import tempfile
import threading
import urllib.parse

SKIPPED = 77

PAGE = """<!DOCTYPE html><title>-</title><video id="v" muted preload="auto" src="movie.mp4"></video>
<script>
const video = document.getElementById("v");
const tell = text => {
  const quality = video.getVideoPlaybackQuality();
  fetch("/result?" + encodeURIComponent(text + " width=" + video.videoWidth + " duration=" +
    video.duration + " time=" + video.currentTime + " frames=" + quality.totalVideoFrames));
};
video.addEventListener("error", () => tell("error: " + video.error.message));
video.addEventListener("ended", () => tell("ended"));
video.playbackRate = 4;
video.play().catch(error => tell("error: " + error));
</script>"""


def skip(reason):
    print(f"browser_test: skipped: {reason}")
    sys.exit(SKIPPED)


class Handler(http.server.SimpleHTTPRequestHandler):
    results = queue.Queue()

    def do_GET(self):
        if self.path.startswith("/result?"):
            self.results.put(urllib.parse.unquote(self.path.partition("?")[2]))
            self.send_response(204)
            self.end_headers()
        else:
            super().do_GET()

    def log_message(self, *args):
        pass


def serve(folder):
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0),
                                             functools.partial(Handler, directory=str(folder)))
    threading.Thread(target=server.serve_forever, daemon=True).start()
    return server


def result_of_page(chromium, address, profile):
    """What the page reports within a minute, or None."""
    browser = subprocess.Popen(
        [chromium, "--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
         "--autoplay-policy=no-user-gesture-required", f"--user-data-dir={profile}",
         "--remote-debugging-port=0", address],
        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        return Handler.results.get(timeout=60)
    except queue.Empty:
        return None
    finally:
        browser.terminate()
        browser.wait(timeout=20)


def main():
    remux = sys.argv[1]
    chromium = shutil.which("chromium") or shutil.which("chromium-browser")
    if not chromium:
        skip("there is no chromium")
    if not shutil.which("ffmpeg"):
        skip("there is no ffmpeg to make a movie")
    with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as name:
        folder = pathlib.Path(name)
        subprocess.run(["ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=s=320x240:r=25:d=8",
                        "-f", "lavfi", "-i", "sine=440:d=8", "-c:v", "libx264", "-g", "25", "-bf",
                        "2", "-pix_fmt", "yuv420p", "-c:a", "aac", folder / "source.mp4"],
                       check=True)
        subprocess.run([remux, folder / "source.mp4", folder / "movie.mp4", "fragmented", "1000",
                        "random-access"], check=True)
        (folder / "index.html").write_text(PAGE)
        server = serve(folder)
        result = result_of_page(chromium, f"http://127.0.0.1:{server.server_port}/index.html",
                                folder / "profile")
        server.shutdown()
        print(f"browser_test: {result or 'the page told nothing'}")
        told = re.fullmatch(r"ended width=320 duration=([\d.]+) time=[\d.]+ frames=(\d+)",
                            result or "")
        # A player that is short of time drops pictures, and counts those too.
        return 0 if told and 7.9 < float(told.group(1)) < 8.2 and int(told.group(2)) > 100 else 1


if __name__ == "__main__":
    sys.exit(main())
