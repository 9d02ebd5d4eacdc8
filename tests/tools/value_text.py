"""What each kind of field says in JSON and in pretty text, worked out from docs/types.md with Python's own means.

Numbers of parsed JSON are bytes here, as printed, so that they are told from strings, true and false, and so that "-0"
and "1e+05" are seen as they stand.
"""

import codecs
import ctypes
import datetime
import functools
import ipaddress
import math
import struct

_libc = ctypes.CDLL(None)
_libc.strtof.restype = ctypes.c_float
_libc.strtof.argtypes = [ctypes.c_char_p, ctypes.c_void_p]


def big(data):
    return int.from_bytes(data, "big")


def signed_big(data):
    return int.from_bytes(data, "big", signed=True)


def bits(data, shift, width):
    return int.from_bytes(data, "little") >> shift & (1 << width) - 1


def signed_bits(data, shift, width):
    half = 1 << width - 1
    return (bits(data, shift, width) ^ half) - half


# Every byte that belongs to no valid UTF-8 is a replacement character of its own: go on behind the first of what is wrong.
codecs.register_error("each_byte", lambda error: ("\ufffd", error.start + 1))


def text(data):
    return data.split(b"\0", 1)[0].decode("utf-8", "each_byte")


_quoted = {i: "\\x%02x" % i for i in range(256) if not 0x20 <= i <= 0x7E}
_quoted.update({ord('"'): '\\"', ord("\\"): "\\\\"})


def quoted(data):
    return '"' + data.split(b"\0", 1)[0].decode("latin-1").translate(_quoted) + '"'


def _digits(number, is_float):
    """The fewest significant digits that read back to a finite number > 0, and the power of ten of the first."""
    if not is_float:
        mantissa, exponent = ("%r" % number).partition("e")[::2]
        if exponent:
            return mantissa.replace(".", ""), int(exponent)
        whole, fraction = mantissa.partition(".")[::2]
        digits = (whole + fraction).rstrip("0").lstrip("0")
        if whole != "0":
            return digits, len(whole) - 1
        return digits, -1 - (len(fraction) - len(fraction.lstrip("0")))
    # Below a power of two numbers are denser than above: a neighbour may read back where the nearest does not.
    neighbours = (0, 1, -1) if math.frexp(number)[0] == 0.5 else (0,)
    found = None
    for precision in range(8, -1, -1):
        mantissa, exponent = ("%.*e" % (precision, number)).split("e")
        nearest, last = int(mantissa.replace(".", "")), int(exponent) - precision
        tried = [nearest + by for by in neighbours]
        fits = [digits for digits in tried if _libc.strtof(b"%de%d" % (digits, last), None) == number]
        if not fits:
            break
        found = str(fits[0]), last
    digits, last = found
    return digits.rstrip("0"), last + len(digits) - 1


@functools.lru_cache(maxsize=10000)
def finite(number, is_float):
    """The shortest text that reads back to `number`, not 0; of two that are as short, the one without an exponent."""
    sign = "-" if number < 0 else ""
    number = abs(number)
    digits, exponent = _digits(number, is_float)
    scientific = digits[0] + ("." + digits[1:] if len(digits) > 1 else "") + "e%+03d" % exponent
    if exponent < 0:
        plain = "0." + "0" * (-exponent - 1) + digits
    elif len(digits) > exponent + 1:
        plain = digits[: exponent + 1] + "." + digits[exponent + 1 :]
    else:
        plain = "%d" % number
    return sign + (plain if len(plain) <= len(scientific) else scientific)


def json_float(number, is_float):
    return pretty_float(number, is_float).encode() if math.isfinite(number) else None


def pretty_float(number, is_float):
    if number != 0 and math.isfinite(number):
        return finite(number, is_float)
    sign = "-" if math.copysign(1, number) < 0 else ""
    return sign + ("0" if number == 0 else "nan" if math.isnan(number) else "inf")


class LongDouble:
    """Equal to what the C library reads back as the same 80 bits.

    Of encodings that no processor makes: to any number or null.
    """

    def __init__(self, data):
        self._bits = data[:10]

    def __eq__(self, printed):
        if printed is not None and not isinstance(printed, bytes):
            return False
        exponent = int.from_bytes(self._bits[8:], "little") & 0x7FFF
        whole = self._bits[7] >> 7  # the leading bit of the mantissa, which other formats leave out
        if whole != (exponent != 0):
            return True
        if printed is None or exponent == 0x7FFF:
            return printed is None and exponent == 0x7FFF
        back = ctypes.create_string_buffer(16)
        return _libc.sscanf(printed, b"%Lf", back) == 1 and back.raw[:10] == self._bits

    def __repr__(self):
        return "LongDouble(%s)" % self._bits.hex()


_400_YEARS = 146097 * 86400
_1970 = datetime.datetime(1970, 1, 1)


def time(seconds):
    # The calendar repeats after 400 years; Python's knows the years 1 to 9999 only.
    cycles, rest = divmod(seconds, _400_YEARS)
    then = _1970 + datetime.timedelta(seconds=rest)
    year = then.year + 400 * cycles
    return "%s%04d-%s" % ("-" if year < 0 else "", abs(year), then.strftime("%m-%dT%H:%M:%SZ"))


def ipv4(data):
    return str(ipaddress.IPv4Address(data))


def ipv6(data):
    # Addresses that hold an IPv4 address end as one, as inet_ntop has it: ::ffff:a.b.c.d and, above ::ffff, ::a.b.c.d.
    mapped = data[:12] == bytes(10) + b"\xff\xff"
    if mapped or (data[:12] == bytes(12) and data[12:14] != bytes(2)):
        return ("::ffff:" if mapped else "::") + ipv4(data[12:])
    return str(ipaddress.IPv6Address(data))


def mac(data):
    return data.hex(":")


float_of_big = struct.Struct(">f").unpack
double_of_big = struct.Struct(">d").unpack
