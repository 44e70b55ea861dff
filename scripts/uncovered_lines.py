#!/usr/bin/env python3
"""uncovered_lines.py LCOV_FILE FOLDER=PERCENT...: what no test reaches, and how much that is.

Prints the uncovered lines of each file below the folders, then the line coverage of each folder. The exit code is 1
when a folder is below its percentage, or when nothing of it was measured.
"""

import collections
import pathlib
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent


def counts_by_file(lcov):
    """How often each line of each file was reached, summed over all that was built of it."""
    counts = collections.defaultdict(collections.Counter)
    file = None
    for record in lcov.read_text().splitlines():
        kind, _, value = record.partition(":")
        if kind == "SF":
            file = pathlib.Path(value).relative_to(ROOT)
        elif kind == "DA":
            line, count = value.split(",")[:2]
            counts[file][int(line)] += int(count)
    return counts


def ranges(lines):
    """Lines that follow each other as FIRST-LAST."""
    parts = []
    for line in sorted(lines):
        if parts and line == parts[-1][1] + 1:
            parts[-1][1] = line
        else:
            parts.append([line, line])
    return " ".join(str(first) if first == last else f"{first}-{last}" for first, last in parts)


def judge(folder, wanted, counts):
    """Prints a folder; true when enough of it is covered."""
    files = {file: lines for file, lines in counts.items() if file.parts[0] == folder}
    total = sum(len(lines) for lines in files.values())
    missed = 0
    for file, lines in sorted(files.items()):
        uncovered = [line for line, count in lines.items() if count == 0]
        missed += len(uncovered)
        if uncovered:
            print(f"{file}: {ranges(uncovered)}")
    if total == 0:
        print(f"{folder}: nothing measured")
        return False
    percent = 100 * (total - missed) / total
    print(f"{folder}: {total - missed} of {total} lines, {percent:.2f} % (at least {wanted} %)")
    return percent >= wanted


def main():
    counts = counts_by_file(pathlib.Path(sys.argv[1]))
    wanted = [argument.split("=") for argument in sys.argv[2:]]
    good = [judge(folder, float(percent), counts) for folder, percent in wanted]
    return 0 if all(good) else 1


if __name__ == "__main__":
    sys.exit(main())
