#!/usr/bin/env python3
"""Compares the fields that `tyksim tags import` makes with the layouts of compilers: the offset and the
value of each field of random structures, for every installed compiler and architecture. Then tests the
messages about libraries and names that it cannot import.

  layouts.py TYKSIM [WORD...]     WORDs before TYKSIM's own arguments, such as an emulator
  SEED=7 layouts.py TYKSIM        other structures
"""
import json
import os
import pathlib
import random
import shutil
import struct
import subprocess
import sys
import tempfile

tyksim = [os.path.abspath(sys.argv[1])] if len(sys.argv) == 2 else sys.argv[1:]
seed = int(os.environ.get("SEED", "1"))
COUNT = 24  # structures of a compiler
COMPILERS = [["gcc"], ["gcc", "-gdwarf-4"], ["clang"], ["clang", "-gdwarf-4"], ["gcc", "-gz"],
             ["aarch64-linux-gnu-gcc"], ["clang", "--target=aarch64-linux-gnu"],
             ["clang", "--target=armv7a-linux-gnueabihf"], ["clang", "--target=i686-linux-gnu"],
             ["clang", "--target=riscv64-linux-gnu"]]

NUMBERS = {"signed char": 7, "unsigned char": 8, "short": 15, "unsigned short": 16, "int": 31,
           "unsigned int": 32, "long long": 63, "unsigned long long": 64, "long": 31,
           "_Bool": 1, "float": 0, "double": 0}
# Narrower than the type: for a bit-field as wide as its type, clang 14 always states that it begins at a
# whole byte, even if it does not.
BITS = {"unsigned char": 7, "signed char": 7, "unsigned short": 15, "int": 31,
        "unsigned int": 31, "long long": 57, "unsigned long long": 57, "_Bool": 1}


class Maker:
    """Structures at random: their source, an initializer for each part, and what must be read."""

    def __init__(self, rng):
        self.rng = rng
        self.names = 0
        self.source = []
        self.enums = []

    def name(self, letter):
        self.names += 1
        return f"{letter}{self.names}"

    def enum(self):
        name = self.name("E")
        least = self.rng.choice([0, 0, -40000, -3])
        numbers = [least, least + 1, self.rng.choice([5, 100, 200, 70000, 2**31 - 1])]
        packed = " __attribute__((packed))" if self.rng.random() < .3 else ""
        values = {self.name("V"): number for number in numbers}
        self.source.append(f"enum{packed} {name} {{ " +
                           ", ".join(f"{key} = {value}" for key, value in values.items()) + " };")
        self.enums.append((name, values))
        return self.enums[-1]

    def dims(self):
        return [self.rng.randint(1, 3) for _ in range(self.rng.choice([0, 0, 0, 1, 1, 2, 3]))]

    def number(self, kind):
        if kind in ("float", "double"):
            return self.rng.randint(-4000, 4000) / 4
        if kind == "_Bool":
            return self.rng.randint(0, 1)
        top = 2 ** NUMBERS[kind]
        return self.rng.randrange(0 if kind.startswith("unsigned") else -top, top)

    def bits(self, kind, width):
        if kind == "_Bool" or kind.startswith("unsigned"):
            return self.rng.randrange(2 ** width)
        return self.rng.randrange(-2 ** (width - 1), 2 ** (width - 1))

    def filled(self, dims, value):
        return value() if not dims else [self.filled(dims[1:], value) for _ in range(dims[0])]

    def structure(self, depth):
        """(source of its members, its parts); a part is (path, value, has an address)."""
        lines, parts = [], []
        for _ in range(self.rng.randint(1, 7)):
            self.member(depth, lines, parts)
        return lines, parts

    def member(self, depth, lines, parts):
        kind = self.rng.choice(["number"] * 4 + ["bits"] * 4 + ["text", "enum", "pointer", "pad"] +
                               ["structure"] * 3 + ["union"] if depth < 3 else ["number", "bits"])
        name = self.name("m")
        dims = self.dims()
        index = "".join(f"[{length}]" for length in dims)
        if kind == "number":
            what = self.rng.choice(list(NUMBERS))
            aligned = " __attribute__((aligned(16)))" if self.rng.random() < .1 else ""
            lines.append(f"{what} {name}{index}{aligned};")
            parts.append((name, self.filled(dims, lambda: self.number(what)), True))
        elif kind == "bits":
            what = self.rng.choice(list(BITS))
            width = self.rng.randint(1, BITS[what])
            lines.append(f"{what} {name} : {width};")
            parts.append((name, self.bits(what, width), False))
        elif kind == "pad":
            lines.append(f"unsigned int : {self.rng.choice([0, 3, 9])};")
        elif kind == "text":
            length = self.rng.randint(1, 9)
            text = "".join(self.rng.choices("abcdefgh", k=self.rng.randint(0, length - 1)))
            lines.append(f"char {name}{index}[{length}];")
            parts.append((name, self.filled(dims, lambda: text), True))
        elif kind == "enum":
            enum, values = self.enum()
            lines.append(f"enum {enum} {name}{index};")
            pick = lambda: (lambda key: {"number": values[key], "name": key})(
                self.rng.choice(list(values)))
            parts.append((name, self.filled(dims, pick), True))
        elif kind == "pointer":
            lines.append(f"void* {name}{index};")
        elif kind == "structure":
            inner_lines, inner_parts = self.structure(depth + 1)
            packed = " __attribute__((packed))" if self.rng.random() < .3 else ""
            body = "struct" + packed + " { " + " ".join(inner_lines) + " }"
            if self.rng.random() < .3:  # without a name, its members are the outer one's
                lines.append(f"{body};")
                parts += inner_parts
                return
            lines.append(f"{body} {name}{index};")
            for place in self.places(dims):
                parts += [(f"{name}{place}.{path}", value, addressed)
                          for path, value, addressed in inner_parts]
        elif kind == "union":
            inner_lines, inner_parts = self.structure(depth + 1)
            first = self.rng.choice(["int", "double", "unsigned char"])
            lines.append(f"union {{ {first} {name}; struct {{ {' '.join(inner_lines)} }}; }};")
            parts.append((name, None, True))
            # Only the second member of the union is given.
            parts += inner_parts

    def places(self, dims):
        if not dims:
            return [""]
        return [f"[{i}]{rest}" for i in range(dims[0]) for rest in self.places(dims[1:])]


