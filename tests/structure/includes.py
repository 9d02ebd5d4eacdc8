"""usage: includes TOP | --self-test

Holds the direction of dependencies below the directory TOP: which room's headers each room includes, and where headers of the
operating system may be. Prints what is forbidden and ends with 1.
"""

import os
import re
import sys
import tempfile

LAYOUTS = r"(include/Plask/Slab|src-includes/Halyx/(Slot|Conquer)Table)Layout\.h"
# A room, by the beginning of its files' paths, and what it may include of this repository. The first that fits is the room.
ROOMS = [
    ("platform/", "platform/"),
    ("include/Norvu/", "platform/|include/Norvu/"),
    ("include/SharedMem/", "platform/|include/(SharedMem|Norvu)/"),
    ("include/Plask/", "platform/|include/(Plask|SharedMem)/"),
    ("src-includes/Halyx/", "platform/|include/|src-includes/Halyx/"),
    ("scanner/launcher/", r"platform/Norvu/|scanner/HalyxScanner\.h"),
    ("scanner/", r"platform/|include/|src-includes/Halyx/|scanner/[^/]*$"),
    ("writer/program/", "platform/|writer/|" + LAYOUTS),
    ("writer/", "platform/|writer/[^/]*$|" + LAYOUTS),
]
# Only these touch the operating system, and the instructions of a processor.
SYSTEM_ROOMS = ("platform/", "include/Norvu/", "writer/")
# What the C library has on every system, and how a command line is taken apart.
NOT_THE_SYSTEM = {"getopt.h"}
SEARCHED = ("platform", "include", "src-includes", "scanner", "")


def sources(top):
    for folder in ("platform", "include", "src-includes", "scanner", "writer"):
        for directory, _, names in os.walk(os.path.join(top, folder)):
            for name in sorted(names):
                if name.endswith((".h", ".cpp")):
                    yield os.path.relpath(os.path.join(directory, name), top)


def found(top, source, name):
    for directory in (os.path.dirname(source),) + SEARCHED:
        path = os.path.normpath(os.path.join(directory, name))
        if os.path.isfile(os.path.join(top, path)):
            return path
    return None


def check(top):
    """What is forbidden, a line each; and the number of includes that were looked at."""
    wrong = []
    count = 0
    for source in sources(top):
        room, allowed = next(entry for entry in ROOMS if source.startswith(entry[0]))
        with open(os.path.join(top, source)) as file:
            lines = file.read().splitlines()
        for number, line in enumerate(lines, 1):
            include = re.match(r'\s*#\s*include\s*([<"])([^>"]+)', line)
            if not include:
                continue
            count += 1
            where = "%s:%d: " % (source, number)
            name = include.group(2)
            if include.group(1) == "<":
                # A standard header of C++ has neither a suffix nor a folder.
                if re.search(r"[./]", name) and name not in NOT_THE_SYSTEM and not source.startswith(SYSTEM_ROOMS):
                    wrong.append(where + "%s must not touch the system, here <%s>" % (room, name))
                continue
            path = found(top, source, name)
            if path is None:
                wrong.append(where + 'no such header, "%s"' % name)
            elif not re.match(allowed, path):
                wrong.append(where + "%s must not use %s" % (room, path))
    return wrong, count


def self_test():
    """Each kind of forbidden include is found, and what is allowed is not."""
    files = {
        "platform/Mem/View.h": "#include <sys/mman.h>\n",
        "include/Norvu/DirNode.h": '#include "Mem/View.h"\n#include <dirent.h>\n',
        "include/Plask/SlabLayout.h": "#include <cstdint>\n",
        "src-includes/Halyx/Reader.h": '#include "Plask/SlabLayout.h"\n',
        "scanner/Report.cpp": '#include "Halyx/Reader.h"\n#include <string>\n',
        "writer/File.cpp": '#include "Plask/SlabLayout.h"\n',
    }
    forbidden = {
        "platform/Mem/View.cpp": ('#include "Norvu/DirNode.h"\n', "must not use include/Norvu/DirNode.h"),
        "include/Norvu/DirNode.cpp": ('#include "Halyx/Reader.h"\n', "must not use src-includes/Halyx/Reader.h"),
        "src-includes/Halyx/Reader.cpp": ("# include <unistd.h>\n", "must not touch the system"),
        "scanner/Other.cpp": ('#include "writer/File.cpp"\n', "must not use writer/File.cpp"),
        "scanner/launcher/main.cpp": ('#include "Halyx/Reader.h"\n', "must not use src-includes/Halyx/Reader.h"),
        "writer/Other.cpp": ('#include "Halyx/Reader.h"\n', "must not use src-includes/Halyx/Reader.h"),
        "writer/Lost.cpp": ('#include "Lost.h"\n', "no such header"),
    }
    with tempfile.TemporaryDirectory() as top:
        def write(path, text):
            os.makedirs(os.path.dirname(os.path.join(top, path)), exist_ok=True)
            with open(os.path.join(top, path), "w") as file:
                file.write(text)

        for path, text in files.items():
            write(path, text)
        assert check(top)[0] == [], check(top)[0]
        for path, (text, finding) in forbidden.items():
            write(path, text)
            wrong = check(top)[0]
            assert len(wrong) == 1 and wrong[0].startswith(path + ":1: ") and finding in wrong[0], (path, wrong)
            os.unlink(os.path.join(top, path))


if __name__ == "__main__":
    if sys.argv[1:] == ["--self-test"]:
        self_test()
        sys.exit(0)
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    wrong, count = check(sys.argv[1])
    print("\n".join(wrong + ["%d includes, %d forbidden" % (count, len(wrong))]))
    sys.exit(1 if wrong or count < 100 else 0)
