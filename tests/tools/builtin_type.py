"""The types that are known without a description."""

from type_members import BOOL, Scalar, Type, floating, integer, text

_SIZES = {8: 1, 16: 2, 32: 4, 64: 8}


def builtin_type(rng):
    bits = rng.choice(list(_SIZES))
    size = _SIZES[bits]
    signed = rng.randrange(2) == 0
    standard = rng.choice(("", "std::")) + ("int" if signed else "uint")
    length = rng.choice((1, 2, 5, 16, 64, 255))
    name, size, field = rng.choice(
        (
            ("%s%d" % ("S" if signed else "U", bits), size, integer(size, signed, "", False)),
            ("%s%d_t" % (standard, bits), size, integer(size, signed, "", False)),
            ("float", 4, floating(4, False)),
            ("double", 8, floating(8, False)),
            ("bool", 1, BOOL),
            ("char[%d]" % length, length, text(length)),
        )
    )
    return Type(None, name, Scalar(name, None, lambda swapped: field), size)
