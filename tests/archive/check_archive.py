#!/usr/bin/env python3
"""A long run of the tool that is interrupted twice, by Ctrl-C and by a kill, and gone on with, against one that is not.

    check_archive.py QUARLO SCANS WORK

SCANS is a folder of scans. Files and reports of both runs, in the folder WORK, have to be equal but for times.
"""

import filecmp
import json
import os
import shutil
import signal
import subprocess
import sys
import time

quarlo, scans, work = (os.path.abspath(name) for name in sys.argv[1:])


def fail(words):
    sys.exit("check_archive: " + words)


def start(run, jobs):
    """The same command each time; a process group of its own, as a terminal makes it."""
    command = [quarlo, "-r", "-q", "-j", str(jobs), "--skip-existing", "-O", run, f"--json={run}.jsonl",
               "--max-pixels", "100M", os.path.relpath(scans, work)]
    # Started in the background, this script may have been told to ignore Ctrl-C, and the tool would go on ignoring it.
    return subprocess.Popen(command, cwd=work, stderr=subprocess.PIPE, text=True, start_new_session=True,
                            preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_DFL))


def finish(process):
    error = process.communicate()[1]
    return process.returncode, error


def lines(run):
    try:
        with open(os.path.join(work, run + ".jsonl"), encoding="utf-8") as report:
            return sum(1 for _ in report)
    except FileNotFoundError:
        return 0


def interrupt(run, jobs, after, number):
    """Sends the signal to all processes of the run as soon as its report has so many lines."""
    process = start(run, jobs)
    while lines(run) < after and process.poll() is None:
        time.sleep(0.05)
    if process.poll() is not None:
        fail(f"the run ended with {process.returncode} before it could be interrupted")
    os.killpg(process.pid, number)
    code, _ = finish(process)
    told = lines(run)
    print(f"interrupted by {signal.Signals(number).name} after {told} lines: exit {code}")
    return code


def report(run):
    """What is told, without times; the last line apart."""
    with open(os.path.join(work, run + ".jsonl"), encoding="utf-8") as file:
        told = [json.loads(line) for line in file]
    for line in told:
        line.get("summary", line).pop("ms")
        if line.get("out"):
            line["out"] = line["out"].removeprefix(run)
        if line.get("reason"):
            line["reason"] = line["reason"].replace(run + "/", "")
    return told[:-1], told[-1]["summary"]


def files(run):
    root = os.path.join(work, run)
    return sorted(os.path.relpath(os.path.join(folder, name), root)
                  for folder, _, names in os.walk(root) for name in names)


shutil.rmtree(work, ignore_errors=True)
os.makedirs(work)

begin = time.monotonic()
whole_code, whole_error = finish(start("run-whole", 2))
pages, summary = report("run-whole")
print(f"uninterrupted: {len(pages)} pages, exit {whole_code}, {time.monotonic() - begin:.0f} s: {summary}")
if len({(page["file"], page["page"]) for page in pages}) != len(pages):
    fail("a page is told of twice")

if interrupt("run-parts", 2, len(pages) // 3, signal.SIGINT) != 130:
    fail("Ctrl-C does not end the run with 130")
if any(name.rpartition("/")[2].startswith(".") for name in files("run-parts")):
    fail("Ctrl-C leaves a temporary file")
if interrupt("run-parts", 3, 2 * len(pages) // 3, signal.SIGKILL) != -signal.SIGKILL:
    fail("the run was not killed")
code, error = finish(start("run-parts", 2))
print(f"gone on with: exit {code}")

if code != whole_code:
    fail(f"exit {code}, uninterrupted {whole_code}: {error}")
if files("run-parts") != files("run-whole"):
    fail(f"other files: {sorted(set(files('run-parts')) ^ set(files('run-whole')))[:10]}")
different = [name for name in files("run-whole")
             if not filecmp.cmp(os.path.join(work, "run-whole", name), os.path.join(work, "run-parts", name), shallow=False)]
if different:
    fail(f"other bytes: {different[:10]}")
if report("run-parts") != (pages, summary):
    fail("another report: " + next((f"{one}\n{other}" for one, other in zip(report("run-parts")[0], pages) if one != other),
                                   f"{report('run-parts')[1]}\n{summary}"))
print(f"{len(files('run-whole'))} files and {len(pages)} lines of the report are equal")
