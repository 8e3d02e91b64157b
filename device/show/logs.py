"""Follows the logs of the daemon, record by record."""

import re
import time
from dataclasses import dataclass
from pathlib import Path

_STAMP = re.compile(rb"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d)\.(\d{3})  ")
_ROUTINE = re.compile(rb"(Error: )?\[\w{1,40}[:;]\d{1,5}\] |\[kovotcp\] ")


@dataclass(frozen=True)
class Record:
    """A log record; `at_ns` is its stamp, or the time when it was read, since the epoch.

    `text` has one character for each byte, without the stamp or the name of the routine and without
    the final newline.
    """

    at_ns: int
    text: str


class LogTail:
    """Reads what is appended to a log; a rotated log is read from its beginning."""

    def __init__(self, path: str) -> None:
        self.path = Path(path)
        self.label = self.path.name
        self._beginning = _STAMP if self.label == "kovoevent.log" else _ROUTINE
        self._taken = 0
        self._held = b""

    def _read(self) -> bytes:
        try:
            with self.path.open("rb") as log:
                if self.path.stat().st_size < self._taken:
                    self._taken = 0
                log.seek(self._taken)
                data = log.read()
        except OSError:
            return b""
        self._taken += len(data)
        return data

    def new_records(self) -> list[Record]:
        """Returns the records since the last call.

        A record ends where the next one begins: some have no newline, others contain one. If the
        last one does not end with a newline, it is returned by the next call, with its rest.
        """
        fresh = self._read()
        data = self._held + fresh
        self._held = b""
        starts = [0, *(match.start() for match in self._beginning.finditer(data, 1)), len(data)]
        parts = [data[a:b] for a, b in zip(starts, starts[1:]) if a < b]
        if parts and fresh and not parts[-1].endswith(b"\n"):
            self._held = parts.pop()
        return [self._record(part) for part in parts]

    def _record(self, data: bytes) -> Record:
        at_ns = time.time_ns()
        if match := self._beginning.match(data):
            data = (match[1] or b"" if self._beginning is _ROUTINE else b"") + data[match.end() :]
            if self._beginning is _STAMP:
                seconds = time.mktime(time.strptime(match[1].decode(), "%Y-%m-%d %H:%M:%S"))
                at_ns = int(seconds) * 10**9 + int(match[2]) * 10**6
        return Record(at_ns, data.removesuffix(b"\n").decode("latin-1"))
