"""Members of C structures: their declarations, laid out a second time by ctypes, and what their values print.

The 32-bit rules differ from the 64-bit ones in the sizes of `long` and pointers, and in that nothing is aligned to more
than 4 bytes: what #pragma pack(4) asks for, so that ctypes can lay out by them, too.
"""

import ctypes

import value_text
from value_fields import FLOATS, LONG_DOUBLES, NUMBERS, TIMES, Field, Plan, texts

UNSIGNED = {1: ctypes.c_uint8, 2: ctypes.c_uint16, 4: ctypes.c_uint32, 8: ctypes.c_uint64}
_CODES = {1: "B", 2: "H", 4: "I", 8: "Q"}

def integer(size, signed, shown, swapped):
    """A whole number. shown: "" (decimal), "hex" or "time"."""
    swapped = swapped and size > 1
    signed = signed and shown != "hex"
    value = ("signed_big({})" if signed else "big({})") if swapped else "{}"
    code = "%ds" % size if swapped else _CODES[size].lower() if signed else _CODES[size]
    if shown == "hex":
        return Field(size, code, "'0x%%x' %% %s" % value, "'0x%%x' %% %s" % value, NUMBERS[size])
    if shown == "time":
        return Field(size, code, "time(%s)" % value, "time(%s)" % value, TIMES[size])
    return Field(size, code, "b'%%d' %% %s" % value, value, NUMBERS[size])


def floating(size, swapped):
    is_float = size == 4
    value = "%s({})[0]" % ("float_of_big" if is_float else "double_of_big") if swapped else "{}"
    code = "%ds" % size if swapped else "f" if is_float else "d"
    arguments = "(%s, %s)" % (value, is_float)
    return Field(size, code, "json_float" + arguments, "pretty_float" + arguments, FLOATS[size])


def whole(size, function, special, pretty=None):
    """Bytes that are shown together."""
    return Field(size, "%ds" % size, function + "({})", (pretty or function) + "({})", special)


def text(size):
    return whole(size, "text", texts(size), "quoted")


BOOL = Field(1, "B", "{} != 0", "('true' if {} else 'false')", [b"\0", b"\1", b"\2", b"\xff"])
LONG_DOUBLE = whole(10, "LongDouble", LONG_DOUBLES)


class Scalar:
    """A member that is one field; `field` makes it, given whether numbers are big-endian here.

    Every kind of member has `spelling`, `star` and `suffix` (the parts of its declaration), `note` (its annotations),
    `ctype`, `one_order` (it cannot be big-endian), and `walk`, which adds its fields to a plan and gives the two expressions
    of its text.
    """

    one_order = False

    def __init__(self, spelling, ctype, field, note="", suffix="", star=""):
        self.spelling, self.ctype, self.note, self.suffix, self.star = spelling, ctype, note, suffix, star
        self._field = field

    def walk(self, plan, offset, swapped):
        return plan.place(offset, self._field(swapped or "be" in self.note))


class Pointer(Scalar):
    one_order = True


class LongDouble(Scalar):
    """Is read back instead of compared, which pretty text of a whole value cannot be."""

    one_order = True

    def walk(self, plan, offset, swapped):
        plan.knows_pretty = False
        return super().walk(plan, offset, False)


class Enumeration(Scalar):
    def __init__(self, spelling, number, named, size, signed, note):
        super().__init__(spelling, UNSIGNED[size], None, note)
        self._number, self.named, self.size, self.signed = number, named, size, signed

    def values(self):
        return [(value % 2 ** (8 * self.size)).to_bytes(self.size, "little") for value in self.named]

    def expressions(self, plan, value):
        plan.names["names%d" % self._number] = self.named
        return (
            "names%d.get(%s) or b'%%d' %% %s" % (self._number, value, value),
            "names%d.get(%s, %s)" % (self._number, value, value),
        )

    def walk(self, plan, offset, swapped):
        swapped = swapped or "be" in self.note
        if "hex" in self.note:
            return plan.place(offset, integer(self.size, False, "hex", swapped))
        plain = integer(self.size, self.signed, "", swapped)
        special = [value[::-1] for value in self.values()] if swapped else self.values()
        json, pretty = self.expressions(plan, plain.pretty)
        return plan.place(offset, plain._replace(json=json, pretty=pretty, special=special + NUMBERS[self.size]))


class Array:
    def __init__(self, element, count):
        self.spelling, self.note, self.star = element.spelling, element.note, element.star
        self.suffix = "[%d]%s" % (count, element.suffix)
        self.ctype = element.ctype * count
        self.one_order = element.one_order
        self._element, self._count = element, count

    def walk(self, plan, offset, swapped):
        size = ctypes.sizeof(self._element.ctype)
        parts = [self._element.walk(plan, offset + i * size, swapped) for i in range(self._count)]
        return (
            "[%s]" % ", ".join(json for json, _ in parts),
            "'[ ' + ' '.join(('%%s',) * %d) %% (%s,) + ' ]'" % (self._count, ", ".join(pretty for _, pretty in parts)),
        )


