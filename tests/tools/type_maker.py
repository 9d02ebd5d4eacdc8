"""Random types: C declarations as people write them, and their values' text."""

import ctypes

from type_members import (
    BOOL, LONG_DOUBLE, UNSIGNED, Array, BitFields, Enumeration, LongDouble, PackedBits, Pointer, Scalar, Structure, Type,
    floating, integer, text, whole,
)
from value_fields import ADDRESSES

# Spelling, sizes by the 64-bit and the 32-bit rules, signed.
INTEGERS = [
    ("signed char", 1, 1, True), ("unsigned char", 1, 1, False), ("int8_t", 1, 1, True), ("uint8_t", 1, 1, False),
    ("short", 2, 2, True), ("short unsigned int", 2, 2, False), ("uint16_t", 2, 2, False),
    ("std::int16_t", 2, 2, True), ("int", 4, 4, True), ("unsigned", 4, 4, False), ("unsigned int", 4, 4, False),
    ("U32", 4, 4, False), ("__s32", 4, 4, True), ("long", 8, 4, True), ("unsigned long", 8, 4, False),
    ("size_t", 8, 4, False), ("ssize_t", 8, 4, True), ("long long", 8, 8, True),
    ("unsigned long long int", 8, 8, False), ("std::uint64_t", 8, 8, False), ("S64", 8, 8, True),
]
_WORDS = ("port", "up", "x", "flags", "Name_", "_r", "address", "isUp", "count", "K")
_MOST_DEPTH = 3

# What enumerations are stored as, its size (0: as their values need) and sign; and what values they then may have.
_STORED = (("", 0, False),) * 3 + ((" : uint8_t", 1, False), (" : short", 2, True), (" : long long", 8, True))
_RANGES = {
    0: ((0, 3), (0, 2**32 - 1), (-3, 3), (-(2**31), 2**31 - 1), (-1, 2**31), (-(2**62), 2**62), (0, 2**40)),
    1: ((0, 255),),
    2: ((-(2**15), 2**15 - 1),),
    8: ((-(2**62), 2**62),),
}
_PRAGMAS = ("#pragma pack(push, %d)\n%s\n#pragma pack(pop)", "#pragma pack(%d)\n%s\n#pragma pack()")


