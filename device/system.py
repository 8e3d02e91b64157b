"""The system of the device, for programs on it: files, parameters, network, uptime."""

import ctypes
import os
import shutil
import signal
import socket
import subprocess
import threading
import time
from collections.abc import Callable
from pathlib import Path

OWN_DIRECTORIES = ["/www", "/var/tmp/log", "/var/run", "/mnt/persistent", "/tmp", "/root", "/run"]
PARAMS = Path("/device/params")
# eth0 gets its address later: until then, the device has no network.
NETWORK = """link set lo up
link add eth0 type veth peer name eth0peer
link set eth0 up
link set eth0peer up
"""
_NEW_TIME_NAMESPACE = 0x00000080
_NEW_NETWORK_NAMESPACE = 0x40000000
# A child made by vfork stays in its parent's time namespace.
subprocess._USE_VFORK = False


def _unshare(flag: int) -> None:
    libc = ctypes.CDLL(None, use_errno=True)
    if libc.unshare(flag) != 0:
        raise OSError(ctypes.get_errno(), "cannot unshare a namespace")


def wait_until(condition: Callable[[], bool], timeout: float = 10.0) -> bool:
    """Waits until the condition holds; returns False after `timeout` seconds."""
    end = time.monotonic() + timeout
    while not condition():
        if time.monotonic() >= end:
            return False
        time.sleep(0.005)
    return True


def read_file(path: str | Path) -> bytes:
    """Returns the bytes of a file; b"" if it cannot be read."""
    try:
        return Path(path).read_bytes()
    except OSError:
        return b""


def write_file(path: str | Path, data: str | bytes) -> None:
    """Replaces a file atomically; creates missing directories."""
    os.makedirs(os.path.dirname(path), exist_ok=True)
    fresh = Path(f"{path}.new")
    fresh.write_bytes(data.encode() if isinstance(data, str) else data)
    fresh.rename(path)


def step_lines(event: str, index: int | str, data: bytes, **fields: str | int) -> str:
    """Returns the definition lines of a step; `fields` are Protocol, IP, Port, Delay."""
    lines = [f"{event}{field}{index}={value}\n" for field, value in fields.items()]
    return "".join(lines) + f"{event}Data{index}={data.hex().upper()}\n"


def set_param(name: str, value: str) -> None:
    """Sets the answer of the parameter tool `ipc` for a name."""
    lines = read_file(PARAMS).decode().splitlines(keepends=True)
    kept = [line for line in lines if not line.startswith(f"{name}=")]
    write_file(PARAMS, "".join(kept) + f"{name}={value}\n")


def set_uptime(seconds: float) -> None:
    """Sets the uptime (CLOCK_BOOTTIME) for programs that this thread starts later."""
    _unshare(_NEW_TIME_NAMESPACE)
    now = time.clock_gettime_ns(time.CLOCK_BOOTTIME)  # this thread keeps the host's clock
    offset = divmod(int(seconds * 1e9) - now, 10**9)
    path = Path(f"/proc/{threading.get_native_id()}/timens_offsets")
    path.write_text("boottime {} {}\n".format(*offset))


def ip(*commands: str) -> None:
    """Runs commands of ip(8), such as "link set lo up"."""
    subprocess.run(["ip", "-batch", "-"], input="\n".join(commands), text=True, check=True)


def add_address(interface: str, address: str) -> None:
    """Adds an address such as "192.0.2.7/24" to an interface, if it does not have it."""
    ip(f"address replace {address} dev {interface}")


def send_udp(port: int, data: bytes, address: str = "127.0.0.1") -> None:
    """Sends one datagram."""
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sender:
        sender.sendto(data, (address, port))


def send_tcp(port: int, data: bytes, address: str = "127.0.0.1") -> None:
    """Connects, sends and closes; raises OSError if nothing accepts within 10 s."""
    with socket.create_connection((address, port), timeout=10) as sender:
        sender.sendall(data)


def mount_points() -> list[str]:
    """Returns all mount points, in the order of mounting."""
    return [line.split()[4] for line in Path("/proc/self/mountinfo").read_text().splitlines()]


def close_socket(sock: socket.socket) -> None:
    """Closes a socket; wakes a thread that waits for it."""
    try:
        sock.shutdown(socket.SHUT_RDWR)
    except OSError:
        pass  # not connected, or not any more; a waiting thread wakes nevertheless
    sock.close()


def _end_programs() -> None:
    def are_gone() -> bool:
        try:
            os.kill(-1, signal.SIGKILL)  # all of the device except for the first and this one
        except ProcessLookupError:
            return True
        return False

    if not wait_until(are_gone):
        raise RuntimeError("cannot end the programs of the device")


def _empty(directory: str, kept: list[str]) -> None:
    for entry in os.scandir(directory):
        if entry.path in kept:
            continue
        if any(Path(point).is_relative_to(entry.path) for point in kept):
            _empty(entry.path, kept)
        elif entry.is_dir(follow_symlinks=False):
            shutil.rmtree(entry)
        else:
            os.unlink(entry)


def reset(base_mounts: list[str] | None = None) -> None:
    """Resets the device: no other programs, empty directories, a new network.

    Only for the program that `device/enter` started, from its main thread, with its receivers
    closed. Unmounts everything except for `base_mounts`.
    """
    if "KOVO_DEVICE" not in os.environ or 1 not in (os.getpid(), os.getppid()):
        raise RuntimeError("only the program that device/enter started may reset the device")
    _end_programs()
    for point in reversed(mount_points() if base_mounts is not None else []):
        if point not in base_mounts:
            subprocess.run(["umount", "-l", point], check=True)
    kept = mount_points()  # the repository may be in one of these
    for top in {"/" + path.split("/")[1] for path in [*OWN_DIRECTORIES, "/var", "/device"]}:
        os.makedirs(top, exist_ok=True)
        _empty(top, kept)
    for path in [*OWN_DIRECTORIES, "/device/bin"]:
        os.makedirs(path, exist_ok=True)
    os.chmod("/tmp", 0o1777)
    shutil.copy(Path(__file__).parent / "ipc", "/device/bin/ipc")
    Path("/device/ipc_calls").touch()
    set_param("ENABLE_KOVO_EVENT", "1")
    _unshare(_NEW_NETWORK_NAMESPACE)
    ip(NETWORK)
