#!/usr/bin/env bash
# Records what the CLI prints while it pulls and while compose brings a project up, for the
# progress readers' tests: a registry on loopback (Debian's docker-registry) holds an image of
# four fresh 3 MiB layers, a second sharing two of them, and a third whose last blob the
# registry serves corrupted.
#   record-progress.sh [DIR]   writes the recordings into DIR (default tests/fixtures/progress)
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
out=${1:-$here/../tests/fixtures/progress}
export KORVAT_ENGINE_DIR=${KORVAT_ENGINE_DIR:-/tmp/korvat-record-engine} KORVAT_ENGINE_EXEC=${KORVAT_ENGINE_EXEC:-/tmp/kx-record}
work=$(mktemp -d)
registry=
cleanup() {
    [ -n "$registry" ] && kill "$registry" 2>/dev/null
    (cd "$work/cproj" 2>/dev/null && docker compose down -t 0 >/dev/null 2>&1) || true
    bash "$here/engine.sh" stop
    rm -rf "$work"
}
trap cleanup EXIT
eval "$(bash "$here/engine.sh" start)"
base=$KORVAT_TEST_IMAGE

# The port the recordings name; the tests compare compose's messages, which quote it.
port=${KORVAT_RECORD_PORT:-5055}
if (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null; then
    echo "something already listens on 127.0.0.1:$port" >&2
    exit 1
fi
cat >"$work/registry.yml" <<YAML
version: 0.1
storage:
  filesystem:
    rootdirectory: $work/data
http:
  addr: 127.0.0.1:$port
YAML
docker-registry serve "$work/registry.yml" >/dev/null 2>&1 &
registry=$!
for _ in $(seq 50); do
    (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null && break
    sleep 0.1
done
reg=127.0.0.1:$port

# An image of the given layers on top of the previous, each 3 MiB of noise.
layered() {
    local image=$1 previous=$2
    shift 2
    for layer in "$@"; do
        docker run --name rec-layer "$previous" /bin/busybox dd if=/dev/urandom of="/$layer" bs=1M count=3 2>/dev/null
        previous=rec-layers:$layer
        docker commit rec-layer "$previous" >/dev/null
        docker rm rec-layer >/dev/null
    done
    docker tag "$previous" "$image"
    docker push "$image" >/dev/null
}
layered "$reg/layers:1" "$base" a b c d
layered "$reg/layers:2" rec-layers:b e f
layered "$reg/broken:1" "$base" g h i
forget() { docker rmi -f "$@" >/dev/null 2>&1 || true; }
# shellcheck disable=SC2046
forget $(docker images -q 'rec-layers') "$reg/layers:1" "$reg/layers:2" "$reg/broken:1"

# The last layer of broken:1, served with some bytes changed.
digest=$(curl -s -H 'Accept: application/vnd.docker.distribution.manifest.v2+json' "http://$reg/v2/broken/manifests/1" |
    grep -o '"digest": *"sha256:[0-9a-f]*"' | tail -1 | grep -o '[0-9a-f]\{64\}')
printf 'corrupted' | dd of="$work/data/docker/registry/v2/blobs/sha256/${digest:0:2}/$digest/data" bs=1 seek=1500000 conv=notrunc 2>/dev/null

mkdir -p "$out"
# Korvat pulls on a terminal (only there does the client print byte counts), so `script`.
onTerminal() { script -qec "$*" /dev/null; }
docker pull "$reg/layers:1" >"$out/pull-fresh.txt"
docker pull "$reg/layers:2" >"$out/pull-partial.txt"
docker pull "$reg/layers:1" >"$out/pull-present.txt"
docker pull "$reg/layers:nope" 2>"$out/pull-missing.txt" >/dev/null || true
forget "$reg/layers:1" "$reg/layers:2"
onTerminal docker pull "$reg/layers:1" >"$out/pull-terminal.txt"
onTerminal docker pull "$reg/broken:1" >"$out/pull-failing-layer.txt" || true
forget "$reg/layers:1"

mkdir -p "$work/cproj"
cat >"$work/cproj/compose.yaml" <<YAML
services:
  web:
    image: $reg/layers:1
    command: ["sleep", "3600"]
  db:
    image: $base
    command: ["sleep", "3600"]
YAML
(cd "$work/cproj" && docker compose --progress plain up -d) >"$out/up.txt" 2>&1
(cd "$work/cproj" && docker compose down -t 0) >/dev/null 2>&1
cat >"$work/cproj/compose.yaml" <<YAML
services:
  worker:
    image: $reg/layers:nope
YAML
(cd "$work/cproj" && docker compose --progress plain up -d) >"$out/up-failing.txt" 2>&1 || true
echo "recorded into $out"
