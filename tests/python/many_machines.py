#!/usr/bin/env python3
"""Tests the scripts of examples/lab with real processes on this machine, and ends some of them.

    many_machines.py dask|ssh|slurm TYKSIM

If the machine lacks programs, prints their names and ends with status 77.
"""

import json
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time

SCRIPTS = pathlib.Path(__file__).resolve().parents[2] / "examples" / "lab"
LACKS = 77
FRAMES, DAMAGED = 3, 7


def lacks(*programs):
    missing = [program for program in programs if shutil.which(program) is None]
    if missing:
        print(f"left out: this machine has no {', '.join(missing)}")
        sys.exit(LACKS)


def record(work, program, count):
    """Makes small trees, one of them without an image."""
    lab = work / "lab"
    lab.mkdir()
    first = lab / "tree000"
    subprocess.run([program, "record", first, "--frames", str(FRAMES), "--size", "8x8"],
                   check=True, capture_output=True)
    for number in range(1, count):
        shutil.copytree(first, lab / f"tree{number:03}")
    sorted((lab / f"tree{DAMAGED:03}").rglob("FCWH*"))[0].unlink()
    return lab


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def wait_until(what, happened, seconds=60):
    end = time.monotonic() + seconds
    while not happened():
        if time.monotonic() > end:
            sys.exit(f"expected {what} within {seconds} s")
        time.sleep(0.05)


def answers(port):
    with socket.socket() as probe:
        return probe.connect_ex(("127.0.0.1", port)) == 0


def processes_below(ancestor):
    """The ids of a process and of its descendants."""
    parents = {}
    for entry in pathlib.Path("/proc").iterdir():
        if entry.name.isdigit():
            try:
                # The name may have spaces and parentheses; the parent is the second word after it.
                words = (entry / "stat").read_text().rpartition(")")[2].split()
            except OSError:
                continue  # it has ended
            parents[int(entry.name)] = int(words[1])
    below = [ancestor]
    for known in below:
        below += [child for child, parent in parents.items() if parent == known]
    return below


def stop_machine(server):
    """Ends a server and every process that it started, like a machine that loses its power."""
    server.send_signal(signal.SIGSTOP)  # it starts nothing more
    for process in processes_below(server.pid):
        try:
            os.kill(process, signal.SIGKILL)
        except ProcessLookupError:
            pass
    server.wait()


def require_every_tree(lab, documents):
    """Requires each tree once, and the finding of the damaged one."""
    found = sorted(pathlib.Path(document["path"]).name for document in documents)
    expected = sorted(path.name for path in lab.iterdir())
    if found != expected:
        sys.exit(f"expected {len(expected)} trees once each, found {len(found)}, "
                 f"{len(set(found))} of them different")
    findings = [(pathlib.Path(document["path"]).name, finding["rule"])
                for document in documents for finding in document["findings"]]
    if findings != [(f"tree{DAMAGED:03}", "image-missing")]:
        sys.exit(f"expected that one tree lacks an image, found {findings}")


def dask(work, lab, processes):
    import pandas
    from distributed import Client

    os.environ["DASK_LOGGING__DISTRIBUTED"] = "warning"

    port = free_port()
    python = [sys.executable, "-m"]
    processes.append(subprocess.Popen([*python, "distributed.cli.dask_scheduler", "--host",
                                       "127.0.0.1", "--port", str(port), "--no-dashboard"]))
    wait_until("a scheduler", lambda: answers(port))
    address = f"tcp://127.0.0.1:{port}"
    for _ in range(2):
        # Without a nanny, the killed process is the worker itself, and nothing starts it again.
        processes.append(subprocess.Popen([*python, "distributed.cli.dask_worker", address,
                                           "--nthreads", "1", "--no-nanny", "--no-dashboard",
                                           "--local-directory", str(work)]))
    out = work / "table.csv"
    run = subprocess.Popen([sys.executable, SCRIPTS / "track_dask.py", address, lab, out,
                            "total_gain", "exp_time"])
    with Client(address) as watch:
        wait_until("results", lambda: any(watch.has_what().values()))
        if run.poll() is not None:
            sys.exit("a worker was to be killed in the middle; the run was too short")
        processes[1].kill()
    if run.wait(timeout=120) != 0:
        sys.exit("the run failed")
    table = pandas.read_csv(out)
    frames = FRAMES * len(list(lab.iterdir()))
    if len(table) != frames or len(table[["tree", "frame"]].drop_duplicates()) != len(table):
        sys.exit(f"expected {frames} frames once each, found {len(table)}")
    if table.groupby("tree")["findings"].first().sum() != 1:
        sys.exit("expected one finding")


