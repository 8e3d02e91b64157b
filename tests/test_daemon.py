"""What a scenario cannot express: floods, limits, resources, and lists in documents."""

import os
import re
import resource
import select
import socket
import subprocess
import time
from collections.abc import Callable
from pathlib import Path

import pytest

import device
from device import logs
from tests.conftest import IS_EMULATED, IS_SANITIZED, ROOT

MAIN_LOG = "/var/tmp/log/kovo.log"
EVENT_LOG = "/var/tmp/log/kovoevent.log"
DEFINITIONS = "/www/pelm/kovo.txt"
EVENT_LIST = "/tmp/kovo_event_list.txt"
# False in a user namespace.
IS_HOST_ROOT = Path("/proc/self/uid_map").read_text().split() == ["0", "0", "4294967295"]
# Sanitizers and emulators leave no room for limits and use memory of their own.
needs_plain_process = pytest.mark.skipif(IS_SANITIZED or IS_EMULATED, reason="not a plain process")

Start = Callable[..., device.Daemon]
Tcp, Udp = device.TcpReceiver, device.UdpReceiver


def log(path: str) -> str:
    """Returns a log with "[routine:123]" as "[routine]"."""
    return re.sub(logs.ROUTINE, r"[\1]", device.read_file(path).decode("latin-1"))


def is_logged(path: str, part: str, times: int = 1, timeout: float = 20.0) -> bool:
    """Waits until a log contains a text so many times."""
    return device.wait_until(lambda: log(path).count(part) >= times, timeout)


def steps(event: str, count: int, protocol: str, port: int, data: bytes) -> str:
    """Returns the definition lines of an event with `count` equal steps."""
    fields = {"Protocol": protocol, "IP": "127.0.0.1", "Port": port}
    return f"{event}Count={count}\n" + "".join(
        device.step_lines(event, index, data, **fields) for index in range(count)
    )


def connect(port: int) -> socket.socket:
    connection = socket.create_connection(("127.0.0.1", port), timeout=20)
    time.sleep(0.0003)  # the backlog is short
    return connection


def settled_usage(daemon: device.Daemon) -> device.Usage:
    """Returns the daemon's usage after its first passes, which open their marker file for good."""
    time.sleep(1)
    return daemon.usage()


def test_exhausted_descriptors_only_delay(start: Start, tcp: Tcp) -> None:
    device.write_file(DEFINITIONS, steps("A", 128, "TCP", tcp.port, b"A"))
    daemon = start(limits={"nofile": 60})
    idle = connect(2700)
    device.send_tcp(2700, b"A\n")
    assert device.wait_until(lambda: daemon.usage().descriptors >= 59)
    cpu_ms = daemon.usage().cpu_ms
    device.send_tcp(2700, b"next\n")
    assert idle.recv(1) == b"", "no idle connection was closed"
    time.sleep(0.5)
    assert daemon.usage().cpu_ms - cpu_ms < 200, "it polls without a pause"
    assert is_logged(EVENT_LOG, "push event: next\n")
    assert is_logged(EVENT_LOG, " TCP A\n")
    device.write_file(DEFINITIONS, "BCount=1\n")
    assert device.wait_until(lambda: device.read_file(EVENT_LIST).startswith(b"B"))


def test_a_burst_fills_exactly_512_slots_and_leaks_nothing(
    start: Start, tcp: Tcp, udp: Udp
) -> None:
    big = steps("Big", 128, "TCP", tcp.port, b"B") + "BigXMLfield=big\n"
    device.write_file(DEFINITIONS, big + steps("One", 1, "UDP", udp.port, b"1"))
    daemon = start()
    before = settled_usage(daemon)
    device.send_tcp(2700, b"big\n" * 5)
    assert is_logged(EVENT_LOG, " TCP B\n", 640)
    assert device.wait_until(lambda: tcp.connections == 512)
    assert device.wait_until(lambda: daemon.usage().threads == before.threads)
    assert tcp.connections == 512, "dropped steps were sent later"
    lost = "[exec_event] Error: no sender for {} steps, last of {}\n".format
    assert is_logged(MAIN_LOG, lost(128, "Big"))
    # The first search finds no free slot, only finished ones, and frees them for the second.
    device.send_tcp(2700, b"One\nOne\n")
    assert udp.wait(1)
    assert is_logged(MAIN_LOG, lost(1, "One"))
    assert len(udp.arrivals) == 1
    memory = daemon.usage().anonymous_kib
    for events in range(101, 1002, 100):
        device.send_tcp(2700, b"One\n" * 100)
        assert udp.wait(events, 60)
        assert device.wait_until(lambda: daemon.usage().threads == before.threads)
    after = daemon.usage()
    assert (after.descriptors, after.children) == (before.descriptors, 0)
    if not IS_SANITIZED:  # they keep freed memory
        assert after.anonymous_kib < memory + 512


