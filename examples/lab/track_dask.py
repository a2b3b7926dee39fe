#!/usr/bin/env python3
"""Values and findings of many trees, on a Dask cluster, as one table.

    track_dask.py SCHEDULER FOLDER OUT.csv NAME...

SCHEDULER is an address such as tcp://lab1:8786. FOLDER holds the trees, under the same path on every
machine that runs a worker. OUT.csv gets a row a frame: its tree, its place, the values, and the number
of errors and warnings that were found in its tree.

A tree is a task of its own, so a worker that is lost costs the trees that it was at: the scheduler
gives those to another worker. A task's result is a function of its tree alone and is taken once.
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
