#!/usr/bin/env python3
"""Has a Slurm of one node, brought up for the purpose, work on the parts of a list by examples/quarlo-array.sbatch.

    check_slurm.py TOOL WRITER EXAMPLES FOLDER

FOLDER is emptied first; what the daemons said stays there. Nothing outside of it is touched.
"""
import os
import pathlib
import re
import shutil
import signal
import socket
import subprocess
import sys
import time

import shards

TASKS = 4
COUNT, WIDTH = 120, 1600
OPTIONS = ["-O", "pages", "--parents"]
PATIENCE = 180  # seconds
LONGEST_SOCKET = 107  # what the system takes as a name

CONFIG = """
ClusterName=quarlo-check
SlurmctldHost={host}(127.0.0.1)
SlurmctldPort={ports[0]}
SlurmdPort={ports[1]}
SlurmUser={user}
SlurmdUser={user}
AuthType=auth/munge
AuthInfo=socket={folder}/munge.socket
CredType=cred/munge
StateSaveLocation={folder}/state
SlurmdSpoolDir={folder}/spool
SlurmctldPidFile={folder}/slurmctld.pid
SlurmdPidFile={folder}/slurmd.pid
PlugStackConfig={folder}/plugstack.conf
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
JobAcctGatherType=jobacct_gather/none
AccountingStorageType=accounting_storage/none
MpiDefault=none
MailProg=/bin/true
SelectType=select/cons_tres
SelectTypeParameters=CR_Core
SchedulerParameters=sched_min_interval=500000,batch_sched_delay=1
MinJobAge=3600
KillWait=10
{node} NodeAddr=127.0.0.1
PartitionName=all Nodes=ALL Default=YES
"""


def wait_until(what, condition):
    """Answers what the condition answers once it holds."""
    end = time.monotonic() + PATIENCE
    while time.monotonic() < end:
        found = condition()
        if found:
            return found
        time.sleep(0.05)
    raise AssertionError(f"waited {PATIENCE} seconds in vain: {what}")


def free_ports(count):
    sockets = [socket.socket() for _ in range(count)]
    for each in sockets:
        each.bind(("127.0.0.1", 0))
    ports = [each.getsockname()[1] for each in sockets]
    for each in sockets:
        each.close()
    return ports


class Slurm:
    """Daemons of this script's own, which end with it."""

    def __init__(self, folder):
        self.folder = folder
        self.daemons, self.helpers = [], []
        path = os.environ["PATH"] + ":/usr/sbin:/sbin"
        self.environment = {**os.environ, "PATH": path, "SLURM_CONF": str(folder / "slurm.conf")}

    def __enter__(self):
        try:
            self.start_all()
        except BaseException:
            self.stop()
            raise
        return self

    def __exit__(self, *_):
        self.stop()

    def start_all(self):
        for name in ("state", "spool"):
            (self.folder / name).mkdir(parents=True)
        self.start_munge()
        self.write_config()
        for name in ("slurmctld", "slurmd"):
            self.start(name, "-D", "-f", self.folder / "slurm.conf")
        wait_until("the node is idle", lambda: self.alive() and self.says("sinfo", "-h", "-o", "%T") == "idle")

    def start_munge(self):
        """Its own key and socket: that of the system, if there is one, is none of ours."""
        names = {name: self.folder / f"munge.{name}" for name in ("key", "socket", "pid", "seed")}
        assert len(str(names["socket"])) <= LONGEST_SOCKET, f"{names['socket']} is too long for a socket's name"
        names["key"].write_bytes(os.urandom(1024))
        names["key"].chmod(0o400)
        self.start("munged", "--foreground", "--force", f"--socket={names['socket']}", f"--key-file={names['key']}",
                   f"--pid-file={names['pid']}", f"--seed-file={names['seed']}")
        wait_until("munged listens", lambda: self.alive() and names["socket"].exists())

    def write_config(self):
        node = self.run("slurmd", "-C").stdout.splitlines()[0]
        host = re.search(r"NodeName=(\S+)", node)[1]
        user = self.run("id", "-un").stdout.strip()
        (self.folder / "plugstack.conf").touch()
        text = CONFIG.format(host=host, ports=free_ports(2), user=user, folder=self.folder, node=node)
        (self.folder / "slurm.conf").write_text(text, encoding="utf-8")

    def start(self, name, *arguments):
        program = shutil.which(name, path=self.environment["PATH"])
        assert program, f"needs {name}: apt-get install slurm-wlm"
        with open(self.folder / f"{name}.log", "wb") as log:
            command = [program, *map(str, arguments)]
            self.daemons.append(subprocess.Popen(command, stdout=log, stderr=log, env=self.environment))

    def alive(self):
        for daemon in self.daemons:
            assert daemon.poll() is None, f"{daemon.args[0]} ended with {daemon.returncode}: see its log"
        return True

    def stop(self):
        if len(self.daemons) == 3 and all(daemon.poll() is None for daemon in self.daemons):
            self.end_jobs()
        for process in self.helpers + self.daemons[::-1]:
            process.terminate()
            try:
                process.wait(20)
            except subprocess.TimeoutExpired:
                process.kill()
                process.wait()

    def end_jobs(self):
        """Jobs would outlive their daemon."""
        self.run("scancel", "--me", codes=range(256))
        try:
            wait_until("all jobs have ended", lambda: not self.says("squeue", "-h"))
        except AssertionError as error:
            print(error, file=sys.stderr)

    def run(self, *command, folder=None, codes=(0,), **variables):
        return shards.run(command, folder or self.folder, codes, env={**self.environment, **variables})

    def says(self, *command):
        return self.run(*command, codes=range(256)).stdout.strip()

    def state(self, job):
        """A task's state, and how often it was begun again."""
        told = self.run("scontrol", "show", "-o", "job", job).stdout
        return re.search(r"JobState=(\S+)", told)[1], int(re.search(r"Restarts=(\d+)", told)[1])

    def warn(self, job):
        """Signals the batch script as the time limit does. Slurm passes that on, and yet may have scancel try again."""
        command = ["scancel", "--batch", "--signal=USR1", job]
        self.helpers.append(subprocess.Popen(command, stderr=subprocess.DEVNULL, env=self.environment))

    def wait_for_end(self, job):
        """Its last state. A task that was begun again waits for minutes unless it is told not to."""
        def ended():
            self.alive()
            state, restarts = self.state(job)
            if state == "PENDING" and restarts > 0:
                self.run("scontrol", "update", f"JobId={job}", "StartTime=now", codes=(0, 1))
            return state not in ("PENDING", "RUNNING", "COMPLETING", "REQUEUED", "CONFIGURING") and state
        return wait_until(f"{job} ends", ended)


