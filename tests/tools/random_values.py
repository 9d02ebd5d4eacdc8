#!/usr/bin/env python3
"""usage: random_values.py PRINT_VALUES [--values N] [--each N] [--seed SEED] [--first TYPE] [--compared SHARE]

Prints random values of random types with PRINT_VALUES, parses every JSON text with Python's parser, and compares it, and
the pretty text, with what docs/types.md says the value's text is. What has failed says how to see it again.
"""

import argparse
import json
import os
import random
import re
import subprocess
import sys
import tempfile
import time

SKIPPED = 77

if sys.version_info < (3, 9):
    print("skipped: needs python3 3.9 or later, this is " + sys.version.split()[0])
    sys.exit(SKIPPED)

from builtin_type import builtin_type  # noqa: E402
from type_maker import TypeMaker  # noqa: E402


class Failure(Exception):
    pass


def refuse(constant):
    raise ValueError(constant + " is no JSON")


def object_of(pairs):
    if len(dict(pairs)) != len(pairs):
        raise ValueError("a name stands twice in an object")
    return pairs


# Objects become their pairs, in order; numbers bytes, as printed.
decode = json.JSONDecoder(
    object_pairs_hook=object_of, parse_int=str.encode, parse_float=str.encode, parse_constant=refuse, strict=True
).raw_decode
_SURROGATES = re.compile(r"\\ud(?:[89ab]..(?!\\ud[c-f])|[c-f]..(?<!\\ud[89ab]..\\ud...))")


def parse(text):
    value, end = decode(text)
    if end != len(text):
        raise ValueError("goes on behind the value")
    return value


def random_type(seed, number):
    rng = random.Random("%s/%d" % (seed, number))
    if rng.randrange(8) == 0:
        return rng, builtin_type(rng)
    either = rng.randrange(3) == 0
    state = rng.getstate()
    made = TypeMaker(rng, either, False).make()
    if either:
        rng.setstate(state)
        narrow = TypeMaker(rng, either, True).make()
        if narrow.description != made.description:
            raise AssertionError("the two rules made different declarations")
        if narrow.size != made.size:  # else the 64-bit rules hold
            made = narrow
    return rng, made


def random_values(rng, its, count):
    data = bytearray(rng.randbytes(its.size * count))
    spots = its.spots
    number, size = rng.random, its.size
    for _ in range(len(spots) * count // 4):
        offset, special = spots[int(number() * len(spots))]
        value = special[int(number() * len(special))]
        at = int(number() * count) * size + offset
        data[at : at + len(value)] = value
    return bytes(data)


class Check:
    def __init__(self, program, seed, share):
        self._program, self._seed, self._share = program, seed, share
        self.parsed = self.compared = self.pretty = 0

    def type(self, number, count):
        """One type, and `count` values of it."""
        rng, its = random_type(self._seed, number)
        data = random_values(rng, its, count)
        with tempfile.NamedTemporaryFile("w", suffix=".h") as file:
            file.write(its.description or "")
            file.flush()
            name = file.name if its.description is not None else "-"
            try:
                self._json(its, data, self._printed(name, its, "json", data, count))
                if its.knows_pretty:
                    part = data[: its.size * self._part(count)]
                    self._pretty(its, part, self._printed(name, its, "pretty", part, self._part(count)))
            except Failure as failure:
                its_text = its.description or its.name
                raise Failure("type %d of seed %s:\n%s\n%s" % (number, self._seed, its_text, failure)) from None

    def _part(self, count):
        return max(1, int(count * self._share))

    def _printed(self, file, its, style, data, count):
        command = [self._program, file, its.name, str(its.size), style]
        done = subprocess.run(command, input=data, capture_output=True, timeout=120)
        if done.returncode != 0 or done.stderr:
            raise Failure("status %d: %s" % (done.returncode, done.stderr.decode("utf-8", "replace")))
        try:
            text = done.stdout.decode("utf-8")
        except UnicodeDecodeError as error:
            raise Failure("not UTF-8: %s" % error) from None
        # Python's parser lets halves of surrogate pairs pass.
        if style == "json" and "\\ud" in text and (half := _SURROGATES.search(text.replace("\\\\", ""))):
            around = half.string[max(0, half.start() - 40) : half.end() + 10]
            raise Failure("half of a surrogate pair: ...%s..." % around)
        lines = text.split("\n")
        if lines.pop() != "" or len(lines) != count:
            raise Failure("%d lines of %d values" % (len(lines), count))
        return lines

    def _json(self, its, data, lines):
        size = its.size
        values = []
        try:
            for line in lines:
                values.append(parse(line))
        except ValueError as error:
            i = len(values)
            value = data[i * size : (i + 1) * size].hex()
            raise Failure("%s\nis printed as %s\nno JSON: %s" % (value, lines[i], error)) from None
        except StopIteration:
            raise AssertionError("raw_decode says what is wrong with a ValueError") from None
        self.parsed += len(values)
        for i, fields in enumerate(its.reader.iter_unpack(data[: size * self._part(len(values))])):
            expected = its.json(fields)
            if values[i] != expected:
                self._differs(its, data, i, lines[i], expected)
            self.compared += 1

    def _pretty(self, its, data, lines):
        for i, fields in enumerate(its.reader.iter_unpack(data)):
            if lines[i] != its.pretty(fields):
                self._differs(its, data, i, lines[i], its.pretty(fields))
            self.pretty += 1

    @staticmethod
    def _differs(its, data, i, line, expected):
        value = data[i * its.size : (i + 1) * its.size].hex()
        raise Failure("%s\nis printed as %s\ninstead of    %s" % (value, line, expected))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("program")
    parser.add_argument("--values", type=int, default=50000)
    parser.add_argument("--each", type=int, default=2000, help="values of a type, fewer for 100 types at least")
    parser.add_argument("--seed", default=str(int.from_bytes(os.urandom(4), "little")))
    parser.add_argument("--first", type=int, default=0, help="the number of the first type")
    parser.add_argument("--compared", type=float, default=1.0, help="share that is compared, not only parsed")
    options = parser.parse_args()
    print("seed %s" % options.seed, flush=True)
    start = time.monotonic()
    check = Check(options.program, options.seed, options.compared)
    count = min(options.each, max(1, options.values // 100))
    number = options.first
    while check.parsed < options.values:
        try:
            check.type(number, count)
        except Failure as failure:
            print("FAILED: %s\nagain: --seed %s --first %d" % (failure, options.seed, number))
            return 1
        number += 1
    print(
        "%d types: %d values parsed, %d of them compared, %d in pretty text, too; %.1f s"
        % (number - options.first, check.parsed, check.compared, check.pretty, time.monotonic() - start)
    )
    return 0


if __name__ == "__main__":
    sys.exit(main())
