#!/usr/bin/env bash
# Benchmarks on a private engine, at 0 and at 200 containers. Usage: bench/run.sh BUILD_DIR
set -euo pipefail
build=${1:-build}
here=$(cd "$(dirname "$0")" && pwd)
export KORVAT_ENGINE_DIR=/tmp/korvat-bench-engine KORVAT_ENGINE_EXEC=/tmp/kx-bench
trap 'bash "$here/../scripts/engine.sh" stop' EXIT
eval "$(bash "$here/../scripts/engine.sh" start)"
bench=$build/bench/bench_store

docker ps -aq | xargs -r docker rm -f >/dev/null
echo "== empty engine"
"$bench" refresh
"$bench" quiet

echo "== 200 containers"
for i in $(seq 1 200); do
  # Created, not started: their status text stays the same from poll to poll.
  docker create --name "bench-$i" -l com.docker.compose.project="bench$((i % 20))" \
    -l com.docker.compose.project.working_dir="/srv/bench$((i % 20))" -l com.docker.compose.service=web \
    "$KORVAT_TEST_IMAGE" true >/dev/null
done
"$bench" refresh
"$bench" quiet
"$bench" rules
