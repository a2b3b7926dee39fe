#!/usr/bin/env python3
"""Writes values and findings of many trees into one table, by a Dask cluster.

    track_dask.py SCHEDULER FOLDER OUT.csv NAME...

SCHEDULER is an address such as tcp://lab1:8786. FOLDER has the trees; it has the same path on every
machine that runs a worker. OUT.csv has a row for each frame: its tree, its place, the values, and the
number of errors and warnings in its tree.

Each tree is a task, so the scheduler gives the unfinished trees of a lost worker to other workers. The
result of a task depends on its tree alone and is taken once.
"""

import pathlib
import sys

import pandas
import tyksim
from distributed import Client, as_completed


def look(path: str, names: list[str]) -> pandas.DataFrame:
    """The rows of one tree."""
    tree = tyksim.open(path)
    rows = tree.track(*names, damaged="mask", jobs=1).to_pandas(places=True)
    rows.insert(0, "tree", path)
    rows["findings"] = sum(finding.severity != "note" for finding in tree.check(jobs=1))
    return rows


def main(scheduler: str, folder: str, out: str, names: list[str]) -> None:
    trees = sorted(str(path) for path in pathlib.Path(folder).resolve().iterdir() if path.is_dir())
    tables = {}
    with Client(scheduler) as client:
        futures = {client.submit(look, tree, names, retries=2): tree for tree in trees}
        for future in as_completed(futures):
            tables[futures[future]] = future.result()
    table = pandas.concat([tables[tree] for tree in trees])
    table.to_csv(out, index=False)
    print(f"{len(tables)} trees, {len(table)} frames")


if __name__ == "__main__":
    if len(sys.argv) < 5:
        sys.exit(__doc__)
    main(sys.argv[1], sys.argv[2], sys.argv[3], sys.argv[4:])