@needs_plain_process
def test_senders_that_cannot_start_give_their_slots_back(start: Start, tcp: Tcp, udp: Udp) -> None:
    big = steps("Big", 128, "TCP", tcp.port, b"B")
    # All are started before the first one ends.
    big += "BigDelay0=1000\n" + "".join(f"BigDelay{step}=0\n" for step in range(1, 128))
    device.write_file(DEFINITIONS, big + steps("One", 1, "UDP", udp.port, b"1"))
    daemon = start(environment={"MALLOC_ARENA_MAX": "1"})
    before = settled_usage(daemon)
    status = device.read_file(f"/proc/{daemon.pid}/status")
    used_kib = int(status.split(b"VmSize:")[1].split()[0])
    room = (used_kib << 10) + (12 << 20)  # for some hundred senders
    resource.prlimit(daemon.pid, resource.RLIMIT_AS, (room, room))
    failure = "[exec_event] Error: start sender for Big: Resource temporarily unavailable\n"
    for _ in range(3):  # the steps that cannot start are more than there are slots
        failed = log(MAIN_LOG).count(failure)
        device.send_tcp(2700, b"Big\n" * 3)
        assert device.wait_until(lambda: log(MAIN_LOG).count(failure) > failed)
        assert device.wait_until(lambda: daemon.usage().threads == before.threads)
    assert tcp.connections > 100
    device.send_tcp(2700, b"One\nOne\n")
    assert udp.wait(1)


