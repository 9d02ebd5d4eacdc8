"""Manual pages as the tests see them: sections, entries of lists and examples, in the words that a reader gets."""

import re
from pathlib import Path

ESCAPE = re.compile(r"\\(?:\(..|\*q|.)")
SAID = {r"\e": "\\", r"\-": "-", r"\&": "", r"\*q": '"', r"\(mu": "x", r"\(em": "--"}
MACROS = set("Ar Bl Cm Dv Dl Ed El Em Ev Fl Ic In It Li Nm No Ns Oc Oo Op Pa Pc Pf Po Pp Pq Ql Qq Sq Sx Sy Ta Vt Xr Bd Dq Aq Bq"
             .split())


def unescape(text: str) -> str:
    return ESCAPE.sub(lambda escape: SAID.get(escape[0], ""), text)


def arguments(line: str) -> list[tuple[str, bool]]:
    """The arguments of a macro, each with whether it stood in quotes, where no word is a macro."""
    found = re.findall(r'"((?:[^"]|"")*)"(?=\s|$)|(\S+)', line)
    return [(quoted.replace('""', '"'), True) if not bare else (bare, False) for quoted, bare in found]


def words(line: str) -> str:
    """A line of the source without its markup."""
    if not line.startswith("."):
        return unescape(line)
    return " ".join(unescape(text) for text, quoted in arguments(line[1:]) if quoted or text not in MACROS)


class Page:
    def __init__(self, path: Path):
        self.path = path
        self.name = path.name
        self.lines = [line for line in path.read_text().split("\n") if not line.startswith('.\\"')]
        self.sections: dict[str, list[str]] = {}
        section: list[str] = []
        for line in self.lines:
            if line.startswith(".Sh "):
                section = self.sections.setdefault(line[4:], [])
            else:
                section.append(line)

    def text(self, section: str | None = None) -> str:
        return "\n".join(words(line) for line in (self.lines if section is None else self.sections.get(section, [])))

    def entries(self, section: str) -> list[str]:
        """Each entry of a section's lists: its heads, when several share a text, and that text; and what is in no list."""
        found = [[]]
        for line in self.sections.get(section, []):
            head = line.startswith(".It")
            ends = line.startswith((".El", ".Ss"))
            if (head and not (found[-1] and found[-1][-1].startswith(".It"))) or ends:
                found.append([])
            found[-1].append(line)
        return ["\n".join(words(line) for line in entry) for entry in found if entry]

    def subsection(self, section: str, name: str) -> list[str]:
        found, inside = [], False
        for line in self.sections.get(section, []):
            if line.startswith(".Ss "):
                inside = line[4:] == name
            elif inside:
                found.append(line)
        return found

    def examples(self):
        """Each command of EXAMPLES as (line in the page, command, what it prints)."""
        inside = literal = False
        found = []
        for number, line in enumerate(self.path.read_text().split("\n"), 1):
            if line.startswith(".Sh "):
                inside = line == ".Sh EXAMPLES"
            elif inside and line.startswith(".Bd -literal"):
                literal = True
            elif line == ".Ed":
                literal = False
            elif inside and literal:
                said = unescape(line)
                if said.startswith("$ "):
                    found.append((number, [said[2:]], []))
                elif not found:
                    raise ValueError(f"{self.name}:{number}: an example begins with a command")
                elif said.startswith(">") and not found[-1][2]:
                    found[-1][1].append(said[2:])
                else:
                    found[-1][2].append(said)
        return [(number, "\n".join(command), output) for number, command, output in found]


def pages(folder: Path) -> list[Page]:
    found = [Page(path) for path in sorted(folder.glob("*.[0-9]"))]
    if len(found) < 5:
        raise ValueError(f"{folder} has not all the pages")
    return found
