"""Plays one block of a scenario inside a device."""

import os
import re
import shlex
import subprocess
import time
import tty
from collections.abc import Callable
from pathlib import Path

import device
from tests.player import channels
from tests.player.channels import Channel, Record
from tests.player.script import RECORD_END, Line, escape, unescape

LIMIT_S = 40  # for each expected record
_FENCES = re.compile("cmd=fence2?|mapping event fence|disable, skip fence|push event: fence")
_AFTER_FENCES = re.compile(r"[^\0]*fence[^\0]*|\[renew_macro_var\] save.*")


class Failure(Exception):
    """What differs, with the file and the line of the scenario."""


def _file_channel(path: str) -> Channel:
    return Channel(lambda: device.read_file(path).decode("latin-1"), "\n")


class Player:
    """A block being played: the device, the daemon and what it has sent, logged and printed."""

    def __init__(self, path: Path, script: list[Line]) -> None:
        self.path = path
        self.script = script
        self.line = 0  # the current one
        self.receipts = False  # whether log lines of received messages are compared
        self.service = device.StatusService("off")
        self.daemon: device.Daemon | None = None
        self.uptime = 1000.0
        self.started = 0.0
        self.terminal = -1
        self.terminal_end = -1  # kept open so that the terminal outlives the daemon
        self.output = ""
        self.receivers: dict[str, device.UdpReceiver | device.TcpReceiver] = {}
        self.channels = {
            "main": _file_channel("/var/tmp/log/kovo.log"),
            "event": _file_channel("/var/tmp/log/kovoevent.log"),
            "err": _file_channel("/tmp/daemon.err"),
        }
        self.channels["out"] = Channel(self._read_terminal, "\n")
        self.looked_ns = self.compared_ns = time.time_ns()
        self.shown_later = self.unfinished = ""  # see records()
        self.begun = 0.0  # when the first action since the latest comparison began
        self.took = 0.0  # seconds from then on until all expected records had arrived

    def fail(self, text: str) -> None:
        """Ends the scenario."""
        raise Failure(f"{self.path}:{self.line}: {text}")

    def close(self) -> None:
        """Ends the daemon and closes what belongs to the player."""
        if self.daemon:
            self.daemon.stop()
        for receiver in (self.service, *self.receivers.values()):
            receiver.close()
        self._close_terminal()

    # ---- Logs, stdout and receivers.

    def _close_terminal(self) -> None:
        for end in (self.terminal, self.terminal_end):
            if end >= 0:
                os.close(end)

    def _read_terminal(self) -> str:
        while self.terminal >= 0:
            try:
                self.output += os.read(self.terminal, 65536).decode("latin-1")
            except BlockingIOError:
                break
        return self.output

    def look(self) -> bool:
        """Reads all channels; returns whether there is new text."""
        self.looked_ns = time.time_ns()
        changed = False
        for channel in self.channels.values():
            text = channel.look()
            changed |= text != channel.text
            channel.text = text
        return changed

    def wait_looking(self, condition: Callable[[], bool]) -> bool:
        """Reads all channels until the condition holds; returns False if it does not within 40 s."""

        def holds() -> bool:
            self.look()
            return condition()

        return device.wait_until(holds, LIMIT_S)

    def records(self) -> dict[str, list[str]]:
        """Returns the records that the latest look found since the latest comparison, by channel.

        stdout shows a line of the main log that has no end together with the next one.
        """
        ranges = self._ranges()
        texts = {
            name: channels.fresh_text(channel, ranges, self.receipts)
            for name, channel in self.channels.items()
        }
        self.unfinished = texts["main"].rpartition("\n")[2]
        if not texts["out"]:
            self.unfinished = self.shown_later + self.unfinished
        elif texts["out"].startswith(self.shown_later):
            texts["out"] = texts["out"][len(self.shown_later) :]
        else:
            texts["out"] = f"lacks {self.shown_later}\n{texts['out']}"
        if self.unfinished and self.unfinished in texts["out"]:
            texts["out"] = texts["out"].replace(self.unfinished, "", 1)
            self.unfinished = ""
        return {
            name: channels.records_of(name, text, self.channels[name].end)
            for name, text in texts.items()
        }

    def _ranges(self) -> channels.Ranges:
        """Returns the values that are right now for this daemon."""
        since = self.compared_ns / 1e6 - 200  # a stamp is older than its record
        now = time.time_ns() / 1e6 + 1
        age = time.monotonic() - self.started
        least_age = max(int(age - (now - since) / 1000 - 3), 0)
        pid = self.daemon.pid if self.daemon else 0
        return {
            "@": (since, now),
            "NOW": (since - 999, now),
            "PID": (pid, pid),
            "UP": (self.uptime + least_age, self.uptime + age + 2),
            "S": (0, age + 1),
            "N": (0, age * 1000),
        }

    def consume(self) -> None:
        """Marks the text of the latest look as compared."""
        for channel in self.channels.values():
            channel.compared = channel.text
        self.compared_ns = self.looked_ns
        self.shown_later = self.unfinished
        self.begun = 0.0

    def content_of(self, path: str) -> str:
        """Returns the bytes of a file; PID if they are the daemon's process id."""
        if not os.path.exists(path):
            return "no such file"
        text = device.read_file(path).decode("latin-1")
        return "PID\n" if self.daemon and text == f"{self.daemon.pid}\n" else text

    def is_record(self, verb: str) -> bool:
        """Returns whether a verb names a record."""
        return verb in ("log", "echo") or verb in self.channels

    def _call(self, prefix: str, line: Line) -> None:
        if not hasattr(self, prefix + line.verb):
            self.fail(f"unknown: {line.verb}")
        getattr(self, prefix + line.verb)(line)

    # ---- Actions.

    def act(self, line: Line) -> None:
        """Runs an action."""
        self.begun = self.begun or time.monotonic()
        if line.verb:
            self._call("_do_", line)

    def _do_serial(self, line: Line) -> None:
        pass  # read by test_scenarios.py

    def _do_receipts(self, line: Line) -> None:
        self.receipts = True

    def _do_requests(self, line: Line) -> None:
        requests = self.service.requests
        self.channels["status"] = Channel(
            lambda: "".join(one.decode("latin-1") + RECORD_END for one in requests)
        )

    def _do_param(self, line: Line) -> None:
        device.set_param(line.name, line.text)

    def _do_uptime(self, line: Line) -> None:
        self.uptime = float(line.rest)

    def _do_write(self, line: Line) -> None:
        device.write_file(line.name, line.text.encode("latin-1"))

    def _do_run(self, line: Line) -> None:
        command = ["/bin/sh", "-c", f"{{ {line.rest}; }} >&2"]
        if subprocess.run(command, timeout=2 * LIMIT_S).returncode != 0:
            self.fail("failed")

    def _do_check(self, line: Line) -> None:
        checker = Path(shlex.split(os.environ["KOVOTCP"])[-1]).parent / "check/kovocheck"
        command = f"exec >report 2>&1; {checker} {line.rest} || echo exit $?"
        subprocess.run(["/bin/bash", "-c", command], cwd="/tmp", timeout=LIMIT_S)

    def _do_status(self, line: Line) -> None:
        answer = line.text.encode("latin-1") or device.status.DEFAULT_ANSWER
        self.service.set(line.name, answer)

    def _do_send(self, line: Line) -> None:
        kind, port = line.name.split(":")
        send = {"udp": device.send_udp, "tcp": device.send_tcp}[kind]
        for text in line.text.split(" ;; "):
            send(int(port), text.encode("latin-1"))

    def _do_listen(self, line: Line) -> None:
        for name in line.rest.split():
            self._listen(name)

    def _do_reply(self, line: Line) -> None:
        self._listen(line.name, reply=line.text.encode("latin-1"))

    def _listen(self, name: str, **options: bytes) -> None:
        kind, *address, port = name.split(":")
        make = {"udp": device.UdpReceiver, "tcp": device.TcpReceiver}[kind]
        receiver = make(int(port), *address, **options)
        self.receivers[name] = receiver
        self.channels[name] = Channel(
            lambda: "".join(one.data.decode("latin-1") + RECORD_END for one in receiver.arrivals)
        )

    def _do_start(self, line: Line) -> None:
        self._close_terminal()
        self.output = ""
        self.terminal, self.terminal_end = os.openpty()
        tty.setraw(self.terminal_end)
        os.set_blocking(self.terminal, False)
        words = ["" if word == '""' else unescape(word) for word in line.rest.split()]
        arguments = [word.encode("latin-1") for word in words]
        self.started = time.monotonic()
        self.daemon = device.Daemon(*arguments, uptime=self.uptime, stdout=self.terminal_end)

    def _do_boot(self, line: Line) -> None:
        device.add_address("eth0", "10.0.0.2/24")
        if self.service.mode == "off":
            self.service.set("answer")
        self._do_start(line)
        self._wait_supervision()
        self.consume()

    def _wait_supervision(self) -> None:
        device.daemon.SYNC_MARKER.unlink(missing_ok=True)
        if not self.wait_looking(device.daemon.SYNC_MARKER.exists):
            self.fail("no supervision")

    def _do_pass(self, line: Line) -> None:
        self._wait_supervision()
        self._wait_supervision()  # a whole one

    def _do_kill(self, line: Line) -> None:
        self.daemon.stop()

    # ---- Expected records.

    def compare(self, expected: list[Line]) -> None:
        """Waits for expected records; fails when one is missing or another one arrives."""
        self.line = expected[0].number
        for line in expected:
            if line.verb == "exit":
                self.daemon.wait_exit(LIMIT_S)  # its output is complete then
        self._compare_records(expected)
        for line in expected:
            self.line = line.number
            if line.verb and not self.is_record(line.verb):
                self._call("_expect_", line)
        self.consume()

    def _expected_records(self, lines: list[Line]) -> list[Record]:
        expected = []
        for line in lines:
            stamp = "@ " if line.verb in ("echo", "event") else ""
            for text in line.rest.split(" ;; ") if self.is_record(line.verb) else ():
                expected.append(Record(line.verb, unescape(f"{stamp}{text}\n"), line.mark))
        return expected

    def _compare_records(self, lines: list[Line]) -> None:
        expected = self._expected_records(lines)
        differences: list[str] | None = None
        last_right = time.monotonic()  # when all records so far were expected ones

        def is_decided() -> bool:
            nonlocal differences, last_right
            if self.look() or differences is None:
                differences = channels.difference(self.records(), expected)
            if not any(line.startswith("+") for line in differences):
                last_right = time.monotonic()
            return not differences or time.monotonic() - last_right > 0.5

        device.wait_until(is_decided, LIMIT_S)
        if differences:
            self.fail("missing (-), instead (+):\n  " + "\n  ".join(differences))
        self.took = time.monotonic() - self.begun

    def _expect_file(self, line: Line) -> None:
        if not device.wait_until(lambda: self.content_of(line.name) == line.text, LIMIT_S):
            parts = self.content_of(line.name).split("\n")
            self.fail("it holds" + "".join(f"\n| {escape(part)}" for part in parts))

    def _expect_took(self, line: Line) -> None:
        least, most = map(int, line.rest.split(".."))
        if not least <= self.took * 1000 <= most:
            self.fail(f"{self.took * 1000:.0f} ms")

    def _expect_exit(self, line: Line) -> None:
        status = self.daemon.wait_exit(LIMIT_S)
        if status != int(line.rest):
            self.fail(f"status {status}")

    def _expect_end(self) -> None:
        """Sends a message to each port; only the records of these messages may follow."""
        device.send_tcp(2700, b"fence\n")
        device.send_udp(2727, b"fence:")
        device.send_tcp(2727, b"fence2:")
        device.send_udp(2728, b"fence")

        def are_handled() -> bool:
            texts = self.channels["out"].text + self.channels["event"].text
            return len(_FENCES.findall(texts)) == 4

        if not self.wait_looking(are_handled):
            self.fail("the daemon no longer handles messages")
        for name, texts in self.records().items():
            for text in texts:
                if name != "status" and not _AFTER_FENCES.fullmatch(text):
                    self.fail(f"unexpected at the end: {name} {text}")

    def play(self) -> None:
        """Plays the block; raises Failure when a record is missing or unexpected."""
        if not any(line.verb for line in self.script):
            self.fail("nothing to play")
        os.environ["TZ"] = "KOV-05:45"  # local time must differ from UTC
        time.tzset()
        for line in self.script:
            self.line = line.number
            self.act(line)
            if line.records:
                self.compare(line.records)
        if self.daemon and self.daemon.is_running():
            self._expect_end()
