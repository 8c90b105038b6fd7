# SPDX-License-Identifier: Apache-2.0
"""Draws mutants of the library, runs the tests against each and prints the survivors. Started by scripts/mutate."""

import collections
import concurrent.futures
import datetime
import hashlib
import os
import pathlib
import queue
import random
import re
import resource
import shutil
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
WORK = ROOT / "build" / "mutate"
ARGUED = ROOT / "tests" / "equivalent_mutants.txt"
WORKERS = int(os.environ.get("JOBS", 0)) or os.cpu_count() or 2

# Run first, straight and in this order: those that are quick and catch most come first. What is no program of GoogleTest's
# follows by way of ctest, where the others have a point in their names.
PROGRAMS = ["vellix_tests", "vellix_internal_tests", "vellix_fault_tests", "vellix_cost_tests", "vellix_endurance_tests",
            "vellix_thread_tests"]
TESTS_ALONE = 300  # seconds after which a run counts as hanging
LARGEST_FILE = 8 << 30
MOST_MEMORY = 12 << 30

Mutant = collections.namedtuple("Mutant", "kind path line old new")

ERRORS = ["SUCCESS", "END_OF_BUFFER", "TYPE_MISMATCH", "OUT_OF_RANGE", "NO_MEMORY", "NULL_ARGUMENT", "SYNTAX",
          "NOT_MAPPED", "BAD_HANDLE", "FILE_OPEN", "FILE_SIZE"]
OTHER_TYPE = {"STRING": "UINT32", "OPAQUE": "STRING", "INT32": "UINT32", "UINT32": "INT32", "UINT64": "UINT32",
              "INT64": "UINT64", "UINT8": "UINT16", "UINT16": "UINT8", "INT8": "UINT8", "INT16": "UINT16"}


# --- Drawing ---

def code_of(text):
    """The text with comments, literals and preprocessor lines blanked, so that places in it are places in the code."""
    def blank(match):
        return re.sub(r"[^\n]", " ", match.group())
    text = re.sub(r"//[^\n]*|/\*.*?\*/|\"(?:\\.|[^\"\\\n])*\"|(?<![0-9a-fA-F])'(?:\\.|[^'\\\n])+'", blank, text,
                  flags=re.S)
    return re.sub(r"^[ \t]*#(?:[^\n]*\\\n)*[^\n]*", blank, text, flags=re.M)


def swaps(code, pattern, replacement):
    for match in re.finditer(pattern, code):
        new = replacement(match) if callable(replacement) else replacement[match.group()]
        yield match.start(), match.end(), new


def next_number(match):
    text = match.group()
    number = int(text, 16 if text.lower().startswith("0x") else 10)
    return f"0x{number + 1:X}" if text.lower().startswith("0x") else str(number + 1)


def conditions(code):
    """The parentheses of each `if` and `while`."""
    for match in re.finditer(r"\b(?:if|while)(?: constexpr)? \(", code):
        if "constexpr" in match.group():
            continue
        depth, at = 1, match.end()
        while depth > 0 and at < len(code):
            depth += {"(": 1, ")": -1}.get(code[at], 0)
            at += 1
        inside = code[match.end():at - 1]
        if ";" not in inside and not re.match(r"\s*(?:const )?(?:auto|[\w:]+)[ &*]+\w+ = ", inside):
            yield match.start(), match.end(), at - 1