def _braced(shown, named):
    parts = list(named)
    template = " ".join(name + ": %s" for name, _ in parts)
    return (
        "[%s]" % ", ".join("(%r, %s)" % (name, json) for name, (json, _) in parts),
        "'%s{ %s }' %% (%s,)" % (shown, template, ", ".join(pretty for _, (_, pretty) in parts)),
    )


class Structure:
    """members: (name, member); one without a name is an anonymous structure or a run of bit-fields."""

    suffix = star = ""

    def __init__(self, kind, shown, spelling, members, pack, note):
        self.kind, self.spelling, self.note = kind, spelling, note
        self._shown, self._members = shown, members
        self.one_order = any(member.one_order for _, member in members)
        fields = [(name or "_%d" % i, member.ctype) for i, (name, member) in enumerate(members)]
        body = {"_fields_": fields}
        if pack:
            body["_pack_"] = pack
        self.ctype = type("S", (ctypes.Union if kind == "union" else ctypes.Structure,), body)

    def named(self, plan, offset, swapped):
        """The expressions of what it shows, by name."""
        swapped = swapped or "be" in self.note
        for (name, member), (field, *_) in zip(self._members, self.ctype._fields_):
            at = offset + getattr(self.ctype, field).offset
            if name:
                yield name, member.walk(plan, at, swapped)
            else:
                yield from member.named(plan, at, swapped)
            if self.kind == "union":
                return

    def walk(self, plan, offset, swapped):
        if self.kind == "union":
            return self._members[0][1].walk(plan, offset, swapped or "be" in self.note)
        return _braced(self._shown, self.named(plan, offset, swapped))


class BitFields:
    """A run of bit-fields: (name, spelling, bits, size, signed, (kind, comment)), in bytes that no other member shares.

    One that would cross the edge of its type begins there, unless the structure is packed.
    """

    one_order = True
    note = suffix = star = ""

    def __init__(self, fields, packed):
        self.fields = fields
        self.spelling = ""
        if packed:
            ends = [sum(field[2] for field in fields[: i + 1]) for i in range(len(fields))]
            self.ctype = ctypes.c_uint8 * ((ends[-1] + 7) // 8)
            self._places = [(0, end - field[2]) for end, field in zip(ends, fields)]
            self._size = ctypes.sizeof(self.ctype)
        else:
            self._size = fields[0][3]
            laid = [(name, UNSIGNED[self._size], width) for name, _, width, *_ in fields]
            self.ctype = type("B", (ctypes.Structure,), {"_fields_": laid})
            # Of a bit-field, `size` has the number of its bits above where they begin.
            places = [getattr(self.ctype, name) for name, *_ in fields]
            self._places = [(place.offset, place.size & 0xFFFF) for place in places]

    def declarations(self):
        return ["%s %s : %d;%s" % (spelling, name, width, shown[1]) for name, spelling, width, _, _, shown in self.fields]

    def named(self, plan, offset, swapped):
        special = [bytes(self._size), b"\xff" * self._size, b"\x80" * self._size, b"\x55" * self._size]
        for (name, _, width, _, signed, (kind, _)), (at, shift) in zip(self.fields, self._places):
            value = "%s({}, %d, %d)" % ("signed_bits" if signed and kind != "hex" else "bits", shift, width)
            json, pretty = "b'%%d' %% %s" % value, value
            if kind == "bool":
                json, pretty = "%s != 0" % value, "('true' if %s else 'false')" % value
            elif kind == "hex":
                json = pretty = "'0x%%x' %% %s" % value
            elif isinstance(kind, Enumeration):
                json, pretty = kind.expressions(plan, value)
            yield name, plan.place(offset + at, Field(self._size, "%ds" % self._size, json, pretty, special))


class PackedBits(BitFields):
    """A packed structure of bit-fields alone."""

    def __init__(self, fields, shown, spelling):
        super().__init__(fields, True)
        self._shown, self.spelling = shown, spelling

    def walk(self, plan, offset, swapped):
        return _braced(self._shown, self.named(plan, offset, False))


class Type:
    """A type to print values of: what a helper is told of it, and what it must say."""

    def __init__(self, description, name, member, size=None):
        self.description, self.name = description, name
        self.size = size or ctypes.sizeof(member.ctype)
        plan = Plan()
        json, pretty = member.walk(plan, 0, False)
        self.spots = plan.spots
        self.knows_pretty = plan.knows_pretty
        self.reader = plan.reader(self.size)
        names = dict(vars(value_text), **plan.names)
        self.json = eval("lambda v: " + json, names)
        self.pretty = eval("lambda v: '%%s' %% (%s,)" % pretty, names)
