#!/usr/bin/env python3
"""Records videos, bare pictures, PNG files and tables of values with tyksim, compares the trees with the input,
and runs the commands of docs/record.md.

  record.py DOCUMENT TYKSIM [ARGUMENT...]

Ends with status 77 if ffmpeg is missing and everything else passed.
"""
import base64
import csv
import json
import os
import pathlib
import pty
import random
import re
import shlex
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import zlib

SKIPPED = 77
document = pathlib.Path(sys.argv[1]).read_text()
tool = shlex.join([str(pathlib.Path(word).resolve()) if os.path.exists(word) else word for word in sys.argv[2:]])
failures = []


def expect(holds, what, found=""):
    if not holds:
        failures.append(what)
        print(f"FAILED: {what}\n{found}")


def run(line, given=b"", status=0, texts=()):
    """Runs a line of bash in which `t` is the tool. Returns what it prints."""
    done = subprocess.run(["bash", "-c", f'set -o pipefail; t() {{ {tool} "$@"; }}; {line}'], input=given,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
    out = done.stdout.decode(errors="replace")
    expect(done.returncode == status, f"{line}: status {status}, not {done.returncode}", out)
    for text in texts:
        expect(text in out, f"{line}: prints {text!r}", out)
    return out


def fresh(root):
    shutil.rmtree(root, ignore_errors=True)
    return root


def frames(root):
    return sorted(pathlib.Path(root).glob("data/vendor/cameraserver/tykdump/pipe_1/*_task_0/*"))


def images(root):
    return [next(frame.glob("FCWH_*")).read_bytes() for frame in frames(root)]


def planes(width, height, frame):
    """Planes Y, U and V with every value of a byte in them."""
    pairs, rows = (width + 1) // 2, (height + 1) // 2
    return (bytes((i + frame) % 256 for i in range(width * height)),
            bytes((i * 3 + frame) % 256 for i in range(pairs * rows)),
            bytes((i * 5 + 7 * frame) % 256 for i in range(pairs * rows)))


def y4m(header, pictures, frame_line=b"FRAME\n"):
    return b"YUV4MPEG2 " + header.encode() + b"\n" + b"".join(frame_line + b"".join(one) for one in pictures)


def nv21(width, height, picture):
    """The bytes of a picture's dump."""
    y, u, v = picture
    return (y + b"".join(bytes(pair) for pair in zip(v, u)))[:width * height * 3 // 2]


def scaled(picture):
    """Converts samples from limited to full range."""
    def brought(samples, black, steps, middle):  # one half occurs: 0.5, of chroma 16, becomes 0
        return bytes(min(255, max(0, (510 * (s - black) + steps - 1) // (2 * steps) + middle)) for s in samples)
    return brought(picture[0], 16, 219, 0), brought(picture[1], 128, 224, 128), brought(picture[2], 128, 224, 128)


def videos():
    for width, height in ((64, 48), (33, 19)):
        pictures = [planes(width, height, frame) for frame in range(4)]
        size = f"W{width} H{height}"
        full = [nv21(width, height, picture) for picture in pictures]
        limited = [nv21(width, height, scaled(picture)) for picture in pictures]
        for header, options, expected, text in (
                ("F25:1 Ip A1:1 C420jpeg XYSCSS=420JPEG XCOLORRANGE=FULL XANY=1", "", full, "full range by its header"),
                ("XCOLORRANGE=LIMITED C420mpeg2", "", limited, "at the left of its pixels, not moved"),
                ("A10:11", "", limited, "by default (--range sets it), converted to full"),
                ("XYSCSS=420PALDV", "--range full", full, "at the top left of its pixels")):
            run(f"t record {fresh('v')} --y4m - {options}", y4m(f"{size} {header}", pictures), 0, [text])
            expect(images("v") == expected, f"the pictures of a video {size} {header} {options}")
        # Exports the recording as a video, and records that video again.
        run(f"t export v --y4m x.y4m --force; t record {fresh('w')} --y4m x.y4m && t diff v w",
            status=0, texts=["all the same"] if width == 64 else [])
        expect(images("v") == images("w"), f"pictures of {size} come back")
    run(f"t record {fresh('v')} --y4m - --matrix bt709", y4m("W2 H2 XCOLORRANGE=FULL", [(b"\x80" * 4, b"\xf0", b"\x10")]))
    luma, chroma = images("v")[0][0], images("v")[0][4:]
    expect((luma, chroma) == (128 + round(.1018 * 112 - .1968 * 112), chroma) and chroma != b"\x10\xf0",
           "BT.709 becomes BT.601", images("v"))


def times():
    def at(root):
        names = [frame.name[4:13] for frame in frames(root)]
        seconds = [int(n[:2]) * 3600 + int(n[2:4]) * 60 + int(n[4:6]) + int(n[6:]) / 1000 for n in names]
        return [round((second - seconds[0]) % 86400 * 1000) for second in seconds]
    picture = [planes(2, 2, 0)] * 32
    for header, options, rate in (("F25:1", "", 25), ("F30000:1001", "", 30000 / 1001), ("F25:1", "--fps 0.5", .5)):
        run(f"t record {fresh('v')} --y4m - {options}", y4m(f"W2 H2 {header}", picture))
        expect(at("v") == [int(n * 1000 / rate + 1e-6) for n in range(32)], f"times of {header} {options}", at("v"))
    run(f"t record {fresh('v')} --fps 20 --size 2x2 --frames 3")
    expect(at("v") == [0, 50, 100], "times of a test pattern", at("v"))
    run(f"t record {fresh('v')} --y4m -", y4m("W2 H2 F0:0", picture[:3]), 0, ["no frame rate"])


def bare_pictures():
    for width, height, stride in ((16, 6, 16), (15, 7, 15), (15, 7, 21), (16, 6, 24)):
        pictures = [planes(width, height, frame) for frame in range(3)]
        pairs, rows = (width + 1) // 2, (height + 1) // 2
        apart = max(stride, 2 * pairs)

        def spread(samples, wide, stride):
            return b"".join(samples[i:i + wide].ljust(stride, b"#") for i in range(0, len(samples), wide))

        def semi(first, second):
            return spread(b"".join(bytes(pair) for pair in zip(first, second)), 2 * pairs, apart)

        half = (stride + 1) // 2
        layouts = {"nv21": lambda y, u, v: spread(y, width, stride) + semi(v, u),
                   "nv12": lambda y, u, v: spread(y, width, stride) + semi(u, v),
                   "i420": lambda y, u, v: spread(y, width, stride) + spread(u, pairs, half) + spread(v, pairs, half)}
        for word, laid in layouts.items():
            stored = b"".join(laid(*picture) for picture in pictures).rstrip(b"#")
            options = f"--raw {word} --size {width}x{height}" + (f" --stride {stride}" if stride != width else "")
            run(f"t record {fresh('v')} - {options}", stored)
            expected = [nv21(width, height, picture) for picture in pictures]
            expect(images("v") == expected, f"bare pictures {options}")
            pathlib.Path("one").write_bytes(stored)
            run(f"t record {fresh('v')} one - one {options} --frames 7", stored[:len(stored) // 3 + 9], 3,
                ["record-input: standard input: picture 2: expected", "frames: 7 dumped of 7"])
            expect(images("v") == expected + expected[:1] + expected, f"files of pictures {options}")


def values():
    tags = ["EXPOSURE_TIME.nanoseconds", "SENSITIVITY.iso", "EXPOSURE_BIAS.ev", "WB_GAINS.gains", "NOISE_PROFILE.model"]
    names = " ".join(["KELV_TAG_" + tag for tag in tags] + "total_gain exp_time cur_ev ev0 ev1 ev2".split())
    made = "--size 16x16 --first-request 5"
    run(f"t record {fresh('v')} {made} --frames 4 --iso 333 --ev -0.7 --exposure 1/77; t track v {names} --csv >table")
    run(f"t record {fresh('w')} {made} --values table && t diff v w", status=0, texts=["all the same"])
    run(f"cat table | t record {fresh('w')} {made} --frames 3 --values - && t diff v w --frames ..3", status=0,
        texts=["3 frames matched", "except the values of standard input"])
    run(f"t track v --rows --all | t record {fresh('w')} {made} --values - && t diff v w", texts=["all the same"])
    run("t track v -n total_gain KELV_TAG_GYRO_SAMPLES image.mean --rows >rows; "
        f"t record {fresh('w')} {made} --values rows && t track w total_gain --csv | cut -d, -f6 >a; "
        "t track v total_gain --csv | cut -d, -f6 | cmp - a", texts=["not names of fields: KELV_TAG_GYRO_SAMPLES, image.mean"])
    run("sed -i s/image.mean/image.men/ rows; t record w --values rows", status=1, texts=['column "image.men"', "nearest"])
    table = ('{"path":"x","total_gain":7,"cur_ev":null}\n\n'
             '{"cur_ev":-0.1,"KELV_TAG_WB_GAINS.gains":[1,2,[3,4.5]],"time":"T"}\n{"total_gain":{"number":1,"name":null}}\n')
    run(f"t record {fresh('w')} --size 2x2 --values - && t track w total_gain cur_ev KELV_TAG_WB_GAINS.gains --csv",
        table.encode(), 0, [",1,1,7,-1,", ',2,2,1536,-0.1,"1,2,3,4.5"', ",3,3,1,0,"])
    run(f"t record {fresh('w')} --size 2x2 --values - && t track w total_gain exp_time --csv",
        b'total_gain,exp_time,time\n4000.0,1e+16,x\n1.5e1,"20000000.00",x\n', 0, [",4000,10000000000000000\n", ",15,20000000\n"])
    run(f"t record {fresh('w')} --size 2x2 --values - && t track w total_gain KELV_TAG_WB_GAINS.gains[1] --csv",
        b'\xef\xbb\xbftotal_gain,"KELV_TAG_WB_GAINS.gains[1]",KELV_TAG_GYRO_SAMPLES\r\n1,2.5,x\r\n,"3",\r\n', 0,
        ["not names of fields: KELV_TAG_GYRO_SAMPLES", ",1,1,1,2.5", ",2,2,1536,3"])
    run(f"t record {fresh('w')} --size 2x2 --values - && t track w total_gain --csv", b"total_gain\n7\n\n9\n", 0,
        [",1,1,7\n", ",2,2,1536\n", ",3,3,9\n"])
    video = y4m("W2 H2", [planes(2, 2, 0)] * 3)
    pathlib.Path("table").write_text("total_gain\n" + "5\n" * 2)
    run(f"t record {fresh('w')} --y4m - --values table", video, 0, ["frames: 2 dumped of 2"])
    pathlib.Path("table").write_text("total_gain\n" + "5\n" * 4)
    run(f"t record {fresh('w')} --y4m - --values table", video, 0, ["ended after 3 frames; table has 4 rows"])
    run(f"echo '<dumpconfig/>' >c; t record {fresh('w')} --values table --config c", status=0,
        texts=["not recorded, because the dump configuration leaves out their tags: total_gain"])


def texts():
    """Texts of any bytes, numbers with and without names, and bits come back by CSV and by rows."""
    pathlib.Path("odd.xml").write_text(
        '<tags version="2"><enum name="Mode"><value number="1" name="SLOW (1)"/><value number="2" name="FAST"/></enum>'
        '<tag id="9000" name="T" size="64" kind="fixed"><field name="txt" offset="0" type="char" count="24"/>'
        '<field name="head" offset="0" type="u8" count="3"/><field name="three" offset="24" type="char" dims="3x8"/>'
        '<field name="mode" offset="48" type="u8" enum="Mode"/><field name="modes" offset="49" type="u8" count="2" enum="Mode"/>'
        '<field name="low" offset="51" type="u8" bits="0:3"/><field name="high" offset="51" type="i8" bits="3:5"/>'
        '<field name="wide" offset="56" type="f64"/></tag></tags>')
    chance = random.Random(3)
    pieces = [b",", b'"', b"\n", b"\r", b"\\x1B", b"\x1b", b"\xff", b";", b"\t", b" ", b"a", b"007", "\ufffd\u00e9".encode(), b"'"]

    def text(most):
        return b"".join(chance.choices(pieces, k=chance.randrange(6)))[:most]
    given = [{"txt": text(24), "three": [text(8) for _ in range(3)]} for _ in range(60)]
    coded = [{"txt": base64.b64encode(one["txt"]).decode(), "three": [base64.b64encode(each).decode() for each in one["three"]]}
             for one in given]
    numbers = [(chance.randrange(4), [chance.randrange(4), 255], chance.randrange(8), chance.randrange(-16, 16)) for _ in given]
    lines = [json.dumps({"T.txt_base64": code["txt"], "T.three_base64": code["three"], "T.mode": n[0], "T.modes": n[1],
                         "T.low": n[2], "T.high": n[3], "T.wide": n[3] / 3}) + "\n" for code, n in zip(coded, numbers)]
    made = "--tags odd.xml --size 2x2 --values"
    run(f"t record {fresh('v')} {made} -", "".join(lines).encode())
    names = "-n T.txt T.three T.mode T.modes T.low T.high T.wide total_gain"
    run(f"t track v {names} --csv >csv; t track v {names} --rows >rows; t track v --all --rows >all")
    for table in ("csv", "rows", "all"):
        run(f"t record {fresh('w')} {made} {table} && t diff v w", texts=["all the same"])
    with open("csv", encoding="latin-1", newline="") as file:
        cells = list(csv.DictReader(file))
    expect([cell["T.txt"].encode("latin-1") for cell in cells] == [one["txt"] for one in given], "texts in CSV are exact")
    expect([cell["T.mode"] for cell in cells] == [("0", "SLOW (1) (1)", "FAST (2)", "3")[n[0]] for n in numbers], "names in CSV")
    shown = [json.loads(line) for line in open("rows", encoding="utf-8")]
    for row, one, code in zip(shown, given, coded):
        for name in one:
            plain = json.loads(json.dumps(one[name], default=lambda each: each.decode("utf-8", "replace")))
            there = one[name] if isinstance(one[name], list) else [one[name]]
            odd = any(each.decode("utf-8", "replace").encode() != each for each in there)
            expect(row.get(f"T.{name}_base64") == (code[name] if odd else None), f"exact bytes of {name} in rows", row)
            expect(odd or row[f"T.{name}"] == plain, f"the text {name} in rows", row)
    expect(shown[0].keys() >= {"T.mode"} and all(isinstance(row["T.mode"], str) for row in shown), "numbers of an enum are texts")
    for line, text in (('{"T.mode":{"number":1,"name":"FAST"}}', 'found "FAST (1)": the number of "FAST" is 2'),
                       ('{"T.mode":{"number":1,"name":2}}', 'a text, null or a list, found another value of "T.mode"'),
                       ('{"T.mode":{"number":"1"}}', 'found another value of "T.mode"'),
                       ('{"T.txt":"a","T.txt_base64":"Yg=="}', 'column T.txt: expected the texts whose bytes "T.txt_base64" has'),
                       ('{"T.txt_base64":"Yg"}', 'column T.txt_base64: expected Base64, found "Yg"'),
                       ('{"T.txt":"ab","T.head":[97,98,99]}', "column T.txt: expected a value that agrees with column T.head"),
                       ('{"T.three":["a,b","c"]}', "expected 3 texts, found 2"), ('{"T.three":[]}', "expected 3 texts, found 0"),
                       ('{"T.txt":["a","b"]}', "expected 1 text, found 2"), ('{"T.txt":"a\\u0000b"}', "a text without NUL")):
        run(f"t record p {made} -", line.encode(), 1, ["line 1", text])
    run(f"t record {fresh('w')} {made} - && t track w T.txt T.head --csv", b'T.txt,T.head\n"",\n"ab","97,98,0"\n,"1,2,3"\n', 0,
        [',1,1,"","0,0,0"\n', ',2,2,ab,"97,98,0"\n', '\x01\x02\x03'])
    master, slave = pty.openpty()
    subprocess.run(["bash", "-c", f"{tool} track w T.txt --csv --frames 3"], stdout=slave, check=True)
    os.close(slave)
    shown = b""
    try:
        while part := os.read(master, 1000):
            shown += part
    except OSError:
        pass  # a terminal without its other end has no end of file
    os.close(master)
    expect(b"\\x01\\x02\\x03" in shown, "CSV on a terminal has no control characters")


def png(width, height, kind, depth, rows, extra=b""):
    def chunk(name, content):
        return struct.pack(">I", len(content)) + name + content + struct.pack(">I", zlib.crc32(name + content))
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, depth, kind, 0, 0, 0)) + extra +
            chunk(b"IDAT", zlib.compress(b"".join(b"\0" + row for row in rows))) + chunk(b"IEND", b""))


def png_files():
    ramp = bytes(range(16))
    red, clear = b"\xff\0\0\xff", b"\xff\0\0\x80"
    for name, file, expected in (
            ("grey", png(16, 2, 0, 8, [ramp, ramp]), ramp * 2 + b"\x80" * 16),
            ("grey of 16 bits", png(16, 2, 0, 16, [bytes(b for s in ramp for b in (s, s))] * 2), ramp * 2 + b"\x80" * 16),
            ("colour", png(2, 2, 2, 8, [red[:3] * 2] * 2), b"L" * 4 + b"\xffU"),
            ("opaque", png(2, 2, 6, 8, [red * 2] * 2), b"L" * 4 + b"\xffU")):
        pathlib.Path("p.png").write_bytes(file)
        run(f"t record {fresh('v')} p.png")
        expect(len(images("v")[0]) == len(expected) and all(abs(a - b) <= 1 for a, b in zip(images("v")[0], expected)),
               f"a PNG file: {name}", images("v"))
    for file, text in ((png(2, 2, 6, 8, [red + clear] * 2), "without transparent pixels, found some"),
                       (png(2, 2, 2, 8, [red[:3] * 2] * 2)[:-30], "expected a complete PNG picture"),
                       (png(16385, 1, 0, 8, [b"\0" * 16385]), "p.png: expected a complete PNG"),
                       (b"GIF89a", "found something else: ffmpeg -i FILE"),
                       (b"YUV4MPEG2 W2 H2\n", "found a video: --y4m takes it")):
        pathlib.Path("p.png").write_bytes(file)
        run(f"t record {fresh('v')} p.png", status=1, texts=[text])
    run("t record v --size 16x8 --iso 250 --frames 1 && t export v --format png -o pngs && "
        f"t record {fresh('w')} pngs/*.png && t track w KELV_TAG_SENSITIVITY.iso --csv", texts=[",1,1,250"])


def refusals():
    picture = planes(4, 4, 0)
    yuv420p = "ffmpeg -pix_fmt yuv420p"
    headers = [("", "something else"), ("W4", "a height (H)"), ("H4", "a width (W)"), ("W0 H4", "expected W1 to W16384"),
               ("W4 H12289", "expected H1 to H12288, found H12289"), ("W4 W8 H4", "parameter once, found a second W: W8"),
               ("W4 H4 F25", "expected F<frames>:<seconds>"), ("W4 H4 F1001:1", "at most 1000 frames a second"),
               ("W4 H4 F1:86401", "one frame a day"), ("W4 H4 It", "ffmpeg -vf yadif"), ("W4 H4 C420p10", yuv420p), ("W4 H4 C422", yuv420p),
               ("W4 H4 C444", yuv420p), ("W4 H4 Cmono", yuv420p), ("W4 H4 XYSCSS=422", yuv420p), ("W4 H4 A1", "of a pixel"),
               ("W4 H4 XCOLORRANGE=WIDE", "XCOLORRANGE=FULL or"), ("W4 H4 Q1", "the parameters W, H"),
               ("W4 H4 X" + "x" * 5000, "a newline in the first 4096 bytes")]
    shutil.rmtree("p", ignore_errors=True)
    for header, text in headers:
        given = y4m(header, [picture]) if header else b"RIFF"
        run("t record p --y4m -", given, 1, ["standard input", text])
    tables = [("totl_gain\n1\n", 'column "totl_gain": no tag, field or scene field of this name; nearest: total_gain'),
              ("total_gain\n1\n\n3000000000\n", "line 4, column total_gain: expected a whole number from 0 to 2147483647"),
              ('total_gain,"a\n1,1', "line 1: expected a quote at the end"), ("total_gain,cur_ev\n1\n", "line 2: expected 2 cells"),
              ("total_gain,total_gain\n1,1\n", '"total_gain" twice'), ("", "a heading"), ("pipe\n1\n", "a column that names a field"),
              ("total_gain\n", "a row for each frame, found none"), ('{"total_gain":{}}\n', "line 1: expected a number"),
              ('{"total_gain":' + "[" * 60000 + "]" * 60000 + "}\n", "line 1: expected a number"),
              ("x" * 100000 + "\n1\n", "no tag, field or scene field"),
              ('{"total_gain":1}\n{"total_gain":1\n', "line 2: expected a JSON object"),
              ('{"total_gain":1,"total_gain":1}', 'line 1: expected every key once, found "total_gain" twice'),
              ('{"total_gain":""}', "line 1, column total_gain: expected a whole number from 0"),
              ('{"total_gain":[]}', "expected one number, found a list of 0"), ("total_gain\n4000.5\n", 'found "4000.5"'),
              ("total_gain\n" + "9" * 1000000, "9" * 64 + '..."\n'),
              ("total_gain;cur_ev\n1024;0,5\n", "line 1: expected commas between the cells, found semicolons"),
              ('KELV_TAG_WB_GAINS.red,KELV_TAG_WB_GAINS.gains\n1,"1,2,3,4"\n5,"1,2,3,4"\n',
               "line 3, column KELV_TAG_WB_GAINS.red: expected a value that agrees with column KELV_TAG_WB_GAINS.gains"),
              ("total_gain,threeA_info/ae_info/total_gain\n1,1\n,2\n1,2\n", "line 4, column total_gain: expected a value that"),
              ("KELV_TAG_WB_GAINS.gains\n1\n", "column KELV_TAG_WB_GAINS.gains: expected 4 numbers, found 1")]
    for table, text in tables:
        run("t record p --values -", table.encode(), 1, ["standard input", text])
    for options, text in (("--y4m - --values -", "expected one input from standard input, found 2"), ("--y4m a b.jpg", "no IMAGE beside"),
                          ("--raw nv21 x", "--size WxH"), ("--raw nv21 --size 2x2", "--raw: expected files"),
                          ("--raw i422 x --size 2x2", "--raw"), ("--raw nv21 --y4m -", "exclude each other"),
                          ("--stride 9", "--stride: expected --raw"), ("--range full", "--range: expected --y4m"),
                          ("x --raw nv12 --size 9x9 --stride 8", "at least the 9 bytes"), ("-", "expected --y4m - or --raw for standard input"),
                          ("--y4m - --size 2x2", "or --raw, found --y4m"), ("--fps 1001", "at most 1000"), ("--fps x", "a rate such")):
        run(f"t record p {options}", status=2, texts=[text])
    run("echo total_gain >p.csv; echo 1 >>p.csv; t record p --values p.csv --frames 2", status=2, texts=["at most 1, the rows of"])
    for options, text in (("--y4m .", "found a folder"), ("--y4m none", "No such file"), ("--y4m -", "found nothing"),
                          ("- --raw nv21 --size 2x2", "picture 1: expected 6 bytes, found 0")):
        run(f"t record p {options}", status=1, texts=[text])
    expect(not os.path.exists("p"), "a refused input writes nothing")


def broken_input():
    pictures = [planes(4, 4, frame) for frame in range(3)]
    whole = y4m("W4 H4 F25:1", pictures)
    for given, text in ((whole[:-1], "frame 3: expected 24 bytes, found 23"), (whole[:-25], "frame 3: expected a newline"),
                        (whole[:-30] + b"PLANE\n" + b"x" * 24, "frame 3: expected FRAME, found something else"),
                        (whole[:-30] + b"FRAME X" + b"x" * 5000, "frame 3: expected a newline in the first 4096 bytes, found none"),
                        (whole[:-30] + b"FRAME It\n" + b"x" * 24, "frame 3: expected FRAME with no parameters but X")):
        run(f"t record {fresh('v')} --y4m - && echo no", given, 3, ["record-input: standard input: " + text, "2 dumped of 2"])
        expect(len(frames("v")) == 2, f"the frames before one that is broken: {text}")
    pathlib.Path("none").write_bytes(b"")
    run(f"t record {fresh('v')} - none - --raw nv21 --size 2x2", status=2)
    pathlib.Path("one").write_bytes(b"123456")
    for files, text in (("one none one", "2 dumped of 2"), ("none one", "1 dumped of 1"), ("one none", "1 dumped of 1")):
        run(f"t record {fresh('v')} {files} --raw nv21 --size 2x2", status=3,
            texts=["record-input: none: picture 1: expected 6 bytes, found 0", text])
    run(f"t record {fresh('v')} --y4m - && ls -d v", whole[:40], 1, ["frame 1: expected 24 bytes, found 12"])
    run(f"t record {fresh('v')} --y4m - --frames 2", whole, 0, ["2 dumped of 2"])
    run(f"t record {fresh('v')} --y4m - --frames 9", whole, 0, ["ended after 3 frames; --frames asks for 9"])
    run(f"t record {fresh('v')} --y4m -", y4m("W4 H4", pictures, b"FRAME Xany\n"), 0, ["3 dumped of 3"])
    run(f"mkfifo f; cat <&0 >f & t record {fresh('v')} --y4m f", whole, 0, ["3 dumped of 3"])


def interruption():
    """Ctrl-C ends a recording that waits for its input; recorded frames stay."""
    # The FIFO opens when the recording opens it. It holds less than half of a picture, so half of the second one is
    # written only when the recording has begun to read it, after the first frame.
    video = y4m("W640 H480", [planes(640, 480, frame) for frame in range(2)])
    os.mkfifo("input")
    for given, text in ((b"", b""), (video[:len(video) * 3 // 4], b"frames: 1 dumped of 1")):
        run_it = subprocess.Popen(["bash", "-c", f"exec {tool} record {fresh('v')} --y4m input"],
                                  stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        with open("input", "wb", buffering=0) as pipe:
            pipe.write(given)
            run_it.send_signal(signal.SIGINT)
            out, _ = run_it.communicate(timeout=60)
        expect(run_it.returncode == -signal.SIGINT and text in out, f"an interrupted recording of {len(given)} bytes", out)
        expect(len(frames("v")) == (1 if given else 0), "frames of an interrupted recording")


def memory():
    """The largest memory of a recording does not depend on the number of frames."""
    picture = b"FRAME\n" + bytes(1280 * 720 * 3 // 2)
    most = []
    for count in (3, 120):
        work = subprocess.Popen(["bash", "-c", f"exec {tool} record {fresh('v')} --y4m - "
                                 "--property persist.vendor.cam.isstest=0 >/dev/null 2>&1"], stdin=subprocess.PIPE)
        work.stdin.write(b"YUV4MPEG2 W1280 H720\n")
        for _ in range(count):
            work.stdin.write(picture)
        work.stdin.close()
        most.append(os.wait4(work.pid, 0)[2].ru_maxrss)
        work.returncode = 0
    expect(most[1] < most[0] + 32 * 1024, "memory does not grow with the frames", f"{most} KiB")


def documented():
    """The commands of the document, in their order."""
    have = shutil.which("ffmpeg") is not None
    table = re.search(r"^```\n(total_gain.*?)^```$", document, re.MULTILINE | re.DOTALL)
    pathlib.Path("gains.csv").write_text(table.group(1))
    if have:
        made = "-v error -y -f lavfi -i testsrc2=size=320x240:rate=25 -t 0.4"
        run(f"mkdir shots; ffmpeg {made} -pix_fmt yuv420p clip.mp4 && ffmpeg {made} -c:v ffv1 -pix_fmt yuv420p10 clip10.mkv "
            f"&& ffmpeg {made} shots/%03d.png")
    lines = [line for block in re.findall(r"^```sh\n(.*?)^```$", document, re.MULTILINE | re.DOTALL)
             for line in block.splitlines()]
    expect(len(lines) >= 10, "commands of the document", lines)
    os.mkdir("bin")
    pathlib.Path("bin/tyksim").write_text(f'#!/bin/sh\nexec {tool} "$@"\n')
    os.chmod("bin/tyksim", 0o755)
    for line in lines:
        if "/dev/video0" in line or ("ffmpeg" in line and not have):
            print(f"not run: {line}")
            continue
        same = ["all the same"] if "diff" in line else []
        run(f"export PATH=$PWD/bin:$PATH; {line}", texts=same)
    for root in ("video", "video10", "bare") if have else ():
        expect(len(frames(root)) == 10, f"frames of {root}", frames(root))
    return have


with tempfile.TemporaryDirectory(dir=os.environ.get("TEST_TMPDIR")) as folder:
    os.chdir(folder)
    for check in (videos, times, bare_pictures, values, texts, png_files, refusals, broken_input, interruption, memory):
        check()
    have_ffmpeg = documented()
    os.chdir("/")
print(f"{len(failures)} failed")
sys.exit(1 if failures else 0 if have_ffmpeg else SKIPPED)
