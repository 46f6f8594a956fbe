#!/usr/bin/env bash
# Benchmarks on a private engine: one newer-image check of 50 tags, the store and window at
# 0 and 200 containers, a log that floods, the use of 30 running containers shown, then the
# whole cost at rest at 9 (beside a second engine holding one, too) and 1,000, and the
# reclaim plan of 1,000 containers, 300 volumes and 200 images.
# Usage: bench/run.sh BUILD_DIR
set -euo pipefail
build=${1:-build}
here=$(cd "$(dirname "$0")" && pwd)
export KORVAT_ENGINE_DIR=/tmp/korvat-bench-engine KORVAT_ENGINE_EXEC=/tmp/kx-bench
trap 'bash "$here/../scripts/engine.sh" stop' EXIT
eval "$(bash "$here/../scripts/engine.sh" start)"
# Korvat watches every local engine that answers: the second one waits, its socket gone,
# for the figures of two, so that every other figure is of one engine.
bash "$here/../scripts/engine.sh" stop-second
bench=$build/bench/bench_store
window=$build/bin/bench_window
cost=$build/bin/bench_cost
flood=$build/bin/bench_flood
idle=${KORVAT_BENCH_IDLE_SECONDS:-60}
export KORVAT_BENCH_ENGINE_PID=$(cat "$KORVAT_ENGINE_DIR/dockerd.pid")
export DOCKER_HOST=unix://$KORVAT_TEST_SOCKET
# The window's figures are taken offscreen on the software renderer: no display, no GPU.
export QT_QPA_PLATFORM=offscreen QT_QUICK_BACKEND=software
export XDG_RUNTIME_DIR=${XDG_RUNTIME_DIR:-$(mktemp -d)}

first_frame() {
  local samples=()
  for _ in $(seq 1 11); do samples+=("$("$window" frame)"); done
  printf '%s\n' "${samples[@]}" | sort -n | awk '{a[NR]=$1} END {printf "first frame after process start: median %s ms of %d runs, best %s, worst %s (budget 400)\n", a[int((NR+1)/2)], NR, a[1], a[NR]}'
}

