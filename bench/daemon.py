"""Measures the daemon on the simulated device and prints each figure with its baseline.

  device/enter python3 -m bench.daemon BASELINE [--footprint]
"""

import os
import resource
import statistics
import subprocess
import sys
import time
from collections.abc import Callable
from pathlib import Path

from device import (
    Arrival,
    Daemon,
    StatusService,
    UdpReceiver,
    read_file,
    send_tcp,
    send_udp,
    wait_until,
    write_file,
)
from device.system import add_address

NAMES, SENDERS = 400, 512
MESSAGES_AT_ONCE = 200
BASELINE = sys.argv[1]
receiver = UdpReceiver(address="0.0.0.0")
PORT = receiver.port


def need(condition: bool, what: str) -> None:
    """Ends the program unless the condition holds."""
    if not condition:
        sys.exit(f"bench: {what}")


def row(what: str, unit: str, daemon: float, baseline: float, note: str) -> None:
    """Prints a figure of the daemon and its baseline."""
    ratio = daemon / baseline
    print(f"{what:<40} {daemon:9.2f} {baseline:9.2f} {unit:<5} {ratio:6.2f}  {note}", flush=True)


def compare(what: str, unit: str, samples: int, daemon: Callable, baseline: Callable, note: str):
    """Measures both in turn, `samples` times, and prints the medians."""
    pairs = [(daemon(sample), baseline(sample)) for sample in range(samples)]
    row(what, unit, *(statistics.median(column) for column in zip(*pairs)), note)


def baseline(task: str, *numbers: int) -> None:
    """Runs a task of the baseline program to its end."""
    command = [BASELINE, task, str(PORT), *map(str, numbers)]
    # A session of its own, like the daemon: the scheduler shares the processor among sessions.
    done = subprocess.run(command, start_new_session=True)
    need(done.returncode == 0, f"the baseline {task} failed")


def arrivals_of(count: int, action: Callable[[], object]) -> list[Arrival]:
    """Runs an action and returns the next `count` messages that arrive."""
    before = len(receiver.arrivals)
    action()
    need(receiver.wait(before + count, 120), "datagrams are missing")
    return receiver.arrivals[before : before + count]


def spread_ms(arrivals: list[Arrival]) -> float:
    """Returns the time from the first to the last arrival."""
    return (arrivals[-1].at_ns - arrivals[0].at_ns) / 1e6


def fire(trigger: str, times: int = 1) -> None:
    """Fires an event `times` times by one message."""
    send_tcp(2700, f"{trigger}\n".encode() * times)


def event(name: str, delays_ms: list[int]) -> str:
    """Returns the definition lines of an event with one step for each delay."""
    lines = f"{name}Count={len(delays_ms)}\n"
    for i, delay_ms in enumerate(delays_ms):
        lines += f"{name}Protocol{i}=UDP\n{name}IP{i}=127.0.0.1\n{name}Port{i}={PORT}\n"
        lines += f"{name}Data{i}=41\n{name}Delay{i}={delay_ms}\n"
    return lines


class Running(Daemon):
    """A running daemon with definitions, a snapshot of variables and no client."""

    def __init__(self, definitions: str, snapshot: str = "") -> None:
        write_file("/www/pelm/kovo.txt", definitions)
        write_file("/var/lm_var", snapshot)
        super().__init__()
        need(self.wait_until_up(), "the daemon does not start")
        send_udp(2727, b"client_del_tcp::127.0.0.1::5127")
        time.sleep(2.5)  # until it has loaded the snapshot twice

    def __enter__(self) -> "Running":
        return self

    def __exit__(self, *_: object) -> None:
        self.stop()


def cpu_us(pid: int) -> float:
    """Returns the processor time of a process, from the clock of clock_getcpuclockid(3)."""
    return time.clock_gettime_ns(~pid << 3 | 2) / 1e3


