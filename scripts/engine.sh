#!/usr/bin/env bash
# A private docker engine for Korvat's tests and demo: its own dockerd on its own
# socket, a private DOCKER_CONFIG (compose plugin and a context that points at the
# engine), and a busybox image built locally, since no registry can be reached.
#
#   engine.sh start   start it (harmless when it already runs)
#   engine.sh stop    stop it and remove every process, mount and directory it made
#   engine.sh restart stop the daemon, keeping its data, and start it again
#   engine.sh env     print the shell exports that point docker at it
set -euo pipefail

root=${KORVAT_ENGINE_DIR:-/tmp/korvat-engine}
execroot=${KORVAT_ENGINE_EXEC:-/tmp/kx-engine}
cache=${KORVAT_ENGINE_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/korvat-engine}
sock=$root/docker.sock
config=$root/config
context=korvat-test
image=korvat-test/busybox:1

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
  dpkg-deb -x "$work"/${pkg}_*.deb "$work/x"
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
export KORVAT_TEST_IMAGE="$image"
unset DOCKER_HOST DOCKER_CONTEXT
E
}

running() {
  [[ -f $root/dockerd.pid ]] && kill -0 "$(cat "$root/dockerd.pid")" 2>/dev/null
}

dk() { PATH="$cache/bin:$PATH" DOCKER_CONFIG=$config docker "$@"; }

start() {
  ensure_tools
  mkdir -p "$root" "$config/cli-plugins"
  cp "$cache/docker-compose" "$config/cli-plugins/docker-compose"
  if ! running; then
    command -v dockerd >/dev/null || { say "dockerd is not installed (run scripts/setup.sh)"; exit 1; }
    mkdir -p "$execroot"
    say "starting dockerd on $sock"
    nohup dockerd --host "unix://$sock" --data-root "$root/data" --exec-root "$execroot" \
      --pidfile "$root/dockerd.pid" >"$root/dockerd.log" 2>&1 </dev/null &
    for _ in $(seq 1 150); do
      dk -H "unix://$sock" version >/dev/null 2>&1 && break
      sleep 0.2
    done
    dk -H "unix://$sock" version >/dev/null 2>&1 || { say "dockerd did not answer; its log:"; tail -20 "$root/dockerd.log" >&2; exit 1; }
  fi
  if ! dk context inspect "$context" >/dev/null 2>&1; then
    dk context create "$context" --docker "host=unix://$sock" >/dev/null
  fi
  dk context use "$context" >/dev/null 2>&1
  if ! dk image inspect "$image" >/dev/null 2>&1; then
    build_image
  fi
}

build_image() {
  local work
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
  tar -C "$work/root" -c . | dk import -c 'CMD ["/bin/sh"]' -c 'ENV PATH=/bin' - "$image" >/dev/null
  rm -rf "$work"
}

file_is_static() { ! ldd "$1" >/dev/null 2>&1; }

# The pid in a pidfile, only while that process is still the one this engine started:
# its command line names this engine's own directory. A pid that was reused by then, by
# another engine or anything else, is left alone.
ours() {
  local file=$1 dir=$2 pid
  [[ -f $file ]] || return 1
  pid=$(cat "$file" 2>/dev/null) || return 1
  [[ $pid =~ ^[0-9]+$ ]] || return 1
  tr '\0' ' ' <"/proc/$pid/cmdline" 2>/dev/null | grep -qF -- "$dir" || return 1
  echo "$pid"
}

end() {
  local pid=$1
  kill "$pid" 2>/dev/null || true
  for _ in $(seq 1 100); do kill -0 "$pid" 2>/dev/null || return 0; sleep 0.1; done
  kill -9 "$pid" 2>/dev/null || true
}

stop() {
  # Read both before anything stops: dockerd removes containerd's pidfile on its way out.
  local daemon shim
  daemon=$(ours "$root/dockerd.pid" "$root") || daemon=
  shim=$(ours "$execroot/containerd/containerd.pid" "$execroot") || shim=
  if [[ -n $daemon ]] && running; then
    # Containers first, so no shim outlives the daemon.
    dk -H "unix://$sock" ps -aq 2>/dev/null | xargs -r docker -H "unix://$sock" rm -f >/dev/null 2>&1 || true
  fi
  [[ -n $daemon ]] && end "$daemon"
  [[ -n $shim ]] && end "$shim"
  local m
  for dir in "$root" "$execroot"; do
    [[ -d $dir ]] || continue
    while read -r m; do umount -l "$m" 2>/dev/null || true; done < <(awk -v d="$dir" '$2 ~ "^"d {print $2}' /proc/mounts | sort -r)
    rm -rf "$dir"
  done
}

# Ends the daemon and its containerd but keeps their data, as when a machine's engine
# restarts, then starts it again.
restart() {
  local daemon shim
  daemon=$(ours "$root/dockerd.pid" "$root") || daemon=
  shim=$(ours "$execroot/containerd/containerd.pid" "$execroot") || shim=
  [[ -n $daemon ]] && end "$daemon"
  [[ -n $shim ]] && end "$shim"
  start
}

case ${1:-} in
  start) start; exports ;;
  stop) stop ;;
  restart) restart ;;
  env) exports ;;
  *) echo "usage: $0 start|stop|restart|env" >&2; exit 2 ;;
esac
