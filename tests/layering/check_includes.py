#!/usr/bin/env python3
"""check_includes - the include lines of the product follow the order of its folders.

    check_includes.py ROOT         ends with status 1 and names every forbidden line and circle
    check_includes.py --self-test  proves that forbidden lines are caught and good ones pass

ROWS states the arrows of ARCHITECTURE.md, one row for each folder. Change both together.

A unit is a header with the source of the same name. Units must not include each other in a circle,
directly or through others. So the implementation cannot include the part of the public API that is
built on it, although both lie under kav/."""
import pathlib
import re
import sys
import tempfile

# What each folder may include besides itself. "kav/" is that folder alone, without its sub-folders.
# "values of kav/" are its headers that need no source, neither their own nor that of a header which
# they include: plain types, interfaces and inline functions.
ROWS = {
    "companions/": ["sources/", "process/", "captions/", "captions/formats/", "kaf/", "kav/"],
    "companions/embed/": ["companions/", "embed/", "process/", "captions/", "captions/formats/",
                          "kaf/", "kav/"],
    "companions/check/": ["companions/check/html/", "companions/", "check/", "sources/",
                          "process/", "captions/", "captions/formats/", "kav/"],
    "companions/captions/": ["companions/", "sources/", "process/", "captions/",
                             "captions/formats/", "kaf/", "kav/"],
    "companions/check/html/": ["companions/", "check/", "captions/"],
    "check/": ["sources/", "src/", "captions/", "kav/"],
    "embed/": ["sources/", "captions/", "kav/"],
    "sources/": ["captions/", "captions/formats/", "kav/"],
    "src/": ["process/", "captions/", "config/", "tarn/", "kaf/", "kav/"],
    "captions/": ["values of kav/"],
    "captions/formats/": ["captions/"],
    "config/": [],
    "process/": [],
    "tarn/": ["values of kaf/", "values of kav/"],
    "kaf/": ["values of kav/"],
    "kav/": [],
    "kav/impl/writing/": ["kav/impl/tree/", "kav/impl/boxes/", "kav/impl/model/",
                          "kav/impl/tables/", "kav/impl/descriptions/", "kav/impl/bytes/", "kav/"],
    "kav/impl/reading/": ["kav/impl/tree/", "kav/impl/boxes/", "kav/impl/model/",
                          "kav/impl/tables/", "kav/impl/descriptions/", "kav/impl/bytes/", "kav/"],
    "kav/impl/tree/": ["kav/impl/boxes/", "kav/impl/model/", "kav/impl/tables/",
                       "kav/impl/descriptions/", "kav/impl/bytes/", "kav/"],
    "kav/impl/boxes/": ["kav/impl/model/", "kav/impl/tables/", "kav/impl/descriptions/",
                        "kav/impl/bytes/", "kav/"],
    "kav/impl/model/": ["kav/impl/bytes/", "kav/"],
    "kav/impl/tables/": ["kav/impl/bytes/", "kav/"],
    "kav/impl/descriptions/": ["kav/impl/bytes/", "kav/"],
    "kav/impl/bytes/": ["kav/"],
}

# What the sources of a folder, but not its headers, may include besides that.
SOURCE_ROWS = {
    "kav/": ["kav/impl/reading/", "kav/impl/writing/", "kav/impl/tree/", "kav/impl/boxes/",
             "kav/impl/model/", "kav/impl/descriptions/", "kav/impl/bytes/"],
    "captions/": ["captions/formats/"],
}

INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"')
VALUES = "values of "


def folder_of(path):
    return path.rsplit("/", 1)[0] + "/" if "/" in path else ""


def unit_of(path):
    """A header and its source are one unit: the path without its ending."""
    return path.rsplit(".", 1)[0]


class Tree:
    """The include lines of a tree: {file: [(line number, header), ...]}."""

    def __init__(self, lines):
        self.lines = lines
        self.sources = {unit_of(path) for path in lines if path.endswith(".cpp")}

    def is_value(self, header, seen=()):
        """Whether a header, with all that it includes, needs no source."""
        if unit_of(header) in self.sources:
            return False
        return all(self.is_value(other, (*seen, header))
                   for _, other in self.lines.get(header, []) if other not in (*seen, header))

    def matches(self, header, row):
        if row.startswith(VALUES):
            return folder_of(header) == row[len(VALUES):] and self.is_value(header)
        return folder_of(header) == row

    def judge(self, path, header):
        """Why `path` may not include `header`, or None when it may."""
        folder = folder_of(path)
        if folder not in ROWS:
            return f"{folder or path} has no row yet: give it one in tests/layering"
        if "/" not in header:
            return "includes are written from the root of the repository"
        rows = [folder, *ROWS[folder]]
        if path.endswith(".cpp"):
            rows += SOURCE_ROWS.get(folder, [])
        if any(self.matches(header, row) for row in rows):
            return None
        return f"{folder} may not include {header}"

    def forbidden(self):
        for path, lines in sorted(self.lines.items()):
            for number, header in lines:
                reason = self.judge(path, header)
                if reason:
                    yield f"{path}:{number}: {reason}"

    def circles(self):
        """Each circle of units once, as a list of units."""
        arrows = {}
        for path, lines in self.lines.items():
            arrows.setdefault(unit_of(path), set()).update(
                unit_of(header) for _, header in lines if unit_of(header) != unit_of(path))
        done, found = set(), []

        def walk(unit, road):
            if unit in road:
                found.append(road[road.index(unit):] + [unit])
                return
            if unit in done:
                return
            for other in sorted(arrows.get(unit, ())):
                walk(other, road + [unit])
            done.add(unit)

        for unit in sorted(arrows):
            walk(unit, [])
        return found

    def complaints(self):
        return [*self.forbidden(),
                *("circle: " + " -> ".join(circle) for circle in self.circles())]


