"""What ./run shows for typed lines, for receivers that fail and for odd definition files."""

import os
import re
import shlex
import subprocess
import sys
from collections.abc import Callable, Iterator
from pathlib import Path

import pytest

import device

FILE = Path("/root/shown.txt")
KOVOCHECK = Path(shlex.split(os.environ["KOVOTCP"])[-1]).parent / "check/kovocheck"
OUTPUT = Path("/tmp/show.out")


class Show:
    """The program of ./run with the lines typed into it."""

    def __init__(self, definitions: str) -> None:
        device.write_file(FILE, definitions)
        command = [sys.executable, "-B", "-m", "device.show", KOVOCHECK, FILE]
        with OUTPUT.open("wb") as output:
            self.process = subprocess.Popen(
                command, stdin=subprocess.PIPE, stdout=output, stderr=output
            )
        self.shows("help +this text")

    def shows(self, pattern: str, start: int = 0) -> float:
        """Waits for a pattern in the output from `start` on; returns the seconds of its line."""

        def text() -> str:
            return OUTPUT.read_text()[start:]

        assert device.wait_until(lambda: re.search(pattern, text()) is not None, 20), text()
        line = text()[: re.search(pattern, text()).end()].rpartition("\n")[2]
        return float(line.split()[0]) if re.match(r" +\d+\.\d+ ", line) else 0.0

    def type(self, line: str, *patterns: str) -> float:
        """Types a line; waits for each pattern after it, returns the seconds of the last one."""
        start = len(OUTPUT.read_text())
        self.process.stdin.write(f"{line}\n".encode())
        self.process.stdin.flush()
        return [0.0, *(self.shows(pattern, start) for pattern in patterns)][-1]


@pytest.fixture
def show(fresh_device: None) -> Iterator[Callable[[str], Show]]:
    shows = []
    yield lambda definitions: shows.append(Show(definitions)) or shows[-1]
    shows[0].process.communicate()
    assert shows[0].process.returncode == 0 and "Traceback" not in OUTPUT.read_text()


def test_receivers_and_the_status_service_fail_as_typed(show: Callable[[str], Show]) -> None:
    step = device.step_lines("Mixer", 0, b"ON", Protocol="TCP", IP="10.0.0.6", Port=23)
    panel = {"Protocol": "UDPStatus", "IP": "10.0.0.7", "Port": 6000, "Delay": 10}
    shown = show(
        f"MixerCount=1\n{step}PanelCount=1\n" + device.step_lines("Panel", 0, b"", **panel)
    )
    shown.type("help", "refuse 10.0.0.6:23 ", r"status off\|silent\|on ")
    shown.type("refuse 10.0.0.6:23", "refuses connections")
    shown.type("Mixer", r"kovo.log +Error: .*\(111\)Connection refused", "not sent: Connection ref")
    shown.type("silent 10.0.0.6:23", "does not answer")
    start = shown.type("Mixer", "10.0.0.6:23 TCP ON")
    end = shown.type("", r"kovo.log +Error: .*\(115\)", "Mixer: not sent: connection timed out")
    assert 2 <= end - start < 4
    shown.type("accept 10.0.0.6:23", "accepts connections")
    shown.type("Mixer", '-> tcp 10.0.0.6:23 +"ON"', r"Mixer: 0 ms\n")
    shown.type("refuse 10.0.0.7:6000", "no TCP receiver at 10.0.0.7:6000; there are: 10.0.0.6:23,")
    shown.type("status off", "refused")
    shown.type("Panel", r'-> udp 10.0.0.7:6000  "\(111\)Connection refused"', r"Panel: 10 ms\n")
    shown.type("status silent", "never answers")
    late = r"Panel: 10 ms \(measured 2\d\d\d ms\)\n"
    shown.type("Panel", r'-> udp 10.0.0.7:6000  "\(11\)Resource temporarily', late)
    shown.type("status on", "answers and closes")
    shown.type("Panel", '-> udp 10.0.0.7:6000 +"inputName', r"Panel: 10 ms\n")


def test_odd_names_lines_and_files_are_explained(show: Callable[[str], Show]) -> None:
    udp = {"Protocol": "UDP", "IP": "10.0.0.7", "Port": 6000}
    shown = show(
        f"TürCount=1\nTürXMLfield=türe\n{device.step_lines('Tür', 0, 'ü'.encode(), **udp)}"
        f"日本Count=1\n{device.step_lines('日本', 0, b'J', **udp)}"
    )
    shown.type("türe", r"timeline +Tür: 0 ms\n")
    shown.type("日本", r"timeline +日本: 0 ms\n")
    assert "is raised" not in OUTPUT.read_text(), "nor PowerOn, at the start"
    shown.type("tcp:2700 PowerOn", '"PowerOn" is raised, but no event has that trigger')
    shown.type("tür=open", 'status line of the device; .*did you mean "türe"')
    shown.type("e_param_set:NAME:x", 'status line of the device; .*"::"')
    shown.type("e_param_set::V_INPUT_TYPE::HDMI2", "push event: videoSource")
    shown.type("e_param_set::V_INPUT_TYPE::HDMI1", r"kovoevent.log +skip event videoSource, now-l")
    device.write_file(FILE, "x" * (1 << 20) + "x")
    shown.shows("larger than 1 MiB: not read by the daemon\n")
    shown.type("türe", r"timeline +Tür: 0 ms\n")
