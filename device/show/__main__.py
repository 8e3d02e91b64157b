"""Shows the daemon at work and sends it what is typed. Runs on the simulated device:

  python3 -m device.show [--demonstrate | --once] [--status FILE] [--with COMMAND] KOVOCHECK FILE
"""

import argparse
import re
import resource
import subprocess
import sys
import threading
import time
from collections.abc import Callable
from pathlib import Path

from device.constants import MIN_STATUS_LINES, REPLY_TIMEOUT_S
from device.daemon import SYNC_MARKER, Daemon
from device.logs import LogTail, Record
from device.show import demonstration
from device.show.events import Definitions
from device.show.network import MODES, Network
from device.show.prompt import Lines, run_with_input
from device.show.screen import Screen, printable
from device.show.timeline import Timeline
from device.show.typed import STATUS_MODES, completions, help_text, interpret, no_such_trigger
from device.status import DEFAULT_ANSWER, SERVICE_MODES, StatusService
from device.system import add_address, send_tcp, send_udp, set_param, wait_until

_EFFECT_NS = int(REPLY_TIMEOUT_S * 1e9)  # at most, until the effects of a message
_SILENT_NS = 10**9  # at most, until a variable raises something
_UNKNOWN_STATUS = "no mapping event "
_TICK_S = 0.05
# Destinations of variable changes and of replies in the documents' examples.
_LOCAL_RECEIVERS = (demonstration.CLIENT, demonstration.REPLIES, demonstration.TCP_REPLIES)


class Show:
    """The device, the daemon on it, and what has been shown."""

    def __init__(self, definitions: Definitions, answer: bytes, local_receivers: bool) -> None:
        self.screen = Screen()
        self.definitions = definitions
        self.network = Network()
        self.timeline = Timeline(definitions, self.network)
        self.busy_until_ns = time.time_ns() + _EFFECT_NS
        self._tails = [LogTail(f"/var/tmp/log/{name}") for name in ("kovo.log", "kovoevent.log")]
        self._variable = ""  # the last one sent, unless it has raised something
        self._variable_ns = 0
        set_param("LIVE_PLAYLIST_CONTENT", "0")
        add_address("eth0", "10.0.0.2/24")
        self.service = StatusService(answer=answer)
        for target in _LOCAL_RECEIVERS if local_receivers else ():
            self.network.listen(target)
        self.refresh_definitions()
        self.daemon = Daemon()

    def refresh_definitions(self) -> None:
        """Installs the definition file if it has changed, and shows what kovocheck finds in it."""
        if not self.definitions.refresh():
            return
        self.screen.note(self.definitions.findings)
        targets = [step.target() for event in self.definitions.events for step in event.steps]
        for target in filter(None, dict.fromkeys(targets)):
            if reason := self.network.listen(target):
                self.screen.note(f"no simulated receiver at {target}: {reason}")

    def wait_for(self, condition: Callable[[], bool], timeout: float = 15.0) -> bool:
        """Shows what happens until the condition holds; returns False after `timeout` seconds."""

        def holds() -> bool:
            self.show_news()
            return condition()

        return wait_until(holds, timeout)

    def send(self, channel: str, message: bytes) -> None:
        """Sends a message to a channel of the daemon such as "udp:2727"."""
        self.screen.now("in", f"{channel} <-", f'"{printable(message)}"')
        self.busy_until_ns = time.time_ns() + _EFFECT_NS
        if message.lower().startswith(b"e_param_set::"):
            self._variable = printable(message.split(b"::")[1])
            self._variable_ns = time.time_ns()
        try:
            (send_udp if channel.startswith("udp") else send_tcp)(int(channel[4:]), message)
        except OSError as error:
            self.screen.now("alarm", channel, str(error))

    def show_news(self) -> None:
        """Shows new log records and arrivals, in the order of time."""
        news = []
        taken = [(tail, tail.new_records()) for tail in self._tails]
        for tail, records in reversed(taken):  # the record of a step comes before its error
            for record in records:
                style = "alarm" if record.text.startswith("Error") else "log"
                news.append((record.at_ns, style, tail.label, printable(record.data)))
                notes = self._follow_event_log if tail is self._tails[1] else self._follow_main_log
                news += [(record.at_ns, "note", "", printable(note)) for note in notes(record)]
        for target, arrival in self.network.new_arrivals():
            news.append((arrival.at_ns, "out", f"-> {target}", f'"{printable(arrival.data)}"'))
        now_ns = time.time_ns()
        for line in self.timeline.finished(now_ns):
            style = "alarm" if "not received" in line or "not sent" in line else "note"
            news.append((now_ns, style, "timeline", printable(line)))
        for at_ns, style, label, text in sorted(news, key=lambda line: line[0]):
            self.screen.line(style, at_ns, label, text)
        if self._variable and now_ns > self._variable_ns + _SILENT_NS:
            self.screen.note(f"{self._variable} raises nothing on this product")
            self._variable = ""

    def _follow_event_log(self, record: Record) -> list[str]:
        """Returns notes on the record."""
        self._variable = ""
        unknown = self.timeline.follow(record)
        return [f'"{name}" is raised, but no event has that trigger' for name in unknown]

    def _follow_main_log(self, record: Record) -> list[str]:
        """Returns notes on the record."""
        self.timeline.follow_error(record)
        if not record.text.startswith(_UNKNOWN_STATUS):
            return []
        name = record.text.removeprefix(_UNKNOWN_STATUS)
        hint = 'a message of port 2727 has "::"' if ":" in name else ""
        hint = hint or no_such_trigger(self.definitions, name)
        return [f'"{name}" is no status line of the device; {hint}']

    def run_line(self, line: str) -> None:
        """Runs a typed line."""
        word, _, rest = line.strip().partition(" ")
        if line.strip() == "help":
            return self.screen.note(help_text(self.definitions, self.network.tcp_receivers()))
        if word in MODES and rest:
            return self.screen.note(self.network.set_mode(word, rest))
        if word == "status" and rest in STATUS_MODES:
            self.service.set(STATUS_MODES[rest], self.service.answer)
            return self.screen.note(f"the status service {SERVICE_MODES[self.service.mode]}")
        channel, message, error = interpret(self.definitions, line)
        if channel:
            self.send(channel, message)
        elif error:
            self.screen.note(error)

    def is_busy(self, now_ns: int) -> bool:
        """Returns whether messages may still have effects."""
        return now_ns < self.busy_until_ns or self.timeline.is_waiting(now_ns)

    def follow(self, lines: Lines) -> bool:
        """Runs lines until they have ended and had their effects; False if the daemon ends."""
        while not lines.ended or lines.waiting or self.is_busy(time.time_ns()):
            while lines.waiting:
                self.run_line(lines.waiting.popleft())
            self.show_news()
            self.refresh_definitions()
            if not self.daemon.is_running():
                self.screen.now("alarm", "kovotcp", "has ended")
                return False
            time.sleep(_TICK_S)
        return True