def initializers(path, value):
    if value is None:
        return []
    if isinstance(value, list):
        return [one for i, item in enumerate(value) for one in initializers(f"{path}[{i}]", item)]
    if isinstance(value, dict):
        value = value["number"]
        return [f".{path} = {value}"]
    if isinstance(value, str):
        return [f'.{path} = "{value}"']
    if value == -2 ** 63:
        return [f".{path} = -{2 ** 63 - 1}LL - 1"]
    return [f".{path} = {value}{'' if isinstance(value, float) or abs(value) < 2**31 else 'ULL' if value >= 2**63 else 'LL'}"]


def make(rng):
    """The source of COUNT structures, and their parts."""
    maker = Maker(rng)
    structures = []
    for number in range(COUNT):
        lines, parts = maker.structure(0)
        attribute = rng.choice(["", "", " __attribute__((packed))", " __attribute__((aligned(32)))"])
        # The first member makes sure that there is one with a name.
        lines.insert(0, "unsigned char first;")
        parts.insert(0, ("first", number, True))
        maker.source.append(f"typedef struct{attribute} {{ {' '.join(lines)} }} S{number};")
        values = ", ".join(one for path, value, _ in parts for one in initializers(path, value))
        addresses = ", ".join(f"__builtin_offsetof(S{number}, {path})"
                              for path, _, addressed in parts if addressed)
        maker.source.append(f'const S{number} v{number} __attribute__((section("values{number}"), '
                            f"used, aligned(1))) = {{ {values} }};")
        maker.source.append(f'const unsigned o{number}[] __attribute__((section("offsets{number}"), '
                            f"used)) = {{ sizeof(S{number}), {addresses} }};")
        structures.append(parts)
    return "\n".join(maker.source) + "\n", structures


def sections(path):
    """The bytes of an ELF file's sections by name."""
    data = pathlib.Path(path).read_bytes()
    wide = data[4] == 2
    offset, = struct.unpack_from("<Q" if wide else "<I", data, 40 if wide else 32)
    size, count, names = struct.unpack_from("<HHH", data, 58 if wide else 46)
    headers = [struct.unpack_from("<IIQQQQ" if wide else "<IIIIII", data, offset + i * size)
               for i in range(count)]
    text = data[headers[names][4]:]
    return {text[h[0]:text.index(b"\0", h[0])].decode(): data[h[4]:h[4] + h[5]] for h in headers}


