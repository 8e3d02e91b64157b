"""The network of the device: a receiver at every destination of its events."""

import subprocess
from dataclasses import dataclass, field
from functools import partial

from device.constants import CHANNELS, STATUS_SERVICE
from device.receivers import Arrival, SilentReceiver, TcpReceiver, UdpReceiver
from device.show.events import Step
from device.system import add_address, ip

_TAKEN = {*CHANNELS, f"tcp:{STATUS_SERVICE[1]}"}
MODES = {
    "refuse": "refuses connections",
    "silent": "does not answer; connections time out",
    "accept": "accepts connections",
}
_answering_receiver = partial(TcpReceiver, reply=b"OK\r\n")


@dataclass
class Listener:
    """A receiver; its arrivals are shown first and then assigned to the steps that sent them."""

    receiver: UdpReceiver | TcpReceiver
    shown: int = 0
    unclaimed: list[Arrival] = field(default_factory=list)


class Network:
    """Receivers by target such as "udp 10.0.0.7:6000", and why others are impossible."""

    def __init__(self) -> None:
        self.listeners: dict[str, Listener] = {}
        self.refused: dict[str, str] = {}

    def listen(self, target: str) -> str:
        """Starts a receiver at a target, once; returns the reason if that is impossible."""
        if target in self.listeners or target in self.refused:
            return ""
        transport, _, where = target.partition(" ")
        address, _, port = where.partition(":")
        reason = self._refusal(transport, address, int(port))
        if not reason:
            try:
                self._make_local(address)
                start = UdpReceiver if transport == "udp" else _answering_receiver
                self.listeners[target] = Listener(start(int(port), address))
            except (OSError, subprocess.CalledProcessError) as error:
                reason = str(error)
        if reason:
            self.refused[target] = reason
        return reason

    def set_mode(self, mode: str, where: str) -> str:
        """Changes how a TCP receiver such as "10.0.0.6:23" treats connections; returns a note."""
        listener = self.listeners.get(f"tcp {where}")
        if mode not in MODES or not listener:
            return f"no TCP receiver at {where}; there are: {', '.join(self.tcp_receivers())}"
        address, _, port = where.partition(":")
        listener.receiver.close()
        if mode != "refuse":
            start = SilentReceiver if mode == "silent" else _answering_receiver
            listener.receiver, listener.shown = start(int(port), address), 0
        return f"{where} {MODES[mode]}"

    def tcp_receivers(self) -> list[str]:
        """Returns the addresses and ports of the TCP receivers."""
        names = sorted(self.listeners, key=lambda name: "127.0.0.1" in name)  # others first
        return [name.removeprefix("tcp ") for name in names if name.startswith("tcp ")]

    @staticmethod
    def _refusal(transport: str, address: str, port: int) -> str:
        first = int(address.split(".")[0])
        if port == 0:
            return "nothing can receive at port 0"
        if address.endswith(".255"):
            return "the daemon does not broadcast"
        if first >= 240:
            return "the daemon cannot send there"
        if first == 127 and f"{transport}:{port}" in _TAKEN:
            return "a port of the device itself"
        return ""

    def _make_local(self, address: str) -> None:
        first = int(address.split(".")[0])
        if 224 <= first < 240:
            ip("route replace 224.0.0.0/4 dev eth0peer")
        elif first != 127:
            add_address("eth0peer", f"{address}/32")

    def new_arrivals(self) -> list[tuple[str, Arrival]]:
        """Returns what has arrived since the last call, with its target."""
        news = []
        for target, listener in self.listeners.items():
            fresh = listener.receiver.arrivals[listener.shown :]
            listener.shown += len(fresh)
            listener.unclaimed = [*listener.unclaimed, *fresh][-1000:]
            news += [(target, arrival) for arrival in fresh]
        return news

    def claim(self, step: Step, payload: bytes, after_ns: int) -> Arrival | None:
        """Removes and returns the first arrival of a step with the payload in the log."""
        listener = self.listeners.get(step.target())
        for arrival in listener.unclaimed if listener else ():
            if arrival.at_ns < after_ns:
                continue
            if step.sends == "status" or arrival.data == payload:
                listener.unclaimed.remove(arrival)
                return arrival
        return None

    def messages(self, target: str) -> list[bytes]:
        """Returns all messages that have arrived at a target."""
        return [arrival.data for arrival in self.listeners[target].receiver.arrivals]
