"""Captions with known text in the three styles of CEA-608, as byte pairs, one to a picture.

A script is a list with one pair for each picture of a movie; pictures between captions carry the
padding pair 80 80, as broadcasters send it."""
import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "tools"))
import make_scc  # noqa: E402  (found through the path set above)

PADDING = bytes([0x80, 0x80])
ROLL_UP_2, RESUME_DIRECT, CARRIAGE_RETURN = 0x25, 0x29, 0x2D
FIELD_1, FIELD_2 = 0x14, 0x15  # the first byte of control codes


class Script:
    def __init__(self, pictures, field, first=10):
        self.pairs = [PADDING] * pictures
        self.field = field
        self.next = first
        self.lines = []  # what can be read, in order
        # For each line the picture with which a player shows it that shows whole lines only.
        self.shown_from = {}

    def _send(self, pairs):
        for pair in pairs:
            self.pairs[self.next] = bytes(make_scc.with_parity(byte) for byte in pair)
            self.next += 1

    def _control(self, code):
        self._send(make_scc.control((self.field, code)))

    def _row(self, row, text):
        self._send(make_scc.control(make_scc.ROW_CODES[row]))
        self.shown_from[text] = self.next
        self._send(make_scc.text_pairs(text))
        self.lines.append(text)

    def pause(self, pictures):
        self.next += pictures

    def erase(self):
        self._control(make_scc.ERASE_SCREEN[1])

    def pop_on(self, *rows):
        self._control(make_scc.RESUME_LOADING[1])
        self._control(make_scc.ERASE_HIDDEN[1])
        for offset, text in enumerate(rows):
            self._row(make_scc.LAST_ROW - len(rows) + 1 + offset, text)
        for text in rows:
            self.shown_from[text] = self.next
        self._control(make_scc.END_OF_CAPTION[1])

    def roll_up(self, text):
        self._control(ROLL_UP_2)
        rolls = self.next
        self._control(CARRIAGE_RETURN)
        is_first = not self.lines
        self._row(15, text)
        if not is_first:
            self.shown_from[text] = rolls  # with what is above it

    def paint_on(self, text):
        self._control(RESUME_DIRECT)
        self._row(15, text)


def pop_on(pictures, field=FIELD_1, name="first"):
    script = Script(pictures, field)
    script.pop_on(f"Pop-on, {name} caption")
    script.pause(20)
    script.erase()
    script.pause(5)
    script.pop_on("Two rows of it,", f"the {name} field")
    script.pause(20)
    script.erase()
    return script


def roll_up(pictures, field=FIELD_1, name="first"):
    script = Script(pictures, field)
    for text in (f"Rolling up, {name} field", "the second line", "and the last one"):
        script.roll_up(text)
        script.pause(15)
    script.erase()
    return script


def paint_on(pictures, field=FIELD_1, name="first"):
    script = Script(pictures, field)
    for text in (f"Painted on, {name} field", "letter by letter"):
        script.paint_on(text)
        script.pause(20)
        script.erase()
        script.pause(5)
    return script
