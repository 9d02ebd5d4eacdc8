"""Fields of values: where they are, how Python reads them, and values at which printers have been known to stumble."""

import collections
import random
import struct

# A field as a printer shows it. `code` is what module struct calls it; `json` and `pretty` are expressions of module
# value_text's names, in which {} is the field as struct gives it.
Field = collections.namedtuple("Field", "size code json pretty special")


class Plan:
    """Collects the fields of one type, in the order of their offsets, and the expressions that say what they print."""

    def __init__(self):
        self._slots = {}  # (offset, code): size and index
        self.spots = []  # (offset, special values)
        self.names = {}  # enumerations by the name that expressions use
        self.knows_pretty = True

    def place(self, offset, field):
        """Gives the field's two expressions at `offset`."""
        _, index = self._slots.setdefault((offset, field.code), (field.size, len(self._slots)))
        if field.special:
            self.spots.append((offset, field.special))
        slot = "v[%d]" % index
        return field.json.replace("{}", slot), field.pretty.replace("{}", slot)

    def reader(self, size):
        """What takes a value apart."""
        code, end = "<", 0
        for (offset, its), (length, _) in self._slots.items():
            code += "%dx%s" % (offset - end, its)
            end = offset + length
        return struct.Struct(code + "%dx" % (size - end))


def _numbers(size):
    half = 1 << 8 * size - 1
    chosen = (0, 1, -1, half - 1, half, half + 1, 10, -10, 127, 128, 255, 256)
    little = {(value % (2 * half)).to_bytes(size, "little") for value in chosen}
    return sorted(little | {value[::-1] for value in little})


NUMBERS = {size: _numbers(size) for size in (1, 2, 4, 8)}
_TIMES = [951782400, 951868799, 4107542399]
# The ends of the years that some calendars know: 1, 9999; and of the year 0.
_TIMES += [-62135596800, -62135596801, -62167219200, -62167219201, 253402300799, 253402300800]
# Around March 1st of the years 0, -400 and -800, from where days are often counted.
_MARCH = [-62162035200 - 146097 * 86400 * cycles for cycles in range(3)]
_TIMES += [march + by for march in _MARCH for by in (-86401, -86400, -1, 0, 86399, 86400)]
TIMES = {
    1: NUMBERS[1],
    2: NUMBERS[2],
    4: NUMBERS[4] + [(t % 2**32).to_bytes(4, "little") for t in _TIMES],
    8: NUMBERS[8] + [(t % 2**64).to_bytes(8, "little") for t in _TIMES],
}


def _floats(code, ones):
    values = [0.0, -0.0, 1.0, -1.0, 0.1, 0.3, 1e5, 123456.0, 1e21, 1e22, 5e-324, 1e-5, 9.5e-7]
    values += [2.0**63, 2.0**70, 2.0**100, 2.0**-44, 16777216.0]
    values += [2.0**power for power in range(-149, 128, 7)]
    little = [struct.pack("<" + code, value) for value in values]
    size = len(little[0])
    # Infinities, not-a-numbers, the largest, the least normal and what is below it.
    for word in (ones, ones + 1, 2 * ones, ones - 1, ones & -ones, (ones & -ones) - 1, 1, 2, 3):
        for sign in (0, 1 << 8 * size - 1):
            little.append(((word | sign) % (1 << 8 * size)).to_bytes(size, "little"))
    return little + [value[::-1] for value in little]


FLOATS = {4: _floats("f", 0x7F800000), 8: _floats("d", 0x7FF << 52)}
_ONE = bytes(7) + b"\x80\xff\x3f"
LONG_DOUBLES = [
    bytes(10),
    bytes(9) + b"\x80",
    _ONE,
    bytes(7) + b"\x80\xff\x7f",
    bytes(7) + b"\x80\xff\xff",
    bytes(7) + b"\xc0\xff\x7f",
    b"\xff" * 8 + b"\xfe\x7f",
    bytes(7) + b"\x80\x01\0",
    b"\1" + bytes(9),
    # What no processor makes any more.
    bytes(7) + b"\x7f\xff\x3f",
    bytes(8) + b"\xff\x7f",
    bytes(7) + b"\x80\0\0",
]

_PIECES = [bytes([i]) for i in range(32)]
_PIECES += [b'"', b"\\", b"\\u0041", b"\\ud800", b"/", b"<", b"'", b" ", b"\x7f", b"abc", b"z", b"0", b"\0", b"\0after"]
_PIECES += [chr(i).encode() for i in (0x80, 0xE9, 0x7FF, 0x800, 0x20AC, 0x2028, 0xD7FF, 0xE000, 0xFEFF, 0xFFFD, 0xFFFF)]
_PIECES += [chr(i).encode() for i in (0x10000, 0x1F600, 0x10FFFF)]
# Continuation bytes alone, sequences that are cut or too long, surrogates, past the last code point, what is never valid.
_PIECES += [b"\x80", b"\xbf", b"\xc3", b"\xe2\x82", b"\xf0\x9f\x98"]
_PIECES += [b"\xc0\x80", b"\xc1\xbf", b"\xe0\x80\x80", b"\xe0\x9f\xbf", b"\xf0\x8f\xbf\xbf"]
_PIECES += [b"\xed\xa0\x80", b"\xed\xbf\xbf", b"\xed\xa0\xbd\xed\xb8\x80"]
_PIECES += [b"\xf4\x90\x80\x80", b"\xf5\x80\x80\x80", b"\xfe", b"\xff"]


def _texts(size):
    rng = random.Random(size)
    texts = []
    for _ in range(400):
        made = b""
        while len(made) < size and rng.randrange(8) != 0:
            made += rng.choice(_PIECES)
        filler = rng.choice((b"\0", b"\0", b"x", b"\xff", b"\xe2"))
        texts.append((made + filler * size)[:size])
    return texts


_texts_of = {}


def texts(size):
    if size not in _texts_of:
        _texts_of[size] = _texts(size)
    return _texts_of[size]


def addresses(size):
    rng = random.Random(size)
    made = [bytes(size), b"\xff" * size, bytes(size - 1) + b"\1", b"\1" + bytes(size - 1)]
    for _ in range(200):  # runs of zeros here and there
        value = bytearray(rng.randbytes(size))
        for i in range(0, size, 2):
            if rng.randrange(5) < 3:
                value[i : i + 2] = bytes(2)
        made.append(bytes(value))
    if size == 16:
        made += [bytes(10) + b"\xff\xff" + bytes((i, 2, 3, 4)) for i in (0, 127)]
        made += [bytes(12) + end for end in (b"\1\2\3\4", b"\0\0\3\4", b"\0\1\0\0")]
    return made


ADDRESSES = {size: addresses(size) for size in (4, 6, 16)}