def mutations(code, text):
    """(kind, begin, end, new text) of everything that can be broken in a source."""
    for begin, end, new in swaps(code, r"(?<= )(?:<=|>=|<|>)(?= )", {"<": "<=", "<=": "<", ">": ">=", ">=": ">"}):
        yield "boundary", begin, end, new
    for begin, end, new in swaps(code, r"(?<![\w.])(?:0x[0-9A-Fa-f]+|[0-9]+)(?![\w.'])", next_number):
        yield "constant", begin, end, new
    for begin, end, new in swaps(code, r"(?<= )[+\-](?= )", {"+": "-", "-": "+"}):
        yield "constant", begin, end, new
    for start, begin, end in conditions(code):
        yield "condition", begin, end, f"!({text[begin:end]})"
    for begin, end, new in swaps(code, r"(?<= )(?:==|!=)(?= )", {"==": "!=", "!=": "=="}):
        yield "condition", begin, end, new
    for begin, end, new in swaps(code, r"&&|\|\|", {"&&": "||", "||": "&&"}):
        yield "and or", begin, end, new
    for begin, end, new in swaps(code, r"\breturn (?:true|false);", {"return true;": "return false;",
                                                                     "return false;": "return true;"}):
        yield "result", begin, end, new
    for match in re.finditer(r"^[ ]+(if \([^\n]*\) (?:return|break|continue|throw)\b[^\n;]*;)$", code, re.M):
        yield "guard", match.start(1), match.end(1), ";"
    for match in re.finditer(r"^[ ]+([A-Za-z_][\w.\->\[\]]* (?:[-+|&]?=) [^\n]*;)$", code, re.M):
        if re.search(r" = (?:0|false|nullptr|other\.[^;]*|std::move\(other[^;]*|k[A-Z]\w*|VELLIX_\w+|\w+\(\));$",
                     match.group(1)):
            yield "member", match.start(1), match.end(1), ";"
        else:
            yield "statement", match.start(1), match.end(1), ";"
    for match in re.finditer(r"^[ ]+((?:[a-z][\w:]*(?:\.|->))*[a-z_]\w*\([^\n]*\);|(?:\+\+|--)\w+;)$", code, re.M):
        if not match.group(1).startswith(("return", "setError", "static_assert", "sizeof")):
            yield "statement", match.start(1), match.end(1), ";"
    for match in re.finditer(r"\bsetError\([^\n;]*\);", code):
        yield "error code", match.start(), match.end(), ";"
    for match in re.finditer(r"\bVELLIX_(?:ERR_\w+|SUCCESS)\b", code):
        name = match.group().replace("VELLIX_ERR_", "").replace("VELLIX_", "")
        if name in ERRORS:
            other = ERRORS[(ERRORS.index(name) + 1) % len(ERRORS)]
            yield "error code", match.start(), match.end(), "VELLIX_" + ("" if other == "SUCCESS" else "ERR_") + other
    for match in re.finditer(r"^    \w*ROW\((\d+), (\"(\w+)\"), (\w+)[^\n]*\),$", text, re.M):
        yield "schema row", match.start(2), match.end(2), f'"{match.group(3)}X"'
        if match.group(4) in OTHER_TYPE:
            yield "schema row", match.start(4), match.end(4), OTHER_TYPE[match.group(4)]


def candidates(wanted):
    """All mutants of the wanted files, or of all, by kind and file, with the lines of each file."""
    found = collections.defaultdict(lambda: collections.defaultdict(list))
    lines = {}
    for path in sorted((ROOT / "vellix").rglob("*")):
        name = str(path.relative_to(ROOT))
        if path.suffix not in (".cpp", ".h") or "Windows" in name:
            continue
        if wanted and name not in wanted:
            continue
        text = path.read_text()
        code = code_of(text)
        lines[name] = sum(1 for line in code.splitlines() if line.strip())
        for kind, begin, end, new in mutations(code, text):
            found[kind][name].append((begin, end, new))
    return found, lines


def draws(seed, wanted):
    """An endless row of different mutants: the kind by chance, the file by its lines, the place by chance."""
    chance = random.Random(seed)
    found, lines = candidates(wanted)
    seen = set()
    misses = 0
    while misses < 10000:
        kind = chance.choice(sorted(found))
        names = sorted(found[kind])
        name = chance.choices(names, [lines[n] for n in names])[0]
        place = chance.choice(found[kind][name])
        if (name, place) in seen:
            misses += 1
            continue
        seen.add((name, place))
        yield kind, name, place


def mutant_of(kind, name, place):
    begin, end, new = place
    text = (ROOT / name).read_text()
    first = text.rfind("\n", 0, begin) + 1
    last = text.find("\n", end)
    old_line = text[first:last]
    new_line = text[first:begin] + new + text[end:last]
    return Mutant(kind, name, text.count("\n", 0, begin) + 1, " ".join(old_line.split()), " ".join(new_line.split()))


