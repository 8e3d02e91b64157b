# shellcheck shell=bash disable=SC2154
# Checks the init script in a root directory in which the daemon is installed; sourced by the checks
# that have one. `inside` runs a command in that root, $root is its path.

. packaging/check/device.sh

service() { inside "$init_script" "$@" >/dev/null; }

service_status() {
  local status=0
  service status || status=$?
  [[ $status == "$1" ]] || fail "status is $status instead of $1: $2"
}

ports_taken() { grep -c 'bind()' "$root/var/tmp/log/kovo.log"; }

healthy() { inside /usr/sbin/kovotcp-health 2>/dev/null; }

check_init_script() {
  local first taken
  service_status 3 "before the first start"
  printf '#!/bin/sh\nexec cat >>/tmp/syslog\n' | install -D -m 755 /dev/stdin "$root/device/bin/logger"
  mv "$root"/etc/passwd{,.hidden}
  ! service start 2>/dev/null || fail "a start that fails is not reported"
  mv "$root"/etc/passwd{.hidden,}
  mv "$root"/device/bin/{ipc,late}
  echo KOVOTCP_WAIT=1 >>"$root/etc/default/kovotcp"
  service start || fail "start fails without the parameter tool"
  wait_for grep -q 'ERROR: ipc' "$root/tmp/syslog" || fail "a missing parameter tool is not reported"
  wait_for grep -q 'ipc: not found' "$root/tmp/syslog" || fail "standard error is not logged"
  inside rm /var/run/kovotcp-service.pid
  service start
  one_daemon || fail "start without the pid file makes a second daemon"
  service stop
  no_daemon || fail "stop does not find the daemon without the pid file"

  rm -f "$root"/var/tmp/log/* "$root/www/pelm/kovo.txt"
  (sleep 3 && mv "$root"/device/bin/{late,ipc}) &
  printf 'KOVOTCP_WAIT=20\nKOVOTCP_RESTORE=yes\n' >>"$root/etc/default/kovotcp"
  service start || fail "start fails"
  cmp -s {docs/examples,"$root/www/pelm"}/kovo.txt || fail "the definitions are not restored"
  wait_for healthy || fail "it does not work after its start"
  wait_for has_line "$received/lamps" "POWER ON" || fail "PowerOn was not sent"
  first=$(daemons)
  service_status 0 "started"
  service start || fail "a second start is an error"
  # --version starts a second daemon, which must exit.
  ! inside /usr/sbin/kovotcp --version >/dev/null 2>&1 || fail "the second daemon still runs"
  service_status 0 "after a second daemon has come and gone"
  [[ $(daemons) == "$first" ]] || fail "a second daemon runs, or the first one was replaced"

  taken=$(ports_taken)
  service restart || fail "restart fails"
  wait_for one_daemon && [[ $(daemons) != "$first" ]] || fail "restart left the old daemon"
  wait_for grep -q 'network is ok' "$root/var/tmp/log/kovoevent.log" || fail "it does not start after restart"
  [[ $(ports_taken) == "$taken" ]] || fail "restart did not wait for the end: its ports were taken"
  kill -KILL "$(daemons)"
  wait_for no_daemon
  service_status 1 "killed"
  service start || fail "start after a crash fails"
  wait_for one_daemon || fail "it does not run after a crash"
  wait_for healthy || fail "not healthy after a crash"
  kill -STOP "$(daemons)"  # so that only SIGKILL ends it
  ! healthy || fail "a stopped daemon counts as healthy"
  service stop || fail "stop fails"
  no_daemon || fail "stop returned before the daemon had ended"
  service stop || fail "a second stop is an error"
  service_status 3 "stopped"
}
