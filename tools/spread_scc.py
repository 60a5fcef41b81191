#!/usr/bin/env python3
"""spread_scc - an SCC file whose captions are sent as broadcasters do: one byte pair to a picture.

    spread_scc.py captions.scc > spread.scc

A line of an SCC file has all pairs of a caption, with the time code of the first. Converted
unchanged, a whole line becomes one caption message, and of several messages on one picture the last
comes first. Here every pair gets a line and a time code of its own. A line that begins before the
previous line has been sent waits for it."""
import re
import sys

PICTURES_PER_SECOND = 30


def picture_of(code):
    """The number of the picture with a time code; ';' marks drop-frame counting."""
    hours, minutes, seconds, picture = map(int, re.split("[:;.]", code))
    number = ((hours * 60 + minutes) * 60 + seconds) * PICTURES_PER_SECOND + picture
    if ";" in code:
        minutes += hours * 60
        number -= 2 * (minutes - minutes // 10)
    return number


def code_of(number, is_drop_frame):
    if is_drop_frame:
        # Every minute but each tenth leaves out two numbers: 17982 pictures to ten minutes.
        tens, rest = divmod(number, 17982)
        number += 18 * tens + (2 * ((rest - 2) // 1798) if rest >= 2 else 0)
    seconds, picture = divmod(number, PICTURES_PER_SECOND)
    return "%02d:%02d:%02d%s%02d" % (seconds // 3600, seconds // 60 % 60, seconds % 60,
                                     ";" if is_drop_frame else ":", picture)


def spread(text):
    lines, free_from = ["Scenarist_SCC V1.0\n"], 0
    for code, words in re.findall(r"^(\d\d:\d\d:\d\d[:;.]\d\d)\s+([0-9a-fA-F ]+)", text, re.MULTILINE):
        picture = max(picture_of(code), free_from)
        for word in words.split():
            lines.append(f"\n{code_of(picture, ';' in code)}\t{word}\n")
            picture += 1
        free_from = picture
    return "".join(lines)


def main(arguments):
    if len(arguments) != 1:
        sys.exit(__doc__)
    with open(arguments[0], encoding="ascii") as source:
        sys.stdout.write(spread(source.read()))


if __name__ == "__main__":
    main(sys.argv[1:])
