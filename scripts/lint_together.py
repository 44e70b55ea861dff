#!/usr/bin/env python3
"""lint_together.py BUILD_FOLDER [CLANG_TIDY_OPTION...]: clang-tidy over the sources named on standard input.

Nearly all the time of a run goes into the headers that a source includes. So sources of one top folder that are
compiled alike are linted as one translation unit, which takes a fifth of the time; those whose names collide make
another one. A source that is given alone is linted alone, with the few checks more that look at main files only. The
exit code is 1 when clang-tidy found something.
"""

import collections
import concurrent.futures
import json
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys

TOGETHER = 48
# Where in a unified file its sources stand.
FIRST_INCLUDE = 3
LINES_OF_SOURCE = 3
ROOT = pathlib.Path(__file__).resolve().parent.parent


def compile_commands(build):
    """The compiler's command for each source, without the file and the output."""
    commands = {}
    for entry in json.loads((build / "compile_commands.json").read_text()):
        words = shlex.split(entry["command"])
        commands.setdefault(entry["file"], words[: words.index("-o")])
    return commands


def groups_of(sources, commands):
    """Sources of one top folder and one command, so many a group; those without a command stand alone."""
    alike = collections.defaultdict(list)
    for source in sources:
        command = commands.get(str(ROOT / source))
        together = command is not None and source.endswith(".cpp")
        alike[source.split("/")[0] if together else source, tuple(command or ())].append(source)
    for (_, command), members in alike.items():
        count = -(-len(members) // TOGETHER)
        for group in range(count):
            yield command, members[group * len(members) // count : (group + 1) * len(members) // count]


class Linter:
    def __init__(self, build, options):
        self.build = build
        self.folder = build / "lint"
        self.options = ["--quiet", *options]
        shutil.rmtree(self.folder, ignore_errors=True)
        # clang-tidy looks for its settings beside the file and above it: the folder of groups mirrors the tree.
        for settings in ROOT.glob("*/.clang-tidy"):
            copy = self.folder / settings.relative_to(ROOT)
            copy.parent.mkdir(parents=True)
            shutil.copy(settings, copy)
        shutil.copy(ROOT / ".clang-tidy", self.folder)

    def unified(self, sources):
        """A file that includes the sources. By this name the analyzer knows that they are no headers."""
        first = pathlib.Path(sources[0])
        file = self.folder / first.parent / f"UnifiedSource-{first.stem}-{len(sources)}.cpp"
        file.parent.mkdir(parents=True, exist_ok=True)
        # All fuzz targets define the one function that libFuzzer calls.
        lines = ["// NOLINTBEGIN(bugprone-suspicious-include,cppcoreguidelines-macro-usage)"]
        for number, source in enumerate(sources):
            lines += [f"#define LLVMFuzzerTestOneInput target{number}", f'#include "{ROOT / source}"', "#undef LLVMFuzzerTestOneInput"]
        lines += ["// NOLINTEND(bugprone-suspicious-include,cppcoreguidelines-macro-usage)", ""]
        file.write_text("\n".join(lines))
        return str(file)

    def colliding(self, command, file, sources):
        """Those of a file's sources that do not compile behind the others."""
        checked = subprocess.run(
            [*command, "-w", "-ferror-limit=0", "-fsyntax-only", file], capture_output=True, text=True, check=False
        )
        if checked.returncode == 0:
            return []
        # An error in a header belongs to the source that the unified file includes at this line.
        wrong = set()
        source = sources[-1]
        for line in checked.stderr.splitlines():
            if at := re.match(rf"In file included from {re.escape(file)}:(\d+):", line):
                source = sources[(int(at[1]) - FIRST_INCLUDE) // LINES_OF_SOURCE]
            elif re.match(r"\S+?:\d+:\d+: (?:fatal )?error:", line):
                wrong.add(source)
        return wrong or sources[-1:]

    def compiling(self, command, sources):
        """Sources that compile together, and the file that includes them."""
        while len(sources) > 1:
            file = self.unified(sources)
            wrong = self.colliding(command, file, sources)
            if not wrong:
                return sources, file
            sources = [source for source in sources if source not in wrong] or sources[:1]
        return sources, sources[0]

    def run(self, command, sources):
        """True when nothing was found."""
        good = True
        while sources:
            together, file = self.compiling(command, sources)
            if len(together) == 1:
                good &= self.tidy([file, "-p", str(self.build)])
            else:
                # What the compiler warns of, the builds tell: here one source may hide the names of another.
                good &= self.tidy([file, "--", *command[1:], "-w"])
            sources = [source for source in sources if source not in together]
        return good

    def tidy(self, arguments):
        done = subprocess.run(
            ["clang-tidy-19", *self.options, *arguments], cwd=ROOT, capture_output=True, text=True, check=False
        )
        # The number of warnings that were not shown would bury those that are.
        said = [line for line in done.stderr.splitlines() if not line.endswith(" generated.")]
        if done.returncode != 0:
            print(done.stdout, *said, sep="\n", flush=True)
        return done.returncode == 0


def main():
    build = pathlib.Path(sys.argv[1]).resolve()
    linter = Linter(build, sys.argv[2:])
    groups = groups_of(sys.stdin.read().split(), compile_commands(build))
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        good = list(pool.map(lambda group: linter.run(*group), groups))
    return 0 if all(good) else 1


if __name__ == "__main__":
    sys.exit(main())
