# shellcheck shell=bash
# Sourced by the checks: the network of a daemon that is installed in a root directory of its own. The
# status service and the receivers of docs/examples/kovo.txt are outside of that root.

fail() {
  echo "${0##*/}: $*" >&2
  exit 1
}

# Runs the calling script again as root in new namespaces, which end with it, and so does $work, a
# directory in memory.
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

# Waits until a command succeeds; fails after ten seconds.
wait_for() {
  local tries=0
  until "$@" >/dev/null 2>&1; do
    ((++tries < 200)) || return 1
    sleep 0.05
  done
}

has_line() { grep -aq -- "$2" "$1"; }

# Starts what the device has besides the daemon: start_device DIRECTORY. The parameter tool is
# installed in DIRECTORY/bin; $received/lamps, mixer and panel are what the receivers get.
start_device() {
  received=$work/received
  mkdir "$received"
  install -D device/ipc "$1/bin/ipc"
  echo ENABLE_KOVO_EVENT=1 >"$1/params"
  packaging/check/surroundings "$received" &
  wait_for test -e "$received/panel" || fail "the receivers do not start"
}

# Sends a message to a port of the daemon: send_message tcp/2700 MESSAGE.
send_message() { printf '%s' "$2" >"/dev/${1%/*}/127.0.0.1/${1#*/}"; }

# Checks that the daemon works: check_work WHERE NAME, with NAME as the value of a setting.
check_work() {
  wait_for has_line "$root/tmp/kovo_var.txt" name=Lobby || fail "$1: the status was not queried"
  : >"$received/panel"
  send_message tcp/2700 $'doorState\n'
  wait_for has_line "$received/panel" 'Door of Lobby at' || fail "$1: the event was not sent"
  send_message udp/2727 "sysName=$2"
  wait_for has_line "$root/mnt/persistent/kovo_conf.txt" "sysName=$2" || fail "$1: a setting was not saved"
}

# Prints the process ids of the daemons in these namespaces, without their children, which are the
# same program until they execute a shell.
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
