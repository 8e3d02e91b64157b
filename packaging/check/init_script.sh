# shellcheck shell=bash disable=SC2154
# What the init script does in a root in which the daemon is installed, seen from outside; sourced by
# the checks that have one. `inside` runs a command in that root, $root is its path.

. packaging/check/device.sh

service() { inside "$init_script" "$@" >/dev/null; }

service_status() {
  local status=0
  service status || status=$?
  [[ $status == "$1" ]] || fail "status says $status in place of $1: $2"
}

ports_taken() { grep -c 'bind()' "$root/var/tmp/log/kovo.log"; }

check_init_script() {
  local first taken
  service_status 3 "before the first start"
  service start || fail "start fails"
  wait_for one_daemon || fail "it does not run after its start"
  wait_for has_line "$heard/lamps" "POWER ON" || fail "PowerOn was not sent"
  first=$(daemons)
  service_status 0 "started"
  service start || fail "a second start is an error"
  # The usual way to ask for a version starts a second daemon, which cannot stay.
  ! inside /usr/sbin/kovotcp --version >/dev/null 2>&1 || fail "the second daemon stayed"
  service_status 0 "after a second daemon has come and gone"
  [[ $(daemons) == "$first" ]] || fail "a second daemon runs, or another one than before"

  taken=$(ports_taken)
  service restart || fail "restart fails"
  wait_for one_daemon && [[ $(daemons) != "$first" ]] || fail "restart left the old daemon"
  wait_for grep -q 'network is ok' "$root/var/tmp/log/kovoevent.log" || fail "not up after restart"
  [[ $(ports_taken) == "$taken" ]] || fail "restart did not wait for the end: its ports were taken"
  kill -KILL "$(daemons)"
  wait_for no_daemon
  service_status 1 "killed"
  service start || fail "start after a crash fails"
  wait_for one_daemon || fail "it does not run after a crash"
  kill -STOP "$(daemons)"  # so that it does not hear of its end before it is killed
  service stop || fail "stop fails"
  no_daemon || fail "stop came back before the daemon was gone"
  service stop || fail "a second stop is an error"
  service_status 3 "stopped"
}
