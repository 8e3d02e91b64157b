"""Runs pytest, and each worker of pytest-xdist, inside a simulated device of its own.

A test therefore uses plain sockets and files at the daemon's real paths. Every test finds a fresh
device.
"""

import contextlib
import fcntl
import os
import shlex
import sys
from collections.abc import Callable, Iterator
from pathlib import Path

import pytest

ROOT = Path(__file__).resolve().parent.parent
ENTER = ROOT / "device/enter"
IS_INSIDE = "KOVO_DEVICE" in os.environ
os.environ.setdefault("KOVOTCP", str(ROOT / "build/release/kovotcp"))
# The daemon ends at once, whatever its threads are doing.
os.environ.setdefault("TSAN_OPTIONS", "report_thread_leaks=0:atexit_sleep_ms=0")

IS_EMULATED = len(shlex.split(os.environ["KOVOTCP"])) > 1
IS_SANITIZED = b"__sanitizer_" in Path(shlex.split(os.environ["KOVOTCP"])[-1]).read_bytes()

if IS_INSIDE:
    import device
    from device import system

    BASE_MOUNTS = system.mount_points()


def pytest_xdist_setupnodes(config: pytest.Config, specs: list) -> None:
    for worker in specs:
        worker.python = f"{ENTER} {sys.executable} -B"


def pytest_configure(config: pytest.Config) -> None:
    has_workers = config.getoption("numprocesses", None) or config.getoption("tx", None)
    if not IS_INSIDE and not has_workers:
        config.pluginmanager.getplugin("capturemanager").suspend_global_capture(in_=True)
        os.execv(ENTER, [str(ENTER), sys.executable, "-B", "-m", "pytest", *sys.argv[1:]])


def pytest_collection_modifyitems(items: list[pytest.Item]) -> None:
    items.sort(key=lambda item: item.get_closest_marker("serial") is not None)  # these are last


@pytest.fixture(autouse=True)
def exclusion(request: pytest.FixtureRequest) -> Iterator[None]:
    """Lets a test marked as serial run while no other test does, in any worker.

    Where that is allowed, a serial test also has a higher priority than the host's other programs.
    """
    is_serial = request.node.get_closest_marker("serial") is not None
    nice = os.nice(0)
    with open(ROOT / "pyproject.toml") as queue, open(__file__) as running:
        fcntl.flock(queue, fcntl.LOCK_EX)  # so that others do not overtake a serial test
        fcntl.flock(running, fcntl.LOCK_EX if is_serial else fcntl.LOCK_SH)
        fcntl.flock(queue, fcntl.LOCK_UN)
        with contextlib.suppress(PermissionError):
            os.setpriority(os.PRIO_PROCESS, 0, nice - 10 if is_serial else nice)
        yield
        os.setpriority(os.PRIO_PROCESS, 0, nice)


@pytest.fixture(autouse=True)
def fresh_device(exclusion: None) -> None:
    """Resets the device."""
    system.reset(BASE_MOUNTS)


@pytest.fixture
def start(fresh_device: None) -> Iterator[Callable[..., "device.Daemon"]]:
    """Starts daemons on a device with a network and a status service; waits until they are up."""
    service = device.StatusService()
    device.add_address("eth0", "10.0.0.2/24")
    daemons = []

    def start_daemon(**options: object) -> device.Daemon:
        daemons.append(device.Daemon(**options))
        assert daemons[-1].wait_until_up(), device.read_file("/var/tmp/log/kovo.log").decode()
        return daemons[-1]

    yield start_daemon
    for daemon in daemons:
        daemon.stop()
    service.close()
    errors = device.read_file("/tmp/daemon.err").decode("latin-1")
    assert "Sanitizer" not in errors and "runtime error" not in errors, errors


@pytest.fixture
def udp(fresh_device: None) -> Iterator["device.UdpReceiver"]:
    """A receiver of datagrams at a free port."""
    with contextlib.closing(device.UdpReceiver()) as receiver:
        yield receiver


@pytest.fixture
def tcp(fresh_device: None) -> Iterator["device.TcpReceiver"]:
    """A receiver of connections at a free port, which never answers."""
    with contextlib.closing(device.TcpReceiver()) as receiver:
        yield receiver
