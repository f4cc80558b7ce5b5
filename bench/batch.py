#!/usr/bin/env python3
"""How fast the whole tool is on a folder of scans: see docs/performance.md, "Whole runs of the tool".

    batch.py --tool=PROGRAM --make-scans=PROGRAM --judge=PROGRAM --work=FOLDER [--pages=N] [--check] [--tsv=FILE]
             [--docs=FILE] [--command=TEXT]

Scans are made in the folder, format by format. They are taken in rounds: in each, the next part of them goes through
the tool once with one job and once with two, so that both see the same scans at about the same time. Peers are
measured where they are installed, on the first scans only, for they take long. Memory is looked at in runs of its own.
"""
import argparse
import json
import math
import os
import re
import shutil
import statistics
import subprocess
import sys
import tempfile
import threading
import time

FORMATS = {"jpeg": "24-bit JPEG", "png": "8-bit PNG", "tiff": "1-bit G4 TIFF", "bmp": "24-bit BMP"}
STAGES = ("read", "find", "turn", "write")
ROUNDS = 5
PEER_PAGES = 10
MEMORY = "/dev/shm"
SECONDS_BETWEEN_SAMPLES = 0.02
EXITS_OF_A_WHOLE_RUN = (0, 3)  # 3: a page had no usable frame

# What --check demands.
MOST_FIND_AND_TURN = {"jpeg": 0.15, "png": 0.15}
LEAST_SPEEDUP = 1.8

FIRST_MARK = "<!-- batch: written by ./dev bench --batch --write-docs -->"
LAST_MARK = "<!-- end of batch -->"


# ---- Running programs ----


def tree_of(pid):
    """A process and all below it."""
    try:
        with open(f"/proc/{pid}/task/{pid}/children") as file:
            children = file.read().split()
    except OSError:
        return []
    return [pid] + [one for child in children for one in tree_of(int(child))]


def memory_of(pid):
    """The proportional set size in KiB: what processes share counts once in a sum. 0 when the process is gone."""
    try:
        with open(f"/proc/{pid}/smaps_rollup") as file:
            return next(int(line.split()[1]) for line in file if line.startswith("Pss:"))
    except (OSError, StopIteration):
        return 0


def run(command, watch=None):
    """Seconds that the process took. While it runs, `watch` is called with its number again and again."""
    start = time.perf_counter()
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
    messages = []
    reader = threading.Thread(target=lambda: messages.append(process.stderr.read()))
    reader.start()
    while watch:
        try:
            process.wait(SECONDS_BETWEEN_SAMPLES)
            break
        except subprocess.TimeoutExpired:
            watch(process.pid)
    process.wait()
    seconds = time.perf_counter() - start
    reader.join()
    if process.returncode not in EXITS_OF_A_WHOLE_RUN:
        sys.exit(f"batch: {command[0]} ended with {process.returncode}: {messages[0]}")
    return seconds


def most_memory(command):
    """The most MiB that the process and its children had together. Looking takes time from them: no run is timed so."""
    samples = [0]
    run(command, lambda pid: samples.append(sum(memory_of(one) for one in tree_of(pid))))
    return max(samples) / 1024


def fresh_folder(name):
    shutil.rmtree(name, ignore_errors=True)
    os.makedirs(name)
    return name


def count_right(judge, truth, frames):
    """How many frames are right, and of how many the skew is; a frame is a file, an angle and corners or None."""
    lines = []
    for file, angle, corners in frames:
        points = "\t".join(f"{x}\t{y}" for x, y in corners) if corners else "-"
        lines.append(f"{os.path.basename(file)}\t1\t{angle}\t{points}\n")
    answer = subprocess.run([judge, truth], input="".join(lines), capture_output=True, text=True, check=True).stdout
    return [int(number) for number in answer.split()]


# ---- The tool ----


def knows_jobs(tool):
    return re.search(r"\s-j\b", subprocess.run([tool, "--help"], capture_output=True, text=True).stdout) is not None


