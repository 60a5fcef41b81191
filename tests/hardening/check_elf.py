#!/usr/bin/env python3
"""check_elf - the protections of a built program, read from its ELF file.

    check_elf.py PROGRAM [--fortified]  ends with status 1 and names what is missing
    check_elf.py --self-test            proves that a program without protections is caught

A protection that was requested on the command line of the compiler can be missing from the program,
so the program itself is examined."""
import pathlib
import shutil
import struct
import subprocess
import sys
import tempfile

ET_DYN = 3
PT_DYNAMIC, PT_INTERP, PT_GNU_STACK, PT_GNU_RELRO = 2, 3, 0x6474E551, 0x6474E552
PF_X = 1
DT_NULL, DT_STRTAB, DT_STRSZ, DT_BIND_NOW, DT_FLAGS, DT_FLAGS_1 = 0, 5, 10, 24, 30, 0x6FFFFFFB
DF_BIND_NOW, DF_1_NOW, DF_1_PIE = 8, 1, 0x08000000


class Elf:
    """The headers of a little-endian ELF file of 32 or 64 bits."""

    def __init__(self, data):
        if data[:4] != b"\x7fELF" or data[4] not in (1, 2) or data[5] != 1:
            raise ValueError("no little-endian ELF file")
        is_wide = data[4] == 2
        self.type, = struct.unpack_from("<H", data, 16)
        offset, = struct.unpack_from("<Q", data, 32) if is_wide else struct.unpack_from("<I", data, 28)
        length, count = struct.unpack_from("<HH", data, 54 if is_wide else 42)
        self.segments = {}
        loads = []
        for i in range(count):
            place = offset + i * length
            if is_wide:
                kind, flags, start, address, _, size = struct.unpack_from("<IIQQQQ", data, place)
            else:
                kind, start, address, _, size, _, flags = struct.unpack_from("<7I", data, place)
            self.segments[kind] = flags
            if kind == 1:
                loads.append((address, start, size))
            if kind == PT_DYNAMIC:
                dynamic = (start, size)
        self.dynamic = {}
        if PT_DYNAMIC not in self.segments:
            self.names = set()
            return
        entry = "<QQ" if is_wide else "<II"
        for position in range(dynamic[0], dynamic[0] + dynamic[1], struct.calcsize(entry)):
            tag, value = struct.unpack_from(entry, data, position)
            if tag == DT_NULL:
                break
            self.dynamic[tag] = value
        strings = next(self.dynamic[DT_STRTAB] - address + start for address, start, size in loads
                       if address <= self.dynamic[DT_STRTAB] < address + size)
        self.names = set(data[strings:strings + self.dynamic[DT_STRSZ]].decode().split("\0"))


def missing(elf, fortified=False):
    """Returns the names of the protections that a program lacks."""
    found = []
    flags = elf.dynamic.get(DT_FLAGS, 0)
    flags1 = elf.dynamic.get(DT_FLAGS_1, 0)
    if elf.type != ET_DYN or PT_INTERP not in elf.segments or not flags1 & DF_1_PIE:
        found.append("position-independent program")
    if PT_GNU_RELRO not in elf.segments:
        found.append("read-only relocations")
    if not (flags & DF_BIND_NOW or flags1 & DF_1_NOW or DT_BIND_NOW in elf.dynamic):
        found.append("binding at the start")
    if elf.segments.get(PT_GNU_STACK, PF_X) & PF_X:
        found.append("stack without execution")
    if "__stack_chk_fail" not in elf.names:
        found.append("stack protector")
    # Which checked calls remain depends on what the compiler could prove; some always do.
    if fortified and not any(name.startswith("__") and name.endswith("_chk")
                             for name in elf.names):
        found.append("checked calls of the C library")
    return found


SOURCE = """
#include <stdio.h>
#include <string.h>
int main(int count, char** words) {
  char text[64];
  strcpy(text, words[count - 1]);
  puts(text);
  return 0;
}
"""


def self_test():
    compiler = shutil.which("cc") or shutil.which("gcc") or shutil.which("clang")
    if compiler is None:
        print("no C compiler")
        return 1
    with tempfile.TemporaryDirectory() as folder:
        source = pathlib.Path(folder, "program.c")
        program = pathlib.Path(folder, "program")
        source.write_text(SOURCE)

        def build(*options):
            subprocess.run([compiler, *options, "-o", program, source], check=True,
                           stderr=subprocess.DEVNULL)
            return missing(Elf(program.read_bytes()), fortified=True)

        bare = build("-O2", "-no-pie", "-fno-stack-protector", "-U_FORTIFY_SOURCE",
                     "-Wl,-z,norelro,-z,lazy,-z,execstack")
        whole = build("-O2", "-fPIE", "-pie", "-fstack-protector-strong", "-U_FORTIFY_SOURCE",
                      "-D_FORTIFY_SOURCE=2", "-Wl,-z,relro,-z,now")
    if len(bare) != 6 or whole:
        print(f"without protections: {bare}\nwith all: {whole}")
        return 1
    print("all six protections are missed where they are missing")
    return 0


def main(words):
    if words == ["--self-test"]:
        return self_test()
    fortified = "--fortified" in words
    programs = [word for word in words if not word.startswith("--")]
    if len(programs) != 1:
        print(__doc__)
        return 2
    found = missing(Elf(pathlib.Path(programs[0]).read_bytes()), fortified)
    for protection in found:
        print(f"{programs[0]}: no {protection}")
    if not found:
        print(f"{programs[0]}: all protections are there")
    return 1 if found else 0


sys.exit(main(sys.argv[1:]))
