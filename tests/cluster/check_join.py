#!/usr/bin/env python3
"""Joins reports of every kind: whole ones, torn ones, double ones.

    check_join.py JOIN_REPORTS
"""
import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

JOIN = str(pathlib.Path(sys.argv[1]).resolve())
KEYS = ["ok", "no_frame", "refused", "copied", "error"]


def page(file, status="ok", number=1, **more):
    return json.dumps({"v": 1, "file": file, "page": number, "status": status, **more, "ms": {"read": 0.5}})


def closing(files, exit_code=0, interrupted=False, ms=1.5, **counts):
    counts = {key: counts.get(key, 0) for key in KEYS}
    summary = {"files": files, "pages": sum(counts.values()), **counts, "exit_code": exit_code,
               "interrupted": interrupted, "ms": ms}
    return json.dumps({"v": 1, "summary": summary}, separators=(",", ":"))


class JoinReports(unittest.TestCase):
    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.folder = pathlib.Path(temporary.name)

    def join(self, *reports):
        """Joins reports that are given as lists of lines, or as bytes; answers exit code, lines, what was said."""
        for number, report in enumerate(reports):
            content = report if isinstance(report, bytes) else "".join(line + "\n" for line in report).encode()
            (self.folder / f"r{number}").write_bytes(content)
        return self.call(*(f"r{number}" for number in range(len(reports))))

    def call(self, *names):
        done = subprocess.run([JOIN, *names], cwd=self.folder, capture_output=True, text=True, check=False)
        return done.returncode, done.stdout.splitlines(), done.stderr

    def test_pages_keep_their_order_and_one_summary_ends_them(self):
        a, b, c = page("b"), page("a", "no_frame"), page("c", "error", reason="caf\u00e9")
        joined = self.join([a, closing(1, ok=1)], [closing(0)], [b, c, closing(2, 1, no_frame=1, error=1)])
        self.assertEqual((0, [a, b, c, closing(3, 1, ms=4.5, ok=1, no_frame=1, error=1)], ""), joined)

    def test_exit_code_is_that_of_the_worst_page(self):
        for status, code in {"ok": 0, "no_frame": 3, "refused": 3, "copied": 3, "error": 1}.items():
            lines = [page("a"), page("b", status)]
            counts = {"ok": 2} if status == "ok" else {"ok": 1, status: 1}
            joined = self.join([lines[0], closing(1, ok=1)], [lines[1], closing(1, code, **{status: 1})])
            self.assertEqual((0, [*lines, closing(2, code, ms=3.0, **counts)], ""), joined)

    def test_failure_beyond_pages_is_kept(self):
        joined = self.join([page("a"), closing(1, 1, ok=1)], [page("b"), closing(1, ok=1)])
        self.assertEqual(closing(2, 1, ms=3.0, ok=2), joined[1][-1])

    def test_last_telling_of_a_scan_holds_in_its_first_place(self):
        old, new, other = page("a", "error", reason="gone"), page("a"), page("b")
        code, lines, said = self.join([old, closing(1, 1, error=1)], [other, closing(1, ok=1)], [new, closing(1, ok=1)])
        self.assertEqual((0, [new, other, closing(2, ms=4.5, ok=2)]), (code, lines))
        self.assertEqual("join-reports: a: told differently in r0 and r2, whose lines are kept\n", said)

    def test_equal_telling_is_left_out_in_silence(self):
        first, second = page("a"), page("a").replace("0.5", "0.7")
        joined = self.join([first, closing(1, ok=1)], [second, closing(1, ok=1)])
        self.assertEqual((0, [second, closing(1, ms=3.0, ok=1)], ""), joined)

    def test_document_is_replaced_as_a_whole(self):
        old = [page("a", number=number) for number in (1, 2, 3)]
        new = [page("a", "error")]
        code, lines, said = self.join([*old, closing(1, ok=3)], [*new, closing(1, 1, error=1)])
        self.assertEqual((0, [*new, closing(1, 1, ms=3.0, error=1)]), (code, lines))
        self.assertIn("told differently", said)

    def test_document_told_twice_in_a_row_is_kept_once(self):
        pages = [page("a", number=number) for number in (1, 2)]
        joined = self.join([*pages, *pages, closing(1, ok=2)])
        self.assertEqual((0, [*pages, closing(1, ok=2)], ""), joined)

    def test_torn_last_line_is_left_out_and_said(self):
        whole = page("a")
        for torn in (whole.encode()[:30], whole.encode(), b"\xff"):
            code, lines, said = self.join((whole + "\n").encode() + torn, [page("b"), closing(1, ok=1)])
            self.assertEqual((3, [whole, page("b"), closing(2, 137, True, ok=2)]), (code, lines))
            self.assertEqual("join-reports: r0:2: is cut short and left out\n"
                             "join-reports: r0: has no closing line: its run was killed or is not done yet\n", said)

    def test_missing_summary_is_said(self):
        for report, pages in (([page("a")], 1), ([], 0), ([closing(0, ms=0.0), page("a")], 1)):
            code, lines, said = self.join(report)
            self.assertEqual((3, closing(pages, 137, True, ms=0.0, ok=pages)), (code, lines[-1]))
            self.assertIn("r0: has no closing line", said)

    def test_interrupted_run_is_said(self):
        code, lines, said = self.join([page("a"), closing(1, 143, True, ok=1)], [closing(0)])
        self.assertEqual((3, [page("a"), closing(1, 143, True, ms=3.0, ok=1)]), (code, lines))
        self.assertEqual("join-reports: r0: its run was interrupted\n", said)

    def test_closing_lines_of_runs_that_were_gone_on_with_are_left_out(self):
        report = [page("a"), closing(1, 143, True, ok=1), page("b"), closing(2, ok=2)]
        self.assertEqual((0, [page("a"), page("b"), closing(2, ms=3.0, ok=2)], ""), self.join(report))

    def test_names_that_are_no_text_are_never_the_same(self):
        lines = [page("a\ufffd.png"), page("a\ufffd.png")]
        joined = self.join([lines[0], closing(1, ok=1)], [lines[1], closing(1, ok=1)])
        self.assertEqual((0, [*lines, closing(2, ms=3.0, ok=2)], ""), joined)

    def test_damaged_line_ends_it_and_nothing_is_written(self):
        damaged = ["no JSON", "", "[]", '{"v":2}', '{"v":1,"summary":{}}', page("a", "other")]
        for line in [*damaged, "\xff"]:
            code, lines, said = self.join([page("a"), line, closing(1, ok=1)])
            self.assertEqual((1, []), (code, lines), line)
            self.assertIn("join-reports: r0:2: ", said)

    def test_missing_report_ends_it(self):
        code, lines, said = self.call("nowhere")
        self.assertEqual((1, []), (code, lines))
        self.assertIn("nowhere", said)

    def test_wrong_usage_is_told(self):
        for names in ([], ["--help"]):
            code, lines, said = self.call(*names)
            self.assertEqual((2, []), (code, lines))
            self.assertIn("join-reports REPORT...", said)

    def test_report_that_is_written_to_is_refused(self):
        report = self.folder / "report"
        report.write_text(closing(0) + "\n", encoding="utf-8")
        with report.open("a", encoding="utf-8") as output:
            done = subprocess.run([JOIN, report], stdout=output, stderr=subprocess.PIPE, check=False)
        self.assertEqual((2, closing(0) + "\n"), (done.returncode, report.read_text(encoding="utf-8")))


unittest.main(argv=sys.argv[:1])
