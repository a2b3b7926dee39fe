#!/usr/bin/env python3
"""Kills tyksim at every call that changes a file, and makes every such call fail, while it replaces an
earlier output. Afterwards the old or the new output must be there, complete, and nothing else changed.

  output_faults.py SHIM PROCESSOR TYKSIM [WORD...]

SHIM is support/fault_shim.cpp, PROCESSOR a processor for `tyksim replay --with`. WORDs before TYKSIM's own
arguments name an emulator. TYK_FAULT_STEP=N tries only every Nth call.
"""
import concurrent.futures
import errno
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile

SHIM, PROCESSOR = (os.path.abspath(path) for path in sys.argv[1:3])
TYKSIM = [os.path.abspath(sys.argv[3])] if len(sys.argv) == 4 else sys.argv[3:]
PRELOAD = "LD_PRELOAD" if len(TYKSIM) == 1 else "QEMU_SET_ENV"  # the emulator itself is not to load it
STEP = int(os.environ.get("TYK_FAULT_STEP", "1"))
LIST = ".tyksim-output"
CONFIG = """<dumpconfig><common><tag value="KELV_TAG_WB_GAINS"><pipe>SNAPSHOT_TYPE</pipe>
<dumpType>0</dumpType></tag></common></dumpconfig>"""

# Verbs that replace an earlier output of another verb, and their status without a fault.
VERBS = {
    "copy": (["copy", "../r", "--set", "KELV_TAG_WB_GAINS.red=2", "--no-images", "-o"], 0),
    "export": (["export", "../r", "-o"], 0),
    "replay": (["replay", "../r", "--with", PROCESSOR, "-o"], 0),
    "heat map": (["diff", "../r", "../s", "--heat-map"], 3),
    "sheet": (["sheet", "../r", "-o"], 0),
    "video": (["export", "../r", "--y4m"], 0),
    "drawing": (["track", "../r", "KELV_TAG_WB_GAINS.red", "--svg"], 0),
}
FILES = ("sheet", "video", "drawing")
KILL = "kill"
FAULTS = [(KILL, True), (errno.EIO, True), (errno.ENOSPC, True), (KILL, False), (errno.EIO, False)]


def run(folder, words, **settings):
    environment = {**os.environ, "TMPDIR": str(folder.parent / "tmp"), PRELOAD: SHIM,
                   "ASAN_OPTIONS": "detect_leaks=0",
                   **{name: str(value) for name, value in settings.items()}}
    command = [*TYKSIM, *words]
    if words[0] != "record":
        command += ["--jobs", "1"]
    return subprocess.run(command, cwd=folder, env=environment, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, check=False)


def content(path):
    """The content of a path: bytes of a file, or of every file of a folder; None for nothing. The list
    of an output has times, and a replay names folders by the clock, so these differ from run to run."""
    if path.is_dir():
        return {re.sub(r"\d{12,}", "TIME", str(file.relative_to(path))): file.name == LIST or file.read_bytes()
                for file in path.rglob("*") if not file.is_dir()}
    return path.read_bytes() if path.exists() else None


def times(folder):
    return {str(file): file.lstat().st_mtime_ns for file in folder.rglob("*")}


def require(condition, *words):
    if not condition:
        raise AssertionError(" ".join(str(word) for word in words))


