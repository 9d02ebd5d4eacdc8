"""Finds in the sources what the programs say: the texts of exceptions and of complaints, as the pieces of text between the
values that stand in them."""

import re
from dataclasses import dataclass
from pathlib import Path

PRODUCT = ("scanner", "src-includes", "include", "platform", "writer")

# Text that is given to one of these reaches the user as a complaint.
SPEAKERS = (
    "throwException", "throwSystemError", "debugAndThrowAssertException", "__assert_fail",
    "DescriptionError", "UsageError", "BadLine", "length_error", "RuntimeException",
    "fail", "failBefore", "corrupt", "damaged", "expectMagic", "expectSize", "require", "checkName", "complain", "fputs",
    "initialize", "parseString", "parseList",
)
SPEAKS = re.compile(r"(?<![\w\"])(?:" + "|".join(SPEAKERS) + r")\s*\(|\bDescriptionError\(|"
                    # streams and strings that a complaint is put together in
                    r"std::cerr\s*<<|std::cout\s*<<|\btext\s*<<\s*\"|"
                    r"\b(?:error_|unattached|complaints|line|sizes|what|places|text)\s*\+?=\s|"
                    r"\bexpect\(")
# Records of traces; docs/tracing.md tells about them.
TRACES = re.compile(r"\btrace\(|\blog\(|\brecord\s*<<|\baddTo\(|\bWalk::k")
# The help texts; options are held against the pages one by one.
HELP = re.compile(r"halyx-writer COMMAND|usage: |--help$")
# The library's own errors, which its header documents, are its callers' to print.
NOT_SAID = re.compile(r"writer/public/|scanner/Help\.cpp|writer/program/\w+Command\.cpp|Mem/Atomics\.h|Types/Grammar/Comments\.cpp|Collection\.h")
# Statements of these files put reports together, not complaints; OUTPUT explains them.
REPORTS = re.compile(r"(?:HalyxTest|ClientModel|Program|Quote|Help)\.(?:cpp|h)$")

TOKEN = re.compile(r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])+\'|[;{}]|\n|[^;{}"\'/\n]+|/', re.S)
ESCAPES = {"n": "\n", "t": "\t", '"': '"', "\\": "\\", "r": "\r", "0": "\0", "b": "\b", "f": "\f", "v": "\v"}


@dataclass(frozen=True)
class Message:
    file: str
    line: int
    pieces: tuple[str, ...]  # in the order of the source
    alternative: bool        # one of several texts is chosen, so the pieces need not be of one text

    @property
    def place(self) -> str:
        return f"{self.file}:{self.line}"


def unescape(literal: str) -> str:
    return re.sub(r"\\(x[0-9a-f]{2}|.)", lambda m: ESCAPES.get(m.group(1)[0], ""), literal[1:-1])


def statements(source: str):
    """Each statement as (line, code with literals replaced by "", literals). Adjacent literals are one."""
    line = begin = 1
    code, literals, joined, initialisers = "", [], False, 0
    for token in TOKEN.findall(source):
        if token.startswith(("//", "/*")):
            pass
        elif token.startswith('"'):
            if joined:
                literals[-1] += unescape(token)
            else:
                literals.append(unescape(token))
                code += '""'
            joined = True
        elif token == "{" and re.search(r"[\w>(]$", code):
            initialisers += 1  # as in Type{0}; a block has a blank before it
        elif token == "}" and initialisers:
            initialisers -= 1
        elif token in (";", "{", "}"):
            yield begin, code, literals
            code, literals, joined, begin = "", [], False, line
        else:
            if token.strip():
                joined = False
                if not code.strip():
                    begin = line
            code += token
        line += token.count("\n")
    yield begin, code, literals


def _statements(root: Path):
    for folder in PRODUCT:
        for path in sorted((root / folder).rglob("*")):
            if path.suffix in (".cpp", ".h"):
                name = str(path.relative_to(root))
                for line, code, literals in statements(path.read_text()):
                    if literals and "#include" not in code and "static_assert" not in code:
                        yield name, line, code, literals


def _speaks(name: str, code: str, literals: list[str]) -> bool:
    if REPORTS.search(name) and "throwException" not in code and "std::cerr" not in code:
        return False
    return bool(SPEAKS.search(code)) or (literals[0].startswith("Error ") and "return" in code)


def messages(root: Path) -> list[Message]:
    """What is said in complaint, wherever it goes."""
    found = []
    for name, line, code, literals in _statements(root):
        pieces = tuple(p for p in (" ".join(l.split()) for l in literals) if re.search("[A-Za-z]", p))
        if "debugAndThrowAssertException" in code:
            pieces = tuple(p for p in pieces if " " in p)  # not where it is thrown, which only the trace says
        if pieces and _speaks(name, code, literals) and not TRACES.search(code) and not HELP.search(name + " " + pieces[0]):
            found.append(Message(name, line, pieces, "?" in code or "__assert_fail" in code))
    return found


def other_texts(root: Path) -> list[tuple[str, str]]:
    """Whatever else has the look of a text: the lines of reports, and what a new way to complain would say."""
    found = []
    for name, line, code, literals in _statements(root):
        if _speaks(name, code, literals) or TRACES.search(code) or NOT_SAID.search(name):
            continue
        for literal in literals:
            for text in literal.split("\n"):
                text = " ".join(text.split()).removesuffix(" 0x")
                if re.search("[A-Za-z]{2,}[^A-Za-z]* [^A-Za-z]*[A-Za-z]{2,}", text) or re.search("^[A-Z][a-z]+:", text):
                    found.append((f"{name}:{line}", text))
    return found


if __name__ == "__main__":
    for message in messages(Path(__file__).resolve().parents[2]):
        print(f"{message.place}: {' ... '.join(message.pieces)}{'  (one of)' if message.alternative else ''}")
