"""The records of the daemon's logs: what they contain, and the new ones of a file."""

import re
import time
from dataclasses import dataclass
from pathlib import Path

DATE = r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d"
STAMP = rf"({DATE})\.(\d{{3}})  "
ROUTINE = r"\[(\w{1,40})(?::|(;))\d{1,5}\]"  # and the line number

_STAMPED = re.compile(rf"{STAMP}(?:{ROUTINE} )?".encode())
_NAMED = re.compile(rf"(?P<error>Error: )?{ROUTINE} |\[kovotcp\] ".encode())
_PUSH = re.compile(r"(?:auto )?push event: (?s:(.*?))(, test=1)?")
_REFUSAL = re.compile(r"Error: connect ip=(.*?), port=(\d+), error=\(\d+\)(.*?), data=(?s:.*)")


def local_ms(date: str, milliseconds: str | None = None) -> int:
    """Returns a local time, such as "2026-11-24 16:00:00", in milliseconds since the epoch."""
    seconds = time.mktime(time.strptime(date, "%Y-%m-%d %H:%M:%S"))
    return int(seconds) * 1000 + int(milliseconds or 0)


@dataclass(frozen=True)
class Record:
    """A log record; `at_ns` is its stamp, or the time when it was read, since the epoch.

    `data` is without the stamp, the name of the routine and the final newline.
    """

    at_ns: int
    data: bytes

    @property
    def text(self) -> str:
        """Returns the data as text; invalid bytes are replaced as in the output of kovocheck."""
        return self.data.decode(errors="replace")

    def pushed(self) -> tuple[list[str], bool]:
        """Returns the pushed names of a record of a push, and whether it is a test."""
        found = _PUSH.fullmatch(self.text)
        return (found[1].split("\n"), bool(found[2])) if found else ([], False)

    def failed_connection(self) -> tuple[str, str]:
        """Returns destination, such as "10.0.0.6:23", and error of a failed connection, or ""."""
        found = _REFUSAL.fullmatch(self.text)
        # A connect that SO_SNDTIMEO ends fails with EINPROGRESS.
        error = found[3] if found else ""
        error = error.replace("Operation now in progress", "connection timed out")
        return (f"{found[1]}:{found[2]}", error) if found else ("", "")


class LogTail:
    """Reads what is appended to a log; a rotated log is read from its beginning."""

    def __init__(self, path: str) -> None:
        self.path = Path(path)
        self.label = self.path.name
        self._beginning = _STAMPED if self.label == "kovoevent.log" else _NAMED
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
            data = (match.groupdict().get("error") or b"") + data[match.end() :]
            if self._beginning is _STAMPED:
                at_ns = local_ms(match[1].decode(), match[2].decode()) * 10**6
        return Record(at_ns, data.removesuffix(b"\n"))
