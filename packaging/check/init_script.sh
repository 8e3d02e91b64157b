# shellcheck shell=bash disable=SC2154,SC2216
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

# Makes the processes there two minutes older, for what reads /proc/uptime.
age_processes() {
  awk '{ print $1 + 120, $2 }' /proc/uptime >"$root/tmp/uptime"
  inside mount --bind /tmp/uptime /proc/uptime
}

real_age() { inside umount /proc/uptime; }

# Runs prepare without waiting for the parameter tool: prepare "VARIABLE=VALUE ..." [ARGUMENT...]. Its
# messages are in $messages.
prepare_script() {
  local settings=$1
  shift
  messages=$(inside sh -c "KOVOTCP_WAIT=0; $settings; export KOVOTCP_WAIT KOVOTCP_RESTORE PATH
    exec /usr/libexec/kovotcp/prepare $*" 2>&1) ||
    fail "prepare fails: $messages"
}

says() { [[ $messages == *"$1"* ]] || fail "$2: ${messages:-no message}"; }

owner() { stat -c %u "$root$1"; }

# Programs in /race that run instead of those in PATH: race NAME 'COMMANDS'.
race() {
  mkdir -p "$root/race"
  rm -f "$root"/race/*
  printf '#!/bin/sh\nPATH=${PATH#*:}\n%s\n' "$2" | install -m 755 /dev/stdin "$root/race/$1"
}

check_restore() {
  local new=$root/www/pelm/kovo.txt.new restore='KOVOTCP_RESTORE=yes' racing='KOVOTCP_RESTORE=yes; PATH=/race:$PATH'
  mkdir -p "$root"/{www/pelm,mnt/persistent}
  rm -f "$root/www/pelm/kovo.txt"
  cp docs/examples/kovo.txt "$root/mnt/persistent"
  ln -s /victim "$new"
  prepare_script "$restore"
  cmp -s {docs/examples,"$root/www/pelm"}/kovo.txt || fail "prepare does not restore the definitions: $messages"
  [[ ! -e $root/victim && ! -L $new ]] || fail "prepare follows a link in place of its temporary file"

  rm "$root/www/pelm/kovo.txt"
  race rm 'rm "$@"; ln -s /victim /www/pelm/kovo.txt.new'
  prepare_script "$racing"
  [[ ! -e $root/victim ]] || fail "prepare follows a link that was made just before its temporary file"
  says "cannot restore" "prepare does not report that it could not restore the definitions"
  race timeout 'shift; mkfifo /www/pelm/kovo.txt.new; exec timeout 1 "$@"'
  prepare_script "$racing"
  says "cannot restore" "prepare waits for the reader of a FIFO in place of its temporary file"
  race cat 'echo partial; exit 1'
  prepare_script "$racing"
  [[ ! -e $new && ! -e $root/www/pelm/kovo.txt ]] || fail "prepare leaves a partial copy"

  ln -s /data/kovo.txt "$root/www/pelm/kovo.txt"
  prepare_script "$restore"
  [[ -L $root/www/pelm/kovo.txt && ! -e $root/data ]] || fail "prepare replaces the maker's link"
  rm -r "$root/www/pelm/kovo.txt" "$root/race"
  cp docs/examples/kovo.txt "$root/www/pelm"
}

check_wait() {
  local status=0
  prepare_script 'KOVOTCP_WAIT=08; PATH=/device/bin:$PATH'
  [[ ! $messages ]] || fail "prepare does not take 08: $messages"
  prepare_script 'KOVOTCP_WAIT=soon; PATH=/device/bin:$PATH'
  says 'KOVOTCP_WAIT=soon is not' "prepare takes a wait that is no number"
  mv "$root"/device/bin/{ipc,late}
  prepare_script 'KOVOTCP_WAIT="01s # a comment"'
  says 'within 1 s:' "prepare does not take 01s and a comment"
  # Its reader ends before the first message.
  { sleep 0.2 && inside sh -c 'KOVOTCP_WAIT=1 exec /usr/libexec/kovotcp/prepare' 2>&1 && touch "$root/tmp/ended"; } | true
  mv "$root"/device/bin/{late,ipc}
  [[ -e $root/tmp/ended ]] || fail "prepare ends with its reader"
}

check_log_directory() {
  local log=$root/var/tmp/log
  rm -r "$log"
  ln -s /etc "$log" && chown -h 1234 "$log"
  prepare_script :
  [[ -d $log && ! -L $log && -L $(echo "$root"/var/tmp/kovotcp.*/log) ]] || fail "prepare follows another user's link: $messages"
  says 'link or file of another user' "prepare does not report a link in place of the log directory"
  rm -r "$root"/var/tmp/kovotcp.*
  chown 1234 "$log"
  touch "$log/file"
  prepare_script :
  says 'belongs to another user' "prepare does not report another user's log directory"
  [[ -e $log/file && $(owner /var/tmp/log) == 1234 ]] || fail "prepare changes another user's log directory"
  rm -r "$log"
  mkdir "$root/logs"
  ln -s /logs "$log"
  prepare_script :
  [[ -L $log && ! $messages ]] || fail "prepare does not keep root's link to the logs: $messages"
  rm -r "$log" "$root/logs"
  mkdir "$log"
}

