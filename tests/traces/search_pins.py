#!/usr/bin/env python3
"""search_pins.py PINS FOLDER: looks in all files of a folder for the PINs that a file lists, one a line.

Each PIN is looked for as it is, in UTF-16, in hexadecimal digits and in base64, wherever it begins. The exit code is 1
when one is found.
"""

import base64
import pathlib
import sys


def forms(pin):
    for text in (pin.encode(), pin.encode("utf-16-le")):
        yield text
        yield text.hex().encode()
        yield text.hex().upper().encode()
        for before in range(3):
            # What stands beside the PIN has a part in the first and the last character.
            whole = base64.b64encode(b"\0" * before + text)
            yield whole[-(-before * 8 // 6) : len(whole) - 4]


def findings(trace, text, pins):
    for pin in pins:
        for form in forms(pin):
            at = text.find(form)
            if at >= 0:
                line = text.count(b"\n", 0, at) + 1
                yield f"{trace}:{line}: holds {pin} as {form!r}"


def main():
    pins = pathlib.Path(sys.argv[1]).read_text().split()
    traces = sorted(path for path in pathlib.Path(sys.argv[2]).rglob("*") if path.is_file())
    lines = 0
    found = []
    for trace in traces:
        text = trace.read_bytes()
        lines += text.count(b"\n")
        found += findings(trace, text, pins)
    print(*found, f"{lines} lines in {len(traces)} traces, {len(pins)} PINs, {len(found)} found", sep="\n")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
