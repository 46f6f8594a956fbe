#!/usr/bin/env python3
"""What each test case adds: the lines and branches of src/ it runs that no other case runs.

Runs every case (every row of a data-driven one) of the unit suites in a build made with
KORVAT_COVERAGE on its own, and lists the cases that run no line another case does not.
Such a case is a candidate to fold or drop, unless it guards a fault that happened here;
the live suites are left out, as each is the one proof of a real path.

    scripts/case-coverage.py BUILD_DIR [SUITE ...]
"""
import collections
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

build = pathlib.Path(sys.argv[1]).resolve()
wanted = set(sys.argv[2:])
source = pathlib.Path(__file__).resolve().parent.parent / "src"


def suites():
    """Each unit suite as ctest runs it: its command (a private bus, a display) and environment.
    The live suites are left out, and the headless one, whose cases are whole runs of korvat."""
    listing = json.loads(subprocess.run(["ctest", "--show-only=json-v1"], cwd=build, capture_output=True,
                                        text=True, check=True).stdout)
    for test in listing["tests"]:
        properties = {p["name"]: p["value"] for p in test.get("properties", [])}
        command = test.get("command") or []
        if not command or not pathlib.Path(command[-1]).name.startswith("tst_"):
            continue
        if "FIXTURES_REQUIRED" in properties or test["name"] == "tst_headless":
            continue
        if wanted and test["name"] not in wanted:
            continue
        env = dict(os.environ)
        env.update(e.split("=", 1) for e in properties.get("ENVIRONMENT", []))
        for change in properties.get("ENVIRONMENT_MODIFICATION", []):
            name, how = change.split("=", 1)
            if how.startswith("set:"):
                env[name] = how[4:]
        yield test["name"], command, env


def cases(command, env):
    """Each case as the binary takes it on its command line: function or function:row. A Qt
    Quick test lists none (it runs every case whatever it is asked), and the QML it tests is
    not measured here anyway."""
    out = subprocess.run([command[-1], "-datatags"], capture_output=True, text=True, timeout=60,
                         env=dict(env, QT_QPA_PLATFORM="offscreen", LLVM_PROFILE_FILE=os.devnull)).stdout
    seen = []
    for line in out.splitlines():
        found = re.fullmatch(r"(\w+) (\w+)(?: (.*))?", line)
        if found and found[2] not in ("initTestCase", "cleanupTestCase"):
            seen.append(found[2] + (":" + found[3] if found[3] else ""))
    return seen


def lines_of(command, env, case, scratch):
    for old in pathlib.Path(scratch).glob("*.profraw"):
        old.unlink()
    subprocess.run([*command, case], capture_output=True, timeout=300, cwd=scratch,
                   env=dict(env, LLVM_PROFILE_FILE=os.path.join(scratch, "case-%p.profraw")))
    raws = [str(p) for p in pathlib.Path(scratch).glob("*.profraw")]
    if not raws:
        return None
    data = os.path.join(scratch, "case.profdata")
    subprocess.run(["llvm-profdata", "merge", "-sparse", "-o", data, *raws], check=True)
    report = subprocess.run(["llvm-cov", "export", "-format=lcov", "-skip-functions", "-instr-profile", data,
                             command[-1], str(source)], capture_output=True, text=True, check=True).stdout
    covered, file = set(), None
    for line in report.splitlines():
        if line.startswith("SF:"):
            file = os.path.relpath(line[3:], source.parent)
        elif line.startswith("DA:"):
            number, hits = line[3:].split(",")[:2]
            if int(hits) > 0:
                covered.add((file, int(number)))
        elif line.startswith("BRDA:"):
            # Each way a branch went counts apart: rows of a table often differ only there.
            number, block, branch, taken = line[5:].split(",")
            if taken not in ("-", "0"):
                covered.add((file, int(number), block, branch))
    return covered


def main():
    covered = {}
    with tempfile.TemporaryDirectory() as scratch:
        for name, command, env in suites():
            for case in cases(command, env):
                lines = lines_of(command, env, case, scratch)
                if lines is not None:
                    covered[(name, case)] = lines
            print(f"{name}: {sum(1 for k in covered if k[0] == name)} cases", file=sys.stderr)

    runs = collections.Counter(line for lines in covered.values() for line in lines)
    # Taken away one at a time, so that of two cases that run the same lines only one is
    # listed: each listed case adds nothing to what the cases left still run.
    nothing = []
    for key in sorted(covered, reverse=True):
        if all(runs[line] > 1 for line in covered[key]):
            nothing.append(key)
            runs.subtract(covered[key])
    rows = collections.Counter((suite, case.split(":")[0]) for suite, case in covered if ":" in case)
    print(f"{len(covered)} cases; {len(nothing)} run no line or branch of src/ that the cases left do not.")
    print("Whole functions:")
    for suite, case in sorted(k for k in nothing if ":" not in k[1]):
        print(f"  {suite} {case}")
    print("Rows of tables (each may still guard a boundary that runs the same code):")
    flagged = collections.Counter((suite, case.split(":")[0]) for suite, case in nothing if ":" in case)
    for (suite, function), count in sorted(flagged.items()):
        print(f"  {suite} {function}: {count} of {rows[(suite, function)]} rows")

main()