def run_program(show: Show, command: str, directory: str) -> int:
    """Runs a program of the user on the device; returns its exit status."""
    show.screen.now("in", "run", command)
    streams = {"stdout": subprocess.PIPE, "stderr": subprocess.STDOUT}
    program = subprocess.Popen(command, shell=True, cwd=directory, **streams)
    lines = Lines()

    def print_output() -> None:
        for line in program.stdout:
            show.screen.now("out", "program", printable(line.removesuffix(b"\n")))
        lines.ended = True

    threading.Thread(target=print_output, daemon=True).start()
    followed = show.follow(lines)
    status = program.wait()
    show.screen.now("note" if status == 0 else "alarm", "program", f"exit status {status}")
    return status if followed else 1


def parse_arguments() -> argparse.Namespace:
    """Returns the arguments."""
    parser = argparse.ArgumentParser(prog="device.show")
    parser.add_argument("--demonstrate", action="store_true")
    parser.add_argument("--once", action="store_true")
    parser.add_argument("--status", type=Path)
    parser.add_argument("--with", dest="command")
    parser.add_argument("--directory")
    parser.add_argument("kovocheck")
    parser.add_argument("file", type=Path)
    return parser.parse_args()


def status_answer(path: Path | None) -> bytes:
    """Returns a file's lines name=value or name:value as an answer of the status service."""
    if path is None:
        return DEFAULT_ANSWER
    lines = path.read_bytes().replace(b"\r", b"\n").split(b"\n")
    lines = [re.sub(rb"[=:]", b":", line, count=1) for line in lines if re.search(rb"[=:]", line)]
    if len(lines) < MIN_STATUS_LINES:
        sys.exit(f"run: --status: fewer than {MIN_STATUS_LINES} lines name=value are ignored")
    return b"".join(line + b"\r" for line in lines)


def main() -> int:
    """Runs the program; returns its exit status."""
    arguments = parse_arguments()
    sys.stdin.reconfigure(errors="surrogateescape")
    sys.stdout.reconfigure(errors="backslashreplace")
    # A file may have more destinations than a login session has descriptors.
    _, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
    resource.setrlimit(resource.RLIMIT_NOFILE, (hard, hard))
    definitions = Definitions(arguments.file, arguments.kovocheck)
    show = Show(definitions, status_answer(arguments.status), local_receivers=not arguments.command)
    started = show.wait_for(lambda: SYNC_MARKER.exists() or not show.daemon.is_running())
    if not started or not show.daemon.is_running():
        print("the daemon does not start", file=sys.stderr)
        return 1
    if arguments.command:
        return run_program(show, arguments.command, arguments.directory)
    if arguments.demonstrate or arguments.once:
        passed = demonstration.demonstrate(show)
        show.screen.note("\nEverything arrived." if passed else "\nNot everything arrived.")
        if arguments.once or not passed:
            return 0 if passed else 1
    show.screen.note("")
    show.run_line("help")
    receivers = show.network.tcp_receivers
    return 0 if run_with_input(show.follow, lambda: completions(definitions, receivers())) else 1


if __name__ == "__main__":
    try:
        sys.exit(main())
    except KeyboardInterrupt:
        sys.exit(130)
