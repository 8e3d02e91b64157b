"""The demonstration: messages to the daemon in sequence, and what must arrive after each."""

import time

from device.constants import COMMANDS, STATUS_LINES, STATUS_REQUEST, VARIABLES, VARIABLES_TCP
from device.daemon import Daemon
from device.show.screen import printable
from device.status import DEFAULT_ANSWER
from device.system import read_file

LAMPS, MIXER, PANEL = "udp 10.0.0.5:5000", "tcp 10.0.0.6:23", "udp 10.0.0.7:6000"
CLIENT, REPLIES, TCP_REPLIES = "tcp 127.0.0.1:5127", "udp 127.0.0.1:9000", "tcp 127.0.0.1:9000"
NAME, LOWER_NAME, RENEWED = b"DEVICE_NAME=Foyer\n", b"device_name=Foyer\n", b"_RENEW_NUM=1\n"
DOOR = [(PANEL, b"Door of Lobby at "), (MIXER, b"LIGHTS ON\r"), (PANEL, DEFAULT_ANSWER)]
# Channel, message, and the destinations and first bytes of what must arrive.
ROUNDS = [
    ("", b"", [(LAMPS, b"POWER ON\r"), (MIXER, b"OK\r")]),
    (COMMANDS, b"doorState=open\n", DOOR),
    (VARIABLES, b"e_param_set::DEVICE_NAME::Foyer\n", [(CLIENT, NAME), (PANEL, b"RENAMED")]),
    (VARIABLES, b"get_udp::DEVICE_NAME::127.0.0.1::9000", [(REPLIES, NAME)]),
    (VARIABLES_TCP, b"get_tcp::device_name::127.0.0.1::9000\n", [(TCP_REPLIES, LOWER_NAME)]),
    (VARIABLES, b"renew_udp::127.0.0.1::9000", [(REPLIES, NAME), (REPLIES, RENEWED)]),
    (VARIABLES_TCP, b"renew_tcp::127.0.0.1::9000", [(TCP_REPLIES, RENEWED)]),
    (STATUS_LINES, b"local:news.m3u\n", [(PANEL, b"PLAY")]),
]


def demonstrate(show: "Show") -> bool:  # noqa: F821
    """Returns whether everything arrived; stops at the first missing message."""
    for channel, message, expected in ROUNDS:
        counts = dict.fromkeys((target for target, _ in expected), 0)  # since the daemon's start
        if channel:
            counts = {target: len(show.network.messages(target)) for target in counts}
            show.send(channel, message)
        for target, start in expected:

            def has_arrived() -> bool:
                fresh = show.network.messages(target)[counts[target] :]
                return any(message.startswith(start) for message in fresh)

            if not show.wait_for(has_arrived):
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
