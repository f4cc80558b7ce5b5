"""check_completion.py SHELL TOOL FILE - the shell, asked for completions with that file, offers the options that
`quarlo --help` lists, the words that they take, and files and folders where they belong.
Exit code 77: there is no such shell."""

import os
import shutil
import subprocess
import sys
import tempfile

import usage

NEEDED = {"bash": ["/usr/share/bash-completion/bash_completion"], "zsh": [], "fish": []}
FLAGS = {"bash": ["--norc"], "zsh": ["-f"], "fish": ["--no-config"]}
PICTURES = ["folder/", "picture.png"]
FILES = ["folder/", "other.txt", "picture.png"]
# What is offered as a value where no words are listed: nothing but for these.
OFFERED = {"--output": PICTURES, "--output-dir": ["folder/"], "--files-from": FILES, "--overlay": FILES,
           "--apply": FILES, "--size": [paper + turn for paper in ("a3", "a4", "a5", "a6", "letter", "legal")
                                        for turn in ("", "-landscape")]}


class Shell:
    def __init__(self, name, completion):
        self.name = name
        driver = os.path.join(os.path.dirname(os.path.abspath(__file__)), "complete." + name)
        self.command = [name, *FLAGS[name], driver, os.path.abspath(completion)]

    def ask(self, lines):
        """The sorted offers for each line, in a folder with a folder, a picture and another file."""
        with tempfile.TemporaryDirectory() as work:
            os.mkdir(os.path.join(work, "folder"))
            for name in FILES[1:]:
                open(os.path.join(work, name), "w", encoding="utf-8").close()
            environment = dict(os.environ, HOME=work + "/folder", XDG_CONFIG_HOME=work + "/folder",
                               XDG_DATA_HOME=work + "/folder", TERM="dumb", LC_ALL="C.UTF-8")
            said = subprocess.run(self.command, input="".join(line + "\n" for line in lines), cwd=work, text=True,
                                  stdout=subprocess.PIPE, env=environment, check=True, timeout=100).stdout
        offers = []
        current = []
        for line in said.split("\n")[:-1]:
            if line:
                current.append(line)
            else:
                offers.append(sorted(set(current)))
                current = []
        assert len(offers) == len(lines), said
        return [[self.plain(offer, line) for offer in answer] for line, answer in zip(lines, offers)]

    @staticmethod
    def plain(offer, line):
        """Folders with their slash, values without the option that they belong to."""
        before = line.rpartition(" ")[2].rpartition("=")
        offer = offer.removeprefix(before[0] + before[1])
        return "folder/" if offer == "folder" else offer


class Check:
    def __init__(self, shell, tool):
        self.shell = shell
        self.tool = tool
        self.options = usage.options(tool)
        self.good = bool(self.options)

    def demand(self, what, expected, found):
        lacking, unmeant = sorted(set(expected) - set(found)), sorted(set(found) - set(expected))
        if not lacking and not unmeant:
            return
        self.good = False
        print(f"{self.shell.name}: {what}: {lacking} lacks, {unmeant} is not meant")

    def names(self):
        expected = [name for option in self.options for name in option.names]
        one, two = self.shell.ask(["quarlo -", "quarlo --"])
        self.demand("options", expected, set(one + two))
        self.demand("long options", [name for name in expected if name.startswith("--")], two)
        self.demand("--gr", ["--ground"], self.shell.ask(["quarlo --gr"])[0])

    def takers(self):
        """Options whose value stands in a word of its own."""
        return [option for option in self.options if option.placeholder and not option.placeholder.startswith("[=")]

    def values(self):
        asked = []
        for option in self.takers():
            expected = option.words or OFFERED.get(option.names[-1], [])
            for name in option.names:
                asked.append((f"quarlo {name} ", expected))
            asked.append((f"quarlo {option.names[-1]}=", expected))
        answers = self.shell.ask([line for line, _ in asked])
        for (line, expected), found in zip(asked, answers):
            # Not every shell tells pictures from other files there.
            if expected == PICTURES and found == FILES:
                continue
            self.demand(line, expected, found)

    def inputs(self):
        lines = ["quarlo ", "quarlo -r ", "quarlo --json ", "quarlo picture.png "]
        for line, found in zip(lines, self.shell.ask(lines)):
            found = [name for name in found if not name.startswith("-")]
            if found != FILES:
                self.demand(line, PICTURES, found)
        self.demand("--json=", FILES, self.shell.ask(["quarlo --json="])[0])

    def words_are_taken(self):
        """The tool has to get beyond reading the value."""
        for option in self.takers():
            for word in option.words or (OFFERED["--size"] if option.names[-1] == "--size" else []):
                said = subprocess.run([self.tool, option.names[-1], word], capture_output=True, text=True).stderr
                self.demand(f"the tool on {option.names[-1]} {word}", ["quarlo: no input is given"],
                            said.splitlines()[:1])


def main(name, tool, completion):
    if not shutil.which(name) or not all(os.path.exists(file) for file in NEEDED[name]):
        return 77
    check = Check(Shell(name, completion), tool)
    check.names()
    check.values()
    check.inputs()
    check.words_are_taken()
    return 0 if check.good else 1


sys.exit(main(*sys.argv[1:]))
