"""usage: examples.py PAGES BIN

Runs the examples of the manuals in PAGES, a page's one after another in one shell and one fresh directory, with the programs in
BIN, and compares what they print with what the page shows.

What differs from one run to the next stands in the pages as follows, and is taken for what the run has in its place:
  /home/me/demo     the directory that the examples are run in
  4711, 4712, ...   process ids; one number is one process throughout a page
  instanceId: 2321  any; what is called Fenix then must be made of it and the process id
  2026-01-31T...    in front of a trace record, any time
  SlotTable:81      in a trace record, any line
  0.000012764 seconds    any number of seconds
Names listed with "  - " in front come in any order, and blanks at the end of a line do not count."""

import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
from pathlib import Path

from manual import Page, pages

SHOWN_ROOT = "/home/me/demo"
WAIT_S = 20
LIMIT_S = 120

SCRIPT = """
trap 'for job in $(jobs -p); do kill "$job"; done 2>/dev/null; wait' EXIT
# What runs on in the background has printed so many lines when the next command begins.
printed() {
    for _ in $(seq %d); do [ "$(wc -l <"$1")" -ge "$2" ] && return; sleep 0.02; done
    echo "the example has printed too little after %d s" >>"$1"
}
""" % (WAIT_S * 50, WAIT_S)

VARYING = re.compile(r"(?P<pid>\b47\d\d\b)|(?P<instance>(?<=instanceId: )2321)|(?P<fenix>(?<=Fenix: )\d+(?= \(pid))|"
                     r"(?P<time>^2026-01-31T23:59:59\.123456Z)|(?P<line>(?<=SlotTable:)\d+)|"
                     r"(?P<seconds>\b[\d.]+(?= seconds$))")
ANY = {"pid": r"\d+", "instance": r"\d+", "fenix": r"\d+", "line": r"\d+", "seconds": r"[\d.]+(?:e-\d+)?",
       "time": r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{6}Z"}


def run(page: Page, programs: Path) -> list[list[str]]:
    """The lines that each example prints."""
    shared = Path("/dev/shm")
    root = Path(tempfile.mkdtemp(prefix="halyx-man-", dir=shared if os.access(shared, os.W_OK) else None)).resolve()
    place, outputs = root / "demo", root / "outputs"
    place.mkdir()
    outputs.mkdir()
    script = SCRIPT
    for number, (_, command, shown) in enumerate(page.examples()):
        output = outputs / str(number)
        script += "{ " + command + f"\n}} >{output} 2>&1\n"
        if command.endswith("&"):
            script += f"printed {output} {len(shown)}\n"
    shell = subprocess.Popen(
        ["bash", "-c", script], cwd=place, stdin=subprocess.DEVNULL, start_new_session=True,
        env={"PATH": f"{programs}:/usr/bin:/bin", "LC_ALL": "C", "HOME": str(root),
             **{name: value for name, value in os.environ.items() if name.endswith("SAN_OPTIONS")}})
    try:
        shell.wait(LIMIT_S)
        made = [output.read_text() if output.exists() else "" for output in
                (outputs / str(number) for number in range(len(page.examples())))]
    finally:
        try:
            os.killpg(shell.pid, signal.SIGKILL)  # what an example has left behind
        except ProcessLookupError:
            pass
        shell.wait()
        shutil.rmtree(root)
    return [text.replace(str(place), SHOWN_ROOT).split("\n")[:-1] for text in made]


def ordered(lines: list[str]) -> list[str]:
    lines = [line.rstrip() for line in lines]
    listed = iter(sorted(line for line in lines if line.startswith("  - ")))
    return [next(listed) if line.startswith("  - ") else line for line in lines]


def fits(shown: str, printed: str, known: dict[str, str]) -> bool:
    """Whether a line is as shown but for what varies; learns the process ids."""
    pattern, kinds, at = "", [], 0
    for found in VARYING.finditer(shown):
        pattern += re.escape(shown[at:found.start()]) + f"({ANY[found.lastgroup]})"
        kinds.append((found.lastgroup, found[0]))
        at = found.end()
    match = re.fullmatch(pattern + re.escape(shown[at:]), printed)
    if not match:
        return False
    made = dict(zip((kind for kind, _ in kinds), match.groups()))
    if "fenix" in made and int(made["fenix"]) != int(made["instance"]) << 16 | int(made["pid"]):
        return False
    for (kind, shown_pid), pid in zip(kinds, match.groups()):
        if kind == "pid" and (known.setdefault(shown_pid, pid) != pid or list(known.values()).count(pid) > 1):
            return False
    return True


def check(page: Page, programs: Path) -> int:
    """The number of examples that print something else than the page shows."""
    known: dict[str, str] = {}
    wrong = 0
    for (line, command, shown), printed in zip(page.examples(), run(page, programs)):
        shown, printed = ordered(shown), ordered(printed)
        if len(shown) != len(printed) or not all(fits(*pair, known) for pair in zip(shown, printed)):
            wrong += 1
            print(f"{page.name}:{line}: $ {command}\n--- shown\n" + "\n".join(shown) + "\n--- printed\n" + "\n".join(printed))
    return wrong


def main() -> int:
    folder, programs = Path(sys.argv[1]), Path(sys.argv[2]).resolve()
    wrong = run_count = 0
    for page in pages(folder):
        run_count += len(page.examples())
        wrong += check(page, programs)
    print(f"{run_count} examples, {wrong} wrong")
    return 1 if wrong or run_count < 30 else 0


if __name__ == "__main__":
    sys.exit(main())
