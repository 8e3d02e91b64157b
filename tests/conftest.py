"""Runs pytest, and each worker of pytest-xdist, inside a simulated device of its own.

A test therefore uses plain sockets and files at the daemon's real paths. Every test finds a fresh
device.
"""

import os
import sys
from pathlib import Path

import pytest

ROOT = Path(__file__).resolve().parent.parent
ENTER = ROOT / "device/enter"
IS_INSIDE = "KOVO_DEVICE" in os.environ
os.environ.setdefault("KOVOTCP", str(ROOT / "build/release/kovotcp"))
# The daemon ends at once, whatever its threads are doing.
os.environ.setdefault("TSAN_OPTIONS", "report_thread_leaks=0:atexit_sleep_ms=0")

if IS_INSIDE:
    import device
    from device import system

    BASE_MOUNTS = system.mount_points()


def pytest_xdist_setupnodes(config: pytest.Config, specs: list) -> None:
    for spec in specs:
        spec.python = f"{ENTER} {sys.executable} -B"


def pytest_configure(config: pytest.Config) -> None:
    has_workers = config.getoption("numprocesses", None) or config.getoption("tx", None)
    if not IS_INSIDE and not has_workers:
        config.pluginmanager.getplugin("capturemanager").suspend_global_capture(in_=True)
        os.execv(ENTER, [str(ENTER), sys.executable, "-B", "-m", "pytest", *sys.argv[1:]])


@pytest.fixture(autouse=True)
def fresh_device() -> None:
    system.reset(BASE_MOUNTS)