def read_tree(root):
    lines = {}
    for top in sorted({row.split("/")[0] for row in ROWS}):
        for path in sorted((root / top).rglob("*")):
            if path.suffix not in (".h", ".cpp"):
                continue
            found = [(number, match.group(1))
                     for number, line in enumerate(path.read_text("utf-8").splitlines(), 1)
                     if (match := INCLUDE.match(line))]
            lines[path.relative_to(root).as_posix()] = found
    return Tree(lines)


# A small tree with the same folders. Each case adds one include line to it.
HOUSE = {
    "kav/streams.h": [],
    "kav/date_time.h": [],
    "kav/date_time.cpp": ["kav/date_time.h"],
    "kav/track_info.h": ["kav/date_time.h"],
    "kav/reader.h": ["kav/streams.h"],
    "kav/reader.cpp": ["kav/reader.h", "kav/impl/reading/reader.h"],
    "kav/impl/reading/reader.h": ["kav/impl/tree/root_box.h"],
    "kav/impl/tree/root_box.h": ["kav/impl/model/box.h"],
    "kav/impl/model/box.h": [],
    "kav/impl/boxes/movie_boxes.h": ["kav/impl/model/box.h"],
    "kav/impl/boxes/track_boxes.h": [],
    "kaf/open_mode.h": [],
    "kaf/file_stream.h": [],
    "kaf/file_stream.cpp": [],
    "src/settings.h": [],
}
GOOD = [
    ("src/settings.h", "kav/reader.h"),
    ("src/settings.h", "kaf/file_stream.h"),
    ("tarn/stream_mode.h", "kaf/open_mode.h"),
    ("kaf/file_stream.h", "kav/streams.h"),
    ("captions/sei.h", "kav/streams.h"),
    ("captions/formats.cpp", "captions/formats/srt.h"),
    ("kav/impl/model/box.h", "kav/track_info.h"),
    ("kav/impl/boxes/movie_boxes.h", "kav/impl/boxes/track_boxes.h"),
    ("kav/impl/writing/writer.h", "kav/impl/boxes/movie_boxes.h"),
]
FORBIDDEN = [
    ("src/settings.h", "kav/impl/model/box.h"),
    ("src/settings.h", "paths.h"),
    ("config/document.cpp", "kav/streams.h"),
    ("config/document.h", "src/settings.h"),
    ("tarn/stream_mode.h", "kaf/file_stream.h"),
    ("kaf/file_stream.cpp", "kav/reader.h"),
    ("kaf/file_stream.cpp", "kav/track_info.h"),
    ("kaf/file_stream.cpp", "kav/impl/model/box.h"),
    ("captions/sei.h", "kav/reader.h"),
    ("captions/sei.h", "src/settings.h"),
    ("captions/formats.h", "captions/formats/srt.h"),
    ("kav/reader.h", "kav/impl/reading/reader.h"),
    ("kav/reader.cpp", "kaf/file_stream.h"),
    ("kav/impl/model/box.h", "kav/impl/boxes/movie_boxes.h"),
    ("kav/impl/model/box.h", "kav/impl/tables/time_table.h"),
    ("kav/impl/tree/root_box.h", "kav/impl/reading/reader.h"),
    ("kav/impl/reading/reader.h", "kav/impl/writing/writer.h"),
    ("kav/impl/reading/reader.h", "kav/reader.h"),
    ("kav/impl/boxes/track_boxes.h", "kav/impl/boxes/movie_boxes.h"),
    ("kav/impl/rooms/box.h", "kav/streams.h"),
]
# Lines that are forbidden only because a circle closes.
CLOSING = {("kav/impl/boxes/track_boxes.h", "kav/impl/boxes/movie_boxes.h")}


def complaints_with(path, header):
    house = {name: list(enumerate(headers, 1)) for name, headers in HOUSE.items()}
    house.setdefault(path, []).append((99, header))
    if (path, header) in CLOSING:
        house[header].append((99, path))
    return Tree(house).complaints()


def self_test():
    wrong = [f"refused, though allowed: {path} -> {header}: {found}"
             for path, header in GOOD if (found := complaints_with(path, header))]
    wrong += [f"passed, though forbidden: {path} -> {header}"
              for path, header in FORBIDDEN if not complaints_with(path, header)]
    with tempfile.TemporaryDirectory() as folder:
        root = pathlib.Path(folder)
        (root / "kav/impl/model").mkdir(parents=True)
        (root / "kav/impl/model/box.cpp").write_text(
            '#include "kav/impl/model/box.h"\n  # include "src/x.h"\n')
        complaints = read_tree(root).complaints()
        if len(complaints) != 1 or "box.cpp:2" not in complaints[0]:
            wrong.append(f"the walk over a folder said {complaints}")
    print("\n".join(wrong) or f"self-test passed: {len(GOOD)} allowed, {len(FORBIDDEN)} forbidden")
    return 1 if wrong else 0


def main(arguments):
    if arguments == ["--self-test"]:
        return self_test()
    if len(arguments) != 1:
        sys.exit(__doc__)
    tree = read_tree(pathlib.Path(arguments[0]))
    lines = sum(len(found) for found in tree.lines.values())
    complaints = tree.complaints()
    if not lines:
        complaints.append("no include line found: is this the root of the repository?")
    print("\n".join(complaints) or f"{lines} include lines, none forbidden, no circle")
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
