#!/usr/bin/env python3
"""check_traces - what a built program tells of the place and the time of its build.

    check_traces.py OBJCOPY PROGRAM FOLDER...  ends with status 1 and names what is found
    check_traces.py --self-test OBJCOPY        proves that a program with traces is caught

OBJCOPY is the tool of that name. Debug information names folders on purpose and is left out."""
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

# As __DATE__ writes it.
DATE = re.compile(rb"(Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec) [ 0-3]\d 20\d\d\b")


def traces(objcopy, program, folders):
    """Lists the texts in a program that differ from build to build."""
    with tempfile.TemporaryDirectory() as folder:
        stripped = pathlib.Path(folder, "program")
        subprocess.run([objcopy, "--strip-debug", program, stripped], check=True)
        data = stripped.read_bytes()
    found = [f"the folder {name}" for name in folders if str(name).encode() in data]
    date = DATE.search(data)
    if date:
        found.append(f"the date {date.group().decode()}")
    return found


def self_test(objcopy):
    compiler = shutil.which("cc") or shutil.which("gcc") or shutil.which("clang")
    if compiler is None:
        print("no C compiler")
        return 1
    with tempfile.TemporaryDirectory() as folder:
        source = pathlib.Path(folder, "program.c")
        program = pathlib.Path(folder, "program")

        def found(expression):
            source.write_text(f"#include <stdio.h>\nint main(void) {{ puts({expression}); return 0; }}\n")
            subprocess.run([compiler, "-g", "-o", program, source], check=True)
            return len(traces(objcopy, program, [folder]))

        counts = [found('"nothing"'), found("__FILE__"), found("__DATE__"), found("__FILE__ __DATE__")]
    if counts != [0, 1, 1, 2]:
        print(f"traces found: {counts}")
        return 1
    print("folders and dates are found where they are")
    return 0


def main(words):
    if len(words) == 2 and words[0] == "--self-test":
        return self_test(words[1])
    if len(words) < 3:
        print(__doc__)
        return 2
    objcopy, program, *folders = words
    found = traces(objcopy, program, folders)
    for trace in found:
        print(f"{program}: tells {trace}")
    if not found:
        print(f"{program}: no trace of the build")
    return 1 if found else 0


sys.exit(main(sys.argv[1:]))
