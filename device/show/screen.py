"""The output of `./run`: a line for each message, record and note."""

import re
import sys
import threading
import time

from rich.console import Console
from rich.text import Text

STYLES = {
    "in": "bold cyan",
    "out": "bold green",
    "log": "dim",
    "note": "yellow",
    "alarm": "bold red",
}
_LABEL_WIDTH = 21


def printable(data: str | bytes) -> str:
    r"""Returns a text on one line; escapes control characters, of bytes all that is not ASCII."""
    shown = {"\n": r"\n", "\r": r"\r", "\t": r"\t"}
    text = data if isinstance(data, str) else data.decode("latin-1")
    is_plain = str.isprintable if isinstance(data, str) else re.compile("[ -~]").match
    return "".join(shown.get(c, c if is_plain(c) else f"\\x{ord(c):02X}") for c in text)


class Screen:
    """Prints lines: coloured and truncated on a terminal, plain and whole otherwise."""

    def __init__(self) -> None:
        self.start_ns = time.time_ns()
        self.is_terminal = sys.stdout.isatty()
        self._lock = threading.Lock()

    def _print(self, style: str, text: str, shorten: bool = False) -> None:
        with self._lock:
            if not self.is_terminal:
                print(text, flush=True)
                return
            # One for each line: the prompt replaces standard output while it is shown.
            console = Console(highlight=False, force_terminal=True)
            overflow = "ellipsis" if shorten else "fold"
            console.print(Text(text, STYLES[style]), no_wrap=shorten, overflow=overflow)

    def line(self, style: str, at_ns: int, label: str, text: str) -> None:
        """Prints a line with its time, in nanoseconds since the epoch.

        A narrow terminal shows the beginning of messages and records, and all of notes and skips.
        """
        seconds = (at_ns - self.start_ns) / 1e9
        head = f"{seconds:8.3f}  {label:<{_LABEL_WIDTH}} "
        is_skip = text.startswith("skip ")  # it ends with the number that matters
        self._print(style, head + text, shorten=style in ("in", "out", "log") and not is_skip)

    def now(self, style: str, label: str, text: str) -> None:
        """Prints a line with the present time."""
        self.line(style, time.time_ns(), label, text)

    def note(self, text: str) -> None:
        """Prints one or more lines without a time."""
        for line in text.splitlines() or [""]:
            self._print("note", line)
