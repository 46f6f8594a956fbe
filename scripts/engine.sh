#!/usr/bin/env bash
# A private docker engine for Korvat's tests and demo: its own dockerd on its own
# socket, a private DOCKER_CONFIG (compose plugin and a context that points at the
# engine), and a busybox image built locally, since no registry can be reached.
# Beside it runs a second engine, for what only shows with two: its own dockerd in a
# network namespace of its own, with no default bridge and no iptables rules, the same
# image, and a context of its own in the same DOCKER_CONFIG.
#
#   engine.sh start         start both (harmless when they already run)
#   engine.sh stop          stop both and remove every process, mount and directory they made
#   engine.sh restart       stop the first daemon, keeping its data, and start it again
#   engine.sh stop-second   stop the second daemon, keeping its data
#   engine.sh start-second  start the second daemon again (or for the first time)
#   engine.sh tidy          start whichever is stopped and take away everything a test made
#   engine.sh env           print the shell exports that point docker at them
set -euo pipefail

root=${KORVAT_ENGINE_DIR:-/tmp/korvat-engine}
execroot=${KORVAT_ENGINE_EXEC:-/tmp/kx-engine}
cache=${KORVAT_ENGINE_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/korvat-engine}
sock=$root/docker.sock
config=$root/config
context=korvat-test
image=korvat-test/busybox:1
# Test networks come from a range of their own: a developer's engines, which may already
# hold dozens of networks, rarely reach into it, and the next engine up skips whatever
# another one took. With a pool set, the daemon deletes docker0 and makes it anew from the
# pool each time it restarts.
pool=base=10.213.0.0/16,size=24
second=$root/second
sock2=$second/docker.sock
# As short as the first's: the daemons keep their unix sockets here, and a socket's path
# must fit in 107 bytes.
execroot2=${execroot}2
context2=korvat-second

say() { echo "engine: $*" >&2; }

# The docker client must understand --format json (23 or newer).
client_ok() {
  local v
  v=$(PATH="$cache/bin:$PATH" docker version --format '{{.Client.Version}}' 2>/dev/null) || v=$(PATH="$cache/bin:$PATH" docker --version 2>/dev/null | sed -E 's/.* ([0-9]+)\..*/\1/') || return 1
  [[ ${v%%.*} =~ ^[0-9]+$ ]] && ((${v%%.*} >= 23))
}

