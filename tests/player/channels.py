"""The logs, stdout and receivers, with what differs from run to run replaced."""

import re
from collections.abc import Callable
from dataclasses import dataclass
from typing import NamedTuple

from device import logs
from tests.player.script import RECORD_END, escape_record


class Record(NamedTuple):
    """A record as a scenario has it; one of the event log has a stamp "@ " before its text."""

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


def split_first(text: str, end: str) -> tuple[str, str]:
    """Splits off the first record, which ends with the first character of `end`."""
    at = text.find(end)
    return (text, "") if at < 0 else (text[: at + 1], text[at + 1 :])


def log_records(main: str, events: str, out: str, shown_later: str) -> tuple[list[Record], str]:
    """Returns the records of the logs, each by the verb for the places where it is.

    Returns also the line of the main log without an end, which stdout shows only together with the
    next one; `shown_later` is that of the latest comparison.
    """
    records = []
    unfinished = shown_later if not out else ""
    if out.startswith(shown_later):
        out = out[len(shown_later) :]
    elif out:
        records.append(Record("out lacks", shown_later))
    while main or events or out:
        log, later_main = split_first(main, "\n")
        event, later_events = split_first(events, "\n@ ")
        line, later_out = split_first(out, "\n")

        def is_shown(record: str) -> bool:
            return bool(record) and out.startswith(record) and line.endswith("\n")

        if is_shown(log):
            verb, record, main, out = "log", log, later_main, out[len(log) :]
        elif is_shown(event):
            verb, record, events, out = "echo", event, later_events, out[len(event) :]
        elif event and (line.startswith("@") if line else not log):
            verb, record, events = "event", event, later_events
        elif line:
            verb, record, out = "out", line, later_out
        else:
            unfinished += "" if log.endswith("\n") else log
            verb, record, main = "main" if log.endswith("\n") else "log", log, later_main
        records.append(Record(verb, escape_record(record)))
    return records, unfinished


def receiver_records(name: str, text: str, end: str) -> list[Record]:
    """Returns the records of any other channel."""
    records = []
    while text:
        record, text = split_first(text, end)
        records.append(Record(name, escape_record(record)))
    return records


_ON_STDOUT = {"log", "echo", "out"}
_IN_EVENT_LOG = {"echo", "event"}


def _in_order(one: Record, other: Record) -> bool:
    """Returns whether two records are of one file or receiver, or both on stdout."""
    verbs = {one.verb, other.verb}
    return len(verbs) == 1 or verbs <= _ON_STDOUT or verbs <= _IN_EVENT_LOG


def difference(actual: list[Record], expected: list[Record]) -> list[str]:
    """Returns "+ RECORD" for each unexpected record, then "- RECORD" for each missing one."""
    fixed = [record for record in expected if not record.mark]
    floating = [record for record in expected if record.mark]
    lines = []
    for record in actual:
        at = next((at for at, one in enumerate(fixed) if _in_order(one, record)), None)
        anywhere = [one for one in floating if one[:2] == record[:2]]
        if at is not None and fixed[at][:2] == record[:2]:
            del fixed[at]
        elif anywhere:
            floating.remove(anywhere[0])
        else:
            lines.append(f"+ {record.verb} {record.text}")
    missing = [record for record in fixed + floating if record.mark != "?"]
    return lines + [f"- {record.verb} {record.text}" for record in missing]
