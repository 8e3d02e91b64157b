"""Random traffic on a simulated device, and what of a timeline of its logs is false.

`{{n}}` in a payload is a number that only one push has, so a message shows which push sent it.
"""

import math
import random
import re
import time
from collections import Counter
from dataclasses import dataclass, field
from datetime import datetime

import device
from device.status import DEFAULT_ANSWER

MAIN_LOG, EVENT_LOG = "/var/tmp/log/kovo.log", "/var/tmp/log/kovoevent.log"
DEFINITIONS, TEST_DEFINITIONS = "/www/pelm/kovo.txt", "/www/pelm/tmp/kovotest.txt"
TCP_PORT, UDP_PORT, UNANSWERED = 6001, 6002, "10.0.0.9"
MARGIN_S = 0.6  # how long after a change of a receiver a step may still meet its old state
EVENTS = {  # trigger: event, steps (transport, delay, payload)
    "a": ("A", [("TCP", 0, "A {{n}}")]),
    "b": ("B", [("UDP", 0, "B {{n}}"), ("TCP", 100, "B {{n}} x"), ("TCP", 400, "B {{n}} y")]),
    "slow": ("S", [("TCP", 0, "S {{n}}"), ("UDP", 10, "S {{n}} u")]),
    "same": ("Same", [("TCP", 0, "SAME")]),
    "twin": ("Twin", [("TCP", 0, "TWIN"), ("TCP", 300, "TWIN")]),
    "dead": ("D", [("DEAD", 0, "D {{n}}")]),
    "stat": ("Stat", [("UDPStatus", 0, ""), ("TCPStatus", 50, "")]),
    "name": ("N", [("TCP", 0, "N {{n}}")]),
    "sysName": ("Y", [("TCP", 0, "Y {{n}}")]),
    "edit": ("E", [("TCP", 0, "E {{n}}")]),
}


class Service(device.StatusService):
    """Answers each request with a number of its own."""

    def __init__(self) -> None:
        self.times: list[float] = []
        super().__init__()

    @property
    def answer(self) -> bytes:
        self.times.append(time.time())
        return DEFAULT_ANSWER + b"n:%d\r" % len(self.times)

    @answer.setter
    def answer(self, value: bytes) -> None:
        pass


@dataclass
class Run:
    """The logs of a run, and what is known of it. The times are seconds since the epoch."""

    definitions: bytes = b""
    event_log: bytes = b""
    main_log: bytes = b""
    arrived: set[str] = field(default_factory=set)
    requests: list[float] = field(default_factory=list)  # of {{n}}, from 1
    up: list[tuple[float, bool]] = field(default_factory=list)  # the TCP receiver
    silent: list[tuple[float, float]] = field(default_factory=list)  # the status service


def definitions(version: int) -> str:
    """Returns a version of the definition file: the event E changes, and is missing in some."""
    text = ""
    for trigger, (event, steps) in EVENTS.items():
        if event == "E":
            steps = [("TCP", 0, f"E{version} {{{{n}}}}")] * (version % 3)
        text += f"{event}Count={len(steps)}\n{event}XMLfield={trigger}\n"
        text += f"{event}Delay=2\n" if trigger == "slow" else ""
        for index, (transport, delay, payload) in enumerate(steps):
            address = UNANSWERED if transport == "DEAD" else "127.0.0.1"
            protocol = transport.replace("DEAD", "TCP")
            port = UDP_PORT if "UDP" in protocol else TCP_PORT
            text += device.step_lines(
                event, index, payload.encode(), Protocol=protocol, IP=address, Port=port, Delay=delay
            )
    return text


