#!/usr/bin/env python3
"""Checks the JSON documents of tyksim against their schemas in docs/schema: for a complete tree, a
damaged one, names that are not UTF-8, and calls that fail.

  schemas.py TYKSIM [WORD...]     WORDs before TYKSIM's own arguments name an emulator
"""
import base64
import json
import os
import pathlib
import subprocess
import sys
import tempfile

import jsonschema

tyksim = [os.path.abspath(sys.argv[1])] if len(sys.argv) == 2 else sys.argv[1:]
schemas = {}
for path in sorted((pathlib.Path(__file__).parents[2] / "docs/schema").glob("*.json")):
    schema = json.loads(path.read_text())
    jsonschema.Draft7Validator.check_schema(schema)
    schemas[path.stem] = jsonschema.Draft7Validator(schema)


def run(status, *words):
    done = subprocess.run([*tyksim, *words], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    assert done.returncode == status, (words, done.returncode, done.stdout, done.stderr)
    documents = [json.loads(line) for line in done.stdout.splitlines()]
    for document in documents:
        schemas[document["schema"]["name"]].validate(document)
    return documents


def value_at(document, *keys):
    for key in keys:
        document = document[key]
    return document


with tempfile.TemporaryDirectory() as work:
    os.chdir(work)
    for root, frames in (("whole", 3), ("damaged", 4)):
        subprocess.run([*tyksim, "record", root, "--frames", str(frames), "--size", "16x8"],
                       check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    frame = sorted(pathlib.Path("damaged").glob("data/vendor/cameraserver/tykdump/pipe_1/*/*"))[1]
    next(frame.glob("FCWH*")).unlink()
    (frame / "iSceneInfo.xml").write_text("<iSceneInfo>")
    strange = b"strange\xff\n<name>.txt"
    with open(os.fsencode(frame) + b"/" + strange, "w"):
        pass

    names = ["total_gain", "KELV_TAG_WB_GAINS", "ev1"]
    whole, gone, damaged = run(1, "info", "whole", "nowhere", "damaged", "--json")
    assert whole["ok"] and not gone["ok"] and gone["errors"] and damaged["ok"]
    assert value_at(whole, "pipes", 0, "tasks", 0, "frames", 2, "request") == 3
    run(0, "check", "whole", "--deep", "--json")
    run(0, "check", "--rules", "--json")
    run(0, "check", "whole/data/vendor/cameraserver/tykdump/pipe1_dumpConfig.xml", "--tags",
        "whole/tags.xml", "--json")
    checked, = run(3, "check", "damaged", "--json")
    exact = [f["path_base64"] for f in checked["findings"] if "path_base64" in f]
    assert any(base64.b64decode(text).endswith(strange) for text in exact), checked
    run(0, "show", "whole", "--frames", "2", "--json")
    run(3, "show", "damaged", "--frames", "2", "--json")
    run(2, "show", "damaged", "--json")
    tracked, = run(0, "track", "whole", *names, "--json")
    assert [row["values"]["total_gain"] for row in tracked["rows"]] == [1024, 1536, 2048]
    run(3, "track", "damaged", *names, "--json")
    run(2, "track", "whole", "nonsense", "--json")
    several = run(1, "track", "whole", "nowhere", "-n", *names, "-n", "image.mean", "--json")
    assert several[0]["path"].endswith("/whole") and not several[1]["ok"], several
    run(0, "diff", "whole", "whole", "--json")
    run(3, "diff", "whole", "damaged", "--json")
    run(0, "tags", "show", "whole", "--json")
    run(2, "tags", "show", "whole", "nonsense", "--json")
    run(3, "tags", "check", "whole/tags.xml", "--json")
    run(1, "tags", "check", "nowhere", "--json")
    run(1, "tags", "types", "--elf", "whole/tags.xml", "--json")
    run(1, "diff", "whole", "nowhere", "--json")
    run(3, "export", "damaged", "-o", "pictures", "--json")
    run(1, "export", "nowhere", "-o", "more", "--json")
print("every document follows its schema")