def children_cpu_ms(pid: int) -> float:
    """Returns the processor time of the ended children of a process."""
    fields = read_file(f"/proc/{pid}/stat").rpartition(b")")[2].split()
    return (int(fields[13]) + int(fields[14])) * 1e3 / os.sysconf("SC_CLK_TCK")


def proc_number(path: str, key: str) -> float:
    """Returns the number after "key:" in a file."""
    _, found, rest = read_file(path).decode().partition(f"\n{key}:")
    need(bool(found), f"{path} has no {key}")
    return float(rest.split()[0])


def memory(pid: int) -> tuple[float, float]:
    """Returns the private dirty memory in KiB and the address space in MB."""
    dirty = proc_number(f"/proc/{pid}/smaps_rollup", "Private_Dirty")
    return dirty, proc_number(f"/proc/{pid}/status", "VmSize") * 1024 / 1e6


def wake_ups(pid: int) -> float:
    """Returns how often the threads of a process have waited."""
    tasks = Path(f"/proc/{pid}/task").iterdir()
    return sum(proc_number(f"{task}/status", "voluntary_ctxt_switches") for task in tasks)


def print_footprint() -> None:
    """Prints the memory when idle, and memory and address space after 40 events at once."""
    with Running(event("A", [0])) as daemon:
        idle, _ = memory(daemon.pid)
        arrivals_of(40, lambda: fire("A", 40))
        print("{:.0f} {:.0f} {:.0f}".format(idle, *memory(daemon.pid)))


def measure_idleness(pid: int) -> None:
    """Measures how often an idle daemon wakes up."""
    before = wake_ups(pid)
    time.sleep(10)
    note = "the periods of four threads: 200 ms and three times 250 ms"
    row("idle: wake-ups", "/s", (wake_ups(pid) - before) / 10, 17, note)


def measure_trigger() -> None:
    """Measures from connect to arrival, at moments spread over the worker's period."""

    def daemon(sample: int) -> float:
        time.sleep(0.02 + sample * 0.25 / 31)
        begin_ns = time.time_ns()
        return (arrivals_of(1, lambda: fire("A"))[0].at_ns - begin_ns) / 1e6

    note = "half the worker's period of 250 ms"
    compare("trigger to datagram", "ms", 31, daemon, lambda _: 125, note)


def measure_names(pid: int) -> None:
    """Measures a message of many names, each of which queries the status service."""
    used: list[tuple[float, float]] = []

    def daemon(_: int) -> float:
        before, begin_ns = children_cpu_ms(pid) + cpu_us(pid) / 1e3, time.time_ns()
        last = arrivals_of(NAMES, lambda: fire("A", NAMES))[-1]
        used.append((children_cpu_ms(pid) + cpu_us(pid) / 1e3 - before, 0))
        return (last.at_ns - begin_ns) / 1e6

    def pipeline(_: int) -> float:
        before, begin_ns = resource.getrusage(resource.RUSAGE_CHILDREN), time.time_ns()
        baseline("query", NAMES)
        took_ms = (time.time_ns() - begin_ns) / 1e6
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
        cpu_s = after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime
        used[-1] = (used[-1][0], cpu_s * 1e3)
        return took_ms

    note = "400 status queries by the shell command only"
    compare("400 names in one text", "ms", 5, daemon, pipeline, note)
    row("400 names: CPU, the shell's too", "ms", *map(statistics.median, zip(*used)), note)


