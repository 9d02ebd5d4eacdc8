"""usage: texts.py SOURCE BIN

Whether the manuals in SOURCE/docs/man tell everything that the programs can say and be told: each message has an entry under
DIAGNOSTICS, each other text of a report stands somewhere, and there is an entry for each option and environment variable that
there is, and none for one that there is not; the tables of offsets are those of the layout headers."""

import re
import subprocess
import sys
from pathlib import Path

from manual import Page, pages, words
from messages import PRODUCT, messages, other_texts


def bare(text: str) -> str:
    return re.sub(r"\s+", "", text)


class Check:
    def __init__(self, source: Path, programs: Path):
        self.source, self.programs = source, programs
        self.pages = {page.name: page for page in pages(source / "docs/man")}
        self.wrong = self.right = 0

    def expect(self, good: bool, complaint: str) -> None:
        self.right += good
        self.wrong += not good
        if not good:
            print(complaint)

    def messages(self) -> None:
        """All pieces of a message are in one entry, in their order unless one of several is said."""
        entries = [bare(entry) for page in self.pages.values() for entry in page.entries("DIAGNOSTICS")]
        found = messages(self.source)
        for message in found:
            pieces = [bare(piece) for piece in message.pieces]
            if message.alternative:
                told = any(all(piece in entry for piece in pieces) for entry in entries)
            else:
                pattern = re.compile(".*?".join(map(re.escape, pieces)), re.S)
                told = any(pattern.search(entry) for entry in entries)
            self.expect(told, f"{message.place}: not under DIAGNOSTICS: {' ... '.join(message.pieces)}")
        self.expect(len(found) > 250, f"only {len(found)} messages found in the sources")

    def other_texts(self) -> None:
        told = bare("\n".join(page.text(section) for page in self.pages.values() for section in ("OUTPUT", "DIAGNOSTICS")))
        found = other_texts(self.source)
        for place, text in found:
            self.expect(bare(text).strip(".,:()\"'") in told, f"{place}: in no page: {text}")
        self.expect(len(found) > 30, f"only {len(found)} other texts found in the sources")

    def run(self, *command: str) -> str:
        return subprocess.run([str(self.programs / command[0]), *command[1:]], stdout=subprocess.PIPE, text=True,
                              check=True, timeout=60).stdout

    @staticmethod
    def items(lines: list[str], macro: str) -> set[str]:
        heads = (line[4:] for line in lines if line.startswith(f".It {macro} "))
        return {word.replace("\\&", "") for head in heads for word in re.split(r"\s+(?:,\s+)?", head)}

    def same(self, what: str, there: set[str], told: set[str]) -> None:
        for name in sorted(there - told):
            self.expect(False, f"{what}: no entry for {name}")
        for name in sorted(told - there):
            self.expect(False, f"{what}: an entry for {name}, which there is not")
        self.expect(bool(there), f"{what}: nothing found")

    def options(self) -> None:
        page = self.pages["halyx.1"]
        told = {"-" + word for word in self.items(page.sections["OPTIONS"], "Fl")
                if word not in ("Fl", "Ar", "pid", "file", "path", ",")}
        front = (self.source / "scanner/HalyxScanner.cpp").read_text()
        short = re.search(r'kShortOptions = "([^"]+)"', front)[1]
        long = re.search(r"kLongOptions\[\] = \{(.*?)\};", front, re.S)[1]
        there = {"-" + letter for letter in short if letter != ":"} | {"--" + n for n in re.findall(r'\{"([^"]+)"', long)}
        helped = set(re.findall(r"(?<![\w-])--?[a-zA-Z][\w-]*", self.run("halyx", "-h")))
        self.same("halyx.1", there | helped, told)

    def writer(self) -> None:
        page = self.pages["halyx-writer.1"]
        commands = re.findall(r"^  (\S+) {2,}", self.run("halyx-writer", "--help").split("Commands:")[1], re.M)
        self.same("halyx-writer.1, commands", set(commands), {
            line[4:] for line in page.sections["DESCRIPTION"]
            if line.startswith(".Ss ") and not line.startswith(".Ss Values")})
        for command in commands:
            text = self.run("halyx-writer", command, "--help").split("Options:")[1]
            there = set(re.findall(r"^  (--\S+(?: \S+)?) {2,}", text, re.M)) - {"--help"}
            told = {self.option(line)
                    for line in page.subsection("DESCRIPTION", command) if line.startswith(".It Fl ")}
            self.same(f"halyx-writer.1, {command}", there, told)

    @staticmethod
    def option(line: str) -> str:
        return "-" + line[len(".It Fl "):].replace(" Ar ", " ")

    def environment(self) -> None:
        read = set()
        for folder in PRODUCT:
            for path in (self.source / folder).rglob("*.cpp"):
                read |= set(re.findall(r'getenv\("(\w+)"\)', path.read_text()))
        for name in ("halyx.1", "halyx-writer.1"):
            told = self.items(self.pages[name].sections["ENVIRONMENT"], "Ev") - {",", "Ev"}
            self.same(f"{name}, ENVIRONMENT", read, told)

    def offsets(self) -> None:
        tables = {"SlotTable": "slots", "BucketTable": "buckets", "Slab": "slab0 to slab31",
                  "Conquer": "conquer.1, conquer.2", "Fenix": "fenix", "SlotRecord": "slots"}
        asserted = re.compile(r"offsetof\((\w+), (\w+)\) == (\d+)")
        count = 0
        for header in sorted(self.source.rglob("*Layout.h")):
            for structure, field, offset in asserted.findall(header.read_text()):
                table = next(tables[name] for name in tables if structure.startswith(name))
                field = {"reserved": "", "sequenceLow": "sequence", "lookasideValue": "lookaside"}.get(field, field)
                rows = [words(line).split() for line in self.pages["halyx.5"].subsection("DESCRIPTION", table)
                        if line.startswith(".It ")]
                self.expect(any(row[:1] == [offset] and (not field or field in row) for row in rows),
                            f"{header.name}: halyx.5 has no row for {structure}.{field} at {offset}")
                count += 1
        self.expect(count > 40, f"only {count} fields found in the layout headers")


def main() -> int:
    check = Check(Path(sys.argv[1]).resolve(), Path(sys.argv[2]).resolve())
    for part in (check.messages, check.other_texts, check.options, check.writer, check.environment, check.offsets):
        part()
    print(f"{check.right + check.wrong} texts and names, {check.wrong} without their entry")
    return 1 if check.wrong else 0


if __name__ == "__main__":
    sys.exit(main())