def argued():
    """The mutants that nobody can observe: `file | line | mutated line | reason` each."""
    known = set()
    if ARGUED.exists():
        for row in ARGUED.read_text().splitlines():
            if row.strip() and not row.startswith("#"):
                name, old, new = (part.strip() for part in row.split(" | ")[:3])
                known.add((name, old, new))
    return known


# --- Trying ---

def limits():
    resource.setrlimit(resource.RLIMIT_FSIZE, (LARGEST_FILE, LARGEST_FILE))
    resource.setrlimit(resource.RLIMIT_AS, (MOST_MEMORY, MOST_MEMORY))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def run(command, cwd, seconds, limited=False):
    """The exit status; a run that hangs is ended with all its children and counts as failed."""
    own = {**os.environ, "TMPDIR": str(cwd.parent / "tmp")}  # of this bench alone, also without a mutant
    with open(cwd / "mutate.log", "ab") as log:
        process = subprocess.Popen(command, cwd=cwd, env=own, stdin=subprocess.DEVNULL, stdout=log, stderr=log,
                                   start_new_session=True, preexec_fn=limits if limited else None)
        try:
            return process.wait(seconds)
        except subprocess.TimeoutExpired:
            return -1
        finally:
            try:
                os.killpg(process.pid, 9)
            except ProcessLookupError:
                pass
            process.wait()


class Bench:
    """A copy of the project with a build of its own."""

    def __init__(self, number):
        self.source = WORK / str(number)
        self.build = self.source / "build"
        if self.source.exists():
            shutil.rmtree(self.source)
        self.source.mkdir(parents=True)
        files = subprocess.run(["git", "ls-files", "-z", "-co", "--exclude-standard"], cwd=ROOT, check=True,
                               stdout=subprocess.PIPE).stdout
        for name in filter(None, files.decode().split("\0")):
            if (ROOT / name).is_file():
                (self.source / name).parent.mkdir(parents=True, exist_ok=True)
                shutil.copy2(ROOT / name, self.source / name)
        self.build.mkdir()
        self.temporary = self.source / "tmp"
        self.temporary.mkdir()

    def make(self):
        return run(["cmake", "--build", ".", "-j1"], self.build, 1800) == 0

    def prepare(self):
        configured = run(["cmake", "-S", str(self.source), "-B", ".", "-DCMAKE_BUILD_TYPE=None",
                          "-DCMAKE_CXX_FLAGS=-O1", "-DVELLIX_WERROR=OFF", "-DVELLIX_BUILD_TESTS=ON"],
                         self.build, 600) == 0
        if not configured or not self.make():
            sys.exit(f"the project doesn't build, see {self.build}/mutate.log")
        for test in self.test_runs():
            begin = time.monotonic()
            if run(test[0], self.build, 900, limited=True) != 0:
                sys.exit(f"a test fails without any mutant: {' '.join(test[0])}, see {self.build}/mutate.log")
            test[1] = min(900.0, 10 + 5 * (time.monotonic() - begin))
        self.original = self.fingerprint()

    def test_runs(self):
        if not hasattr(self, "runs"):
            programs = [program for name in PROGRAMS for program in self.build.rglob(name)
                     if program.is_file() and os.access(program, os.X_OK)]
            self.runs = [[[str(program), "--gtest_brief=1", "--gtest_fail_fast"], TESTS_ALONE] for program in programs]
            rest = ["ctest", "-j1", "--stop-on-failure", "-LE", "package", "-E", "[.]"]
            self.runs.append([rest, 900])
        return self.runs

    def fingerprint(self):
        objects = sorted(self.build.glob("CMakeFiles/vellix_objects.dir/**/*.o"))
        return [hashlib.sha256(path.read_bytes()).digest() for path in objects]

    def failing_tests(self):
        """The names of all tests that fail. A program that ends before its time counts as a test."""
        failing = set()
        for command, seconds in self.test_runs():
            log = self.build / "mutate.log"
            log.unlink()
            command = [part for part in command if part not in ("--gtest_fail_fast", "--stop-on-failure")]
            if run(command, self.build, seconds, limited=True) == 0:
                continue
            text = log.read_text(errors="replace")
            names = set(re.findall(r"^\[  FAILED  \] ([\w./]+)", text, re.M))
            names |= set(re.findall(r"^\t *\d+ - (\S+) \(", text, re.M))
            failing |= names or {pathlib.Path(command[0]).name + ", which ended"}
        return failing

    def verdict(self, kind, name, place, who):
        """"caught", "survived", or why this is no mutant; the tests that catch it for who wants to know."""
        begin, end, new = place
        path = self.source / name
        text = path.read_text()
        path.write_text(text[:begin] + new + text[end:])
        try:
            if run(["cmake", "--build", ".", "-j1", "--target", "vellix_objects"], self.build, 600) != 0:
                return "does not compile"
            if self.fingerprint() == self.original:
                return "same code"
            if not self.make():
                return "caught"
            if who:
                return self.failing_tests()
            for command, seconds in self.test_runs():
                if run(command, self.build, seconds, limited=True) != 0:
                    return "caught"
            return "survived"
        finally:
            path.write_text(text)
            for left in self.temporary.iterdir():
                shutil.rmtree(left, ignore_errors=True) if left.is_dir() else left.unlink()


