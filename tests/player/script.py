"""The form of a scenario: its lines, and the texts in them.

All text is bytes, held as strings of the same number of characters (Latin-1).
"""

import re
from dataclasses import dataclass, field
from pathlib import Path

import device

RECORD_END = "\x1e"  # of an arrival among others of its receiver
_LETTERS = {"n": "\n", "r": "\r", "t": "\t", "\\": "\\"}
_LINE = re.compile(r" *([~?]?)([^ #]\S*|) ?((\S*) ?(.*))", re.ASCII)
_CONTINUATION = re.compile(r" *([|+]) ?(.*)")
_CODED = re.compile(r"<(.)\*(\d+)>|\\x(..)|\\(.)", re.ASCII | re.DOTALL)
# What the daemon logs when it reads a definition file.
_READS = re.compile(r"(?<=[ ~?])reads (\S+?(test)?\.txt)$")
_READING = "log [renew_kovo_txt] renew {} ;; [rebuild_kovo_event_list] rebuild {}kovo event txt: OK"
_TO_CODE = re.compile(r"([!-~])\1{31,}|[\x00-\x1F\x7F\\]| \Z")


@dataclass
class Line:
    """A line "VERB REST", often "VERB NAME TEXT", with the lines "| TEXT" and "+ STEP" below it."""

    number: int = 0
    mark: str = ""  # "~" or "?" before the verb
    verb: str = ""  # empty for comments and empty lines
    rest: str = ""  # as written
    name: str = ""  # the first word of the rest
    text: str = ""  # what follows it, unescaped
    records: list["Line"] = field(default_factory=list)  # the indented lines below it


def unescape(text: str) -> str:
    r"""Replaces \n \r \t \\ \xHH, and <C*N> by N times C; a backslash removes a line's end."""

    def meaning(found: re.Match[str]) -> str:
        if found[1]:
            return found[1] * int(found[2])
        if found[3]:
            return chr(int(found[3], 16))
        return "" if found[4] == "\n" else _LETTERS.get(found[4], found[4])

    return _CODED.sub(meaning, text)


def escape(text: str) -> str:
    """Does the opposite of unescape, for a text on one line."""

    def code(found: re.Match[str]) -> str:
        if found[1]:
            return f"<{found[1]}*{len(found[0])}>"
        letters = [letter for letter, meaning in _LETTERS.items() if meaning == found[0]]
        return "\\" + letters[0] if letters else f"\\x{ord(found[0]):02X}"

    return _TO_CODE.sub(code, text)


def escape_record(record: str) -> str:
    """Escapes a record without its end, and appends a backslash if it has none."""
    if record.endswith(("\n", RECORD_END)):
        return escape(record[:-1])
    return escape(record) + "\\"


def _step_lines(step: str) -> str:
    """Returns the definition lines of "EVENT INDEX PROTOCOL IP PORT DELAY PAYLOAD"; "-": none."""
    event, index, *values, payload = (step + " ").split(" ", 6)
    fields = zip(("Protocol", "IP", "Port", "Delay"), values, strict=True)
    given = {name: unescape(value) for name, value in fields if value != "-"}
    return device.step_lines(event, index, unescape(payload[:-1]).encode("latin-1"), **given)


def _read_line(number: int, source: str) -> Line:
    source = _READS.sub(lambda at: _READING.format(at[1], "test " if at[2] else ""), source)
    mark, verb, rest, name, text = _LINE.fullmatch(source).groups()
    return Line(number, mark, verb, rest, name, unescape(text))


def read_script(path: Path) -> list[Line]:
    """Returns the actions, each with the records that are expected after it."""
    script: list[Line] = []
    text = path.read_bytes().decode("latin-1").removesuffix("\n")
    for number, source in enumerate(text.split("\n"), 1):
        records = script[-1].records if script else script
        if found := _CONTINUATION.fullmatch(source):
            above = records[-1] if records else script[-1]
            added = _step_lines(found[2]) if found[1] == "+" else unescape(found[2] + "\n")
            above.text += added
        elif source.startswith(" "):
            records.append(_read_line(number, source))
        else:
            script.append(_read_line(number, source))
    return script


def read_blocks(path: Path) -> dict[str, list[Line]]:
    """Returns the lines of each block by its name: those before the first block, then its own.

    A scenario without blocks is one block without a name.
    """
    setup: list[Line] = []
    blocks: dict[str, list[Line]] = {}
    lines = setup
    for line in read_script(path):
        if line.verb == "block":
            lines = blocks[line.rest] = setup.copy()
        else:
            lines.append(line)
    return blocks or {"": setup}
