#!/usr/bin/env bash
# Builds the configured test tree and runs the whole suite: scripts/test.sh BUILD JOBS.
#
# The live suites of the lower layers start as soon as they are linked, while the window's
# layers still compile: they mostly wait on the private engine, the compile on the CPU, so
# each fills the other's idle time. The rest of the suite runs once everything is built.
# Either half failing fails the whole; both halves always run to the end.
set -u
build=$1
jobs=$2

# Suites that link nothing above the store. A new live suite left out of this list still
# runs, with the rest.
early=(tst_engine_live tst_appstore_live tst_updates_live tst_logs_live)
pattern="^($(IFS='|'; echo "${early[*]}"))\$"

cmake --build "$build" -j "$jobs" --target "${early[@]}" || exit 1

# ctest adds the engine's start and stop, which the early suites require, by itself.
(cd "$build" && ctest --output-on-failure -R "$pattern" >early.log 2>&1; echo $? >early.status) &
early_pid=$!
# Stopped, this script takes the early half with it.
trap 'pkill -TERM -P "$early_pid" 2>/dev/null; kill "$early_pid" 2>/dev/null' EXIT INT TERM

cmake --build "$build" -j "$jobs"
built=$?
wait "$early_pid"
trap - EXIT INT TERM
echo "--- the lower layers' live suites, run during the build:"
cat "$build/early.log"
[ "$built" -eq 0 ] || exit 1

# One test more than there are cores: the screen reader's suite and the live ones (which
# take the engine one at a time) mostly wait.
(cd "$build" && ctest --output-on-failure -E "$pattern" -j $((jobs + 1)))
rest=$?
[ "$(cat "$build/early.status")" = 0 ] && [ "$rest" -eq 0 ]
