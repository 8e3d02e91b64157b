"""Reads lines: from a prompt at the bottom of a terminal, or from standard input."""

import sys
import threading
from collections import deque
from collections.abc import Callable
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass, field

from prompt_toolkit import PromptSession
from prompt_toolkit.completion import WordCompleter
from prompt_toolkit.patch_stdout import patch_stdout


@dataclass
class Lines:
    """Lines that have not been processed yet, and whether more may follow."""

    waiting: deque[str] = field(default_factory=deque)
    ended: bool = False


Run = Callable[[Lines], bool]
Words = Callable[[], list[str]]


def run_with_input(run: Run, words: Words) -> bool:
    """Calls `run` with the typed lines and returns its result; `words` are for completion."""
    lines = Lines()
    if sys.stdin.isatty() and sys.stdout.isatty():
        return _run_with_prompt(run, lines, words)

    def read() -> None:
        for line in sys.stdin:
            lines.waiting.append(line.rstrip("\n"))
        lines.ended = True

    threading.Thread(target=read, daemon=True).start()
    return run(lines)


def _run_with_prompt(run: Run, lines: Lines, words: Words) -> bool:
    completer = WordCompleter(words, ignore_case=True, sentence=True)
    session = PromptSession(completer=completer, complete_while_typing=False)

    def run_and_leave() -> bool:
        try:
            return run(lines)
        finally:
            loop = session.app.loop
            if loop and not lines.ended:
                loop.call_soon_threadsafe(lambda: session.app.exit(exception=EOFError()))

    with patch_stdout(raw=True), ThreadPoolExecutor() as executor:
        result = executor.submit(run_and_leave)
        try:
            while not result.done():
                lines.waiting.append(session.prompt("> "))
        except (EOFError, KeyboardInterrupt):
            pass
        lines.ended = True
        return result.result()
