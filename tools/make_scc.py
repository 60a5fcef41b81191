#!/usr/bin/env python3
"""make_scc - pop-on captions as a Scenarist (SCC) file, from a plain list of times and texts.

    make_scc.py captions.txt > captions.scc

Each line of the input is one caption: the time at which it appears, the time at which it disappears,
both in seconds, and the text; a '|' divides the text into rows. Empty lines and lines that begin with
'#' are skipped.

    1.5 3.0 First row|second row

How a caption is sent (CEA-608, channel CC1, field 1): two bytes per picture, each of seven bits with
odd parity in bit 7. A caption is first loaded into hidden memory, then swapped onto the screen:

    94 20  resume caption loading (pop-on)        94 ae  erase the hidden memory
    9X YY  row address, see ROW_CODES             ...    text, two characters to a pair
    94 2f  end of caption: hidden memory shows    94 2c  erase the screen

Every control code is sent twice, as broadcasters do; a decoder ignores the second. A line of the SCC
file names the picture on which its first pair is sent, and its pairs follow on the next pictures. So
a load begins as many pictures before its caption as it has pairs. No line holds more than 24 pairs,
which fit into one caption message of a picture; longer loads continue on another line."""
import sys

PICTURES_PER_SECOND = 30
PAIRS_PER_LINE = 24

RESUME_LOADING = (0x14, 0x20)
ERASE_SCREEN = (0x14, 0x2C)
ERASE_HIDDEN = (0x14, 0x2E)
END_OF_CAPTION = (0x14, 0x2F)

# Rows 12 to 15 of the screen, white, first column.
ROW_CODES = {12: (0x13, 0x50), 13: (0x13, 0x70), 14: (0x14, 0x50), 15: (0x14, 0x70)}
LAST_ROW = 15
MAX_ROWS = len(ROW_CODES)
COLUMNS = 32

# The codes at which the CEA-608 character set differs from ASCII.
NOT_ASCII = set("*\\^_`{|}~")


def with_parity(byte):
    """The seven bits of `byte` with bit 7 set so that the number of ones is odd."""
    return byte if bin(byte).count("1") % 2 else byte | 0x80


def control(code):
    return [code, code]


def text_pairs(text):
    for character in text:
        if character in NOT_ASCII or not 0x20 <= ord(character) < 0x7F:
            raise ValueError(f"no such character in the basic set: {character!r}")
    if len(text) > COLUMNS:
        raise ValueError(f"more than {COLUMNS} columns: {text!r}")
    codes = [ord(character) for character in text]
    if len(codes) % 2:
        codes.append(0)
    return list(zip(codes[0::2], codes[1::2]))


def load_pairs(rows):
    """Everything that must be sent before the caption can be shown."""
    if not 1 <= len(rows) <= MAX_ROWS:
        raise ValueError(f"a caption has 1 to {MAX_ROWS} rows")
    pairs = control(RESUME_LOADING) + control(ERASE_HIDDEN)
    for offset, row in enumerate(rows):
        pairs += control(ROW_CODES[LAST_ROW - len(rows) + 1 + offset])
        pairs += text_pairs(row)
    return pairs


def timecode(picture):
    seconds, frame = divmod(picture, PICTURES_PER_SECOND)
    return "%02d:%02d:%02d:%02d" % (seconds // 3600, seconds // 60 % 60, seconds % 60, frame)


def scc_line(picture, pairs):
    words = " ".join("%02x%02x" % (with_parity(a), with_parity(b)) for a, b in pairs)
    return f"{timecode(picture)}\t{words}\n\n"


def parse(lines):
    """(appears, disappears, rows) of each caption, times in pictures."""
    captions = []
    for line in lines:
        line = line.strip()
        if line and not line.startswith("#"):
            appears, goes, text = line.split(None, 2)
            captions.append((round(float(appears) * PICTURES_PER_SECOND),
                             round(float(goes) * PICTURES_PER_SECOND), text.split("|")))
    return captions


def make_scc(captions):
    """The SCC file for a list of (appears, disappears, rows). Raises if a load does not fit in time."""
    out = ["Scenarist_SCC V1.0\n\n"]
    free_from = 0
    for appears, goes, rows in captions:
        pairs = load_pairs(rows)
        picture = appears - len(pairs)
        if picture < free_from:
            raise ValueError(f"no time to load {' / '.join(rows)!r} before it appears")
        for start in range(0, len(pairs), PAIRS_PER_LINE):
            out.append(scc_line(picture + start, pairs[start:start + PAIRS_PER_LINE]))
        out.append(scc_line(appears, control(END_OF_CAPTION)))
        out.append(scc_line(goes, control(ERASE_SCREEN)))
        free_from = goes + len(control(ERASE_SCREEN))
    return "".join(out)


def main(arguments):
    if len(arguments) != 1:
        sys.exit(__doc__)
    with open(arguments[0], encoding="utf-8") as source:
        sys.stdout.write(make_scc(parse(source)))


if __name__ == "__main__":
    main(sys.argv[1:])
