"""What tests of work in parts share: a place to work in, and what all parts together have to give."""
import collections
import json
import pathlib
import subprocess


def run(command, folder, codes=(0,), **more):
    """Runs a command in a folder; its exit code has to be one of those given."""
    words = [str(word) for word in command]
    done = subprocess.run(words, cwd=folder, capture_output=True, text=True, check=False, **more)
    assert done.returncode in codes, f"{command} gave {done.returncode}: {done.stdout}{done.stderr}"
    return done


class Site:
    """A folder like one on a shared disk: scans, their list, results in pages/, reports in reports/."""

    def __init__(self, folder, scans):
        self.folder = pathlib.Path(folder)
        self.folder.mkdir()
        (self.folder / "scans").symlink_to(scans)
        (self.folder / "reports").mkdir()
        names = sorted(path.relative_to(scans).as_posix() for path in pathlib.Path(scans).rglob("*") if path.is_file())
        self.scans = ["scans/" + name for name in names]
        (self.folder / "list").write_text("".join(name + "\n" for name in self.scans), encoding="utf-8")

    def reports(self):
        return sorted((self.folder / "reports").iterdir())

    def report_lines(self):
        return [[json.loads(line) for line in report.read_text(encoding="utf-8").splitlines()]
                for report in self.reports()]

    def results(self):
        pages = self.folder / "pages"
        return {path.relative_to(pages).as_posix(): path.read_bytes() for path in pages.rglob("*") if path.is_file()}

    def join(self, script, codes=(0,)):
        done = run([script, *self.reports()], self.folder, codes)
        (self.folder / "joined.jsonl").write_text(done.stdout, encoding="utf-8")
        return [json.loads(line) for line in done.stdout.splitlines()]


def without_times(lines):
    """Lines of a report as far as they are the same however the work was divided."""
    return [{**line, "ms": None} if "file" in line else {**line, "summary": {**line["summary"], "ms": None}}
            for line in lines]


def check_cover(site):
    """Each scan is told of in exactly one report."""
    told = collections.Counter()
    for lines in site.report_lines():
        told.update({line["file"] for line in lines if "file" in line})
    assert told == collections.Counter(site.scans), f"told of {told}"


def check_same(site, whole, script):
    """The parts together gave what the whole gave in one piece: results, and the joined report, but for times."""
    check_cover(site)
    ours, theirs = site.results(), whole.results()
    assert ours.keys() == theirs.keys(), f"results are {sorted(ours)}, not {sorted(theirs)}"
    assert ours == theirs, f"differ: {[name for name in ours if ours[name] != theirs[name]]}"
    joined = without_times(site.join(script))
    expected = without_times(lines for report in whole.report_lines() for lines in report)
    assert joined == expected, f"the joined report is {joined}"