def run(status, *words):
    done = subprocess.run([*tyksim, *words], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                          text=True, check=False, timeout=120)
    assert done.returncode == status, (words, done.returncode, done.stdout, done.stderr)
    return done.stdout + done.stderr


def build(source, out, compiler, *flags):
    subprocess.run([*compiler, "-w", "-Wno-psabi",
                    "-Wno-packed-bitfield-compat", "-g", *flags, "-o", out, source], check=True)


def check(compiler, number):
    """Structures at random of one compiler."""
    source, structures = make(random.Random(seed * 1000 + number))
    pathlib.Path("s.c").write_text(source)
    build("s.c", "s.o", compiler, "-c")
    found = sections("s.o")
    tags, pairs = [], []
    for i in range(COUNT):
        tags.append(f'<tag id="{70000 + i}" name="T{i}" size="{len(found[f"values{i}"])}" '
                    'kind="fixed"/>')
        pairs.append(f"T{i} = S{i}  ")
        (frame / f"FCPDT_1_0_1_0_T{i}.bin").write_bytes(found[f"values{i}"])
    pathlib.Path("t.xml").write_text("<tags>\n" + "\n".join(tags) + "\n</tags>\n")
    pathlib.Path("map").write_text("# of all tags\n\n" + "\n".join(pairs))
    run(0, "tags", "import", "--elf", "s.o", "--map", "map", "r", "--into", "t.xml")
    shown = json.loads(run(0, "show", "r", "--tags", "t.xml", "--json"))
    values = {one["tag"]: one["fields"] for one in shown["parameters"] if one["tag"][0] == "T"}
    table = json.loads(run(0, "tags", "show", "--tags", "t.xml", "--json"))
    tables = {tag["name"]: tag["fields"] for tag in table["tags"]}
    compared = 0
    for i, parts in enumerate(structures):
        line = next(one for one in source.splitlines() if one.endswith(f"}} S{i};"))
        fields = {one["name"]: one for one in tables[f"T{i}"]}
        offsets = iter(struct.unpack(f"<{len(found[f'offsets{i}']) // 4}I", found[f"offsets{i}"]))
        assert next(offsets) == len(found[f"values{i}"])
        assert set(fields) == {path for path, _, _ in parts}, (compiler, i, fields.keys(), parts)
        for path, value, addressed in parts:
            if addressed:
                assert fields[path]["offset"] == next(offsets), (compiler, i, path, line)
            if value is not None:
                assert values[f"T{i}"][path] == value, (compiler, i, path, value,
                                                        values[f"T{i}"][path], line)
            compared += 1
    return compared


def check_random():
    compared, missing = 0, []
    for number, compiler in enumerate(COMPILERS):
        if shutil.which(compiler[0]) is None:
            missing.append(" ".join(compiler))
            continue
        compared += check(compiler, number)
    assert compared > 0, "no compiler is here"
    print(f"{compared} fields compared, seed {seed}")
    if missing:
        print("not here, and so not compared:", ", ".join(missing))


WRONG = '''
namespace a { struct Twice { int x; }; }
namespace b { struct Twice { int x, y; }; }
struct Absent;
struct Params { int gain; float rate; } params;
a::Twice first;
b::Twice second;
Absent* absent;
struct OfKind { int x; } structure;
class ClassOfKind { int x; } object;
union UnionOfKind { int x; char text[3]; } choice;
enum EnumOfKind { SOME } number;
typedef short ArrayOfKind[2][3];
ArrayOfKind array;
typedef int NumberOfKind;
NumberOfKind none;
#line 5 "many.h"
'''
WRONG += "".join(f"namespace n{i} {{ struct Many {{ char x[{i * 100 + 1}]; }} many; }}\n" for i in range(21))

TABLE = '<tags>\n  <!-- mine -->\n  <tag id="9" name="T" size="8" kind="fixed"/>\n</tags>\n'

# A library without a build id, which finds its debug file by a checksum.
LINKED = ("g++ -g -shared -fPIC -Wl,--build-id=none p.cpp -o p.so; objcopy --only-keep-debug p.so p.debug; "
          "strip -g p.so; objcopy --add-gnu-debuglink=p.debug p.so")

# A library that was compiled in another folder, without its .dwo file.
UNSPLIT = ("mkdir -p d; cd d; rm -f *.dwo; g++ -g -gsplit-dwarf -fPIC -shared ../p.cpp -o p.so; mv p.so ..; "
           "dwo=$(ls *.dwo); rm $dwo; ")