# Checks that a user cannot make root give files away: check_give USER
check_give() {
  local uid path
  uid=$(inside id -u "$1")
  mkdir -p "$root"/{www/pelm,mnt/persistent,secret/of,maker}
  touch "$root"/secret/{file,twice} "$root/mnt/persistent/kovo_conf.txt"
  chown "$uid" "$root"/{www/pelm,mnt/persistent}
  rm -rf "$root"/www/pelm/{config,tmp} "$root/var/tmp/log"
  ln -s /secret "$root/www/pelm/config"
  ln -s /secret/file "$root/mnt/persistent/kovo_link"
  ln "$root/secret/twice" "$root/mnt/persistent/kovo_twice"
  ln -s /secret/of "$root/var/tmp/log"
  chown -h "$uid" "$root"/{www/pelm/config,var/tmp/log}
  chown -h 1234 "$root/mnt/persistent/kovo_link"
  touch "$root/tmp/kovo_var.txt"
  prepare_script : --user "$1"
  for path in secret secret/of secret/file secret/twice; do
    [[ $(owner /$path) == 0 ]] || fail "prepare gives away /$path, to which a user's name leads"
  done
  for path in var/tmp/log www/pelm mnt/persistent mnt/persistent/kovo_conf.txt run/kovotcp.pid; do
    [[ $(owner /$path) == "$uid" ]] || fail "prepare does not give /$path to the user"
  done
  [[ ! -e $root/tmp/kovo_var.txt ]] || fail "prepare leaves another user's file in /tmp"
  rm -r "$root"/mnt/persistent/kovo_* "$root"/www/pelm/config "$root"/var/tmp/{log,kovotcp.*}
  ln -s /maker "$root/var/tmp/log"
  prepare_script : --user "$1"
  [[ $(owner /maker) == "$uid" ]] || fail "prepare does not follow root's link to the logs"
  rm -r "$root"/{secret,maker,var/tmp/log}
  mkdir "$root/var/tmp/log"
  chown 0 "$root"/{www/pelm,mnt/persistent}
  rm -f "$root"/run/kovotcp*.pid
}

# A client of the status service that waits is neither the daemon nor ended by stop.
check_client() {
  local client reader
  # Its reader does not read: the pipe is full.
  { head -c 65536 /dev/zero && inside /usr/sbin/kovotcp --client getStatus; } | sleep 100 &
  reader=$!
  wait_for one_daemon || fail "the client does not run"
  client=$(daemons)
  service_status 3 "with a running client"
  ! healthy || fail "a client counts as a healthy daemon"
  service stop
  kill -0 "$client" || fail "stop ends a client"
  service start || fail "start fails beside a client"
  service_status 0 "started beside a client"
  kill -0 "$client" || fail "start ends a client"
  kill "$reader"
  service stop
  wait_for no_daemon || fail "stop does not end the daemon beside a client"
}

# Checks that stop ends a start that waits, which counts as healthy.
check_waiting_start() {
  local waiting
  ! healthy || fail "no daemon counts as healthy"
  mv "$root"/device/bin/{ipc,late}
  service start 2>/dev/null &
  waiting=$!
  wait_for test -s "$root/run/kovotcp-prepare.pid" || fail "prepare writes no pid file"
  healthy || fail "a start that waits counts as unhealthy"
  service stop
  ! wait "$waiting" || fail "stop does not end a start that waits"
  sleep 1
  no_daemon || fail "a start that was stopped starts the daemon"
  ! healthy || fail "the pid file of an ended prepare counts as healthy"
  mv "$root"/device/bin/{late,ipc}
}

# A receiver whose port another user has taken is not seen from outside.
check_taken_port() {
  local taker
  python3 -c 'import os, socket, time
os.setuid(1234)
taken = socket.socket(type=socket.SOCK_DGRAM)
taken.bind(("127.0.0.1", 2728))
time.sleep(60)' &
  taker=$!
  wait_for grep -q ' 0100007F:0AA8 ' /proc/net/udp || fail "the port cannot be taken"
  service start || fail "start fails beside a taken port"
  healthy || fail "a daemon that has just started counts as unhealthy"
  age_processes
  ! healthy || fail "a port of another user counts as the daemon's"
  real_age
  kill "$taker"
  service stop
}

check_init_script() {
  local first taken
  check_restore
  check_wait
  check_log_directory
  service_status 3 "before the first start"
  printf '#!/bin/sh\nexec cat >>/tmp/syslog\n' | install -D -m 755 /dev/stdin "$root/device/bin/logger"
  mv "$root"/etc/passwd{,.hidden}
  ! service start 2>/dev/null || fail "a start that fails is not reported"
  mv "$root"/etc/passwd{.hidden,}
  check_waiting_start
  check_client
  check_taken_port
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

  [[ ! -e $root/run/kovotcp-prepare.pid ]] || fail "prepare leaves its pid file"
  rm -f "$root"/var/tmp/log/* "$root/www/pelm/kovo.txt"
  (sleep 3 && mv "$root"/device/bin/{late,ipc}) &
  printf 'KOVOTCP_WAIT=20\nKOVOTCP_RESTORE=yes\n' >>"$root/etc/default/kovotcp"
  service start || fail "start fails"
  cmp -s {docs/examples,"$root/www/pelm"}/kovo.txt || fail "the definitions are not restored"
  age_processes
  wait_for healthy || fail "it does not work after its start"
  real_age
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
  age_processes
  wait_for healthy || fail "not healthy after a crash"
  kill -STOP "$(daemons)"  # so that only SIGKILL ends it
  ! healthy || fail "a stopped daemon counts as healthy"
  real_age
  service stop || fail "stop fails"
  no_daemon || fail "stop returned before the daemon had ended"
  service stop || fail "a second stop is an error"
  service_status 3 "stopped"
}