class Case:
    """One verb, one kind of fault, at every call in turn."""

    def __init__(self, work, verb, fault, exchange):
        self.work, self.verb, self.fault, self.exchange = work, verb, fault, exchange
        self.words, self.status = VERBS[verb]
        self.base = work / ("file" if verb in FILES else "folder")
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="case", dir=work))
        self.old = content(self.base)
        self.new = self.expected()
        self.missing = 0

    def reset(self):
        shutil.rmtree(self.folder)
        self.folder.mkdir()
        if self.base.is_dir():
            shutil.copytree(self.base, self.folder / "out")
        else:
            shutil.copy2(self.base, self.folder / "out")

    def run(self, **settings):
        if not self.exchange:
            settings["TYK_NO_EXCHANGE"] = 1
        return run(self.folder, [*self.words, "out", "--force"], **settings)

    def expected(self):
        self.reset()
        done = self.run()
        require(done.returncode == self.status, self.verb, done.returncode, done.stdout)
        require(os.listdir(self.folder) == ["out"], os.listdir(self.folder))
        new = content(self.folder / "out")
        require(new != self.old and (self.verb in FILES or LIST in new), "no new output")
        return new

    def walk(self):
        """Returns how many calls there were."""
        number = 1
        while self.fails_at(number):
            number += STEP
        if self.verb not in FILES:
            # Without an exchange the old output is renamed before the new one takes its place.
            require(self.missing == (self.fault == KILL and not self.exchange and STEP == 1),
                    self.verb, "stood nowhere", self.missing, "times")
        shutil.rmtree(self.folder)
        return number

    def fails_at(self, number):
        self.reset()
        log = self.work / (self.folder.name + ".log")
        log.unlink(missing_ok=True)
        done = self.run(TYK_FAULT_AT=number, TYK_FAULT=self.fault, TYK_FAULT_LOG=log,
                        TYK_FAULT_IN=self.work)
        calls = log.read_text().splitlines()
        hit = [line for line in calls if line.startswith("!")]
        self.judge(done, (self.verb, self.fault, "exchange" if self.exchange else "no exchange", hit,
                          done.returncode, done.stdout))
        return bool(hit)

    def judge(self, done, told):
        found = content(self.folder / "out")
        beside = [name for name in os.listdir(self.folder) if name != "out"]
        if done.returncode == -signal.SIGKILL:
            require(all(name.startswith(".out.tyksim-") for name in beside), *told, beside)
            if found is None:
                self.put_back(beside, told)
            else:
                require(found in (self.old, self.new), *told, "torn")
            return
        require(all(name + ": cannot be removed" in done.stdout for name in beside), *told, beside)
        if done.returncode == self.status:
            require(found == self.new, *told, "not the new output")
        elif done.returncode == 3:
            require(found != self.old and (self.verb in FILES or LIST in found), *told)
        else:
            require(done.returncode == 1 and found == self.old, *told, "not the old output")

    def put_back(self, beside, told):
        """The next run prints where the old output is."""
        self.missing += 1
        require(self.verb not in FILES and not self.exchange, *told, "no output there")
        aside = [name for name in beside if name.endswith(".old")]
        require([content(self.folder / name) for name in aside] == [self.old], *told, "no old output")
        again = self.run()
        require(again.returncode == self.status and aside[0] + ": was at out" in again.stdout,
                *told, again.stdout)


def record_reads_only(work):
    """A recording that cannot write prints the reason, and writes nothing to find it."""
    right = content(work / "r")
    number, image = 1, True
    while image:
        shutil.rmtree(work / "p", ignore_errors=True)
        log = work / "record.log"
        log.unlink(missing_ok=True)
        done = run(work, ["record", "p", "--frames", "1", "--size", "16x8", "--config", "config.xml"],
                   TYK_FAULT_AT=number, TYK_FAULT=errno.EIO, TYK_FAULT_LOG=log, TYK_FAULT_IN="FCWH")
        calls = log.read_text().splitlines()
        image = [line for line in calls if line.startswith("!")]
        if image:
            number += STEP
            require(done.returncode == 3 and "record-incomplete" in done.stdout, done.stdout)
        require(all(line[2:].split()[1] in ("open", "write", "close") for line in calls), calls)
        for name, held in content(work / "p").items():
            sofs = [full for path, full in right.items() if path.split("/")[-1] == name.split("/")[-1]]
            require(any(full.startswith(held) for full in sofs), "not the beginning of it:", name)


def main():
    memory = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
    with tempfile.TemporaryDirectory(prefix="tyksim faults ", dir=memory) as name:
        work = pathlib.Path(name)
        (work / "tmp").mkdir()
        (work / "config.xml").write_text(CONFIG)
        record = ["--frames", "1", "--size", "16x8", "--config", "config.xml"]
        for words in (["record", "r", *record], ["record", "s", *record, "--iso", "50"],
                      ["export", "r", "--format", "png", "-o", "folder"],
                      ["sheet", "r", "--thumb-width", "16", "-o", "file"]):
            done = run(work, words)
            require(done.returncode == 0, words, done.stdout)
        image = next((work / "s").rglob("FCWH*"))
        image.write_bytes(bytes(len(image.read_bytes())))
        before = times(work / "r"), times(work / "s")
        cases = [(verb, fault, exchange) for verb in VERBS for fault, exchange in FAULTS
                 if verb in ("copy", "sheet") or (exchange and fault != errno.ENOSPC)]
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            walks = list(pool.map(lambda case: Case(work, *case).walk(), cases))
        require((times(work / "r"), times(work / "s")) == before, "an input changed")
        record_reads_only(work)
        print(f"{sum(walks)} runs of {len(cases)} kinds")


main()
