"""What `quarlo --help` says of the options."""

import re
import subprocess

# Placeholders that show examples; all others name the words themselves, between bars.
EXAMPLES = ("--margin", "--size")


class Option:
    def __init__(self, group, entry):
        self.group = group
        self.entry = entry  # as it is listed: "-f, --format bmp|png"
        self.names = re.findall(r"(?<![^\s])-[-\w]+", entry.replace(",", " ").split("[=")[0])
        self.placeholder = entry[entry.index(self.names[-1]) + len(self.names[-1]):].strip()

    @property
    def words(self):
        if self.names[-1] in EXAMPLES:
            return []
        return [word for word in self.placeholder.split("|") if re.fullmatch(r"-?[a-z0-9]+", word)]


def options(tool):
    lines = subprocess.run([tool, "--help"], capture_output=True, text=True, check=True).stdout.splitlines()
    found = []
    group = ""
    for line in lines:
        if re.fullmatch(r"[A-Z][\w ]+:", line):
            group = line[:-1]
        elif line.startswith("  -"):
            found.append(Option(group, re.split(r" {2,}", line.strip())[0]))
    return found