# Packages of the next Debian release, fetched with a private apt configuration so the
# system's own sources stay untouched. The mirror is the one this machine already uses.
fetch_next_release() {
  local pkg=$1 dest=$2 work uri
  work=$(mktemp -d)
  uri=$(sed -n 's/^URIs:[[:space:]]*//p' /etc/apt/sources.list.d/*.sources 2>/dev/null | grep -v security | head -1)
  [[ -n $uri ]] || uri=$(awk '$1=="deb" && $0 !~ /security/ {for(i=2;i<=NF;i++) if ($i ~ /^[a-z]+:\/\//) {print $i; exit}}' /etc/apt/sources.list 2>/dev/null)
  [[ -n $uri ]] || { say "no Debian mirror configured on this machine"; return 1; }
  mkdir -p "$work/lists/partial" "$work/cache/archives/partial"
  echo "deb [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] $uri trixie main" >"$work/sources.list"
  local opts=(-o Dir::Etc::SourceList="$work/sources.list" -o Dir::Etc::SourceParts=/dev/null
              -o Dir::State::Lists="$work/lists" -o Dir::Cache="$work/cache" -o APT::Sandbox::User=root)
  apt-get "${opts[@]}" update >/dev/null
  (cd "$work" && apt-get "${opts[@]}" download "$pkg" >/dev/null)
  dpkg-deb -x "$work/$pkg"_*.deb "$work/x"
  mkdir -p "$(dirname "$dest")"
  cp "$work/x/$3" "$dest"
  chmod +x "$dest"
  rm -rf "$work"
}

ensure_tools() {
  mkdir -p "$cache/bin"
  if ! client_ok; then
    say "fetching a docker client new enough for --format json"
    fetch_next_release docker-cli "$cache/bin/docker" usr/bin/docker
  fi
  if [[ ! -x $cache/docker-compose ]]; then
    say "fetching the compose plugin"
    fetch_next_release docker-compose "$cache/docker-compose" usr/libexec/docker/cli-plugins/docker-compose
  fi
}

exports() {
  cat <<E
export PATH="$cache/bin:\${PATH#$cache/bin:}"
export DOCKER_CONFIG="$config"
export KORVAT_TEST_SOCKET="$sock"
export KORVAT_TEST_CONTEXT="$context"
export KORVAT_TEST_SOCKET2="$sock2"
export KORVAT_TEST_CONTEXT2="$context2"
export KORVAT_TEST_IMAGE="$image"
unset DOCKER_HOST DOCKER_CONTEXT
E
}

dk() { PATH="$cache/bin:$PATH" DOCKER_CONFIG=$config docker "$@"; }

answers() { dk -H "unix://$1/docker.sock" version >/dev/null 2>&1; }

# launch DIR EXECROOT host|own FLAGS...: a dockerd keeping its socket, data, pid file and
# log in DIR, unless that one already runs; "own" gives it a network namespace of its own,
# which goes with the daemon and everything it made there. unshare and sh both exec, so
# the pid that lands in the pidfile is the one started here.
launch() {
  local dir=$1 xroot=$2 net=$3
  shift 3
  ours "$dir/dockerd.pid" "$dir/dockerd.pid" >/dev/null && return 0
  command -v dockerd >/dev/null || { say "dockerd is not installed (run scripts/setup.sh)"; exit 1; }
  mkdir -p "$dir" "$xroot"
  local cmd=(dockerd --host "unix://$dir/docker.sock" --data-root "$dir/data" --exec-root "$xroot"
             --pidfile "$dir/dockerd.pid" "$@")
  # Loopback comes up first, or a port published on 127.0.0.1 there has no address to take.
  [[ $net == own ]] && cmd=(unshare --net sh -c 'ip link set lo up && exec "$@"' sh "${cmd[@]}")
  say "starting dockerd on $dir/docker.sock"
  # Not the caller's TMPDIR: runc keeps each exec's files there, and a test suite's own
  # temporary directory, gone when the suite ends, would fail every exec after it.
  env -u TMPDIR nohup "${cmd[@]}" >"$dir/dockerd.log" 2>&1 </dev/null &
}

await() {
  local dir=$1
  for _ in $(seq 1 150); do
    answers "$dir" && return 0
    sleep 0.2
  done
  say "dockerd did not answer; its log:"
  tail -20 "$dir/dockerd.log" >&2
  exit 1
}

launch_first() { launch "$root" "$execroot" host --default-address-pool "$pool"; }

# Out of the host's network namespace: a daemon with --bridge=none deletes whatever docker0
# it finds, cutting the first engine's containers off, and its networks would take bridges
# and addresses from the host's. From there its published ports and the host's loopback
# are out of reach.
launch_second() {
  local flags=(--bridge=none --iptables=false)
  # Older daemons do not know the flag, and never write ip6tables rules anyway.
  if dockerd --help 2>&1 | grep -q -- --ip6tables; then flags+=(--ip6tables=false); fi
  launch "$second" "$execroot2" own "${flags[@]}"
}

prepare() {
  ensure_tools
  mkdir -p "$root" "$config/cli-plugins"
  cp "$cache/docker-compose" "$config/cli-plugins/docker-compose"
}

finish_first() {
  if ! dk context inspect "$context" >/dev/null 2>&1; then
    dk context create "$context" --docker "host=unix://$sock" >/dev/null
  fi
  dk context use "$context" >/dev/null 2>&1
  if ! dk -H "unix://$sock" image inspect "$image" >/dev/null 2>&1; then
    build_image "$sock"
  fi
}

# The same image as on the first engine, id and all, when the first is there to give it.
finish_second() {
  if ! dk context inspect "$context2" >/dev/null 2>&1; then
    dk context create "$context2" --docker "host=unix://$sock2" >/dev/null
  fi
  if ! dk -H "unix://$sock2" image inspect "$image" >/dev/null 2>&1; then
    if answers "$root" && dk -H "unix://$sock" image inspect "$image" >/dev/null 2>&1; then
      dk -H "unix://$sock" save "$image" | dk -H "unix://$sock2" load >/dev/null
    else
      build_image "$sock2"
    fi
  fi
}

# Both daemons come up together; the second then takes the first's image.
start() {
  prepare
  launch_first
  launch_second
  await "$root"
  await "$second"
  finish_first
  finish_second
}

start_second() {
  prepare
  launch_second
  await "$second"
  finish_second
}

build_image() {
  local host=unix://$1 work
  work=$(mktemp -d)
  if [[ ! -f $cache/busybox ]]; then
    if [[ -x /bin/busybox ]] && file_is_static /bin/busybox; then
      cp /bin/busybox "$cache/busybox"
    else
      (cd "$work" && apt-get download busybox-static >/dev/null && dpkg-deb -x busybox-static_*.deb x)
      cp "$work/x/bin/busybox" "$cache/busybox"
    fi
  fi
  mkdir -p "$work/root/bin" "$work/root/tmp" "$work/root/data"
  cp "$cache/busybox" "$work/root/bin/busybox"
  local applet
  for applet in sh ash sleep echo cat ls env true false mkdir rm printf seq head tail wc grep sed touch date id kill ps; do
    ln -s busybox "$work/root/bin/$applet"
  done
  tar -C "$work/root" -c . | dk -H "$host" import -c 'CMD ["/bin/sh"]' -c 'ENV PATH=/bin' - "$image" >/dev/null
  rm -rf "$work"
}

file_is_static() { ! ldd "$1" >/dev/null 2>&1; }

# The pid in a pidfile, only while that process is still the one this engine started:
# its command line holds mark, a path of this engine's own. A pid that was reused by then,
# by another engine or anything else, is left alone.
ours() {
  local file=$1 mark=$2 pid
  [[ -f $file ]] || return 1
  pid=$(cat "$file" 2>/dev/null) || return 1
  [[ $pid =~ ^[0-9]+$ ]] || return 1
  tr '\0' ' ' 2>/dev/null <"/proc/$pid/cmdline" | grep -qF -- "$mark" || return 1
  echo "$pid"
}

# A daemon gives its containers up to 15 seconds to stop before it goes, so it gets a little
# longer than that. A killed one is waited for too: a new daemon refuses to start while the
# pid in its pidfile is still there.
end() {
  local pid=$1
  kill "$pid" 2>/dev/null || true
  for _ in $(seq 1 200); do kill -0 "$pid" 2>/dev/null || return 0; sleep 0.1; done
  kill -9 "$pid" 2>/dev/null || true
  for _ in $(seq 1 50); do kill -0 "$pid" 2>/dev/null || return 0; sleep 0.1; done
}

# halt DIR EXECROOT: ends a daemon and its containerd but keeps their data, as when a
# machine's engine stops. Each is known by a path only its own command line names, since
# the second engine's paths begin with the first's.
halt() {
  local daemon shim
  # Read both before anything stops: dockerd removes containerd's pidfile on its way out.
  daemon=$(ours "$1/dockerd.pid" "$1/dockerd.pid") || daemon=
  shim=$(ours "$2/containerd/containerd.pid" "$2/containerd/") || shim=
  if [[ -n $daemon ]]; then end "$daemon"; fi
  if [[ -n $shim ]]; then end "$shim"; fi
}

# empty DIR: the engine's containers go before it does, so no shim outlives the daemon, and
# its networks too, whose bridges would otherwise stay in the kernel holding their
# addresses long after the data is gone.
empty() {
  local dir=$1 host=unix://$1/docker.sock ids
  ours "$dir/dockerd.pid" "$dir/dockerd.pid" >/dev/null && answers "$dir" || return 0
  mapfile -t ids < <(dk -H "$host" ps -aq 2>/dev/null)
  if ((${#ids[@]})); then dk -H "$host" rm -f "${ids[@]}" >/dev/null 2>&1 || true; fi
  dk -H "$host" network prune -f >/dev/null 2>&1 || true
}

# remove DIR...: unmounts whatever is left under each directory, then deletes it.
remove() {
  local d m
  for d in "$@"; do
    [[ -d $d ]] || continue
    while read -r m; do umount -l "$m" 2>/dev/null || true; done < <(awk -v d="$d" '$2 == d || index($2, d "/") == 1 {print $2}' /proc/mounts | sort -r)
    rm -rf "$d"
  done
}

# The daemons take seconds each to shut down, so they do it together. The second lives
# inside the first's directory, so its mounts go first.
stop() {
  empty "$second"
  empty "$root"
  halt "$second" "$execroot2" &
  halt "$root" "$execroot" &
  wait
  remove "$second" "$execroot2" "$root" "$execroot"
}

# The first daemon goes and comes back with its data, as when a machine's engine restarts;
# the second is left as it is.
restart() {
  halt "$root" "$execroot"
  prepare
  launch_first
  await "$root"
  finish_first
}

# What one live test suite left, however it ended, goes before the next begins: every
# container, network, volume and image but the test image, and every context but the two.
# A daemon the suite left stopped comes back.
tidy() {
  local dir host ids keep
  if ! answers "$root" || ! answers "$second"; then start; fi
  for dir in "$root" "$second"; do
    host=unix://$dir/docker.sock
    mapfile -t ids < <(dk -H "$host" ps -aq)
    if ((${#ids[@]})); then dk -H "$host" rm -f -v "${ids[@]}" >/dev/null; fi
    dk -H "$host" network prune -f >/dev/null
    mapfile -t ids < <(dk -H "$host" volume ls -q)
    if ((${#ids[@]})); then dk -H "$host" volume rm -f "${ids[@]}" >/dev/null; fi
    keep=$(dk -H "$host" image inspect --format '{{.Id}}' "$image") || keep=none
    mapfile -t ids < <(dk -H "$host" image ls -aq --no-trunc | sort -u | grep -vxF "$keep")
    if ((${#ids[@]})); then dk -H "$host" image rm -f "${ids[@]}" >/dev/null; fi
    # Other names the test image was given go; the image stays.
    mapfile -t ids < <(dk -H "$host" image inspect --format '{{range .RepoTags}}{{println .}}{{end}}' "$image" | grep -vx -e '' -e "$image")
    if ((${#ids[@]})); then dk -H "$host" image rm "${ids[@]}" >/dev/null; fi
  done
  mapfile -t ids < <(dk context ls -q | grep -vxE "default|$context|$context2")
  if ((${#ids[@]})); then dk context rm -f "${ids[@]}" >/dev/null; fi
  # The contexts, the current one and the test image, as start leaves them.
  finish_first
  finish_second
}

case ${1:-} in
  start) start; exports ;;
  stop) stop ;;
  restart) restart ;;
  stop-second) halt "$second" "$execroot2" ;;
  start-second) start_second ;;
  tidy) tidy ;;
  env) exports ;;
  *) echo "usage: $0 start|stop|restart|stop-second|start-second|tidy|env" >&2; exit 2 ;;
esac
