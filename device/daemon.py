"""The daemon as a process on the device."""

import os
import shlex
import signal
import subprocess
import time
from dataclasses import dataclass
from pathlib import Path
from typing import IO

from device.system import read_file, set_uptime, wait_until

SYNC_MARKER = Path("/var/tmp/plinth_sync_ok")  # created in each pass of the supervision loop
# The signal settings that a careless parent passes on.
SIGNALS = ("env", "--default-signal=INT", "--ignore-signal=HUP,TERM,CHLD,ALRM", "--block-signal")


@dataclass
class Usage:
    """What a daemon uses; all 0 if it has ended."""

    threads: int = 0
    descriptors: int = 0
    children: int = 0  # including zombies
    pss_kib: int = 0
    anonymous_kib: int = 0  # not shared with other processes of the program
    cpu_ms: int = 0  # without children


def _number_after(path: str, key: bytes) -> int:
    """Returns the number of the line "key: number ..."; 0 if there is none."""
    _, found, rest = read_file(path).partition(key + b":")
    return int(rest.split()[0]) if found else 0


def _open(target: str | int) -> IO[bytes]:
    return open(target, "ab", closefd=isinstance(target, str))


class Daemon:
    """A running daemon, started by the command line in the variable KOVOTCP and `arguments`.

    It has a session of its own. `uptime` is in seconds. `stdout` and `stderr` are paths or open
    descriptors. `limits` are soft and hard limits of prlimit(1), such as {"nofile": 60}.
    """

    def __init__(
        self,
        *arguments: str | bytes,
        uptime: float = 1000,
        stdout: str | int = "/tmp/daemon.out",
        stderr: str | int = "/tmp/daemon.err",
        limits: dict[str, int] | None = None,
        prefix: tuple[str, ...] = SIGNALS,
        environment: dict[str, str] | None = None,
    ) -> None:
        set_uptime(uptime)
        options = [f"--{name}={value}" for name, value in (limits or {}).items()]
        command = [*prefix, *(["prlimit", *options, "--"] if options else [])]
        command += [*shlex.split(os.environ["KOVOTCP"]), *arguments]
        with _open(stdout) as out, _open(stderr) as errors:
            streams = {"stdin": subprocess.DEVNULL, "stdout": out, "stderr": errors}
            env = {**os.environ, **(environment or {})}
            self.process = subprocess.Popen(command, start_new_session=True, env=env, **streams)
        self.pid = self.process.pid

    def wait_until_up(self, timeout: float = 40.0) -> bool:
        """Waits for the next pass of the supervision loop; returns whether it came."""
        SYNC_MARKER.unlink(missing_ok=True)
        return wait_until(lambda: SYNC_MARKER.exists() or not self.is_running(), timeout) and (
            self.is_running()
        )

    def is_running(self) -> bool:
        """Returns whether the daemon has not ended."""
        return self.process.poll() is None

    def wait_exit(self, timeout: float = 40.0) -> int | None:
        """Waits, and returns the exit status or -signal; None after `timeout` seconds."""
        try:
            return self.process.wait(timeout)
        except subprocess.TimeoutExpired:
            return None

    def stop(self) -> None:
        """Kills all processes of its session."""
        if self.is_running():
            os.killpg(self.pid, signal.SIGKILL)
        self.process.wait()

    def usage(self) -> Usage:
        """Returns what the daemon uses now."""
        proc = f"/proc/{self.pid}"
        if not self.is_running():
            return Usage()
        processes = [name for name in os.listdir("/proc") if name.isdigit()]
        parents = [_number_after(f"/proc/{name}/status", b"PPid") for name in processes]
        return Usage(
            threads=_number_after(f"{proc}/status", b"Threads"),
            descriptors=len(os.listdir(f"{proc}/fd")),
            children=parents.count(self.pid),
            pss_kib=_number_after(f"{proc}/smaps_rollup", b"\nPss"),
            anonymous_kib=_number_after(f"{proc}/status", b"RssAnon"),
            # The clock of a process, as clock_getcpuclockid(3) composes it.
            cpu_ms=time.clock_gettime_ns(~self.pid << 3 | 2) // 10**6,
        )
