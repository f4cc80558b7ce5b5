"""check_page.py TOOL SOURCE [PAGE] - the manual page lists the same options as --help, in the same groups, in the same
words and order: in its source, and as man shows it, which has nothing to complain about."""

import difflib
import os
import re
import shutil
import subprocess
import sys

import usage


def listed_in_source(text):
    """Pairs of group and entry."""
    found = []
    group = ""
    for line in text.split("\n# OPTIONS\n")[1].split("\n# ")[0].splitlines():
        if line.startswith("## "):
            group = line[3:]
        elif group and line.startswith("*-"):
            found.append((group, re.sub(r"[*_\\]", "", line)))
    return found


def listed_in_page(text):
    found = []
    group = ""
    for line in text.split("\nOPTIONS\n")[1].splitlines():
        if re.match(r"\S", line):
            break
        if re.match(r" {3}\S", line):
            group = line.strip()
        elif group and re.match(r" {7}-", line):
            found.append((group, line.strip()))
    return found


def compare(expected, found, what):
    lines = [[f"{group}: {entry}" for group, entry in pairs] for pairs in (expected, found)]
    difference = list(difflib.unified_diff(*lines, "quarlo --help", what, lineterm="", n=0))
    print("\n".join(difference))
    return not difference


def show(page):
    """The page as people see it, on wide paper; None: there are warnings."""
    environment = dict(os.environ, LC_ALL="C.UTF-8", MANWIDTH="200")
    shown = subprocess.run(["man", "--warnings", "-P", "cat", "-l", page], capture_output=True, text=True, check=True,
                           env=environment)
    print(shown.stderr, end="")
    plain = subprocess.run(["col", "-bx"], input=shown.stdout, capture_output=True, text=True, check=True,
                           env=environment).stdout
    return None if shown.stderr else plain


def lint(page):
    """All but style, and but for the empty paragraphs that scdoc puts before each heading."""
    said = subprocess.run(["mandoc", "-T", "lint", "-W", "warning", page], capture_output=True, text=True).stdout
    complaints = [line for line in said.splitlines() if "skipping paragraph macro" not in line]
    print("\n".join(complaints))
    return not complaints


def main(tool, source, page=None):
    expected = [(option.group, option.entry) for option in usage.options(tool)]
    with open(source, encoding="utf-8") as file:
        good = compare(expected, listed_in_source(file.read()), source)
    if page and shutil.which("man"):
        plain = show(page)
        good = plain is not None and compare(expected, listed_in_page(plain), "man quarlo") and good
    if page and shutil.which("mandoc"):
        good = lint(page) and good
    return 0 if expected and good else 1


sys.exit(main(*sys.argv[1:]))
