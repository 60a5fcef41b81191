#!/usr/bin/env python3
"""kept_boxes_test - the walk over the boxes of a film finds every change.

Changes each byte outside the media of a film's copy, one at a time, and lets the walk compare it with
the film. The walk need not notice changes in the tables of sample positions and picture sizes, because
the comparison of the samples proves those. Without ffmpeg the status is 77."""
import pathlib
import shutil
import struct
import sys
import tempfile

import embed_films
import judging
import kept_boxes


def portable(film):
    """The film as it may be written without captions: moov first, its length added to chunk offsets."""
    boxes = kept_boxes.top_level(film)
    moov = next(box for box in boxes if box.kind == b"moov")
    brands = b"mp42" + bytes(4) + b"mp42isomiso2avc1mp41"
    front = struct.pack(">I4s", 8 + len(brands), b"ftyp") + brands
    kept = [box for box in boxes if box.kind not in (b"ftyp", b"moov")]
    return front + b"".join(film[box.start:box.end] for box in [moov] + kept)


def is_free(data, place, box=None):
    """Whether a byte is an entry of a table that samples prove."""
    for child in (box.children() if box else kept_boxes.top_level(data)):
        if not child.start <= place < child.end:
            continue
        if child.kind == b"mdat":
            return True
        if child.kind in (b"stco", b"stsz"):
            return place >= child.content + (8 if child.kind == b"stco" else 12)
        return child.kind in kept_boxes.CONTAINERS and is_free(data, place, child)
    return False


def is_found(old, new):
    try:
        kept_boxes.compare(old, new)
    except Exception:  # of any kind: a box whose size leads nowhere
        return True
    return False


def main():
    if not shutil.which("ffmpeg"):
        print("kept_boxes_test: skipped: ffmpeg is not installed")
        return judging.SKIPPED
    with tempfile.TemporaryDirectory() as folder:
        make = embed_films.made("5", "-bf", "0", "-metadata", "title=A title", name="film.mp4")
        old = make(None, pathlib.Path(folder)).read_bytes()
    new = bytearray(portable(old))
    assert not is_found(old, bytes(new)), "the copy is correct"
    missed = []
    places = [place for place in range(len(new)) if not is_free(new, place)]
    for place in places:
        new[place] ^= 1
        if not is_found(old, bytes(new)):
            missed.append(place)
        new[place] ^= 1
    print(f"kept_boxes_test: {len(places)} changes, {len(missed)} not found: {missed[:20]}")
    return 1 if missed else 0


if __name__ == "__main__":
    sys.exit(main())
