"""The demonstration: messages to the daemon in sequence, and what must arrive after each."""

import time
from collections.abc import Callable

from device.constants import COMMANDS, STATUS_LINES, STATUS_REQUEST, VARIABLES, VARIABLES_TCP
from device.daemon import Daemon
from device.show.screen import printable
from device.status import DEFAULT_ANSWER
from device.system import read_file, wait_until

LAMPS, MIXER, PANEL = "udp 10.0.0.5:5000", "tcp 10.0.0.6:23", "udp 10.0.0.7:6000"
CLIENT, REPLIES, TCP_REPLIES = "tcp 127.0.0.1:5127", "udp 127.0.0.1:9000", "tcp 127.0.0.1:9000"
# Channel, message, and the destinations and first bytes of what must arrive.
ROUNDS = [
    ("", b"", [(LAMPS, b"POWER ON\r"), (MIXER, b"OK\r")]),
    (
        COMMANDS,
        b"doorState=open\n",
        [(PANEL, b"Door of Lobby at "), (MIXER, b"LIGHTS ON\r"), (PANEL, DEFAULT_ANSWER)],
    ),
    (
        VARIABLES,
        b"e_param_set::DEVICE_NAME::Foyer\n",
        [(CLIENT, b"DEVICE_NAME=Foyer\n"), (PANEL, b"RENAMED")],
    ),
    (VARIABLES, b"get_udp::DEVICE_NAME::127.0.0.1::9000", [(REPLIES, b"DEVICE_NAME=Foyer\n")]),
    (
        VARIABLES_TCP,
        b"get_tcp::device_name::127.0.0.1::9000\n",
        [(TCP_REPLIES, b"device_name=Foyer\n")],
    ),
    (
        VARIABLES,
        b"renew_udp::127.0.0.1::9000",
        [(REPLIES, b"DEVICE_NAME=Foyer\n"), (REPLIES, b"_RENEW_NUM=1\n")],
    ),
    (VARIABLES_TCP, b"renew_tcp::127.0.0.1::9000", [(TCP_REPLIES, b"_RENEW_NUM=1\n")]),
    (STATUS_LINES, b"local:news.m3u\n", [(PANEL, b"PLAY")]),
]


def demonstrate(show: "Show") -> bool:  # noqa: F821
    """Returns whether everything arrived; stops at the first missing message."""
    for channel, message, expected in ROUNDS:
        counts = {target: show.network.count(target) for target, _ in expected}
        if not channel:
            counts = dict.fromkeys(counts, 0)  # counts from the start of the daemon
        else:
            show.send(channel, message)
        for target, start in expected:
            if not show.wait_for(lambda: show.network.arrived(target, start, counts[target])):
                show.screen.now("alarm", "MISSING", f'{target} "{printable(start)}"')
                return False
    return _ask_status(show) and show.wait_for(lambda: not show.timeline.is_waiting(time.time_ns()))


def _ask_status(show: "Show") -> bool:  # noqa: F821
    """Asks the status service through the daemon's client mode."""
    request = STATUS_REQUEST.decode()
    show.screen.now("in", "run", f"kovotcp --client {request}")
    client = Daemon("--client", request, stdout="/tmp/client.out")
    if client.wait_exit() != 0:
        return False
    answer = read_file("/tmp/client.out")
    for line in answer.splitlines():
        show.screen.now("out", "", printable(line))
    return b"name=Lobby\n" in answer
