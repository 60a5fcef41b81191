#!/usr/bin/env python3
"""check_includes - the include lines of the product follow the order of its rooms.

    check_includes.py ROOT         ends with status 1 and names every forbidden line
    check_includes.py --self-test  proves that forbidden lines are caught and good ones pass

The picture is the one of ARCHITECTURE.md. A room or a level inside kav/impl that needs a new
neighbour gets it here, in the tables below, in the same change that alters the picture."""
import pathlib
import re
import sys

# Which project headers a room may include, besides its own. A name that ends in '/' is a folder
# without its sub-folders, any other name is one header.
ROOMS = {
    "companions/embed/": ["embed/", "captions/", "config/", "kaf/", "kav/", "companions/"],
    "embed/": ["captions/", "kav/"],
    "src/": ["config/", "tarn/", "kaf/", "kav/"],
    "config/": [],
    "captions/": [],
    "tarn/": ["kaf/open_mode.h", "kav/error_code.h"],
    "kaf/": ["kav/streams.h", "kav/exception.h", "kav/error_code.h", "kav/problem_handler.h"],
    "kav/": [],
    "kav/impl/": ["kav/"],
}

# The facades are the only files of the public room that know the implementation.
FACADE_EXTRA = {"kav/": ["kav/impl/"]}

# The levels of kav/impl from the bottom. A file may include files of its own level only where the
# table says so, and any file of a lower level.
LEVELS = [
    ("bytes and streams", ["four_cc", "big_endian", "stream_adapters"]),
    ("records", ["record", "track_parameters"]),
    ("box model", ["box", "box_headers", "box_iterators", "record_box"]),
    ("box families", [
        "file_boxes", "variable_size_box", "movie_boxes", "track_boxes", "media_boxes",
        "sample_descriptions", "table_building", "sample_runs", "sample_cursors",
        "sample_table_boxes", "stbl_box", "fragment_boxes", "random_access_boxes"]),
    ("factory and root", ["box_factory", "fragment_layout", "fragment_index", "fragment_places",
                          "root_box"]),
    ("cursors and iterators", [
        "sample", "sample_read_cache", "track_record", "edit_segments",
        "passed_runs", "track_iterator", "fragmented_track_iterator", "media_iter_creator",
        "presentation_iterator", "doc_iterator"]),
    ("reader and writer", [
        "handles", "kav_document", "reader", "edit_timeline", "movie_packing", "sample_sink",
        "media_data_writer", "fragment_writer", "writer"]),
]

# Inside these levels files build on each other in the order in which they are listed.
ORDERED_LEVELS = {"bytes and streams", "box model", "factory and root", "cursors and iterators",
                  "reader and writer"}

# A family includes another one only for the children that its container remembers, or, below
# them, for the machinery that the sample tables share.
FAMILY_CHILDREN = {
    "movie_boxes": ["track_boxes"],
    "track_boxes": ["media_boxes"],
    # The classes of sample entries follow the handler, which the media box hands down.
    "media_boxes": ["stbl_box", "sample_descriptions"],
    "variable_size_box": ["file_boxes"],
    "sample_descriptions": ["variable_size_box"],
    "fragment_boxes": ["sample_table_boxes"],
    "stbl_box": ["sample_descriptions", "table_building", "sample_runs", "sample_cursors",
                 "sample_table_boxes"],
    "sample_table_boxes": ["table_building", "sample_runs", "sample_cursors"],
    "sample_cursors": ["sample_runs"],
}

# The sources that look upwards: a box does not know what its children are, so the tree is read with
# the help of the factory and of the document. Their headers only name these classes.
UPWARD_SOURCES = {("kav/impl/box.cpp", "root_box"), ("kav/impl/box_headers.cpp", "box_factory"),
                  ("kav/impl/stbl_box.cpp", "root_box"),
                  ("kav/impl/fragment_boxes.cpp", "root_box")}

INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"')


def room_of(path):
    """The room of a file or header: the longest matching folder, without looking into others."""
    folder = path.rsplit("/", 1)[0] + "/" if "/" in path else ""
    return folder if folder in ROOMS else None


def allowed(header, names):
    return any(header == name or (name.endswith("/") and room_of(header) == name)
               for name in names)


def level_of(stem):
    for number, (_, stems) in enumerate(LEVELS):
        if stem in stems:
            return number
    return None


def judge_impl(path, header):
    """Why a file of kav/impl may not include another one, or None."""
    stem, other = pathlib.PurePath(path).stem, pathlib.PurePath(header).stem
    if stem == other or (path, other) in UPWARD_SOURCES:
        return None
    for name in (stem, other):
        if level_of(name) is None:
            return f"'{name}' has no level yet: give it one in tests/layering/check_includes.py"
    mine, theirs = level_of(stem), level_of(other)
    if theirs < mine:
        return None
    title, stems = LEVELS[mine]
    if theirs > mine:
        return f"{title} may not know {LEVELS[theirs][0]}"
    if title in ORDERED_LEVELS:
        return None if stems.index(other) < stems.index(stem) else \
            f"'{other}' stands after '{stem}' in {title}"
    return None if other in FAMILY_CHILDREN.get(stem, []) else \
        f"family '{stem}' may not know family '{other}'"


