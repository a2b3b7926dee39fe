#!/usr/bin/env python3
"""Asks DuckDB about the rows of `tyksim track --rows`, and compares its answers with the package's.

    duckdb_rows.py TYKSIM MODULES

MODULES is the folder node_modules with DuckDB's npm build. If it is missing, the exit status is 77.
"""

import json
import os
import pathlib
import subprocess
import sys
import tempfile

import tyksim
from many_machines import LACKS, lacks

NAMES = ["total_gain", "exp_time", "cur_ev", "image.mean", "KELV_TAG_WB_GAINS.gains"]
QUERY = """
import { createRequire } from "module";
const [modules, statement] = process.argv.slice(1);
const { DuckDBInstance } = createRequire(modules + "/")("@duckdb/node-api");
const connection = await (await DuckDBInstance.create()).connect();
const reader = await connection.runAndReadAll(statement);
console.log(JSON.stringify(reader.getRowsJson()));
"""


def ask(modules, statement):
    """The rows of a statement's answer. DuckDB's JSON has whole numbers as texts."""
    said = subprocess.run(
        ["node", "--input-type=module", "-e", QUERY, modules, statement],
        check=True, capture_output=True, text=True,
    )
    return json.loads(said.stdout)


def record(lab, program):
    """Three trees; one has an odd name, and one lacks an image."""
    for number, name in enumerate(["a", "b 'c\"", "d\u00e4"], 1):
        subprocess.run([program, "record", lab / name, "--frames", str(number + 1), "--size", "8x8"],
                       check=True, capture_output=True)
    next((lab / "a").rglob("FCWH*")).unlink()
    return sorted(lab.iterdir())


def expected_rows(trees):
    rows = []
    for path in trees:
        tree = tyksim.open(path)
        columns = tree.track(*NAMES).values()
        for index, frame in enumerate(tree.frames):
            values = [column[index].tolist() for column in columns]
            rows.append([str(path), frame.position, frame.time.isoformat(), *values])
    return rows


def plain(value):
    """A value of an answer with its numbers as numbers."""
    if isinstance(value, list):
        return [plain(element) for element in value]
    return int(value) if isinstance(value, str) and value.lstrip("-").isdigit() else value


def main(program, modules):
    lacks("node")
    if not os.path.isdir(os.path.join(modules, "@duckdb", "node-api")):
        print(f"left out: {modules} has no DuckDB")
        sys.exit(LACKS)
    with tempfile.TemporaryDirectory() as folder:
        lab = pathlib.Path(folder) / "lab"
        lab.mkdir()
        trees = record(lab, program)
        rows = pathlib.Path(folder) / "rows.jsonl"
        with rows.open("w") as file:
            status = subprocess.run([program, "track", *trees, "-n", *NAMES, "--rows"], stdout=file)
        if status.returncode not in (0, 3):
            sys.exit("track failed")
        columns = ", ".join(f'"{name}"' for name in NAMES)
        time = "strftime(time::TIMESTAMP, '%Y-%m-%dT%H:%M:%S.%g000')"
        found = plain(ask(modules, f"SELECT path, frame, {time}, {columns} FROM '{rows}' "
                                   "ORDER BY path, frame"))
        expected = expected_rows(trees)
    if found != expected:
        differing = [pair for pair in zip(found, expected) if pair[0] != pair[1]]
        sys.exit(f"expected {len(expected)} rows as the package has them, found {len(found)}; "
                 f"(found, expected) differ in {differing[:2]}")
    print(f"duckdb: {len(found)} rows, each value as the package has it")


if __name__ == "__main__":
    main(sys.argv[1], os.path.abspath(sys.argv[2]))