# The command that makes the library, the type, the status, and the expected text.
WRONG_CALLS = [
    ("true", "Params", 0, ["added: T.gain", "added: T.rate"]),
    ("strip -g p.so", "Params", 1, ["expected debug information, found none"]),
    ("cp p.so whole.so; strip -g p.so", "Params --debug whole.so", 0, ["added: T.rate"]),
    ("objcopy --only-keep-debug p.so p.debug; strip -g p.so; objcopy --add-gnu-debuglink=p.debug p.so",
     "Params", 0, ["added: T.rate"]),
    (LINKED, "Params", 0, ["added: T.rate"]),
    (LINKED + "; echo >>p.debug", "Params", 1,
     ["p.debug: expected the checksum that p.so has for it, found another one"]),
    ("objcopy --only-keep-debug p.so p.debug; strip -g p.so; id=$(readelf -n p.so | sed -n "
     "'s/.*Build ID: //p'); mkdir -p d/.build-id/${id%${id#??}}; "
     "mv p.debug d/.build-id/${id%${id#??}}/${id#??}.debug", "Params --debug d", 0,
     ["added: T.rate"]),
    ("g++ -g -shared -DX -Wl,--build-id=0x0011223344556677 p.cpp -o whole.so; strip -g p.so",
     "Params --debug whole.so", 1, ["whole.so: expected the build id ", "found the build id 0011223344556677"]),
    ("objcopy --compress-debug-sections=zlib-gnu p.so", "Params", 0, ["added: T.rate"]),
    ("g++ -g -gsplit-dwarf -fPIC -shared p.cpp -o p.so", "Params", 0, ["added: T.rate"]),
    ("g++ -g -gsplit-dwarf -fPIC -shared p.cpp -o p.so; rm *.dwo", "Params", 1,
     ["names of .dwo files", "is not there"]),
    (UNSPLIT + "mkfifo $dwo", "Params", 1, [".dwo: expected a regular file, found a FIFO"]),
    (UNSPLIT + "mkfifo ../$dwo", "Params", 1, [".dwo: expected a regular file, found a FIFO"]),
    ("head -c 1000 p.so >cut; mv cut p.so", "Params", 1, ["p.so: expected"]),
    ("cp p.cpp p.so", "Params", 1, ["p.so: expected an ELF file, found a file of another kind"]),
    (r"printf '\002' | dd of=p.so bs=1 seek=5 conv=notrunc status=none", "Params", 1,
     ["expected an ELF file of a little-endian architecture"]),
    ("true", "Parms", 1, ["expected a type Parms, found none; did you mean Params?"]),
    ("true", "Twice", 1, ["expected one type Twice, found a::Twice of 4 bytes in ",
                          "p.cpp:2; b::Twice of 8 bytes in ", "p.cpp:3: choose one"]),
    ("true", "Many", 1, ["n0::Many of 1 byte in ", "many.h:5, compiled into p.cpp; n1::Many of 101 bytes",
                         "; n19::Many of 1901 bytes", "; and 1 more: "]),
    ("true", "b::Twice", 0, ["added: T.y"]),
    ("true", "a::Twice", 1, ["expected 8 bytes, the size of T, found 4 bytes of a::Twice"]),
    ("true", "Absent", 1, ["expected the definition of Absent, found only a declaration"]),
]


SHARE = ("cp p.so q.so; dwz -m shared.debug p.so q.so; " if shutil.which("dwz") else "")
if SHARE:
    WRONG_CALLS += [(SHARE, "Params", 0, ["added: T.rate"]),
                    (SHARE + "rm shared.debug", "Params", 1, ["expected the file shared.debug"]),
                    (SHARE + "cp p.so shared.debug", "Params", 1,
                     ["shared.debug: expected the build id "]),
                    (SHARE + "printf 'more.debug\\0%020d' 0 >more; objcopy --add-section .gnu_debugaltlink=more "
                     "shared.debug", "Params", 1, ["found one that refers to more.debug"])]