def hanging_program(work, program):
    """A tyksim that writes half of its line and hangs, once, after `work`/hang was made."""
    script = work / "hanging" / "tyksim"
    script.parent.mkdir()
    script.write_text(
        "#!/bin/sh\n"
        f'if [ -e {work}/hang ] && mkdir {work}/hangs 2>/dev/null; then\n'
        f'    {program} "$@" | head -c 100\n'
        f'    echo "$3" >{work}/hangs/tree\n'
        "    exec sleep 1000\n"
        "fi\n"
        f'exec {program} "$@"\n'
    )
    script.chmod(0o755)
    return script.parent


def sshd(work, number, path, processes):
    """Starts a server on a port of its own that accepts only the test's key.

    Its shells read no files of the user, so a program that is ended in the middle leaves nothing there.
    """
    folder = work / f"sshd{number}"
    folder.mkdir()
    subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", folder / "host"], check=True)
    port = free_port()
    config = folder / "config"
    config.write_text(
        f"Port {port}\nListenAddress 127.0.0.1\nHostKey {folder}/host\nPidFile {folder}/pid\n"
        f"AuthorizedKeysFile {work}/key.pub\nStrictModes no\nUsePAM no\nMaxStartups 100\n"
        f"PasswordAuthentication no\nSetEnv PATH={path} HOME={folder}\n"
    )
    server = shutil.which("sshd") or "/usr/sbin/sshd"
    processes.append(subprocess.Popen([server, "-D", "-e", "-f", config], stderr=subprocess.DEVNULL,
                                      start_new_session=True))
    wait_until("an sshd", lambda: answers(port))
    return port


def ssh(work, lab, processes):
    subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", work / "key"], check=True)
    pathlib.Path("/run/sshd").mkdir(exist_ok=True)
    paths = [f"{hanging_program(work, shutil.which('tyksim'))}:{os.environ['PATH']}",
             os.environ["PATH"]]
    ports = [sshd(work, number, path, processes) for number, path in enumerate(paths)]
    client = work / "ssh"
    user = subprocess.run(["id", "-un"], check=True, capture_output=True, text=True).stdout.strip()
    client.write_text(
        f"#!/bin/sh\nexec ssh -F none -i {work}/key -o StrictHostKeyChecking=no "
        f"-o UserKnownHostsFile=/dev/null -o LogLevel=ERROR \"$@\"\n"
    )
    client.chmod(0o755)
    logins = ",".join(f"2/{client} -p {port} {user}@127.0.0.1" for port in ports)
    log = work / "jobs"
    environment = {**os.environ, "JOBLOG": str(log)}
    out = work / "check.jsonl"
    with out.open("w") as file:
        run = subprocess.Popen(["sh", SCRIPTS / "check_ssh.sh", logins, lab], stdout=file,
                               env=environment)
        processes.append(run)
        wait_until("some jobs", lambda: run.poll() is not None or
                   (log.exists() and len(log.read_text().splitlines()) > 20))
        if run.poll() is not None:
            sys.exit("the server was to be stopped in the middle; the run was too short")
        (work / "hang").touch()
        hanging = work / "hangs" / "tree"
        wait_until("a job that hangs", lambda: run.poll() is not None or hanging.exists())
        if run.poll() is not None:
            sys.exit("the server was to be stopped during a job; the run was too short")
        stop_machine(processes[0])
        if run.wait(timeout=300) != 0:
            sys.exit("the run failed")
    require_every_tree(lab, [json.loads(line) for line in out.read_text().splitlines()])
    tree = hanging.read_text().strip()
    servers = [line.split("\t")[1] for line in log.read_text().splitlines() if tree in line]
    if not any(str(ports[1]) in server for server in servers):
        sys.exit(f"{tree}: expected the other server to check it, found {servers}")


