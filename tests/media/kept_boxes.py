"""Compares all boxes of a film with those of its copy with captions, by rules of its own.

Everything must be as it was, but for what the rules below name: each is a type of box and what may
become of it. Whatever no rule names must be the same, byte for byte. Samples are not looked at here."""
import struct

from caption_track import children
from judging import Disagreement

CONTAINERS = {b"moov", b"trak", b"mdia", b"minf", b"dinf", b"stbl", b"mvex", b"moof", b"traf",
              b"mfra", b"tref"}
VIDEO_CODINGS = {b"avc1", b"avc3", b"hvc1", b"hev1"}


class Box:
    def __init__(self, data, kind, start, end):
        self.kind, self.start, self.end, self.data = kind, start, end, data
        large = struct.unpack_from(">I", data, start)[0] == 1
        self.content = start + (16 if large else 8)

    @property
    def payload(self):
        return self.data[self.content:self.end]

    def children(self, skipped=0):
        return [Box(self.data, *child)
                for child in children(self.data, self.content + skipped, self.end)]

    def find(self, *path):
        for kind in path[:1]:
            for child in self.children():
                if child.kind == kind:
                    return child.find(*path[1:])
            return None
        return self

    def u32(self, place):
        return struct.unpack_from(">I", self.data, self.content + place)[0]


def top_level(data):
    return [Box(data, *child) for child in children(data, 0, len(data))]


def handler_of(trak):
    handler = trak.find(b"mdia", b"hdlr")
    return handler and handler.payload[8:12]


def track_id(trak):
    header = trak.find(b"tkhd")
    return header.u32(20 if header.payload[0] else 12)


class Film:
    def __init__(self, data):
        self.boxes = top_level(data)
        self.moov = next(box for box in self.boxes if box.kind == b"moov")
        traks = [box for box in self.moov.children() if box.kind == b"trak"]
        self.removed = {track_id(trak) for trak in traks if handler_of(trak) == b"clcp"}
        self.pictures = next(track_id(trak) for trak in traks if is_of_pictures(trak))
        self.has_fragments = self.moov.find(b"mvex") is not None


def is_of_pictures(trak):
    entries = trak.find(b"mdia", b"minf", b"stbl", b"stsd").children(8)
    return handler_of(trak) == b"vide" and entries[0].kind in VIDEO_CODINGS


def numbers(box, first, count, width=4):
    return [int.from_bytes(box.payload[first + width * i:first + width * (i + 1)], "big")
            for i in range(count)]


def samples_of(film, track):
    """The positions of the samples of a track: [(start, end)], those of moov and those of fragments."""
    trak = next(box for box in film.moov.children()
                if box.kind == b"trak" and track_id(box) == track)
    return samples_of_tables(trak.find(b"mdia", b"minf", b"stbl")) + [
        sample for moof in film.boxes if moof.kind == b"moof"
        for sample in samples_of_fragment(moof, track)]


def samples_of_tables(stbl):
    offsets = stbl.find(b"stco") or stbl.find(b"co64")
    places = numbers(offsets, 8, offsets.u32(4), 4 if offsets.kind == b"stco" else 8)
    stsz, stsc = stbl.find(b"stsz"), stbl.find(b"stsc")
    sizes = numbers(stsz, 12, stsz.u32(8)) if stsz.u32(4) == 0 else [stsz.u32(4)] * stsz.u32(8)
    runs = [numbers(stsc, 8 + 12 * i, 2) for i in range(stsc.u32(4))]
    samples, next_size = [], iter(sizes)
    for chunk, place in enumerate(places, 1):
        count = [run[1] for run in runs if run[0] <= chunk][-1]
        for _, size in zip(range(count), next_size):
            samples.append((place, place + size))
            place += size
    return samples


def samples_of_fragment(moof, track):
    """The same for fragments that state data offsets and sizes, as those of ffmpeg do."""
    samples = []
    for traf in moof.children():
        if traf.kind != b"traf" or traf.find(b"tfhd").u32(4) != track:
            continue
        header = traf.find(b"tfhd")
        assert header.u32(0) & 0x20001, "a base"
        base = numbers(header, 8, 1, 8)[0] if header.u32(0) & 1 else moof.start
        for trun in traf.children():
            if trun.kind != b"trun":
                continue
            flags = trun.u32(0)
            assert flags & 1, "an offset"
            place = base + trun.u32(8)
            fields = [bit for bit in (0x100, 0x200, 0x400, 0x800) if flags & bit]
            first = 12 + (4 if flags & 4 else 0)
            for i in range(trun.u32(4)):
                entry = first + 4 * len(fields) * i
                size = (trun.u32(entry + 4 * fields.index(0x200)) if 0x200 in fields
                        else numbers(header, len(header.payload) - (8 if header.u32(0) & 0x20
                                                                    else 4), 1)[0])
                samples.append((place, place + size))
                place += size
    return samples


