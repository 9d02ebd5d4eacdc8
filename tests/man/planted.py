"""usage: planted.py SOURCE BIN

Plants faults in copies of the manuals and of the sources, and sees that the checks beside this one notice each of them."""

import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

from messages import PRODUCT

HERE = Path(__file__).resolve().parent

# What is changed (the file, a text in it, what takes its place), the check, and what it must say.
FAULTS = [
    ("docs/man/halyx.1", "2-->22 0-->80", "2-->23 0-->80", "examples", "$ halyx -p -e ports"),
    ("docs/man/halyx-writer.1", "Shadow:\n", "Shadow: halyx-writer-4711(halyx-writer)\n", "examples", "$ halyx -w processes"),
    ("docs/man/halyx.1", "Owner pid: 4711", "Owner pid: 4713", "examples", "$ halyx -x ports"),
    ("docs/man/halyx.1", "No table was found.", "No collection was found.", "texts", "No table was found."),
    ("docs/man/halyx.1", ".It Cm Chain restarts", ".It Cm Again", "texts", "Chain restarts"),
    ("docs/man/halyx.1", ".It Fl e\n", ".It Fl E\n", "texts", "no entry for -e"),
    ("docs/man/halyx-writer.1", ".It Fl -seed Ar N\n", ".It Fl -seeds Ar N\n", "texts", "no entry for --seed N"),
    ("docs/man/halyx.1", ".It Ev NORVU_TRACE_FILE", ".It Ev TRACE_FILE", "texts", "no entry for NORVU_TRACE_FILE"),
    ("docs/man/halyx.5", ".It 56 Ta 8 Ta notifications", ".It 60 Ta 8 Ta notifications", "texts", "notifications at 56"),
    ("scanner/HalyxScanner.cpp", "int main(int argc", 'void full() { throw Full("the moon is full"); }\nint main(int argc',
     "texts", "in no page: the moon is full"),
    ("scanner/HalyxScanner.cpp", "int main(int argc",
     'void full() { Norvu::RuntimeException::throwException("brimming:" + moon); }\nint main(int argc',
     "texts", "not under DIAGNOSTICS: brimming:"),
    ("scanner/HalyxScanner.cpp", '{"who", no_argument', '{"whose", no_argument', "texts", "no entry for --whose"),
    ("platform/Norvu/Debug.cpp", 'getenv("NORVU_TRACE")', 'getenv("NORVU_TRACES")', "texts", "no entry for NORVU_TRACES"),
    ("writer/Options.cpp", "a value has 1 to ", "a value is of 1 to ", "texts", "a value is of 1 to"),
    ("docs/man/halyx.7", ".Sh SEE ALSO", ".Zz macro\n.Sh SEE ALSO", "mandoc", "Zz"),
    ("docs/man/halyx.7", ".Sh SEE ALSO", ".Bl -tag -width Ds\n.Sh SEE ALSO", "man", "no matching .El"),
    ("docs/man/halyx.7", ".Sh SEE ALSO", ".Cm " + "x" * 90 + "\\&x\n.Sh SEE ALSO", "mandoc", "longer than 80 columns"),
]


def command(check: str, source: Path, files: list[str], programs: Path) -> list[str]:
    if check in ("mandoc", "man"):
        return [str(HERE / "lint"), check, *(str(source / file) for file in files)]
    return [str(HERE / "check"), check, str(source / "docs/man" if check == "examples" else source), str(programs)]


def plant(source: Path, copy: Path, faults: list[tuple]) -> None:
    for folder in (*PRODUCT, "docs/man"):
        shutil.copytree(source / folder, copy / folder)
    for file, before, after, _, _ in faults:
        text = (copy / file).read_text()
        if before not in text:
            raise ValueError(f"{file} has no '{before}' to change")
        (copy / file).write_text(text.replace(before, after))


def main() -> int:
    source, programs = Path(sys.argv[1]).resolve(), Path(sys.argv[2]).resolve()
    missed = skipped = 0
    for check in dict.fromkeys(fault[3] for fault in FAULTS):
        faults = [fault for fault in FAULTS if fault[3] == check]
        with tempfile.TemporaryDirectory(prefix="halyx-planted-") as scratch:
            copy = Path(scratch)
            plant(source, copy, faults)
            run = subprocess.run(command(check, copy, sorted({fault[0] for fault in faults}), programs),
                                 stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=300)
        if run.returncode == 77:
            skipped += len(faults)
            print(run.stdout, end="")
            continue
        unnoticed = [fault for fault in faults if run.returncode == 0 or fault[4] not in run.stdout]
        missed += len(unnoticed)
        for file, _, after, _, _ in unnoticed:
            print(f"{check} has not noticed '{after}' in {file}")
        if unnoticed:
            print("it said:\n" + run.stdout)
    print(f"{len(FAULTS)} faults planted, {missed} missed, {skipped} not looked for")
    return 1 if missed else 0


if __name__ == "__main__":
    sys.exit(main())