class ToolRuns:
    """All that is measured of the tool on scans of one format, with the results below a folder."""

    def __init__(self, options, scans, results):
        self.results = results
        self.jobs = (1, 2) if knows_jobs(options.tool) else (1,)
        self.rates = {jobs: [] for jobs in self.jobs}
        self.report = os.path.join(options.work, "report.jsonl")
        self.speedups = []
        self.reports = []
        for k in range(ROUNDS):
            part = scans[k * len(scans) // ROUNDS:(k + 1) * len(scans) // ROUNDS]
            seconds = {}
            # In turns the one or the other comes first.
            for jobs in self.jobs[::1 if k % 2 == 0 else -1]:
                seconds[jobs] = self.timed(options, part, jobs)
                self.rates[jobs].append(len(part) / seconds[jobs])
            if len(self.jobs) > 1:
                self.speedups.append(seconds[1] / seconds[2])

    def most_memory(self, options, scans, jobs):
        return most_memory(self.prepare(options, scans[:len(scans) // ROUNDS], jobs))

    def timed(self, options, scans, jobs):
        seconds = run(self.prepare(options, scans, jobs))
        if jobs == 1:
            with open(self.report) as file:
                self.reports += [line for line in map(json.loads, file) if "file" in line]
        return seconds

    def prepare(self, options, scans, jobs):
        """Empties the folder of results, has the disk written out, and answers the command that is to run."""
        out = fresh_folder(os.path.join(self.results, "out"))
        chosen = ["-j", str(jobs)] if len(self.jobs) > 1 else []
        os.sync()
        return [options.tool, *chosen, "--overwrite", f"--json={self.report}", "-O", out, *scans]

    def speedup(self):
        return statistics.median(self.speedups)

    def stage_ms(self, stage):
        return statistics.fmean(report["ms"].get(stage, 0.0) for report in self.reports)

    def find_and_turn(self):
        return (self.stage_ms("find") + self.stage_ms("turn")) / sum(map(self.stage_ms, STAGES))

    def frames(self):
        found = [report for report in self.reports if report["status"] == "ok"]
        return [(report["file"], report["angle_deg"], report["corners"]) for report in found]


def runs_in_memory(options, scans):
    """The same with the results in memory, where no disk limits them; None where there is no such place."""
    if not os.path.isdir(MEMORY):
        return None
    with tempfile.TemporaryDirectory(dir=MEMORY) as results:
        return ToolRuns(options, scans, results)


# ---- Peers ----


def imagemagick(scan, work):
    """Its output has no place of its own, but %X and %Y tell where it lies on the turned canvas, whose origin is the
    scan's: turned back, its corners are the frame. Half a pixel makes edges of pixels into centres."""
    name = os.path.join(work, "peer" + os.path.splitext(scan)[1])
    command = ["convert", scan, "-deskew", "40%", "-trim", "-print", "%[deskew:angle] %w %h %X %Y\n", "+repage", name]
    start = time.perf_counter()
    told = subprocess.run(command, capture_output=True, text=True, check=True).stdout
    seconds = time.perf_counter() - start
    angle, width, height, left, top = map(float, told.split())
    cosine, sine = math.cos(math.radians(angle)), math.sin(math.radians(angle))
    turned = [(left, top), (left + width, top), (left + width, top + height), (left, top + height)]
    return seconds, angle, [(cosine * x + sine * y - 0.5, cosine * y - sine * x - 0.5) for x, y in turned]


def unpaper(scan, work):
    """It takes PNM files, which are made beforehand, and tells its angle in radians, counter-clockwise. The sheet keeps
    its size, so there is no frame."""
    kind = {".jpg": "ppm", ".bmp": "ppm", ".png": "pgm", ".tif": "pbm"}[os.path.splitext(scan)[1]]
    source, result = (os.path.join(work, f"{name}.{kind}") for name in ("source", "peer"))
    subprocess.run(["convert", scan, source], check=True)
    start = time.perf_counter()
    told = subprocess.run(["unpaper", "--overwrite", "-v", source, result], capture_output=True, text=True, check=True)
    seconds = time.perf_counter() - start
    return seconds, -math.degrees(float(re.search(r"^rotate \(.*\): (\S+)$", told.stdout, re.M)[1])), None


PEERS = {"ImageMagick": ("convert", imagemagick), "unpaper": ("unpaper", unpaper)}


def installed_peers():
    # unpaper's files are made by ImageMagick.
    return [name for name, (program, _) in PEERS.items() if shutil.which(program) and shutil.which("convert")]


def measure_peer(name, options, truth, scans):
    """Pages a second, and what is right of the frames and of the skews; the frames are None where there are none."""
    scans = scans[:PEER_PAGES]
    runs = [(scan, *PEERS[name][1](scan, options.work)) for scan in scans]
    right, skew_right = count_right(options.judge, truth, [(scan, angle, corners) for scan, _, angle, corners in runs])
    rate = len(runs) / sum(seconds for _, seconds, _, _ in runs)
    return rate, right if runs[0][3] else None, skew_right


# ---- The table ----


def rounded(value):
    return f"{value:.0f}" if value >= 100 else f"{value:.1f}" if value >= 10 else f"{value:.2f}"


def measure_format(options, kind):
    """The column of a format: rows' names and values, in order, and the bounds that are broken."""
    folder = os.path.join(options.work, kind)
    print(f"{FORMATS[kind]}: making scans", flush=True)
    shutil.rmtree(folder, ignore_errors=True)
    subprocess.run([options.make_scans, folder, f"--count={options.pages}", f"--format={kind}"], check=True)
    truth = os.path.join(folder, "truth.tsv")
    scans = sorted(os.path.join(folder, name) for name in os.listdir(folder) if name.startswith("scan-"))
    print(f"{FORMATS[kind]}: measuring", flush=True)
    runs = ToolRuns(options, scans, options.work)
    is_slow = runs.speedups and runs.speedup() < LEAST_SPEEDUP
    in_memory = runs_in_memory(options, scans) if is_slow else None
    right, skew_right = count_right(options.judge, truth, runs.frames())

    column = {}
    for jobs in runs.jobs:
        column[f"pages a second, {jobs} job{'s'[:jobs - 1]}"] = rounded(statistics.median(runs.rates[jobs]))
    if runs.speedups:
        column["two jobs against one"] = "x" + rounded(runs.speedup())
        column["the same, results in memory"] = "x" + rounded(in_memory.speedup()) if in_memory else "-"
    for stage in STAGES:
        column[f"ms a page: {stage}"] = rounded(runs.stage_ms(stage))
    column["find and turn, of all four"] = f"{100 * runs.find_and_turn():.1f} %"
    for jobs in runs.jobs:
        column[f"MiB at most, {jobs} job{'s'[:jobs - 1]}"] = rounded(runs.most_memory(options, scans, jobs))
    column["frames right"] = f"{right} of {len(scans)}"
    column["skews right"] = f"{skew_right} of {len(scans)}"
    for name in installed_peers():
        rate, frames_right, skews_right = measure_peer(name, options, truth, scans)
        column[f"{name}: pages a second"] = rounded(rate)
        if frames_right is not None:
            column[f"{name}: frames right"] = f"{frames_right} of {min(PEER_PAGES, len(scans))}"
        column[f"{name}: skews right"] = f"{skews_right} of {min(PEER_PAGES, len(scans))}"
    shutil.rmtree(folder)
    return column, broken_bounds(kind, runs, in_memory)


def broken_bounds(kind, runs, in_memory):
    """Where two jobs miss their bound, they are held to it where the disk has no say, if there is such a place."""
    broken = []
    most = MOST_FIND_AND_TURN.get(kind, 1.0)
    if runs.find_and_turn() > most:
        broken.append(f"{kind}: find and turn take {100 * runs.find_and_turn():.1f} %, must be at most {100 * most:g} %")
    if not runs.speedups or os.cpu_count() < 2:
        print(f"not checked: {kind}: what two jobs bring: no -j, or one processor")
    elif (in_memory or runs).speedup() < LEAST_SPEEDUP:
        broken.append(f"{kind}: two jobs are {(in_memory or runs).speedup():.2f} times as fast as one, must be "
                      f"{LEAST_SPEEDUP} at least")
    return broken


def table_of(columns):
    rows = list(next(iter(columns.values())))
    lines = ["| | " + " | ".join(FORMATS[kind] for kind in columns) + " |", "|---|" + "---:|" * len(columns)]
    lines += ["| " + row + " | " + " | ".join(column[row] for column in columns.values()) + " |" for row in rows]
    return "\n".join(lines) + "\n"


def version_of(program):
    told = subprocess.run([program, "--version"], capture_output=True, text=True).stdout
    return re.search(r"\d+(\.\d+)+(-\d+)?", told)[0]


def about(options):
    with open("/proc/cpuinfo") as file:
        processor = re.search(r"model name\s*: (.*)", file.read())
    lines = [f"Processor: {processor[1] if processor else 'unknown'}, {os.cpu_count()} in use"]
    peers = [f"{name} {version_of(PEERS[name][0])}" for name in installed_peers()]
    if peers:
        lines.append("Peers: " + ", ".join(peers))
    return lines + [f"Scans: {options.pages} a format", f"Command: {options.command}"]


def write_document(name, text):
    with open(name) as file:
        old = file.read()
    first, last = old.find(FIRST_MARK), old.find(LAST_MARK)
    if first < 0 or last < first:
        sys.exit(f"batch: no marks in {name}")
    with open(name, "w") as file:
        file.write(old[:first] + FIRST_MARK + "\n\n" + text + "\n" + old[last:])


def write_tsv(name, columns):
    with open(name, "w") as file:
        file.write("format\tquantity\tvalue\n")
        for kind, column in columns.items():
            file.writelines(f"{kind}\t{quantity}\t{value}\n" for quantity, value in column.items())


def parse_options():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    for name in ("tool", "make-scans", "judge", "work"):
        parser.add_argument(f"--{name}", required=True)
    for name in ("docs", "tsv", "command"):
        parser.add_argument(f"--{name}", default="")
    parser.add_argument("--pages", type=int, default=200)
    parser.add_argument("--check", action="store_true")
    return parser.parse_args()


def main():
    options = parse_options()
    # Peers on one thread, as the tool's jobs are.
    os.environ.update(OMP_NUM_THREADS="1", MAGICK_THREAD_LIMIT="1")
    os.makedirs(options.work, exist_ok=True)
    columns, broken = {}, []
    for kind in FORMATS:
        columns[kind], more = measure_format(options, kind)
        broken += more
    text = "".join(f"- {line}\n" for line in about(options)) + "\n" + table_of(columns)
    print("\n" + text)
    if options.tsv:
        write_tsv(options.tsv, columns)
    if options.docs:
        write_document(options.docs, text)
    for bound in broken:
        print("BROKEN: " + bound)
    return 1 if options.check and broken else 0


if __name__ == "__main__":
    sys.exit(main())
