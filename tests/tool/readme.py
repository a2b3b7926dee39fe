#!/usr/bin/env python3
"""Runs the commands of the README in their order in one empty folder, with an installed copy of the
build, and compares their output with that in the README.

  readme.py README BUILD [PYTHON]

After a command with "$ " before it the block has its standard output, in which "..." matches any text of
a line, or any lines if it is alone on a line. In a block without "$ " every line is a command. A command
must end with status 0, or with 3 for findings. A block in Python whose first line is "# FILE.py" is that
file. PYTHON is the interpreter that the build's package is for; without it, commands with a .py file are
not run.
"""
import os
import pathlib
import re
import subprocess
import sys
import tempfile

# Blocks that install packages or build the project, by their first line.
SKIPPED = [
    "./dev demo",
    "./dev test",
    "./dev package",
    "cmake --preset release && cmake --build --preset release",
]

# Replaces the player, which needs a screen, and checks its input.
FFPLAY = """#!/bin/sh
for input; do :; done
if [ "$input" = - ]; then grep -ac '^YUV4MPEG2 ' >/dev/null; else [ "$(stat -c %s "$input")" = 460800 ]; fi
"""


def blocks(text):
    """The lines of each block of commands; a block in another language has its name after the fence."""
    for block in re.findall(r"^```([a-z]*)\n(.*?)^```$", text, re.MULTILINE | re.DOTALL):
        if not block[0]:
            yield block[1].splitlines()


def files(text):
    """Name and content of each block that is a file in Python."""
    return re.findall(r"^```python\n# (\S+\.py)\n(.*?)^```$", text, re.MULTILINE | re.DOTALL)


def commands(block):
    """Pairs of a command and its output lines; None if the README does not show them."""
    prompts = block[0].startswith("$ ")
    found = []
    continued = False
    for line in block:
        if continued:
            found[-1][0] += "\n" + line
        elif not prompts:
            found.append([line, None])
        elif line.startswith("$ "):
            found.append([line[2:], []])
        else:
            found[-1][1].append(line)
            continue
        continued = line.endswith("\\")
    return found


def pattern(lines):
    # Blank lines between two commands are not output.
    lines = "\n".join(lines).rstrip().splitlines()
    words = (re.escape(line).replace(r"\.\.\.", ".*") + r"\n" for line in lines)
    return "".join(r"(.*\n)*" if word == r".*\n" else word for word in words)


def run(listed, scripts, folder, environment):
    """Runs all commands in one shell, as a reader does; returns status, output and errors of each."""
    logs = folder / "logs"
    work = folder / "work"
    logs.mkdir()
    work.mkdir()
    for name, content in scripts:
        (work / name).write_text(content)
    script = "set -o pipefail\n" + "".join(
        f"{{ {command}\n}} >{logs}/{number}.out 2>{logs}/{number}.err\necho $? >{logs}/{number}.status\n"
        for number, (command, _) in enumerate(listed))
    subprocess.run(["bash", "-c", script], cwd=work, env=environment, stdin=subprocess.DEVNULL, check=False)
    for number in range(len(listed)):
        parts = [logs / f"{number}.{part}" for part in ("status", "out", "err")]
        yield [part.read_text().rstrip() if part.exists() else "none" for part in parts]


def install(build, prefix):
    """An environment in which the shell and pkg-config find a copy of what was built."""
    subprocess.run(["cmake", "--install", build, "--prefix", prefix], stdout=subprocess.DEVNULL, check=True)
    (prefix / "bin/ffplay").write_text(FFPLAY)
    (prefix / "bin/ffplay").chmod(0o755)
    pkgconfig = next(prefix.rglob("pipelinesimulation.pc")).parent
    return {**os.environ, "PATH": f"{prefix}/bin:{os.environ['PATH']}", "PKG_CONFIG_PATH": str(pkgconfig)}


readme, build = (pathlib.Path(word).resolve() for word in sys.argv[1:3])
python = sys.argv[3] if len(sys.argv) > 3 else None
found = list(blocks(readme.read_text()))
failed = False
for first in SKIPPED:
    print(f"not run: the block that begins with '{first}'")
    if first not in [block[0] for block in found]:
        print(f"{readme}: expected a block that begins with '{first}', found none: take it off the list")
        failed = True

listed = [pair for block in found if block[0] not in SKIPPED for pair in commands(block)]
scripts = files(readme.read_text())
if not python:
    names = {word for name, _ in scripts for word in (name, name[:-len(".py")])}
    left = [pair for pair in listed if names & set(pair[0].split())]
    listed = [pair for pair in listed if pair not in left]
    print(f"not run: {len(left)} commands that need the Python package")
with tempfile.TemporaryDirectory(dir=os.environ.get("TEST_TMPDIR")) as name:
    folder = pathlib.Path(name)
    environment = install(build, folder / "prefix")
    if python:
        (folder / "prefix/bin/python3").symlink_to(python)
        environment["PYTHONPATH"] = str(build / "python")
    for (command, lines), (status, out, err) in zip(listed, run(listed, scripts, folder, environment)):
        if status in ("0", "3") and (lines is None or re.fullmatch(pattern(lines), out + "\n" * bool(out))):
            continue
        failed = True
        print(f"$ {command}\nstatus {status}, found:\n{out}\n{err}")
        if lines is not None:
            print("expected:", *lines, sep="\n")
print(f"{len(listed)} commands of the README were run")
sys.exit(failed)
