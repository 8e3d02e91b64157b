"""The logs, stdout and receivers, with what differs from run to run replaced."""

import re
from collections.abc import Callable
from dataclasses import dataclass
from typing import NamedTuple

from device import logs
from tests.player.script import RECORD_END, escape_record


class Record(NamedTuple):
    """An expected record, with its end; one of the event log has a stamp "@ " before its text."""

    verb: str
    text: str
    mark: str = ""


@dataclass
class Channel:
    """A log, stdout or a receiver: `look` returns all of its text, each arrival with an end."""

    look: Callable[[], str]
    end: str = RECORD_END
    text: str = ""  # by the latest look
    compared: str = ""  # by the latest comparison


Ranges = dict[str, tuple[float, float]]  # the least and the largest valid value of a replacement


def _last_number(found: re.Match[str]) -> int:
    return int(found[found.lastindex])


def _stamp_ms(found: re.Match[str]) -> int:
    return logs.local_ms(found[1], found[2])


def _date_ms(found: re.Match[str]) -> int:
    return logs.local_ms(found[0])


def _queue_time_ms(found: re.Match[str]) -> int:
    return int(found[1]) if int(found[2]) <= int(found[1]) else -1  # never before it is due


# A form, its replacement, the range of its value, and the value; None if any value is valid.
_FORMS = [
    (re.compile(form, re.ASCII), replacement, name, value)
    for form, replacement, name, value in (
        (logs.ROUTINE, r"[\1\2]", "", None),
        (r"/\S*/kovotcp:", "kovotcp:", "", None),
        (r"Build: \w{3} [ \d]\d \d{4} \d\d:\d\d:\d\d \+", "Build: DATE +", "", None),
        (r"now-last=[0-4] sec", "now-last=S sec", "", None),
        (logs.STAMP, "@ ", "@", _stamp_ms),
        (logs.DATE, "NOW", "NOW", _date_ms),
        (r"(kovotcp\.pid=|run echo )(\d+)", r"\1PID", "PID", _last_number),
        (r"(uptime=|skip \w+ \.\.\.)(\d+)", r"\1UP", "UP", _last_number),
        (r"network\.\.\.(\d+)", "network...S", "S", _last_number),
        (r"now=(\d+) ms, t_exec=(\d+) ms", "now=N ms, t_exec=N ms", "N", _queue_time_ms),
    )
]
# Log records of received messages, with their further lines.
_RECEIPT = re.compile(
    r"(\[handle_\w+\] [rR]ecv\(|@ get (tcp:2700|udp:2728) event)[^\n]*\n([^\[@\n]*\n)*", re.ASCII
)


def fresh_text(channel: Channel, ranges: Ranges, receipts: bool) -> str:
    """Returns the text since the latest comparison, with what differs from run to run replaced."""
    has_grown = channel.text.startswith(channel.compared)  # or the file was removed
    fresh = channel.text[len(channel.compared) if has_grown else 0 :]
    for form, replacement, name, value in _FORMS:

        def replace(found: re.Match[str]) -> str:
            least, most = ranges.get(name, (0, 0))
            fits = value is None or least <= value(found) <= most
            return found.expand(replacement) if fits else found[0]

        fresh = form.sub(replace, fresh)
    return fresh if receipts else _RECEIPT.sub("", fresh)


def records_of(channel: str, text: str, end: str = "\n") -> list[str]:
    """Returns the records of a channel's text; one of the event log ends before the next stamp."""
    parts = re.split(r"(?<=\n)(?=@ )" if channel == "event" else f"(?<={end})", text)
    return [escape_record(part) for part in parts if part]


_PLACES = {"log": ("main", "out"), "echo": ("event", "out")}  # the channels of these verbs


def _expected_in(channel: str, expected: list[Record]) -> list[tuple[str, str]]:
    """Returns text and mark of each record of a channel; stdout shows a line when it ends."""
    found = []
    for verb, text, mark in expected:
        if channel in _PLACES.get(verb, (verb,)) and (channel != "out" or text.endswith("\n")):
            texts = records_of(channel, text) if channel == "out" else [escape_record(text)]
            found += [(each, mark) for each in texts]
    return found


def _by_verb(records: list[tuple[str, str]]) -> list[str]:
    """Names the records by the verb for the channels where they are."""
    for verb, (log, out) in _PLACES.items():
        for text in [text for channel, text in records if channel == log]:
            if (out, text) in records:
                records.remove((out, text))
                records[records.index((log, text))] = (verb, text)
    return [" ".join(record) for record in records]


def difference(actual: dict[str, list[str]], expected: list[Record]) -> list[str]:
    """Returns "+ RECORD" for each unexpected record, then "- RECORD" for each missing one."""
    extra, missing = [], []
    for channel, texts in actual.items():
        records = _expected_in(channel, expected)
        fixed = [text for text, mark in records if not mark]
        floating = [record for record in records if record[1]]
        for text in texts:
            anywhere = [record for record in floating if record[0] == text]
            if fixed[:1] == [text]:
                del fixed[0]
            elif anywhere:
                floating.remove(anywhere[0])
            else:
                extra.append((channel, text))
        fixed += [text for text, mark in floating if mark != "?"]
        missing += [(channel, text) for text in fixed]
    return [f"+ {one}" for one in _by_verb(extra)] + [f"- {one}" for one in _by_verb(missing)]