class Traffic:
    """What happens on the device; `act` does one thing."""

    def __init__(self, seed: int) -> None:
        self.random, self.run, self.version = random.Random(seed), Run(), 1
        self.service, self.receivers = Service(), []
        self.udp = device.UdpReceiver(UDP_PORT)
        self.later: list[tuple[float, object]] = []
        for path in (DEFINITIONS, TEST_DEFINITIONS):
            device.write_file(path, definitions(1))
        self.open_receiver()
        self.daemon = device.Daemon()
        assert self.daemon.wait_until_up()

    def open_receiver(self) -> None:
        self.receivers.append(device.TcpReceiver(TCP_PORT, reply=b"ok"))
        self.run.up.append((time.time(), True))

    def close_receiver(self) -> None:
        self.run.up.append((time.time(), False))
        self.receivers[-1].close()
        self.later.append((time.time() + self.random.uniform(1, 4), self.open_receiver))

    def silence(self) -> None:
        def answer() -> None:
            self.service.mode = "answer"
            self.run.silent[-1] = (self.run.silent[-1][0], time.time() + 3)

        self.service.mode = "silent"
        self.run.silent.append((time.time(), math.inf))
        self.later.append((time.time() + self.random.uniform(1, 3), answer))

    def restart(self) -> None:
        self.daemon.stop()
        self.daemon = device.Daemon()
        self.daemon.wait_until_up()

    def edit(self) -> None:
        self.version += 1
        device.write_file(DEFINITIONS, definitions(self.version))
        if self.random.random() < 0.7:  # as somebody does who tries the edit
            self.send("edit")
            self.later.append((time.time() + 0.8, lambda: self.send("edit")))

    def send(self, name: str) -> None:
        device.send_tcp(2700, name.encode() + self.random.choice([b"\n", b"", b"=on\n"]))

    def act(self) -> None:
        due = [each for each in self.later if each[0] <= time.time()]
        self.later = [each for each in self.later if each not in due]
        for _, action in due:
            action()
        draw = self.random.random()
        if draw < 0.62:
            self.send(self.random.choice([*EVENTS, "nobody", "a\nsame", "A", "slow "]))
        elif draw < 0.70:
            self.send("__TEST__:" + self.random.choice(["A", "B", "Twin", "slow"]))
        elif draw < 0.78:
            variable = self.random.choice(["DEVICE_NAME", "NO_SUCH"])
            device.send_udp(2727, f"e_param_set::{variable}::{draw}".encode())
        elif draw < 0.82:
            device.send_udp(2727, f"sysName={draw}".encode())
        elif draw < 0.85:
            device.send_udp(2728, f"CUR_HDCP={self.random.choice('01')}".encode())
        elif draw < 0.87 and not self.later:
            device.send_tcp(2700, b"__SET__:network.kovo.enable=0\n")
            enable = b"__SET__:network.kovo.enable=1\n"
            self.later.append((time.time() + 1.2, lambda: device.send_tcp(2700, enable)))
        elif draw < 0.93:
            if self.run.up[-1][1]:
                self.close_receiver()
        elif draw < 0.95:
            if self.service.mode == "answer":
                self.silence()
        elif draw < 0.985:
            self.edit()
        else:
            self.restart()

    def close(self) -> Run:
        time.sleep(2.5)
        self.daemon.stop()
        run = self.run
        run.definitions, run.event_log, run.main_log = map(
            device.read_file, (DEFINITIONS, EVENT_LOG, MAIN_LOG)
        )
        run.requests = self.service.times
        for receiver in [self.udp, *self.receivers]:
            run.arrived |= {one.data.decode() for one in receiver.arrivals}
            receiver.close()
        self.service.close()
        return run


def record(seed: int, seconds: float = 30) -> Run:
    """Lets the daemon run with random traffic."""
    device.add_address("eth0", "10.0.0.2/24")
    traffic = Traffic(seed)
    end = time.time() + seconds
    while time.time() < end:
        traffic.act()
        time.sleep(traffic.random.choice([0.02, 0.1, 0.3, 0.6]))
    return traffic.close()


def errors_of(main_log: bytes) -> Counter:
    """Returns the payloads whose error is in a main log, and how often."""
    connect = re.findall(r"tcpclient:\d+\] Error: connect .*, data=(.*?);\n", main_log.decode())
    sending = re.findall(r"Error: send\(.*\n\(\d+\)(.*);\n", main_log.decode())
    return Counter(connect + sending)


def seconds_of(moment: str) -> float:
    return datetime.fromisoformat(moment).timestamp()