class Cluster:
    """The array script, on a folder of scans."""

    def __init__(self, slurm, tool, examples, folder, scans):
        self.slurm, self.tool, self.examples, self.folder, self.scans = slurm, tool, examples, folder, scans

    def site(self, name):
        return shards.Site(self.folder / name, self.scans)

    def whole(self):
        site = self.site("whole")
        command = [self.tool, "-q", "--files-from", "list", *OPTIONS, "--json=reports/whole"]
        shards.run(command, site.folder, (1,))
        return site

    def submit(self, site, array, **variables):
        told = self.slurm.run("sbatch", "--parsable", f"--array={array}", "--cpus-per-task=1", "--mem-per-cpu=100M",
                              self.examples / "quarlo-array.sbatch", "list", "reports", "-q", *OPTIONS,
                              folder=site.folder, QUARLO=str(self.tool), **variables)
        return told.stdout.strip()

    def check(self, site, whole):
        shards.check_same(site, whole, self.examples / "join-reports")

    def done(self, site, task):
        """How many lines the report of a task has."""
        report = site.folder / f"reports/shard-{task:04}-of-{TASKS:04}.jsonl"
        return report.read_bytes().count(b"\n") if report.exists() else 0

    def check_interrupted(self, site, task):
        lines = self.done(site, task)
        assert 0 < lines < COUNT // TASKS, f"task {task} told {lines} lines, so it was not stopped in the middle"

    def wait_for_middle(self, site, task):
        wait_until(f"task {task} has begun", lambda: self.slurm.alive() and self.done(site, task) > 1)

    def stop_in_the_middle(self, site, job, task, *command):
        self.wait_for_middle(site, task)
        self.slurm.run(*command, f"{job}_{task}")


def check_array(cluster, whole):
    """Nothing happens to any task."""
    site = cluster.site("array")
    job = cluster.submit(site, f"1-{TASKS}")
    states = [cluster.slurm.wait_for_end(f"{job}_{task}") for task in range(1, TASKS + 1)]
    # The task with the damaged scan says so.
    assert sorted(states) == ["COMPLETED"] * (TASKS - 1) + ["FAILED"], states
    cluster.check(site, whole)


def check_stopped_tasks(cluster, whole):
    """One task runs out of time, one has to make way, one is cancelled, one is killed; what is left is done later."""
    site = cluster.site("stopped")
    job = cluster.submit(site, f"1-{TASKS}")
    cluster.wait_for_middle(site, 1)
    cluster.slurm.warn(f"{job}_1")
    cluster.stop_in_the_middle(site, job, 2, "scontrol", "requeue")
    cluster.stop_in_the_middle(site, job, 3, "scancel")
    cluster.stop_in_the_middle(site, job, 4, "scancel", "--full", "--signal=KILL")
    for task in (3, 4):
        cluster.slurm.wait_for_end(f"{job}_{task}")
        cluster.check_interrupted(site, task)
    for task in (1, 2):
        cluster.slurm.wait_for_end(f"{job}_{task}")
        restarts = cluster.slurm.state(f"{job}_{task}")[1]
        assert restarts == 1, f"task {task} was begun again {restarts} times"
    site.join(cluster.examples / "join-reports", codes=(3,))
    again = cluster.submit(site, "3,4", QUARLO_SHARDS=str(TASKS))
    for task in (3, 4):
        cluster.slurm.wait_for_end(f"{again}_{task}")
    cluster.check(site, whole)


def check_numbers(cluster, _):
    """Tasks whose numbers do not tell which parts there are do nothing."""
    site = cluster.site("numbers")
    job = cluster.submit(site, "0-1")
    assert [cluster.slurm.wait_for_end(f"{job}_{task}") for task in (0, 1)] == ["FAILED"] * 2
    assert not site.reports() and "QUARLO_SHARDS" in (site.folder / f"quarlo-{job}_1.log").read_text(encoding="utf-8")


def main():
    # Daemons end with this script, however it is ended.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit("ended by a signal"))
    tool, writer, examples, folder = (pathlib.Path(name).resolve() for name in sys.argv[1:])
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    shards.run([writer, folder / "scans", COUNT, WIDTH], folder)
    try:
        with Slurm(folder / "slurm") as slurm:
            print(slurm.says("sinfo", "-V"), "is up")
            cluster = Cluster(slurm, tool, examples, folder, folder / "scans")
            whole = cluster.whole()
            for check in (check_array, check_stopped_tasks, check_numbers):
                check(cluster, whole)
                print(f"{check.__name__}: {check.__doc__.splitlines()[0]} Passed.")
    except AssertionError as error:
        sys.exit(f"{error}\nWhat the daemons said is in {folder}/slurm/*.log, what tasks said in {folder}/*/*.log")


main()
