"""Interprets typed lines."""

from difflib import get_close_matches

from device.constants import CHANNELS, COMMANDS, STATUS_LINES, VARIABLES, VARIABLES_TCP
from device.show.events import Definitions
from device.show.network import MODES

STATUS_MODES = {"off": "off", "silent": "silent", "on": "answer"}  # of the status service


def interpret(definitions: Definitions, line: str) -> tuple[str, bytes, str]:
    """Returns the channel and the message to send, and an error, each "" if there is none.

    The line may begin with its channel. Otherwise triggers and commands such as __TEST__:Door go to
    port 2700, a text with "::" is a message of port 2727, and name=value or a playlist is a status
    line of port 2728.
    """
    channel, _, rest = line.partition(" ")
    if rest and channel in CHANNELS:
        return channel, _message(rest), ""
    key, has_value, _ = line.partition("=")
    settings = [name for name, _ in definitions.raised_by("setting")]
    if not line.strip():
        return "", b"", ""
    names = [event.name for event in definitions.events]
    name = key.removeprefix("__TEST__:")
    if name != key and name not in names:
        return "", b"", f'no event is named "{name}"; the file has: {", ".join(names) or "none"}'
    is_trigger = key in definitions.triggers() and not (has_value and key in settings)
    if line.startswith("__") or is_trigger:
        return COMMANDS, _message(line), ""
    if "::" in key:
        return VARIABLES, _message(line), ""
    if has_value or ":" in line:
        return STATUS_LINES, _message(line), ""
    return "", b"", no_such_trigger(definitions, line)


def _message(text: str) -> bytes:
    return text.encode(errors="surrogateescape") + b"\n"


def no_such_trigger(definitions: Definitions, line: str) -> str:
    """Returns that no event has this trigger, with the one that may be meant."""
    for event in definitions.events:
        if event.name == line:
            return f'"{line}" is the name of an event: its trigger is "{event.trigger}"'
    hint = f"the file has: {', '.join(definitions.triggers()) or 'none'}"
    for close in get_close_matches(line, definitions.triggers(), n=1):
        hint = f'did you mean "{close}"?'
    return f'no event has the trigger "{line}"; {hint}'


def examples(definitions: Definitions) -> list[tuple[str, str]]:
    """Returns example lines for the definition file, each with its effect."""
    lines = []
    if definitions.events:
        first = definitions.events[-1]
        for event in reversed(definitions.events):  # preferably one that only programs fire
            first = first if event.raised_by else event
        lines += [
            (first.trigger, f"fires {first.name}"),
            (f"{first.trigger}=open", "the same; the value goes to the event log"),
            (f"__TEST__:{first.name}", f"fires {first.name} itself, at once"),
        ]
    variables = [(v, e) for v, e in definitions.raised_by("variable") if e.trigger != "PowerOn"]
    variable, event = next(iter(variables), ("MY_IP", None))
    effect = f"fires {event.name}" if event else "the device reports a new value"
    setting, fired = next(definitions.raised_by("setting"), ("sysName", None))
    return lines + [
        (f"e_param_set::{variable}::1", f"a variable changes: {effect}"),
        (f"{setting}=Lobby", "a setting changes" + (f": fires {fired.name}" if fired else "")),
        ("local:news.m3u", "a status line: the device plays a playlist"),
        (f"{STATUS_LINES} mute=1", f"a text to that port, or to {COMMANDS},"),
        ("", f"{VARIABLES} or {VARIABLES_TCP}"),
    ]


def faults(receivers: list[str]) -> list[tuple[str, str]]:
    """Returns the lines that make a receiver or the status service fail, each with its effect."""
    where = receivers[0] if receivers else "ADDRESS:PORT"
    return [
        (f"refuse {where}", "this TCP receiver refuses connections"),
        (f"silent {where}", "it does not answer; connections time out"),
        (f"accept {where}", "it accepts connections again"),
        ("status off|silent|on", "the status service refuses, is silent, answers"),
    ]


def help_text(definitions: Definitions, receivers: list[str]) -> str:
    """Returns the help: what can be typed, and the events of the file."""
    lines = ["Type one of these; Ctrl-D ends:"]
    rows = [*examples(definitions), *faults(receivers), ("help", "this text")]
    lines += [f"  {line:<30} {effect}" for line, effect in rows]
    if not definitions.events:
        return "\n".join([*lines, "The definition file has no event with a positive Count."])
    lines.append("Events, by their triggers:")
    for event in definitions.events[:20]:
        lines.append(f"  {event.trigger:<18} " + ", ".join(map(str, event.steps)))
    if len(definitions.events) > 20:
        lines.append(f"  and {len(definitions.events) - 20} more")
    return "\n".join(lines)


def completions(definitions: Definitions, receivers: list[str]) -> list[str]:
    """Returns the completions: triggers, tests and variables of the file, and faults."""
    tests = [f"__TEST__:{event.name}" for event in definitions.events]
    variables = [f"e_param_set::{name}::" for name, _ in definitions.raised_by("variable")]
    modes = [f"{mode} {where}" for where in receivers for mode in MODES]
    services = [f"status {mode}" for mode in STATUS_MODES]
    return [*definitions.triggers(), *tests, *variables, *modes, *services, "help"]