class TypeMaker:
    def __init__(self, rng, either, narrow):
        """either: what both rules can lay out, by the 32-bit ones when `narrow`. The draws are the same for both."""
        self._rng, self._either, self._narrow = rng, either, narrow
        self._names = 0
        self._before = []  # declarations that the value's own needs
        self._enumerations = 0
        self._left = rng.randrange(1, 17)  # fields

    def make(self):
        shape = self._rng.randrange(12)
        kind = "union" if shape == 1 else "struct"
        member = self._packed_bits() if shape == 0 else self._structure(kind, 0, 0, False)
        return Type("\n".join(self._before) + "\n", self._rng.choice(("T", "NotHere")), member)

    def _chance(self, of):
        return self._rng.randrange(of) == 0

    def _name(self, start=None):
        self._names += 1
        return "%s%d" % (start or self._rng.choice(_WORDS), self._names)

    def _note(self, *words):
        """Words of a comment, as "" or a comment."""
        words = [word for word in words if word]
        self._rng.shuffle(words)
        return " ".join(words)

    def _comment(self, note):
        if not note:
            return self._rng.choice(("", "", "", " /* what it is for */", " // see there"))
        return self._rng.choice((" /* %s */", " // %s", "\t/*%s*/")) % note

    # Members that are one field.

    def _integer(self):
        if self._chance(12):
            size = 4 if self._narrow else 8
            star = self._rng.choice(("*", "**"))
            to = self._rng.choice(("void ", "const char ", "struct Elsewhere "))
            return Pointer(to, UNSIGNED[size], lambda swapped: integer(size, False, "hex", False), star=star)
        spelling, size, narrow_size, signed = self._rng.choice(INTEGERS)
        shown = self._rng.choice(("", "", "", "hex", "time"))
        note = self._note(shown, "be" if self._chance(5) else "")
        size = narrow_size if self._narrow else size
        return Scalar(spelling, UNSIGNED[size], lambda swapped: integer(size, signed, shown, swapped), note)

    def _floating(self):
        if self._chance(10):
            ctype = ctypes.c_uint32 * 3 if self._narrow else ctypes.c_longdouble
            return LongDouble("long double", ctype, lambda swapped: LONG_DOUBLE)
        spelling, size = self._rng.choice((("float", 4), ("double", 8)))
        note = "be" if self._chance(5) else ""
        ctype = ctypes.c_float if size == 4 else ctypes.c_double
        return Scalar(spelling, ctype, lambda swapped: floating(size, swapped), note)

    def _text(self):
        size = self._rng.choice((1, 2, 3, 4, 7, 8, 16, 33))
        spelling = self._rng.choice(("char", "uint8_t", "char", "signed char"))
        if spelling == "char" and self._chance(8):
            return Scalar("char", ctypes.c_uint8, lambda swapped: text(1))
        note = "string" if spelling != "char" else ""
        return Scalar(spelling, ctypes.c_uint8 * size, lambda swapped: text(size), note, "[%d]" % size)

    def _bytes(self):
        """Bytes that an annotation makes an address or hexadecimal digits of."""
        note = self._rng.choice(("ipv4", "ipv6", "mac", "hex"))
        size = {"ipv4": 4, "ipv6": 16, "mac": 6}.get(note) or self._rng.randrange(1, 20)
        field = whole(size, note if note != "hex" else "bytes.hex", ADDRESSES.get(size, []))
        if note == "ipv4" and self._chance(2):
            return Scalar(self._rng.choice(("uint32_t", "in_addr_t")), ctypes.c_uint32, lambda swapped: field, note)
        if note == "ipv6" and self._chance(3):
            name = self._name("Address")
            self._before.append("struct %s { uint32_t words[4]; };" % name)
            return Scalar("struct " + name, ctypes.c_uint32 * 4, lambda swapped: field, note)
        spelling = self._rng.choice(("uint8_t", "unsigned char", "char"))
        return Scalar(spelling, ctypes.c_uint8 * size, lambda swapped: field, note, "[%d]" % size)

    def _bool(self):
        return Scalar(self._rng.choice(("bool", "_Bool")), ctypes.c_bool, lambda swapped: BOOL)

    def _enumeration(self):
        self._enumerations += 1
        name = self._name("E")
        stored, size, signed = self._rng.choice(_STORED)
        least, most = self._rng.choice(_RANGES[size])
        named, entries, value = {}, [], 0
        for i in range(self._rng.randrange(1, 9)):
            label = "%s_%s" % (name, self._rng.choice("ABC") + str(i))
            if i != 0 and value + 1 <= most and self._chance(2):
                value += 1
                entries.append(label)
            else:
                value = self._rng.choice((least, most, self._rng.randint(least, most)))
                entries.append("%s = %s" % (label, self._rng.choice(("%d", "%#x")) % value))
            named.setdefault(value, label)
        if size == 0:
            signed = min(named) < 0
            fits = min(named) >= -(2**31) and max(named) < 2**31 if signed else max(named) < 2**32
            size = 4 if fits else 8
        self._before.append("enum %s%s { %s };" % (name, stored, ", ".join(entries)))
        note = self._rng.choice(("", "", "", "be", "hex"))
        return Enumeration(self._rng.choice(("enum ", "")) + name, self._enumerations, named, size, signed, note)

    # Members that are several.

    def _member(self, depth, pack):
        """A named member, with at least one field."""
        kind = self._rng.randrange(16)
        if kind == 0 and depth < _MOST_DEPTH:
            made = self._structure("union", depth + 1, pack, True)
        elif kind <= 3 and depth < _MOST_DEPTH:
            made = self._structure("struct", depth + 1, pack, True)
        elif kind == 4:
            made = self._packed_bits()
        elif kind <= 6:
            made = self._text()
        elif kind <= 8:
            made = self._bytes()
        elif kind == 9:
            made = self._bool()
        elif kind == 10:
            made = self._enumeration()
        elif kind <= 12:
            made = self._floating()
        else:
            made = self._integer()
        # An array of such bytes is one field.
        is_byte = ctypes.sizeof(made.ctype) == 1 and not made.suffix
        array = 0 if is_byte and (made.note or made.spelling == "char") else 6
        while array and self._chance(array):
            made = Array(made, self._rng.randrange(1, 5))
            array = 3 if self._left > 0 and not made.suffix.count("[") > 2 else 0
        self._left -= 1
        return made

    def _structure(self, kind, depth, outer_pack, inner):
        rng = self._rng
        # What is defined in another structure is under that one's #pragma pack.
        inline = inner is None or (inner and self._chance(3))
        pragma = outer_pack if inline else rng.choice((0, 0, 0, 0, 1, 2, 4, 8))
        packed = self._chance(6)
        pack = 1 if packed else pragma
        members, lines = [], []
        count = rng.randrange(1, 7) if depth else 100
        while not members or (count > 0 and self._left > 0):
            count -= 1
            anonymous = rng.randrange(20)
            if anonymous == 0 and depth < _MOST_DEPTH:
                member = self._structure(rng.choice(("struct", "union")), depth + 1, pragma, None)
                members.append(("", member))
                lines.append("%s;%s" % (member.spelling, self._comment(member.note)))
            elif anonymous <= 2 and kind == "struct" and not packed and (run := self._bit_fields(pack)):
                if members:
                    lines.append("%s : 0;" % run.fields[0][1])
                members.append(("", run))
                # The next member, whatever it is, begins behind the last of the run's bytes.
                lines += run.declarations() + ["%s : 0;" % run.fields[0][1]]
            else:
                member = self._member(depth, pragma)
                name = self._name()
                members.append((name, member))
                space = "" if member.spelling.endswith(" ") else " "
                declared = member.spelling + space + member.star + name + member.suffix
                lines.append("%s;%s" % (declared, self._comment(member.note)))
        one_order = any(member.one_order for _, member in members)
        note = "be" if depth and not one_order and self._chance(8) else ""
        tag = self._name("Record") if depth else "T"
        body = "{\n%s\n}" % "\n".join("    " + line.replace("\n", "\n    ") for line in lines)
        attribute = " __attribute__((packed))" if packed else ""
        if inner is None:  # anonymous
            shown, spelling = "", "%s %s%s" % (kind, body, attribute)
        elif inline:
            shown = rng.choice(("", tag))
            spelling = "%s %s%s%s" % (kind, shown + " " if shown else "", body, attribute)
        else:
            shown = tag
            if self._chance(4):
                spelling, made = tag, "typedef %s %s%s %s;" % (kind, body, attribute, tag)
            else:
                spelling, made = rng.choice((kind + " ", "")) + tag, "%s %s %s%s;" % (kind, tag, body, attribute)
            if pragma:
                made = rng.choice(_PRAGMAS) % (pragma, made)
            self._before.append(made)
        return Structure(kind, shown, spelling, members, min(pack or 4, 4) if self._narrow else pack, note)

    def _bit_field(self, sizes):
        """One of a type of one of these sizes; none when this draw gave none."""
        rng = self._rng
        name = self._name()
        if 1 in sizes and self._chance(6):
            return name, "bool", 1, 1, False, ("bool", self._comment(""))
        if self._chance(8):
            enumeration = self._enumeration()
            size = enumeration.size
            if size not in sizes:
                return None
            width = rng.randrange(1, 8 * size + 1)
            return name, enumeration.spelling, width, size, enumeration.signed, (enumeration, self._comment(""))
        spelling, size, narrow_size, signed = rng.choice(INTEGERS)
        if size not in sizes or (self._either and size != narrow_size):
            return None
        width = rng.choice((1, 8 * size, rng.randrange(1, 8 * size + 1), rng.randrange(1, min(8, 8 * size) + 1)))
        kind = "hex" if self._chance(5) else ""
        return name, spelling, width, size, signed, (kind, self._comment(kind))

    def _bit_fields(self, pack):
        """A run of one size; none where members may be aligned to less than that."""
        size = self._rng.choice((1, 2, 4) if self._either else (1, 2, 4, 8))
        if pack and pack < size:
            return None
        fields = [field for field in (self._bit_field((size,)) for _ in range(20)) if field][:8]
        self._left -= len(fields)
        return BitFields(fields, False) if fields else None

    def _packed_bits(self):
        fields = []
        while not fields:
            drawn = [self._bit_field((1, 2, 4, 8)) for _ in range(self._rng.randrange(1, 8))]
            fields = [field for field in drawn if field]
        self._left -= len(fields)
        tag = self._name("P")
        body = "\n".join("    " + line for line in BitFields(fields, True).declarations())
        self._before.append("struct __attribute__((packed)) %s {\n%s\n};" % (tag, body))
        return PackedBits(fields, tag, "struct " + tag)
