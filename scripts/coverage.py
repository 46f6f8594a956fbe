#!/usr/bin/env python3
"""Line and branch coverage of each layer of src/, from the unit and live suites together.

Runs the whole suite through ctest in a build made with KORVAT_COVERAGE (clang's
source-based coverage), every process writing its own profile (korvat itself too, as the
headless suites run it), then merges them and sums llvm-cov's figures per layer. Fails
when a layer that holds the system's rules falls below its floor.

    scripts/coverage.py BUILD_DIR [JOBS]
"""
import json
import os
import pathlib
import shutil
import subprocess
import sys

build = pathlib.Path(sys.argv[1]).resolve()
jobs = sys.argv[2] if len(sys.argv) > 2 else str(os.cpu_count() or 2)
source = pathlib.Path(__file__).resolve().parent.parent / "src"
layers = ["engine", "logs", "projects", "toolchain", "updates", "store", "ui", "app"]
# The layers whose rules and records everything else stands on: the suites must run most of them.
floors = {"engine": 85.0, "projects": 85.0, "store": 85.0}


def tool(name):
    """llvm's own tool, or the one of clang's version when only that is installed."""
    versioned = sorted(pathlib.Path("/usr/bin").glob(name + "-[0-9]*"), reverse=True)
    for candidate in [name] + [p.name for p in versioned]:
        if shutil.which(candidate):
            return candidate
    sys.exit(f"coverage: {name} is missing (scripts/setup.sh coverage installs llvm)")


def programs():
    """Every program the suites run that was built here: the test binaries and korvat."""
    listing = json.loads(subprocess.run(["ctest", "--show-only=json-v1"], cwd=build, capture_output=True,
                                        text=True, check=True).stdout)
    found = {build / "bin" / "korvat"}
    for test in listing["tests"]:
        for part in test.get("command") or []:
            path = pathlib.Path(part)
            if path.is_file() and build in path.parents and os.access(path, os.X_OK):
                found.add(path)
    return sorted(p for p in found if p.exists())


def percent(covered, count):
    return 100.0 * covered / count if count else 100.0


profiles = build / "profiles"
shutil.rmtree(profiles, ignore_errors=True)
profiles.mkdir()
env = dict(os.environ, LLVM_PROFILE_FILE=str(profiles / "%p-%m.profraw"))
suite = subprocess.run(["ctest", "-j", jobs, "--output-on-failure"], cwd=build, env=env)
if suite.returncode != 0:
    print("coverage: some tests failed (above); the figures below count what ran", file=sys.stderr)

merged = build / "coverage.profdata"
raw = sorted(str(p) for p in profiles.glob("*.profraw"))
subprocess.run([tool("llvm-profdata"), "merge", "-sparse", "-o", str(merged)] + raw, check=True)

objects = programs()
if not objects:
    sys.exit(f"coverage: nothing built in {build}")
measured = ["-instr-profile", str(merged), str(objects[0])]
for extra in objects[1:]:
    measured += ["-object", str(extra)]
exported = json.loads(subprocess.run([tool("llvm-cov"), "export", "-summary-only"] + measured + [str(source)],
                                     capture_output=True, text=True, check=True).stdout)

totals = {layer: [0, 0, 0, 0] for layer in layers}
for entry in exported["data"][0]["files"]:
    relative = pathlib.Path(entry["filename"]).resolve().relative_to(source)
    layer = relative.parts[0]
    if layer not in totals:
        continue
    summary = entry["summary"]
    t = totals[layer]
    t[0] += summary["lines"]["covered"]
    t[1] += summary["lines"]["count"]
    t[2] += summary["branches"]["covered"]
    t[3] += summary["branches"]["count"]

print(f"\n{'layer':<10} {'lines':>22} {'branches':>22}")
short = []
for layer in layers:
    lines_covered, lines, branches_covered, branches = totals[layer]
    line_share = percent(lines_covered, lines)
    floor = floors.get(layer)
    mark = f"  (floor {floor:.0f}%)" if floor else ""
    if floor and line_share < floor:
        short.append(layer)
        mark += " below"
    print(f"{layer:<10} {lines_covered:>7}/{lines:<7} {line_share:5.1f}% {branches_covered:>7}/{branches:<7} "
          f"{percent(branches_covered, branches):5.1f}%{mark}")
report = subprocess.run([tool("llvm-cov"), "report"] + measured + [str(source)], capture_output=True, text=True)
(build / "coverage.txt").write_text(report.stdout)
print(f"\nper file: {build / 'coverage.txt'}")
if short:
    sys.exit(f"coverage: below the floor: {', '.join(short)}")