def judge(path, header):
    """Why `path` may not include `header`, or None when it may."""
    room = room_of(path)
    if room is None:
        return f"{path} lies in no room"
    if "/" not in header:
        return "includes are written from the root of the repository"
    names = [room] + ROOMS[room]
    if path.endswith(".cpp"):
        names = names + FACADE_EXTRA.get(room, [])
    if not allowed(header, names):
        return f"{room} may not include {header}"
    if room == "kav/impl/" and room_of(header) == room:
        return judge_impl(path, header)
    return None


def check_tree(root):
    """(number of lines seen, complaints) for all sources under `root`."""
    lines, complaints = 0, []
    for top in sorted({room.split("/")[0] for room in ROOMS}):
        for path in sorted((root / top).rglob("*")):
            if path.suffix not in (".h", ".cpp"):
                continue
            name = path.relative_to(root).as_posix()
            for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
                match = INCLUDE.match(line)
                if not match:
                    continue
                lines += 1
                reason = judge(name, match.group(1))
                if reason:
                    complaints.append(f"{name}:{number}: {line.strip()}: {reason}")
    return lines, complaints


def self_test():
    good = [
        ("src/settings.cpp", "config/config_document.h"),
        ("src/conversion_pass.cpp", "kav/reader.h"),
        ("embed/film.cpp", "kav/box_view.h"),
        ("src/main.cpp", "tarn/error_strings.h"),
        ("src/conversion_pass.cpp", "kaf/kav_stream.h"),
        ("config/config_document.cpp", "config/config_document.h"),
        ("captions/decoder608.cpp", "captions/channel608.h"),
        ("tarn/stream_mode.h", "kaf/open_mode.h"),
        ("tarn/error_strings.cpp", "kav/error_code.h"),
        ("kaf/kav_stream.h", "kav/streams.h"),
        ("kav/reader.cpp", "kav/impl/reader.h"),
        ("kav/impl/record.h", "kav/error_code.h"),
        ("kav/impl/record.h", "kav/impl/big_endian.h"),
        ("kav/impl/box.cpp", "kav/impl/box.h"),
        ("kav/impl/box.cpp", "kav/impl/root_box.h"),
        ("kav/impl/movie_boxes.h", "kav/impl/track_boxes.h"),
        ("kav/impl/box_factory.cpp", "kav/impl/fragment_boxes.h"),
        ("kav/impl/doc_iterator.h", "kav/impl/presentation_iterator.h"),
        ("kav/impl/writer.cpp", "kav/impl/root_box.h"),
    ]
    forbidden = [
        ("src/conversion_pass.cpp", "kav/impl/reader.h"),
        ("embed/film.cpp", "kav/impl/reader.h"),
        ("embed/film.cpp", "src/settings.h"),
        ("kav/box_view.cpp", "embed/film.h"),
        ("config/config_document.cpp", "kav/error_code.h"),
        ("config/config_document.h", "src/settings.h"),
        ("captions/cue.h", "kav/four_cc.h"),
        ("captions/cue.cpp", "config/config_node.h"),
        ("kav/reader.cpp", "captions/cue.h"),
        ("tarn/error_strings.h", "kav/streams.h"),
        ("tarn/stream_mode.cpp", "kaf/file_stream.h"),
        ("kaf/file_stream.cpp", "kav/reader.h"),
        ("kaf/kav_stream.cpp", "tarn/stream_mode.h"),
        ("kaf/kav_stream.cpp", "kav/impl/box.h"),
        ("kav/reader.h", "kav/impl/reader.h"),
        ("kav/reader.cpp", "kaf/file_stream.h"),
        ("kav/impl/reader.cpp", "src/settings.h"),
        ("kav/impl/stream_adapters.cpp", "kaf/kav_stream.h"),
        ("kav/impl/box.h", "kav/impl/movie_boxes.h"),
        ("kav/impl/box.h", "kav/impl/root_box.h"),
        ("kav/impl/big_endian.h", "kav/impl/record.h"),
        ("kav/impl/movie_boxes.cpp", "kav/impl/fragment_boxes.h"),
        ("kav/impl/track_boxes.h", "kav/impl/movie_boxes.h"),
        ("kav/impl/track_iterator.h", "kav/impl/doc_iterator.h"),
        ("kav/impl/doc_iterator.h", "kav/impl/reader.h"),
        ("kav/impl/nobody.h", "kav/impl/box.h"),
        ("src/main.cpp", "settings.h"),
    ]
    wrong = [f"refused, though allowed: {path} -> {header}: {judge(path, header)}"
             for path, header in good if judge(path, header)]
    wrong += [f"passed, though forbidden: {path} -> {header}"
              for path, header in forbidden if not judge(path, header)]
    import tempfile
    with tempfile.TemporaryDirectory() as folder:
        root = pathlib.Path(folder)
        (root / "kav" / "impl").mkdir(parents=True)
        (root / "kav/impl/box.cpp").write_text('#include "kav/impl/box.h"\n  # include "src/x.h"\n')
        lines, complaints = check_tree(root)
        if lines != 2 or len(complaints) != 1 or "box.cpp:2" not in complaints[0]:
            wrong.append(f"the walk over a folder saw {lines} lines and said {complaints}")
    print("\n".join(wrong) or f"self-test passed: {len(good)} allowed, {len(forbidden)} forbidden")
    return 1 if wrong else 0


def main(arguments):
    if arguments == ["--self-test"]:
        return self_test()
    if len(arguments) != 1:
        sys.exit(__doc__)
    lines, complaints = check_tree(pathlib.Path(arguments[0]))
    if not lines:
        complaints.append("no include line found: is this the root of the repository?")
    print("\n".join(complaints) or f"{lines} include lines, none forbidden")
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