docker ps -aq | xargs -r docker rm -f >/dev/null
echo "== volume backup"
"$bench" backup
echo "== pull from a local registry"
registry=$(mktemp -d)
port=$(python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
printf 'version: 0.1\nstorage:\n  filesystem:\n    rootdirectory: %s/data\nhttp:\n  addr: 127.0.0.1:%s\n' "$registry" "$port" >"$registry/config.yml"
docker-registry serve "$registry/config.yml" >/dev/null 2>&1 &
registry_pid=$!
until curl -sf "http://127.0.0.1:$port/v2/" >/dev/null; do sleep 0.2; done
# Five fresh layers of 16 MB each.
previous=$KORVAT_TEST_IMAGE
for i in 1 2 3 4 5; do
  docker run --name "layer-$i" "$previous" /bin/busybox dd if=/dev/urandom of="/blob$i" bs=1M count=16 2>/dev/null
  docker commit "layer-$i" "bench-layers:$i" >/dev/null && docker rm "layer-$i" >/dev/null
  previous=bench-layers:$i
done
docker tag bench-layers:5 "127.0.0.1:$port/bench-layers:1"
docker push -q "127.0.0.1:$port/bench-layers:1" >/dev/null
docker rmi "127.0.0.1:$port/bench-layers:1" bench-layers:1 bench-layers:2 bench-layers:3 bench-layers:4 bench-layers:5 >/dev/null
"$bench" pull "127.0.0.1:$port/bench-layers:1"
kill "$registry_pid"; rm -rf "$registry"
echo "== newer images: one check of 50 tags at a local registry"
registry=$(mktemp -d)
port=$(python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
printf 'version: 0.1\nlog:\n  accesslog:\n    disabled: false\nstorage:\n  filesystem:\n    rootdirectory: %s/data\nhttp:\n  addr: 127.0.0.1:%s\n' "$registry" "$port" >"$registry/config.yml"
# The access log is the registry's standard output.
docker-registry serve "$registry/config.yml" >"$registry/access.log" 2>/dev/null &
registry_pid=$!
until curl -sf "http://127.0.0.1:$port/v2/" >/dev/null; do sleep 0.2; done
for i in $(seq 1 50); do docker tag "$KORVAT_TEST_IMAGE" "127.0.0.1:$port/bench-newer:$i"; done
docker push -q --all-tags "127.0.0.1:$port/bench-newer" >/dev/null
"$build/bench/bench_newer" "127.0.0.1:$port/bench-newer" 50 "$registry/access.log"
for i in $(seq 1 50); do echo "127.0.0.1:$port/bench-newer:$i"; done | xargs docker rmi >/dev/null
kill "$registry_pid"; rm -rf "$registry"
echo "== empty engine"
"$bench" refresh
"$bench" quiet
first_frame
"$bench" events "${KORVAT_BENCH_IDLE_SECONDS:-60}"

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
docker run -d --name bench-details --health-cmd true --health-interval 1s -e API_TOKEN=x "$KORVAT_TEST_IMAGE" sleep 3600 >/dev/null
sleep 3
"$bench" details bench-details
docker rm -f bench-details >/dev/null
KORVAT_BENCH_CONTAINERS=200 "$window" idle "${KORVAT_BENCH_IDLE_SECONDS:-60}"
"$window" apply
"$window" switch
"$window" card
"$window" engines
"$window" logs
echo "== a log that floods, its sheet open, on the real engine"
# A real X server and a private accessibility bus: the screen reader's view is timed from outside.
QT_QPA_PLATFORM=xcb QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1 xvfb-run -a dbus-run-session -- "$flood" 10

# The whole cost at rest: 9 running containers, then 1,000 containers and 300 volumes.
docker ps -aq | xargs -r docker rm -f >/dev/null
echo "== usage shown, 30 running containers (over ${idle} s each)"
for i in $(seq 1 30); do
  docker run -d --name "use-$i" "$KORVAT_TEST_IMAGE" sh -c "trap 'exit 0' TERM; sleep 3600 & wait" >/dev/null
done
"$cost" "$idle" usage

docker ps -aq | xargs -r docker rm -f >/dev/null
echo "== cost at rest, 9 running containers (over ${idle} s each)"
for i in $(seq 1 9); do
  docker run -d --name "rest-$i" "$KORVAT_TEST_IMAGE" sh -c "trap 'exit 0' TERM; sleep 3600 & wait" >/dev/null
done
KORVAT_BENCH_CONTAINER=rest-1 KORVAT_BENCH_SCALE=9 "$cost" "$idle"

echo "== cost at rest of two engines, 9 running containers and 1 (over ${idle} s)"
bash "$here/../scripts/engine.sh" start-second
# The stops above left the one they timed stopped.
docker start rest-1 >/dev/null
second="docker -H unix://$KORVAT_TEST_SOCKET2"
$second run -d --name rest-second "$KORVAT_TEST_IMAGE" sh -c "trap 'exit 0' TERM; sleep 3600 & wait" >/dev/null
KORVAT_BENCH_ENGINE2_PID=$(cat "$KORVAT_ENGINE_DIR/second/dockerd.pid") KORVAT_BENCH_CONTAINER=rest-1 KORVAT_BENCH_SCALE=9 \
  "$cost" "$idle" engines
$second rm -f rest-second >/dev/null
bash "$here/../scripts/engine.sh" stop-second

echo "== cost at rest over ssh, 9 running containers (over ${idle} s each)"
# A real sshd on loopback in front of the engine; the client's side is a configuration of its own.
ssh_dir=$(mktemp -d)
ssh-keygen -q -t ed25519 -N '' -f "$ssh_dir/host" && ssh-keygen -q -t ed25519 -N '' -f "$ssh_dir/id"
cp "$ssh_dir/id.pub" "$ssh_dir/authorized_keys"
ssh_port=$(python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
printf 'Port %s\nListenAddress 127.0.0.1\nHostKey %s/host\nPidFile %s/sshd.pid\nAuthorizedKeysFile %s/authorized_keys\nPermitRootLogin prohibit-password\nPasswordAuthentication no\nUsePAM no\nStrictModes no\nLogLevel VERBOSE\nSetEnv DOCKER_HOST=unix://%s\n' \
  "$ssh_port" "$ssh_dir" "$ssh_dir" "$ssh_dir" "$KORVAT_TEST_SOCKET" >"$ssh_dir/sshd_config"
printf 'Host korvat-ssh\n  HostName 127.0.0.1\n  Port %s\n  IdentityFile %s/id\n  IdentitiesOnly yes\n  IdentityAgent none\n  UserKnownHostsFile /dev/null\n  StrictHostKeyChecking no\n  LogLevel ERROR\n' \
  "$ssh_port" "$ssh_dir" >"$ssh_dir/ssh_config"
mkdir -p /run/sshd
/usr/sbin/sshd -f "$ssh_dir/sshd_config" -E "$ssh_dir/sshd.log"
until [[ -s $ssh_dir/sshd.pid ]]; do sleep 0.1; done
docker context rm -f korvat-bench-ssh >/dev/null 2>&1 || true
docker context create korvat-bench-ssh --docker host=ssh://root@korvat-ssh >/dev/null
KORVAT_SSH_CONFIG=$ssh_dir/ssh_config KORVAT_BENCH_SSH_CONTEXT=korvat-bench-ssh KORVAT_BENCH_SSHD_PID=$(cat "$ssh_dir/sshd.pid") \
  KORVAT_BENCH_CONTAINER=rest-1 KORVAT_BENCH_SCALE=9 "$cost" "$idle" ssh
echo "ssh connections opened in all: $(grep -c 'Connection from' "$ssh_dir/sshd.log")"
kill "$(cat "$ssh_dir/sshd.pid")"; docker context rm -f korvat-bench-ssh >/dev/null; rm -rf "$ssh_dir"

echo "== cost at rest, 1,000 containers and 300 volumes (over ${idle} s each)"
for i in $(seq 10 1000); do echo "$i rest$((i % 40))"; done | xargs -P 16 -n 2 sh -c \
  'docker create --name "rest-$0" -l com.docker.compose.project="$1" -l com.docker.compose.service=web "$KORVAT_TEST_IMAGE" true >/dev/null'
seq 1 300 | xargs -P 16 -I{} docker volume create "rest-vol-{}" >/dev/null
KORVAT_BENCH_CONTAINER=rest-1 KORVAT_BENCH_SCALE=1000 "$cost" "$idle"

echo "== reclaim plan, 1,000 containers, 300 volumes and 200 images"
# Images of their own ids, every fourth left without a name; a tenth of the volumes anonymous.
docker create --name image-source "$KORVAT_TEST_IMAGE" true >/dev/null
seq 1 199 | xargs -P 16 -I{} sh -c 'if [ $(({} % 4)) -eq 0 ]; then docker commit -c "LABEL n={}" image-source >/dev/null; else docker commit -c "LABEL n={}" image-source "bench-image-{}:1" >/dev/null; fi'
seq 1 30 | xargs -P 16 -I{} docker volume create >/dev/null
"$bench" reclaim
docker rm image-source >/dev/null
docker ps -aq | xargs -r docker rm -f >/dev/null
docker volume ls -q | xargs -r docker volume rm >/dev/null
docker images -q | grep -v "$(docker images -q "$KORVAT_TEST_IMAGE")" | xargs -r docker rmi -f >/dev/null