def measure_senders() -> None:
    """Measures the offsets of ten steps, and 512 steps at one moment."""
    gap_ms, apart = 50, [50 * i for i in range(10)]

    def deviation_ms(arrivals: list[Arrival]) -> float:
        offsets = [(arrival.at_ns - arrivals[0].at_ns) / 1e6 for arrival in arrivals]
        return statistics.median(abs(ms - i * gap_ms) for i, ms in enumerate(offsets[1:], 1))

    compare(
        "step offsets: configured to arrived",
        "ms",
        9,
        lambda _: deviation_ms(arrivals_of(10, lambda: fire("T"))),
        lambda _: deviation_ms(arrivals_of(10, lambda: baseline("send-at", *apart))),
        "a thread for each, sleeping and sending",
    )

    def daemon(_: int) -> float:
        arrivals_of(1, lambda: fire("A", 2))  # a search for a slot frees the finished ones
        time.sleep(0.5)
        return spread_ms(arrivals_of(SENDERS, lambda: fire("B", 4)))

    def threads(_: int) -> float:
        return spread_ms(arrivals_of(SENDERS, lambda: baseline("send-at", *[500] * SENDERS)))

    note = "512 threads, sleeping and sending"
    compare("512 senders at once: first to last", "ms", 5, daemon, threads, note)


def set_messages(count: int, variables: int) -> list[bytes]:
    """Returns `count` messages that set the variables VARIABLE_0 to VARIABLE_<variables - 1>."""
    return [f"set::VARIABLE_{i * 7919 % variables}::value".encode() for i in range(count)]


def cpu_of_set(pid: int, messages: list[bytes]) -> float:
    """Returns the daemon's processor time for a set, in microseconds."""
    before = cpu_us(pid)
    for i, message in enumerate(messages, 1):
        send_udp(2727, message)
        if i % MESSAGES_AT_ONCE == 0:  # wait until all of them are processed
            arrivals_of(1, lambda: send_udp(2727, f"get_udp::X::127.0.0.1::{PORT}".encode()))
    return (cpu_us(pid) - before) / len(messages)


def measure_growing_store() -> None:
    """Compares setting variables in a large store and in a small one."""
    medians = []
    for count in (20_000, 20):
        snapshot = "".join(f"VARIABLE_{i}=value\n" for i in range(count))
        with Running(event("A", [0]), snapshot) as daemon:
            sets = [cpu_of_set(daemon.pid, set_messages(2000, count)) for _ in range(5)]
            medians.append(statistics.median(sets))
    row("20,000 variables: CPU of a set", "us", *medians, "the same with 20 variables")


def cpu_of_reading(pid: int, lines: int) -> float:
    """Returns the processor time of reading a definition file, in milliseconds."""
    used = []
    for sample in range(6):
        names = [f"E{i}of{lines + sample}x" for i in range(lines // 6)]
        definitions = "".join(event(name, [0]) for name in names)
        before = cpu_us(pid)
        write_file("/www/pelm/kovo.txt", definitions)
        last = names[-1].encode()
        listed = wait_until(lambda: last in read_file("/tmp/kovo_event_list.txt"), 60)
        need(listed, "the definition file was not read")
        time.sleep(0.5)  # memory is freed after the list is written
        used.append((cpu_us(pid) - before) / 1e3)
    return statistics.median(used[1:])  # each also frees the definitions before it


def measure_growing_definitions() -> None:
    """Compares a long definition file with a short one."""
    with Running(event("A", [0])) as daemon:
        figures = cpu_of_reading(daemon.pid, 20_000), 20 * cpu_of_reading(daemon.pid, 1000)
        row("20,000 definition lines: CPU of reading", "ms", *figures, "20 times that of 1,000")


def main() -> None:
    """Prints the table, or with --footprint only the memory."""
    add_address("eth0", "10.0.0.2/24")
    service = StatusService()
    if sys.argv[2:] == ["--footprint"]:
        print_footprint()
        return
    load = read_file("/proc/loadavg").split()[0].decode()
    print(f"{'load ' + load:<40} {'daemon':>9} {'baseline':>9} {'':5} {'ratio':>6}  baseline")
    steps = event("A", [0]) + event("T", [0] + [50] * 9) + event("B", [500] + [0] * 127)
    with Running(steps) as daemon:
        measure_idleness(daemon.pid)
        measure_trigger()
        measure_names(daemon.pid)
        measure_senders()
    measure_growing_store()
    measure_growing_definitions()
    service.close()


if __name__ == "__main__":
    main()