@pytest.mark.serial
@needs_plain_process
def test_large_files_need_little_memory_and_an_idle_daemon_is_small(start: Start) -> None:
    daemon = start()
    kinds = "=\n", "{0}Count=1\n", "{0}Count=1\n{0}IP0=\n", "{0}Count=128\n{0}IP127=\n"
    for lines in kinds:
        event = lines.format("{0:x}").format
        text = "".join(map(event, range((1 << 20) // len(event(0)))))[: 1 << 20]
        for times in range(2):  # the new one is read while the old one is in use
            read = log(MAIN_LOG).count("event txt: OK")
            device.write_file(DEFINITIONS, text)
            assert is_logged(MAIN_LOG, "event txt: OK", read + 1)
    status = device.read_file(f"/proc/{daemon.pid}/status")
    assert int(status.split(b"VmHWM:")[1].split()[0]) < 26 << 10, "two files and the rest"
    device.write_file(DEFINITIONS, "BCount=1\n")
    assert device.wait_until(lambda: device.read_file(EVENT_LIST).startswith(b"B"))
    before = settled_usage(daemon)
    assert before.pss_kib < 4096
    time.sleep(6)
    assert daemon.usage().cpu_ms - before.cpu_ms <= 30, "0.5 % of one core"


def test_standard_descriptors_and_modes_do_not_depend_on_its_starter(start: Start) -> None:
    daemon = start(prefix=("/bin/sh", "-c", 'umask 077; exec "$@" <&- >&- 2>&-', "starter"))
    assert {os.readlink(f"/proc/{daemon.pid}/fd/{fd}") for fd in range(3)} == {"/dev/null"}
    assert os.stat("/tmp/kovo_asc.txt").st_mode & 0o777 == 0o644


def test_a_terminal_that_nobody_reads_delays_nothing(start: Start) -> None:
    _, terminal = os.openpty()
    daemon = start(stdout=terminal)
    for _ in range(100):
        device.send_udp(2727, b"x:" + b"y" * 1000)
    assert is_logged(MAIN_LOG, "Error cmd=x\n", 100)
    daemon.stop()
    start(stdout=terminal)  # its shell commands print on the full terminal as well
    device.send_tcp(2700, b"still=there\n")
    assert is_logged(EVENT_LOG, "push event: still\n")
    subprocess.run(["timeout", "0.3", "yes"], stdout=terminal)  # until it is full
    begin = time.monotonic()
    assert device.Daemon(stdout=terminal).wait_exit() == 1, "its port is in use"
    assert 0.9 < time.monotonic() - begin < 5, "the terminal delays its end by a second"


def test_a_slow_reader_gets_whole_records_in_order(start: Start) -> None:
    reading, writing = os.pipe()
    start(stdout=writing)
    for number in range(1000):
        device.send_udp(2727, b"%d:" % number + b"y" * 400)  # what the receive buffer holds
    assert is_logged(MAIN_LOG, "Error cmd=999\n")
    text = b""
    while select.select([reading], [], [], 1)[0]:
        text += os.read(reading, 4096)
    assert 256 << 10 < len(text) < 512 << 10, "the newest are dropped"
    assert len(text) % 4096 == 0, "a pipe gets blocks, a terminal lines"
    records = [line for line in text.decode().split("\n")[:-1] if not line.startswith("20")]
    logged = iter(device.read_file(MAIN_LOG).decode().split("\n"))
    assert all(record in logged for record in records)


@needs_plain_process
def test_a_worker_that_cannot_be_started_is_logged_and_ends_the_daemon() -> None:
    workers = (
        "handle_tcp_event handle_udp_lm_var handle_tcp_lm_var handle_lm_event "
        "handle_q_event handle_udp_vep_api handle_vep_api"
    ).split()
    gib = 1 << 30
    for started, worker in enumerate(workers):
        daemon = device.Daemon(
            limits={"stack": gib, "as": started * gib + gib // 2},
            environment={"MALLOC_ARENA_MAX": "1"},
        )
        assert daemon.wait_exit() == 1
        failure = f"Error: pthread_create {worker}(): Resource temporarily unavailable\n"
        assert failure in log(MAIN_LOG)
        os.remove(MAIN_LOG)


def test_a_burst_of_2000_datagrams_is_handled_in_order(start: Start, tcp: Tcp, udp: Udp) -> None:
    start()
    # Two ports that nobody reads hold little memory. An ordinary user gets what the host allows.
    sockets = subprocess.check_output(["ss", "-Huamn", "( sport = :2727 or sport = :2728 )"])
    buffers = [int(size) for size in re.findall(rb"rb(\d+)", sockets)]
    assert len(buffers) == 2
    assert max(buffers) <= 2 << 20 and (min(buffers) == 2 << 20 or not IS_HOST_ROOT)
    device.send_udp(2727, b"client_del_tcp::127.0.0.1::5127")
    assert is_logged(MAIN_LOG, "client_del_tcp")
    for _ in range(2000):
        device.send_udp(2727, b"")
    time.sleep(0.5)  # skips them after one pause; the receive buffer holds only one of the bursts
    for number in range(2000):
        device.send_udp(2727, f"set::N{number}::".encode().ljust(100, b"v"))
    assert is_logged(MAIN_LOG, "recv(udp:2727)", 2001, timeout=60)
    device.send_udp(2727, b"renew_udp::127.0.0.1::%d" % udp.port)
    device.send_udp(2727, b"renew_tcp::127.0.0.1::%d" % tcp.port)
    for receiver in (udp, tcp):
        assert receiver.wait(401, 60)
        arrivals = receiver.arrivals
        assert arrivals[400].data == b"_RENEW_NUM=2000\n"
        assert arrivals[399].data.startswith(b"N1995=")
        assert arrivals[400].at_ns - arrivals[0].at_ns > 3e9, "10 ms are between two messages"


def test_the_list_file_is_bounded_and_the_events_are_not(start: Start, udp: Udp) -> None:
    start()
    event = steps("A", 128, "UDP", 9, b"A") + "ACount=128\n" * 70_000
    device.write_file(DEFINITIONS, event + steps("Last", 1, "UDP", udp.port, b"last"))
    step_texts = "".join(f"{index}:A:0;" for index in range(128))
    line = f"A;A;{step_texts}Delay=0;\n".encode()
    written = line * ((4 << 20) // len(line))
    assert device.wait_until(lambda: device.read_file(EVENT_LIST) == written, 30)
    device.send_tcp(2700, b"Last\n")
    assert udp.wait(1)


def test_too_many_clients_replace_the_oldest(start: Start, udp: Udp) -> None:
    start()
    for port in range(1, 256):
        device.send_udp(2727, b"client_add_udp::127.0.0.1::%d" % port)
    device.send_udp(2727, b"client_add_udp::127.0.0.1::%d" % udp.port)
    error = "[client_udp_add] Error: too many clients, udp:127.0.0.1:1 removed\n"
    assert is_logged(MAIN_LOG, error)
    local = device.TcpReceiver(5127)
    device.send_udp(2727, b"set::A::1")
    assert udp.wait(1) and local.wait(1)
    local.close()
    assert log(MAIN_LOG).count("too many clients") == 1


def test_commands_are_those_of_the_help_text_and_the_document(start: Start, udp: Udp) -> None:
    start()
    device.send_udp(2727, b"Help_UDP::127.0.0.1::%d" % udp.port)
    assert udp.wait(1)
    in_help = set(udp.arrivals[0].data.decode().removeprefix("_LM_VAR_HELP=").split(";")) - {""}
    document = (ROOT / "docs/interfaces.md").read_text()
    documented = re.findall(r"^\| ((?:`[a-z_]+`(?:, )?)+) \| ([a-z, ]+) \|", document, re.M)
    assert in_help == {
        f"{name}::{arguments}".replace("::name", "::key").replace(", ", "::")
        for names, arguments in documented
        for name in re.findall(r"[a-z_]+", names)
    }
