#!/usr/bin/env python3
"""Divides scans among runs of the tool with GNU parallel, and compares all with one run over the whole.

    check_parallel.py TOOL WRITER JOIN_REPORTS
"""
import os
import pathlib
import shutil
import stat
import sys
import tempfile
import unittest

import shards

TOOL, WRITER, JOIN = (pathlib.Path(name).resolve() for name in sys.argv[1:4])
COUNT = 23

# Stands for ssh: the "machine" is noted and runs the command, from its home and with a shell set, as after a login.
SSH = """#!/bin/sh
echo "$1" >>'{log}'
shift 2
cd "$HOME" || exit
SHELL=/bin/sh exec /bin/sh -c "$*"
"""


class Parallel(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.temporary = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.temporary.cleanup)
        cls.folder = pathlib.Path(cls.temporary.name)
        shards.run([WRITER, cls.folder / "scans", COUNT, 480], cls.folder)

    def site(self):
        return shards.Site(tempfile.mkdtemp(dir=self.folder) + "/site", self.folder / "scans")

    def whole(self, inputs):
        """One run over everything; one scan is damaged."""
        site = self.site()
        shards.run([TOOL, "-q", *inputs, "-O", "pages", "--json=reports/whole"], site.folder, codes=(1,))
        self.assertEqual(COUNT, len(site.scans))
        summary = site.report_lines()[0][-1]["summary"]
        counts = [summary[key] for key in ("files", "pages", "ok", "no_frame", "error")]
        self.assertEqual([23, 25, 23, 1, 1], counts)
        return site

    def divided(self, inputs, count, *parallel):
        """As many runs, three at a time or a machine."""
        site = self.site()
        tool = [TOOL, "-q", *inputs, f"--shard={{}}/{count}", "-j", "1", "-O", "pages", "--skip-existing",
                f"--json=reports/shard-{{}}-of-{count}.jsonl"]
        numbers = [str(number).zfill(len(str(count))) for number in range(1, count + 1)]
        # Nothing of a user's own: parallel looks into the home and reads $PARALLEL.
        home = str(self.folder)
        environment = {"PATH": f"{home}:{os.environ['PATH']}", "HOME": home, "PARALLEL_HOME": home}
        environment.update({name: os.environ[name] for name in ("ASAN_OPTIONS", "LSAN_OPTIONS") if name in os.environ})
        # Its exit code is the number of runs whose own is not 0.
        shards.run(["parallel", "--will-cite", *(parallel or ["--jobs", "3"]), "--joblog", self.folder / "log", *tool,
                    ":::", *numbers], site.folder, codes=(1, 2), env=environment)
        rows = [row.split("\t") for row in (self.folder / "log").read_text(encoding="utf-8").splitlines()[1:]]
        self.assertEqual(count, len(rows))
        self.assertLessEqual({row[6] for row in rows}, {"0", "1", "3"})
        self.assertEqual(count, len(site.reports()))
        return site

    def test_three_parts_of_a_list(self):
        inputs = ["--files-from", "list"]
        site = self.divided(inputs, 3)
        shards.check_same(site, self.whole(inputs), JOIN)
        files = [{line["file"] for line in lines if "file" in line} for lines in site.report_lines()]
        self.assertEqual([7, 8, 8], [len(part) for part in files])

    def test_three_machines_search_one_folder(self):
        ssh = self.folder / "ssh"
        log = self.folder / "machines"
        ssh.write_text(SSH.format(log=log), encoding="utf-8")
        ssh.chmod(ssh.stat().st_mode | stat.S_IXUSR)
        inputs = ["-r", "scans"]
        site = self.divided(inputs, 3, "--jobs", "1", "--sshlogin", "m1,m2,m3", "--workdir", ".")
        shards.check_same(site, self.whole(inputs), JOIN)
        self.assertEqual(3, len(log.read_text(encoding="utf-8").splitlines()))
        self.assertTrue((site.folder / "pages/letters/old").is_dir())

    def test_more_parts_than_scans(self):
        inputs = ["--files-from", "list", "--parents"]
        site = self.divided(inputs, 31)
        shards.check_same(site, self.whole(inputs), JOIN)
        self.assertEqual(8, sum(len(lines) == 1 for lines in site.report_lines()))

    def test_one_part_is_the_whole(self):
        inputs = ["--files-from", "list"]
        shards.check_same(self.divided(inputs, 1), self.whole(inputs), JOIN)


if not shutil.which("parallel"):
    sys.exit("needs GNU parallel: apt-get install parallel")
unittest.main(argv=sys.argv[:1])