def slurm(work, lab, processes):
    """Tests the script on a cluster of two nodes, both on this machine."""
    host = socket.gethostname()
    controller, first = free_port(), free_port()
    second = free_port()
    key = work / "munge.key"
    key.write_bytes(os.urandom(128))
    key.chmod(0o400)
    # Its folders may not be below one that others write to.
    state = pathlib.Path(tempfile.mkdtemp(prefix="slurm", dir="/run"))
    state.chmod(0o755)
    shutil.copy(key, state / "munge.key")
    (state / "munge.key").chmod(0o400)
    processes.append(subprocess.Popen([
        "munged", "-F", "--force", f"--key-file={state}/munge.key", f"--socket={state}/munge",
        f"--pid-file={state}/pid", f"--log-file={state}/log", f"--seed-file={state}/seed",
    ], stderr=subprocess.DEVNULL))
    wait_until("munged", lambda: (state / "munge").exists())
    memory = 512
    config = state / "slurm.conf"
    config.write_text(
        f"ClusterName=test\nSlurmctldHost={host}(127.0.0.1)\nSlurmctldPort={controller}\n"
        f"AuthType=auth/munge\nAuthInfo=socket={state}/munge\nSlurmUser=root\n"
        f"StateSaveLocation={state}/state\nSlurmdSpoolDir={state}/spool-%n\n"
        f"SlurmctldPidFile={state}/ctld.pid\nSlurmdPidFile={state}/d-%n.pid\n"
        f"SlurmctldLogFile={state}/ctld.log\nSlurmdLogFile={state}/d-%n.log\n"
        "ProctrackType=proctrack/linuxproc\nTaskPlugin=task/none\nSelectType=select/cons_tres\n"
        "SelectTypeParameters=CR_CPU\nReturnToService=2\nMpiDefault=none\nJobCompType=jobcomp/none\n"
        "AccountingStorageType=accounting_storage/none\nSwitchType=switch/none\n"
        f"NodeName=n1 NodeHostname={host} NodeAddr=127.0.0.1 Port={first} CPUs=1 RealMemory={memory}\n"
        f"NodeName=n2 NodeHostname={host} NodeAddr=127.0.0.1 Port={second} CPUs=1 RealMemory={memory}\n"
        "PartitionName=all Nodes=ALL Default=YES State=UP\n"
    )
    (state / "state").mkdir()
    environment = {**os.environ, "SLURM_CONF": str(config)}
    processes.append(subprocess.Popen(["slurmctld", "-D", "-f", config], env=environment,
                                      stderr=subprocess.DEVNULL))
    for node in ("n1", "n2"):
        (state / f"spool-{node}").mkdir()
        processes.append(subprocess.Popen(["slurmd", "-D", "-N", node, "-f", config],
                                          env=environment, stderr=subprocess.DEVNULL))

    def said(*words):
        result = subprocess.run(words, env=environment, capture_output=True, text=True)
        return result.stdout if result.returncode == 0 else ""

    try:
        wait_until("two idle nodes", lambda: said("sinfo", "-h", "-o", "%T %D").split() == ["idle", "2"])
        results = work / "results"
        parts = 8
        subprocess.run(["sbatch", f"--array=0-{parts - 1}", SCRIPTS / "check_slurm.sh", lab, results],
                       env={**environment, "PARTS": str(parts)}, check=True, cwd=work)
        wait_until("all parts", lambda: len(list(results.glob("*.jsonl"))) == parts, 120)
        lines = [line for part in results.glob("*.jsonl") for line in part.read_text().splitlines()]
        require_every_tree(lab, [json.loads(line) for line in lines])
    except SystemExit:
        for log in state.glob("*.log"):
            print(log.name, log.read_text()[-1500:], file=sys.stderr)
        raise
    finally:
        for process in reversed(processes):
            process.terminate()
            process.wait()
        shutil.rmtree(state, ignore_errors=True)


def main(what, program):
    os.environ["PATH"] = f"{pathlib.Path(program).resolve().parent}:/usr/sbin:{os.environ['PATH']}"
    if what == "ssh":
        lacks("ssh", "sshd", "parallel")
    elif what == "slurm":
        lacks("slurmctld", "slurmd", "munged")
        if os.geteuid() != 0:
            print("left out: slurmd needs root's rights")
            sys.exit(LACKS)
    else:
        try:
            import distributed  # noqa: F401
            import pandas  # noqa: F401
        except ImportError as error:
            print(f"left out: {error}")
            sys.exit(LACKS)
    processes = []
    with tempfile.TemporaryDirectory() as folder:
        work = pathlib.Path(folder)
        try:
            run, count = {"dask": (dask, 200), "ssh": (ssh, 60), "slurm": (slurm, 60)}[what]
            run(work, record(work, program, count), processes)
        finally:
            for process in processes:
                if process.poll() is None:
                    process.kill()
                process.wait()
    print(f"{what}: {count} trees, each once")


if __name__ == "__main__":
    main(sys.argv[1], sys.argv[2])
