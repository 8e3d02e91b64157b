"""The device's system, seen from inside: files, parameters, network, uptime."""

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
# eth0 has no address: the device is not on the network before it is given one.
NETWORK = """link set lo up
link add eth0 type veth peer name eth0peer
link set eth0 up
link set eth0peer up
"""
_NEW_TIME_NAMESPACE = 0x00000080
_NEW_NETWORK_NAMESPACE = 0x40000000
# A child made by vfork would stay in its parent's time namespace.
subprocess._USE_VFORK = False


def _unshare(flag: int) -> None:
    libc = ctypes.CDLL(None, use_errno=True)
    if libc.unshare(flag) != 0:
        raise OSError(ctypes.get_errno(), "cannot unshare a namespace")


def wait_until(condition: Callable[[], bool], timeout: float = 10.0) -> bool:
    """Waits until the condition holds, checking every 5 ms; False after `timeout` seconds."""
    end = time.monotonic() + timeout
    while not condition():
        if time.monotonic() >= end:
            return False
        time.sleep(0.005)
    return True


def read_file(path: str | Path) -> bytes:
    """Returns the bytes of a file, none if it cannot be read."""
    try:
        return Path(path).read_bytes()
    except OSError:
        return b""


def write_file(path: str | Path, data: str | bytes) -> None:
    """Replaces a file at once, so that nobody reads half of it; makes missing directories."""
    os.makedirs(os.path.dirname(path), exist_ok=True)
    fresh = Path(f"{path}.new")
    fresh.write_bytes(data.encode() if isinstance(data, str) else data)
    fresh.rename(path)


def step_lines(event: str, index: int | str, data: bytes, **fields: str | int) -> str:
    """Returns the lines of a definition file for a step; `fields` are Protocol, IP, Port, Delay."""
    lines = [f"{event}{field}{index}={value}\n" for field, value in fields.items()]
    return "".join(lines) + f"{event}Data{index}={data.hex().upper()}\n"


def set_param(name: str, value: str) -> None:
    """Sets what the parameter tool `ipc` answers for a name."""
    lines = read_file(PARAMS).decode().splitlines(keepends=True)
    kept = [line for line in lines if not line.startswith(f"{name}=")]
    write_file(PARAMS, "".join(kept) + f"{name}={value}\n")


def set_uptime(seconds: float) -> None:
    """Sets the uptime that programs started by this thread from now on see (CLOCK_BOOTTIME)."""
    _unshare(_NEW_TIME_NAMESPACE)
    now = time.clock_gettime_ns(time.CLOCK_BOOTTIME)  # this thread's clock stays the system's
    offset = divmod(int(seconds * 1e9) - now, 10**9)
    # Namespaces belong to threads.
    path = Path(f"/proc/{threading.get_native_id()}/timens_offsets")
    path.write_text("boottime {} {}\n".format(*offset))


def ip(*commands: str) -> None:
    """Runs commands of ip(8), such as "address add 10.0.0.2/24 dev eth0"."""
    subprocess.run(["ip", "-batch", "-"], input="\n".join(commands), text=True, check=True)


def add_address(interface: str, address: str) -> None:
    """Gives an interface an address such as "192.0.2.7/24"; it may have it already."""
    ip(f"address replace {address} dev {interface}")


def route_multicast(interface: str) -> None:
    """Lets datagrams to multicast groups leave by an interface."""
    ip(f"route add 224.0.0.0/4 dev {interface}")


def send_udp(port: int, data: bytes, address: str = "127.0.0.1") -> None:
    """Sends one datagram."""
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sender:
        sender.sendto(data, (address, port))


def send_tcp(port: int, data: bytes, address: str = "127.0.0.1") -> None:
    """Connects, sends and closes; raises OSError if nobody accepts within 10 s."""
    with socket.create_connection((address, port), timeout=10) as sender:
        sender.sendall(data)


def mount_points() -> list[str]:
    """Returns where something is mounted, in the order of mounting."""
    return [line.split()[4] for line in Path("/proc/self/mountinfo").read_text().splitlines()]


def close_socket(sock: socket.socket) -> None:
    """Closes a socket, also for a thread that waits in it."""
    try:
        sock.shutdown(socket.SHUT_RDWR)
    except OSError:
        pass  # never connected, or the peer has gone; a waiting thread wakes all the same
    sock.close()


def _end_programs() -> None:
    def are_gone() -> bool:
        try:
            os.kill(-1, signal.SIGKILL)  # all in this device but the first program and this one
        except ProcessLookupError:
            return True
        return False

    if not wait_until(are_gone):
        raise RuntimeError("programs of the device cannot be ended")


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
    """Makes the device as new: no other programs, empty directories, a network of its own.

    Only for the single program of a device, from its main thread, with its receivers closed. What
    is mounted beside `base_mounts` is unmounted.
    """
    if "KOVO_DEVICE" not in os.environ or 1 not in (os.getpid(), os.getppid()):
        raise RuntimeError("only the single program of a device may reset it")
    _end_programs()
    for point in reversed(mount_points() if base_mounts is not None else []):
        if point not in base_mounts:
            subprocess.run(["umount", "-l", point], check=True)
    kept = mount_points()  # the repository may be in one of these directories
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