# A map of pairs, more words, the status, and the expected text.
MAPS = [
    (b"\xef\xbb\xbfT = Params\r\n", [], 0, "added: T.gain"),
    (b"T = Params\nT = Params", ["T=Params"], 0, "added: T.gain"),
    (b"# none\n\n", ["T=Params"], 1, "map: expected a line TAG = TYPE, found none"),
    (b"T = Params\nT = Twice\n", [], 2, "expected one type of T, found Params and Twice"),
]
# The sizes of the tag's files in two frames, the status, and the expected text.
FILES = [
    ([8, 3], 0, "r2: 1 file in the last frame of a task is shorter: "),
    ([3, 8], 1, "expected 8 bytes, the size of Params, found 3"),
    ([8, 9], 1, "expected 8 bytes, the size of Params, found 9"),
    ([0, 3], 1, "expected 8 bytes, the size of Params, found 3"),
]


def check_import():
    """Tests the messages of import about maps and trees, and that the table keeps its owner."""
    build("p.cpp", "p.so", ["g++"], "-shared", "-fPIC")
    table = pathlib.Path("one.xml")

    def call(status, *words):
        table.write_text(TABLE)
        if os.geteuid() == 0:
            os.chown(table, 1234, 5678)
        said = run(status, "tags", "import", "--elf", "p.so", *words, "--into", "one.xml")
        assert os.geteuid() != 0 or (table.stat().st_uid, table.stat().st_gid) == (1234, 5678)
        return said

    for pairs, words, status, expected in MAPS:
        pathlib.Path("map").write_bytes(pairs)
        said = call(status, "--map", "map", *words)
        assert expected in said, (pairs, said)
    run(0, "record", "r2", "--frames", "2", "--size", "16x8")
    frames = sorted(pathlib.Path("r2/data/vendor/cameraserver/tykdump/pipe_1").glob("*/*"))
    for sizes, status, expected in FILES:
        for one, size in zip(frames, sizes):
            file = one / "FCPDT_1_0_1_0_T.bin"
            file.unlink(missing_ok=True)
            if size > 0:
                file.write_bytes(bytes(size))
        said = call(status, "T=Params", "r2")
        assert expected in said, (sizes, said)


# The words of `tags types`, and the types that it lists: their sizes, kinds and names.
LISTS = [
    (["*OfKind"], ["12 array ArrayOfKind", "4 class ClassOfKind", "4 enum EnumOfKind", "4 struct OfKind",
                   "4 union UnionOfKind"]),
    (["--size", "8"], ["8 struct Params", "8 struct b::Twice"]),
    (["Twice", "--size", "4"], ["4 struct a::Twice"]),
]


def check_lists():
    """Tests the lists of types, as a table and as JSON."""
    build("p.cpp", "p.so", ["g++"], "-shared", "-fPIC")
    for words, expected in LISTS:
        table = run(0, "tags", "types", "--elf", "p.so", *words).splitlines()
        assert table[0].split() == ["bytes", "kind", "type", "file"], table
        assert [" ".join(line.split()[:3]) for line in table[1:]] == expected, (words, table)
        types = json.loads(run(0, "tags", "types", "--elf", "p.so", *words, "--json"))["types"]
        assert [f"{one['size']} {one['kind']} {one['name']}" for one in types] == expected, (words, types)
        lines = WRONG.splitlines()
        assert all(one["file"].endswith("p.cpp") and one["name"].split("::")[-1] in lines[one["line"] - 1]
                   for one in types), types
    none = run(2, "tags", "types", "--elf", "p.so", "No*", "--size", "3")
    assert "p.so: expected a type of 3 bytes whose name fits 'No*', found none" in none, none


def check_wrong():
    """Tests the messages of import about libraries and types; a refused change leaves the table as it was."""
    table = pathlib.Path("one.xml")
    for prepare, words, status, expected in WRONG_CALLS:
        build("p.cpp", "p.so", ["g++"], "-shared", "-fPIC", "-Wl,--build-id")
        subprocess.run(prepare, shell=True, check=True)
        table.write_text(TABLE)
        said = run(status, "tags", "import", "--elf", "p.so", f"T={words.split()[0]}",
                   *words.split()[1:], "--into", "one.xml")
        for words_of_it in expected:
            assert words_of_it in said, (prepare, words, said)
        assert status == 0 or table.read_text() == TABLE, (prepare, words, table.read_text())
        assert "<!-- mine -->" in table.read_text()


with tempfile.TemporaryDirectory() as work:
    os.chdir(work)
    run(0, "record", "r", "--frames", "1", "--size", "16x8")
    frame, = pathlib.Path("r/data/vendor/cameraserver/tykdump/pipe_1").glob("*/*")
    pathlib.Path("p.cpp").write_text(WRONG)
    check_random()
    check_lists()
    check_wrong()
    check_import()