class Judge:
    """Compares the statements of timelines with a run."""

    def __init__(self, run: Run) -> None:
        self.run, self.errors = run, errors_of(run.main_log)
        stamped = re.findall(r"^(\S+ \S+)  (.*(?:\n(?!\d{4}-).*)*)", run.event_log.decode(), re.M)
        self.log = [(seconds_of(stamp), text.rstrip("\n")) for stamp, text in stamped]
        self.lines = Counter(text for _, text in self.log)
        self.pushes = [
            (at, text[12:].split(", test=")[0]) for at, text in self.log if text[:12] == "push event: "
        ]
        self.executed = {self.pushed_at(payload) + (payload[0],) for payload in self.numbered()}

    def numbered(self) -> list[str]:
        return re.findall(r"(?:TCP|UDP) ([A-Z]\d* \d+)", self.run.event_log.decode())

    def pushed_at(self, payload: str) -> tuple[float]:
        """Returns when the push happened that looked this payload up."""
        asked = self.run.requests[int(payload.split()[1]) - 1] - 0.001  # stamps are truncated
        return (max((at for at, _ in self.pushes if at <= asked), default=0),)

    def was_silent(self, at: float) -> bool:
        return any(start - 1 <= at <= end for start, end in self.run.silent)

    def was_up(self, at: float) -> bool | None:
        """Returns whether the receiver was up; None near a change."""
        changes = [(time, up) for time, up in self.run.up if abs(time - at) <= MARGIN_S]
        return None if changes else [up for time, up in self.run.up if time < at][-1]

    def false_step(self, block: dict, step: dict, forgiven: set) -> str:
        verdict, text, payload = step["verdict"], step["text"], step["payload"]
        if "TCP" not in step["protocol"] or step["sends"] == "status" or payload in forgiven:
            return ""
        line = f"{step['address']}:{step['port']} {step['protocol']} {payload}"
        is_single = self.lines[line] == 1 and " " in payload
        refused, came = self.errors[payload] > 0, payload in self.run.arrived
        if not is_single:
            if step["offset_ms"] is None or step["address"] == UNANSWERED:
                return ""
            up = self.was_up(seconds_of(block["executed"]) + step["offset_ms"] / 1000)
            is_due = verdict != "skipped" and "restart" not in text
            refused, came = up is False, up is True and is_due
        if verdict == "no_error" and refused:
            return "its error is in kovo.log"
        if verdict in ("not_sent", "skipped") and came:
            return "it arrived"
        if verdict == "not_sent" and "restart" not in text and is_single and not refused:
            return "no error in kovo.log"
        if verdict == "not_known" and "equal" in text and not self.errors[payload]:
            return "no equal step was refused"
        return ""

    def false_block(self, block: dict) -> str:
        at, trigger = seconds_of(block["time"]), block["trigger"]
        if block["probably"] or self.was_silent(at):
            return ""
        for step in block["steps"]:
            match = re.match(r"[A-Z]\d* \d+", step["payload"])
            if match and trigger and abs(self.pushed_at(match[0])[0] - at) > 0.002:
                return f"another push sent {match[0]}"
        event = trigger if block["test"] else EVENTS.get(trigger, [""])[0]
        was_executed = any(abs(when - at) < 0.002 and name == event for when, name in self.executed)
        denied = ["no_event", "restart", "expired", "once_per_boot"]
        if was_executed and (block["verdict"] in denied) and "edited" not in block["text"]:
            return "it was executed"
        return ""

    def false_statements(self, timeline: dict, main_log: bytes, whole: bool = True) -> list[str]:
        """Returns the false statements of a timeline that was made with this main log.

        An error that it lacks is forgiven to its own step. `whole`: no log is cut.
        """
        lost = {each for each in self.errors if errors_of(main_log)[each] < self.errors[each]}
        found = []
        blocks = [block for block in timeline["blocks"] if block["time"] and not block["about"]]
        for block in blocks:
            false = self.false_block(block)
            found += [f"{block['time']} {block['trigger']} {block['verdict']}: {false}"] if false else []
            for step in block["steps"]:
                false = self.false_step(block, step, lost)
                if not false and whole and "reach back" in step["text"]:
                    false = "it does"
                if false:
                    said = f"{block['time']} {step['payload']} {step['verdict']} {step['text']}"
                    found.append(f"{said}: {false}")
        shown = Counter((seconds_of(block["time"]), block["trigger"]) for block in blocks)
        for (at, names) in self.pushes if whole else []:
            found += [f"{at} {name}: missing" for name in names.split("\n") if not shown[at, name]]
        return found
