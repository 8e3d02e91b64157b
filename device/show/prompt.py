"""Reads lines: from a prompt at the bottom of a terminal, or from standard input."""

import queue
import sys
import threading
from collections.abc import Callable
from concurrent.futures import ThreadPoolExecutor

from prompt_toolkit import PromptSession
from prompt_toolkit.completion import WordCompleter
from prompt_toolkit.patch_stdout import patch_stdout


class Lines:
    """Lines that have not been processed yet, and whether more may follow."""

    def __init__(self) -> None:
        self._queue: queue.SimpleQueue[str] = queue.SimpleQueue()
        self._ended = threading.Event()

    def put(self, line: str) -> None:
        """Adds a line."""
        self._queue.put(line)

    def end(self) -> None:
        """Marks the end of the lines."""
        self._ended.set()

    def has_ended(self) -> bool:
        """Returns whether all lines were taken and no more follow."""
        return self._ended.is_set() and self._queue.empty()

    def take(self) -> list[str]:
        """Removes and returns all lines."""
        return [self._queue.get() for _ in range(self._queue.qsize())]


def run_with_input(run: Callable[[Lines], bool], words: Callable[[], list[str]]) -> bool:
    """Calls `run` with the typed lines and returns its result; `words` are for completion."""
    lines = Lines()
    if sys.stdin.isatty() and sys.stdout.isatty():
        return _run_with_prompt(run, lines, words)

    def read() -> None:
        for line in sys.stdin:
            lines.put(line.rstrip("\n"))
        lines.end()

    threading.Thread(target=read, daemon=True).start()
    return run(lines)


def _run_with_prompt(
    run: Callable[[Lines], bool], lines: Lines, words: Callable[[], list[str]]
) -> bool:
    completer = WordCompleter(words, ignore_case=True, sentence=True)
    session = PromptSession(completer=completer, complete_while_typing=False)

    def run_and_leave() -> bool:
        try:
            return run(lines)
        finally:
            loop = session.app.loop
            if loop and not lines.has_ended():
                loop.call_soon_threadsafe(lambda: session.app.exit(exception=EOFError()))

    with patch_stdout(raw=True), ThreadPoolExecutor() as executor:
        result = executor.submit(run_and_leave)
        try:
            while not result.done():
                lines.put(session.prompt("> "))
        except (EOFError, KeyboardInterrupt):
            pass
        lines.end()
        return result.result()
