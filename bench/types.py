#!/usr/bin/env python3
"""Measures `tyksim tags` with a large library: builds one with MIB of debug information, 100 by default, and
reads it. Prints the processor time in seconds and the memory of each run, and fails beyond the limits.

    types.py TYKSIM [MIB]

CXX is the compiler of the library. Its debug information is as in a library of a camera: structures with
nested ones, arrays, enums and bit-fields, classes with functions, templates, in namespaces and sources.
"""

import os
import pathlib
import struct
import subprocess
import sys
import tempfile

TYPES = 3000  # of a source
MOST_SECONDS = 10
MOST_MIB = 512


def name_of(unit):
    """The name of a source and of its namespace; all have the same length."""
    return f"unit{unit:04}"


def source():
    """The first source, with TYPES structures in a namespace."""
    text = ["#include <cstdint>", f"namespace vendor {{ namespace {name_of(0)} {{",
            "template <typename Number, int count> struct Ring { Number slots[count]; uint32_t head; };"]
    for i in range(TYPES):
        inner = f"Params{i - 1} before; " if i % 7 else ""
        text.append(
            f"enum class Mode{i} : uint8_t {{ OFF{i}, AUTO{i}, MANUAL{i} = {i % 200 + 3} }};\n"
            f"struct Params{i} {{ {inner}Mode{i} mode{i}; float gains{i}[4]; uint32_t low{i} : 4, "
            f"high{i} : 12; struct {{ int16_t x, y; }} roi{i}[{i % 9 + 1}]; Ring<uint16_t, {i % 50 + 1}> "
            f"ring{i}; Params{i}* next{i}; int sum{i}(int scale) const {{ int total = low{i}; "
            f"for (int one = 0; one < scale; ++one) total += one * roi{i}[0].x; return total; }} }};\n"
            f"int use{i}(const Params{i}& value) {{ return value.sum{i}({i}); }}")
    text.append("}}")
    return "\n".join(text)


def debug_bytes(path):
    """The bytes of the sections of debug information."""
    data = pathlib.Path(path).read_bytes()
    table, = struct.unpack_from("<Q", data, 40)
    size, count, names = struct.unpack_from("<HHH", data, 58)
    headers = [struct.unpack_from("<IIQQQQ", data, table + i * size) for i in range(count)]
    text = data[headers[names][4]:]
    return sum(one[5] for one in headers if text[one[0]:].startswith(b".debug_"))


def build(folder, wanted):
    """A library with the wanted bytes of debug information, and how many sources it has."""
    compiler = os.environ.get("CXX", "g++")
    path = folder / f"{name_of(0)}.cpp"
    path.write_text(source())
    objects = [folder / f"{name_of(0)}.o"]
    subprocess.run([compiler, "-g", "-fPIC", "-c", path, "-o", objects[0]], check=True)
    # Another name makes the object file that of another source, much faster than the compiler.
    first = objects[0].read_bytes()
    library = folder / "libvendor.so"
    while True:
        subprocess.run([compiler, "-shared", *objects, "-o", library], check=True)
        found = debug_bytes(library)
        if found >= wanted:
            return library, len(objects)
        for unit in range(len(objects), -(-wanted * len(objects) // found) + 1):
            objects.append(folder / f"{name_of(unit)}.o")
            objects[-1].write_bytes(first.replace(name_of(0).encode(), name_of(unit).encode()))


def measure(what, status, words):
    """Runs the tool; prints and checks its time and memory."""
    process = subprocess.Popen(words, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    said = process.stdout.read()
    _, end, usage = os.wait4(process.pid, 0)
    assert os.waitstatus_to_exitcode(end) == status, said
    seconds = usage.ru_utime + usage.ru_stime
    mib = usage.ru_maxrss / 1024
    fits = seconds <= MOST_SECONDS and mib <= MOST_MIB
    print(f"{what:40} {seconds:6.2f} s of {MOST_SECONDS}, {mib:5.0f} MiB of {MOST_MIB}"
          f"{'' if fits else ': TOO MUCH'}", flush=True)
    return fits


def main():
    tyksim, wanted = os.path.abspath(sys.argv[1]), int((sys.argv + ["100"])[2]) << 20
    with tempfile.TemporaryDirectory() as work:
        library, units = build(pathlib.Path(work), wanted)
        print(f"{debug_bytes(library) >> 20} MiB of debug information, {units * TYPES} structures in "
              f"{units} sources, {os.path.getsize(library) >> 20} MiB in all")
        last = f"vendor::{name_of(units - 1)}::Params8"
        listed = subprocess.run([tyksim, "tags", "types", "--elf", library, last], check=True,
                                stdout=subprocess.PIPE, text=True).stdout
        size = listed.splitlines()[1].split()[0]
        table = pathlib.Path(work) / "tags.xml"
        table.write_text(f'<tags><tag id="9" name="T" size="{size}" kind="fixed"/></tags>')
        elf = ["--elf", library]
        fits = [measure("tags types, all", 0, [tyksim, "tags", "types", *elf]),
                measure(f"tags types --size {size}", 0,
                        [tyksim, "tags", "types", *elf, "--size", size]),
                measure("tags import of one type", 0,
                        [tyksim, "tags", "import", *elf, f"T={last}", "--into", table]),
                measure("tags import of an unknown type", 1,
                        [tyksim, "tags", "import", *elf, "T=Parms8", "--into", table])]
    return 0 if all(fits) else 1


sys.exit(main())