def print_who(mutant, tests):
    shown = sorted(tests)[:8] + (["..."] if len(tests) > 8 else [])
    print(f"{mutant.path}:{mutant.line}: {mutant.kind}: {len(tests)} tests: {' '.join(shown)}", flush=True)


def main():
    who = sys.argv[1:2] == ["--who"]
    arguments = sys.argv[2 if who else 1:]
    number = int(arguments[0]) if arguments else 200
    seed = arguments[1] if len(arguments) > 1 else datetime.date.today().isoformat()
    wanted = set(arguments[2:])
    if not wanted <= {str(path.relative_to(ROOT)) for path in (ROOT / "vellix").rglob("*")}:
        sys.exit("mutate: files are given as in vellix/VellixText.h")
    print(f"{number} mutants, seed {seed}", flush=True)
    os.environ.pop("CMAKE_CXX_COMPILER_LAUNCHER", None) if not shutil.which("ccache") else None
    benches = queue.Queue()
    with concurrent.futures.ThreadPoolExecutor(WORKERS) as pool:
        made = [Bench(i) for i in range(WORKERS)]
        for bench, _ in zip(made, pool.map(Bench.prepare, made)):
            benches.put(bench)

        known = argued()
        drawn = draws(seed, wanted)
        caught, survived, alone, ended = collections.Counter(), collections.Counter(), collections.Counter(), 0
        start = time.monotonic()

        def attempt(draw):
            bench = benches.get()
            try:
                return draw, bench.verdict(*draw, who)
            finally:
                benches.put(bench)

        running = set()
        exhausted = False
        while ended < number:
            while not exhausted and len(running) < min(WORKERS, number - ended):
                draw = next(drawn, None)
                exhausted = draw is None
                if draw is not None:
                    running.add(pool.submit(attempt, draw))
            if not running:
                break
            done, running = concurrent.futures.wait(running, return_when=concurrent.futures.FIRST_COMPLETED)
            for future in done:
                draw, verdict = future.result()
                if isinstance(verdict, set):
                    print_who(mutant_of(*draw), verdict)
                    if len(verdict) == 1:
                        alone[min(verdict)] += 1
                    verdict = "caught" if verdict else "survived"
                if verdict not in ("caught", "survived"):
                    continue
                mutant = mutant_of(*draw)
                if verdict == "survived" and (mutant.path, mutant.old, mutant.new) in known:
                    continue
                ended += 1
                (caught if verdict == "caught" else survived)[mutant.kind] += 1
                if verdict == "survived":
                    print(f"{mutant.path}:{mutant.line}: {mutant.kind}\n    {mutant.old}\n    {mutant.new}", flush=True)
    for test, mutants in alone.most_common():
        print(f"alone caught {mutants:4} {test}")
    for kind in sorted(set(caught) | set(survived)):
        print(f"{kind:12} {caught[kind]:4} of {caught[kind] + survived[kind]:4} caught")
    total = sum(caught.values())
    print(f"{total} of {ended} mutants caught, {100 * total / max(ended, 1):.1f} %, seed {seed}, "
          f"{(time.monotonic() - start) / 60:.0f} min")


main()
