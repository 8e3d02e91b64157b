"""The events of the definition file on the device, as kovocheck explains them."""

import json
import os
import re
import subprocess
from collections.abc import Iterator
from dataclasses import dataclass, field
from pathlib import Path

from device.show.screen import printable
from device.system import write_file

PLACES = ("/www/pelm/kovo.txt", "/www/pelm/tmp/kovotest.txt")
PLACEHOLDER = re.compile(r"\{\{.*?\}\}")


@dataclass(frozen=True)
class Step:
    """A send step; `payload` is printable, with placeholders, and empty for the status."""

    offset_ms: int = 0
    sends: str = "nothing"  # or "payload" or "status"
    transport: str = ""
    protocol: str = ""
    address: str = "0.0.0.0"  # where the daemon sends it
    port: int = 0
    payload: str = ""

    def logged_payload(self, record: bytes) -> bytes | None:
        """Returns the payload in a record of the event log; None if it is not of this step."""
        head = re.escape(self.address) if self.address != "0.0.0.0" else ".*?"
        head += ":.*? " + re.escape(self.protocol) + " "
        found = re.match(head.encode(), record)
        payload = record[found.end() :].split(b"\0")[0][:1023] if found else b""
        expected = ".*"
        if self.sends == "payload":
            until_nul = self.payload.split("\\x00")[0]
            expected = ".*".join(re.escape(part) for part in PLACEHOLDER.split(until_nul))
        return payload if found and re.fullmatch(expected, printable(payload)) else None

    def target(self) -> str:
        """Returns its destination such as "udp 10.0.0.7:6000"; "" if it sends nothing."""
        if self.sends == "nothing":
            return ""
        address = "127.0.0.1" if self.address == "0.0.0.0" else self.address
        return f"{self.transport.lower()} {address}:{self.port}"

    def __str__(self) -> str:
        if self.sends == "nothing":
            return f'nothing (protocol "{self.protocol}")'
        after = f" +{self.offset_ms} ms" if self.offset_ms > 0 else ""
        return f"{self.protocol} {self.address}:{self.port}{after}"


@dataclass(frozen=True)
class Event:
    """An event with its steps, in the order of their indexes."""

    name: str
    trigger: str
    delay_s: int
    raised_by: list[str]
    steps: list[Step]


def _event(described: dict) -> Event:
    steps = [Step()] * described["step_count"]
    for step in described["steps"]:
        steps[step["index"]] = Step(**{name: step[name] for name in Step.__dataclass_fields__})
    values = (described[name] for name in ("name", "trigger", "delay_s", "raised_by"))
    return Event(*values, steps)


@dataclass
class Definitions:
    """A definition file, which the user may edit, and its events."""

    path: Path
    kovocheck: str
    events: list[Event] = field(default_factory=list)
    findings: str = ""  # what kovocheck prints
    _changed_ns: int = 0

    def refresh(self) -> bool:
        """Installs the file on the device if it is new or has changed; returns whether it did.

        A file that cannot be read changes nothing: an editor may be replacing it.
        """
        try:
            changed_ns = os.stat(self.path).st_mtime_ns
            if changed_ns == self._changed_ns:
                return False
            data = self.path.read_bytes()
        except OSError:
            return False
        self._changed_ns = changed_ns
        for place in PLACES:
            write_file(place, data)
        described, _ = self._check("--format=json")
        if described:  # otherwise the daemon keeps the events as well
            self.events = [_event(event) for event in json.loads(described)["events"]]
        self.findings = "".join(self._check())
        return True

    def _check(self, *options: str) -> tuple[str, str]:
        """Returns what kovocheck prints, and why it does not check the file."""
        command = [self.kovocheck, *options, self.path.name]
        checked = subprocess.run(command, cwd=self.path.parent, capture_output=True, text=True)
        return checked.stdout, checked.stderr

    def triggers(self) -> list[str]:
        """Returns the names that fire an event, in the order of the file."""
        return list(dict.fromkeys(event.trigger for event in self.events))

    def raised_by(self, kind: str) -> Iterator[tuple[str, Event]]:
        """Yields the names of a kind such as "variable" that fire events, with the event."""
        for event in self.events:
            for source in event.raised_by:
                if source.startswith(f"{kind} "):
                    yield source.split()[1], event
