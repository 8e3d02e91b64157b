# shellcheck shell=bash
# Sourced by the checks: a device's surroundings for a daemon that is installed in a root of its own.
# The status service and the receivers of docs/examples/kovo.txt are outside of that root, in the
# same network.

fail() {
  echo "${0##*/}: $*" >&2
  exit 1
}

# Runs the calling script again in namespaces of its own, which end with it, by root. What it does in
# $work, a directory in memory, is gone then.
enter_namespaces() {
  local as_root=()
  if [[ ${KOVO_NAMESPACES-} != "$0" ]]; then
    ((EUID == 0)) || as_root=(sudo)
    KOVO_NAMESPACES=$0 exec "${as_root[@]}" unshare --mount --net --pid --fork --kill-child \
      --mount-proc "$0" "$@"
  fi
  work=$PWD/build/check
  mkdir -p "$work"
  mount -t tmpfs -o mode=755 tmpfs "$work"
}

# Waits until a command succeeds; false after ten seconds.
wait_for() {
  local tries=0
  until "$@" >/dev/null 2>&1; do
    ((++tries < 200)) || return 1
    sleep 0.05
  done
}

has_line() { grep -aq -- "$2" "$1"; }

# Everything that the device has besides the daemon. Its parameter tool goes to bin in the directory
# given, what its receivers hear to $heard/lamps, mixer and panel.
start_device() {
  heard=$work/heard
  mkdir "$heard"
  install -D device/ipc "$1/bin/ipc"
  echo ENABLE_KOVO_EVENT=1 >"$1/params"
  packaging/check/surroundings "$heard" &
  wait_for test -e "$heard/panel" || fail "the surroundings do not start"
}

# Sends a message to a port of the daemon: tell tcp/2700 MESSAGE.
tell() { printf '%s' "$2" >"/dev/${1%/*}/127.0.0.1/${1#*/}"; }

# What a daemon does that works: check_work WHERE NAME, which is set as a setting.
check_work() {
  wait_for has_line "$root/tmp/kovo_var.txt" name=Lobby || fail "$1: the status was not asked"
  : >"$heard/panel"
  tell tcp/2700 $'doorState\n'
  wait_for has_line "$heard/panel" 'Door of Lobby at' || fail "$1: the event of a name was not sent"
  tell udp/2727 "sysName=$2"
  wait_for has_line "$root/mnt/persistent/kovo_conf.txt" "sysName=$2" || fail "$1: a setting was not kept"
}

# The numbers of the daemons that run anywhere in these namespaces, without their children, which are
# the same program until they have become a shell.
daemons() {
  local process parent
  for process in /proc/[0-9]*; do
    is_daemon "$process" || continue
    parent=$(sed -n 's/^PPid:\t//p' "$process/status" 2>/dev/null) || continue
    is_daemon "/proc/$parent" || echo "${process#/proc/}"
  done
}

is_daemon() { [[ $(readlink "$1/exe") == */usr/sbin/kovotcp* ]]; }
one_daemon() { [[ $(daemons | wc -l) == 1 ]]; }
no_daemon() { [[ -z $(daemons) ]]; }