class Comparison:
    """`old` and `new` are the bytes of the films."""

    def __init__(self, old, new):
        self.old, self.new = Film(old), Film(new)
        self.in_pictures = self.in_sound = False
        self.lost_fragments = False

    def differ(self, path, what):
        raise Disagreement(f"{path}: {what}")

    def require(self, is_so, path, what):
        if not is_so:
            self.differ(path, what)

    def run(self):
        kept = [box for box in self.old.boxes if box.kind not in (b"ftyp", b"moov", b"ssix")]
        kept = [box for box in kept if self.stays(box)]
        if self.lost_fragments:
            kept = [box for box in kept if box.kind != b"mfra"]
        self.require([box.kind for box in self.new.boxes[:2]] == [b"ftyp", b"moov"], "file",
                     "it does not begin with ftyp and moov")
        self.brands()
        self.compare_lists([self.old.moov] + kept, self.new.boxes[1:], "")

    # ---- what is removed
    def stays(self, box):
        """Whether a box with all its content is still there, in some form."""
        if box.kind == b"trak":
            return track_id(box) not in self.old.removed
        if box.kind in (b"trex", b"trep", b"tfra"):
            return box.u32(4) not in self.old.removed
        if box.kind == b"sidx":
            return box.u32(4) not in self.old.removed
        if box.kind == b"traf":
            return box.find(b"tfhd").u32(4) not in self.old.removed
        if box.kind == b"moof":
            parts = [child for child in box.children() if child.kind == b"traf"]
            staying = [part for part in parts if self.stays(part)]
            self.lost_fragments = self.lost_fragments or len(staying) < len(parts)
            return bool(staying) or not parts
        if box.kind == b"tref":
            return any(self.kept_ids(child) for child in box.children()) or not box.children()
        if box.kind in self.reference_kinds:
            return bool(self.kept_ids(box))
        return True

    reference_kinds = (b"clcp", b"chap", b"tmcd", b"cdsc", b"sync", b"subt", b"forc", b"fall")

    def kept_ids(self, reference):
        payload = reference.payload
        ids = struct.unpack(f">{len(payload) // 4}I", payload)
        return [one for one in ids if one not in self.old.removed]

    # ---- what changes
    def compare(self, old, new, path):
        path = f"{path}/{old.kind.decode('latin-1')}"
        self.require(old.kind == new.kind, path,
                     f"{new.kind.decode('latin-1')} is in its place")
        if old.kind == b"trak":
            self.in_pictures = track_id(old) == self.old.pictures
            self.in_sound = handler_of(old) == b"soun"
        if old.kind == b"traf":
            self.in_pictures = old.find(b"tfhd").u32(4) == self.old.pictures
        # Samples are not examined. An index may be wrong because it was not changed.
        if old.kind == b"mdat" or (old.payload == new.payload and
                                   old.kind not in (b"sidx", b"tfra")):
            return
        rule = getattr(self, "rule_" + old.kind.decode("latin-1").strip(), None)
        if rule:
            rule(old, new, path)
        elif old.kind in self.reference_kinds:
            self.require(new.payload == b"".join(struct.pack(">I", one)
                                                 for one in self.kept_ids(old)), path, "other ids")
        elif old.kind in CONTAINERS:
            self.require([box.end for box in new.children()][-1:] == [new.end], path,
                         "its boxes do not fill it")
            self.compare_lists([child for child in old.children() if self.stays(child)],
                               new.children(), path)
        else:
            self.differ(path, "it was changed")

    def compare_lists(self, old, new, path):
        kinds = [[box.kind for box in boxes] for boxes in (old, new)]
        if len(old) != len(new):
            self.differ(path or "file", f"{kinds[1]} in the place of {kinds[0]}")
        for a, b in zip(old, new):
            if a.kind in (b"stco", b"co64"):
                self.compare_offsets(a, b, path)
            elif a.kind in (b"stsz", b"stz2"):
                self.compare_sizes(a, b, path)
            else:
                self.compare(a, b, path)

    def brands(self):
        ftyp = [box for box in self.old.boxes if box.kind == b"ftyp"][:1]
        old = [box.payload[i:i + 4] for box in ftyp for i in range(0, len(box.payload), 4) if i != 4]
        wanted = [b"mp42", b"isom"]
        wanted += [brand for brand in old if brand not in (b"qt  ", bytes(4))]
        new = self.new.boxes[0].payload
        self.require(new[:8] == b"mp42" + bytes(4), "ftyp", "another major brand")
        found = [new[i:i + 4] for i in range(8, len(new), 4)]
        more = [b"iso4", b"iso5"] if self.old.has_fragments else [b"iso4"]
        rest = found[len(dict.fromkeys(wanted)):]
        self.require(found[:len(found) - len(rest)] == list(dict.fromkeys(wanted)) and
                     all(brand in more for brand in rest), "ftyp", f"other brands: {found}")

    def compare_offsets(self, old, new, path):
        width = 4 if new.kind == b"stco" else 8
        self.require(new.kind in (b"stco", b"co64") and old.u32(4) == new.u32(4) and
                     new.u32(0) == 0 and len(new.payload) == 8 + width * new.u32(4), path,
                     "another number of chunks")

    def compare_sizes(self, old, new, path):
        if not self.in_pictures:
            return self.compare(old, new, path)
        self.require(new.kind == b"stsz" and old.u32(8) == new.u32(8) and new.u32(0) == 0 and
                     new.u32(4) == 0 and len(new.payload) == 12 + 4 * new.u32(8), path,
                     "another number of samples")
        return None

    def lowered(self, old, new, path, places):
        """Equal except for one number, which is smaller."""
        wide = old.payload[0] == 1
        place, width = (places[1], 8) if wide else (places[0], 4)
        a, b = bytearray(old.payload), bytearray(new.payload)
        before, after = (int.from_bytes(data[place:place + width], "big") for data in (a, b))
        del a[place:place + width], b[place:place + width]
        self.require(a == b and after < before and self.old.removed, path, "it was changed")

    def rule_mvhd(self, old, new, path):
        self.lowered(old, new, path, (16, 24))

    def rule_mehd(self, old, new, path):
        self.lowered(old, new, path, (4, 4))

    def rule_hdlr(self, old, new, path):
        a, b = old.payload, new.payload
        name = a[24:]
        if len(name) > 0 and name[0] < len(name) and (a[4:8] != bytes(4) or name[0] < 32):
            name = name[1:1 + name[0]]
        expected = a[:4] + bytes(4) + a[8:24] + name.split(b"\0")[0] + b"\0"
        self.require(b == expected, path, f"{b} in the place of {expected}")

    def rule_dref(self, old, new, path):
        alias = struct.pack(">I4sI", 12, b"alis", 1)
        self.require(new.payload == old.payload.replace(alias, alias.replace(b"alis", b"url ")),
                     path, "it was changed")

    def rule_ctts(self, old, new, path):
        self.require(new.payload == b"\1" + old.payload[1:], path, "more than its version")

    def rule_meta(self, old, new, path):
        is_full = old.payload[4:8] != b"hdlr"
        self.require(new.payload[:4] == (old.payload[:4] if is_full else bytes(4)) and
                     new.children(4)[-1].end == new.end, path, "it is not whole")
        self.compare_lists(old.children(4 if is_full else 0), new.children(4), path)

    def rule_udta(self, old, new, path):
        self.require([box.end for box in new.children()][-1:] in ([new.end], []), path,
                     "its boxes do not fill it")
        self.compare_lists(old.children(), new.children(), path)
        rest = old.payload[sum(child.end - child.start for child in old.children()):]
        self.require(rest in (b"", bytes(4)), path, "bytes after its boxes were lost")

    def rule_stsd(self, old, new, path):
        self.require(self.in_sound and old.payload[:8] == new.payload[:8], path, "it was changed")
        self.require([box.kind for box in old.children(8)] ==
                     [box.kind for box in new.children(8)], path, "other codings")
        for a, b in zip(old.children(8), new.children(8)):
            if a.payload != b.payload:
                self.plain_sound(a, b, f"{path}/{a.kind.decode('latin-1')}")

    def plain_sound(self, old, new, path):
        """An entry of version 1 or 2 with a decoder configuration, and one of version 0."""
        fields = {1: 44, 2: 64}.get(struct.unpack_from(">H", old.payload, 8)[0])
        self.require(fields and old.kind == new.kind, path, "it was changed")
        inside = old.children(fields)
        wave = next((box for box in inside if box.kind == b"wave"), None)
        self.require(wave, path, "it was changed")
        esds = next(box for box in wave.children() if box.kind == b"esds")
        expected = [esds.payload] + [box.payload for box in inside if box.kind != b"wave"]
        self.require([box.payload for box in new.children(28)] == expected, path, "other boxes")
        self.require(new.payload[:8] == old.payload[:8] and new.payload[8:16] == bytes(8), path,
                     "other fields")
        if fields == 44:
            self.require(new.payload[16:18] + new.payload[24:28] ==
                         old.payload[16:18] + old.payload[24:28], path, "other channels or rate")

    # ---- fragments
    def rule_tfhd(self, old, new, path):
        flags = old.u32(0)
        base = 8 if flags & 1 else 0
        self.require(new.u32(0) == (flags & ~1) | 0x20000 and
                     new.payload[4:] == old.payload[4:8] + old.payload[8 + base:], path,
                     "more than where its data are counted from")

    def run_of(self, trun):
        """The flags of a run and, for each sample, all its fields but the size."""
        flags = trun.u32(0)
        count = trun.u32(4)
        place = 8 + (4 if flags & 1 else 0)
        first = trun.payload[place:place + 4] if flags & 4 else b""
        place += len(first)
        fields = [bit for bit in (0x100, 0x200, 0x400, 0x800) if flags & bit]
        samples = []
        for _ in range(count):
            sample = {bit: trun.payload[place + 4 * i:place + 4 * i + 4]
                      for i, bit in enumerate(fields)}
            sample.pop(0x200, None) if self.in_pictures else None
            samples.append(sample)
            place += 4 * len(fields)
        self.require(place == len(trun.payload), "trun", "its length is not what it says")
        return flags & ~0x201 if self.in_pictures else flags & ~1, first, samples

    def rule_trun(self, old, new, path):
        a, b = self.run_of(old), self.run_of(new)
        versions = (b[0] ^ a[0]) >> 24  # signed composition offsets
        self.require(versions in (0, 1) and (a[0] ^ b[0]) & 0xFFFFFF == 0 and a[1:] == b[1:], path,
                     "more than sizes and offsets")

    def targets_of(self, film, places, path):
        """How many remaining boxes lie before each of these positions, at which a box begins."""
        numbers, count = {}, 0
        for box in film.boxes:
            numbers[box.start] = count
            count += box.kind not in (b"ftyp", b"moov", b"ssix")
        numbers[film.boxes[-1].end] = count
        self.require(all(place in numbers for place in places), path,
                     "it refers to a place where no box begins")
        return [numbers[place] for place in places]

    def require_targets(self, old, new, places_of, path):
        if not self.lost_fragments:
            found = [self.targets_of(film, places_of(box), path)
                     for film, box in ((self.old, old), (self.new, new))]
            self.require(found[0] == found[1], path, "it refers to other boxes")

    @staticmethod
    def places_of_sidx(box):
        wide = box.payload[0] != 0
        first = int.from_bytes(box.payload[20:28] if wide else box.payload[16:20], "big")
        place = box.end + first
        places = [place]
        for i in range(32 if wide else 24, len(box.payload), 12):
            place += box.u32(i) & 0x7FFFFFFF
            places.append(place)
        return places

    @staticmethod
    def places_of_tfra(box):
        width = 8 if box.payload[0] else 4
        lengths = box.u32(8)
        entry = 2 * width + 3 + (lengths & 3) + (lengths >> 2 & 3) + (lengths >> 4 & 3)
        return [int.from_bytes(box.payload[i + width:i + 2 * width], "big")
                for i in range(16, 16 + entry * box.u32(12), entry)]

    def rule_sidx(self, old, new, path):
        self.require_targets(old, new, self.places_of_sidx, path)
        place = 20 if old.payload[0] == 0 else 28  # after the first offset
        a, b = bytearray(old.payload), bytearray(new.payload)
        first = slice(place - (4 if old.payload[0] == 0 else 8), place)
        self.require(len(a) == len(b), path, "another number of references")
        a[first] = b[first] = b""
        after = first.start + 4
        for i in range(after, len(a), 12):
            a[i:i + 4] = b[i:i + 4] = bytes(4)
        self.require(a == b, path, "more than sizes and offsets")

    def rule_tfra(self, old, new, path):
        self.require(old.u32(4) == new.u32(4) and old.u32(12) == new.u32(12), path,
                     "another number of entries")
        self.require_targets(old, new, self.places_of_tfra, path)

    def rule_mfro(self, old, new, path):
        size = self.new.boxes[-1].end - self.new.boxes[-1].start
        self.require(new.payload == bytes(4) + struct.pack(">I", size), path, "another size")


def compare(old, new):
    """Raises Disagreement at the first box that breaks a rule."""
    Comparison(old, new).run()
