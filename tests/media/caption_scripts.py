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

# Mid-row codes, each of which takes a column.
ITALICS, GREEN, UNDERLINED_RED = (0x11, 0x2E), (0x11, 0x22), (0x11, 0x29)
SPECIAL = {"®": 0x30, "½": 0x32, "¿": 0x33, "♪": 0x37, "à": 0x38, "è": 0x3A, "ê": 0x3C, "û": 0x3F}
# Extended characters replace the one before, which is what older decoders show.
EXTENDED = {"Á": (0x12, 0x20, "A"), "É": (0x12, 0x21, "E"), "Ü": (0x12, 0x24, "U"),
            "¡": (0x12, 0x27, "!"), "©": (0x12, 0x2B, "c"),
            "“": (0x12, 0x2E, '"'), "”": (0x12, 0x2F, '"'), "Ã": (0x13, 0x20, "A"),
            "Ä": (0x13, 0x30, "A"), "ß": (0x13, 0x34, "s")}


class Script:
    def __init__(self, pictures, field, first=10):
        self.pairs = [PADDING] * pictures
        self.field = field
        self.next = first
        self.lines = []  # what can be read, in order
        # For each line the picture at which a player that shows only whole lines shows it.
        self.shown_from = {}
        # Lines that look different in players where mid-row codes take no column.
        self.without_mid_rows = {}

    def _send(self, pairs):
        for pair in pairs:
            self.pairs[self.next] = bytes(make_scc.with_parity(byte) for byte in pair)
            self.next += 1

    def _control(self, code):
        self._send(make_scc.control((self.field, code)))

    def _text(self, text):
        """Encodes characters of all sets: two basic ones to a pair, all others alone."""
        basic = ""
        for character in text:
            if character in SPECIAL or character in EXTENDED:
                first, second, before = EXTENDED.get(character, (0x11, SPECIAL.get(character), ""))
                self._send(make_scc.text_pairs(basic + before))
                self._send(make_scc.control((first, second)))
                basic = ""
            else:
                basic += character
        self._send(make_scc.text_pairs(basic))

    def styled(self, row, *pieces):
        """A row of texts and mid-row codes, for pop-on."""
        self._send(make_scc.control(make_scc.ROW_CODES[row]))
        for piece in pieces:
            self._text(piece) if isinstance(piece, str) else self._send(make_scc.control(piece))
        text = "".join(piece if isinstance(piece, str) else " " for piece in pieces).strip()
        self.lines.append(text)
        self.without_mid_rows[text] = "".join(piece for piece in pieces if isinstance(piece, str))
        return text

    def pop_on_styled(self, *rows):
        """Each row is a number and its pieces."""
        self._control(make_scc.RESUME_LOADING[1])
        self._control(make_scc.ERASE_HIDDEN[1])
        texts = [self.styled(*row) for row in rows]
        self.shown_from.update(dict.fromkeys(texts, self.next))
        self._control(make_scc.END_OF_CAPTION[1])

    def _row(self, row, text):
        self._send(make_scc.control(make_scc.ROW_CODES[row]))
        self.shown_from[text] = self.next
        self._send(make_scc.text_pairs(text))
        self.lines.append(text)

    def in_field_1(self):
        """The same pairs as ffmpeg can read them from a caption track, which is in field 1."""
        control_1, control_2 = map(make_scc.with_parity, (FIELD_1, FIELD_2))
        moved = Script(len(self.pairs), FIELD_1)
        moved.pairs = [bytes([control_1 if pair[0] == control_2 else pair[0], pair[1]])
                       for pair in self.pairs]
        return moved

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

    def roll_up(self, text, rows=2):
        self._control(ROLL_UP_2 + rows - 2)
        rolls = self.next
        self._control(CARRIAGE_RETURN)
        is_first = not self.lines
        self._row(15, text)
        if not is_first:
            self.shown_from[text] = rolls  # with what is above it

    def paint_on(self, text):
        self._control(RESUME_DIRECT)
        self._row(15, text)


def pop_on(pictures, field=FIELD_1, name="first", first=10):
    script = Script(pictures, field, first)
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


def rolling(rows):
    """Roll-up captions with this number of rows on the screen at a time."""
    def script(pictures, field=FIELD_1, name="first"):
        result = Script(pictures, field)
        for number in range(rows + 2):
            result.roll_up(f"{rows} rows, {name} {number}", rows)
            result.pause(10)
        result.erase()
        return result
    return script


def styles(pictures, field=FIELD_1, name="first"):
    """Colours, italics, underline, special and extended characters."""
    script = Script(pictures, field)
    script.pop_on_styled((14, "White", GREEN, "green", ITALICS, "slanted"),
                         (15, UNDERLINED_RED, "under the line"))
    script.pause(10)
    script.erase()
    script.pop_on_styled((15, "♪ ¿½ ® à è ê û?"))
    script.pause(10)
    script.erase()
    script.pop_on_styled((14, "ÁÉÜ ¡“©”"), (15, "Ã Ä ß end"))
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
