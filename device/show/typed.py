"""Interprets typed lines."""

from device.show.events import Definitions

CHANNELS = ("tcp:2700", "udp:2727", "tcp:2727", "udp:2728")


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
    if line.startswith("__TEST__:"):
        names = [event.name for event in definitions.events]
        name = key.removeprefix("__TEST__:")
        if name not in names:
            return "", b"", f'no event is named "{name}"; the file has: {_listed(names)}'
        return "tcp:2700", _message(line), ""
    if line.startswith("__"):
        return "tcp:2700", _message(line), ""
    if key in definitions.triggers() and not (has_value and key in settings):
        return "tcp:2700", _message(line), ""
    if "::" in key:
        return "udp:2727", _message(line), ""
    if has_value or ":" in line:
        return "udp:2728", _message(line), ""
    return "", b"", _no_such_trigger(definitions, line)


def _message(text: str) -> bytes:
    return text.encode() + b"\n"


def _listed(names: list[str]) -> str:
    return ", ".join(names) or "none"


def _no_such_trigger(definitions: Definitions, line: str) -> str:
    for event in definitions.events:
        if event.name == line:
            return f'"{line}" is the name of an event: its trigger is "{event.trigger}"'
    return f'no event has the trigger "{line}"; the file has: {_listed(definitions.triggers())}'


def examples(definitions: Definitions) -> list[tuple[str, str]]:
    """Returns example lines for the definition file, each with its effect."""
    lines = []
    if definitions.events:
        first = definitions.events[-1]
        for event in reversed(definitions.events):  # preferably one that only programs fire
            first = event if not event.raised_by else first
        lines += [
            (first.trigger, f"fires {first.name}"),
            (f"{first.trigger}=open", "the same; the value goes to the event log"),
            (f"__TEST__:{first.name}", f"fires {first.name} itself, at once"),
        ]
    variables = [(v, e) for v, e in definitions.raised_by("variable") if e.trigger != "PowerOn"]
    variable, event = next(iter(variables), ("MY_IP", None))
    effect = f"fires {event.name}" if event else "the device reports a new value"
    lines.append((f"e_param_set::{variable}::1", f"a variable changes: {effect}"))
    setting, event = next(definitions.raised_by("setting"), ("sysName", None))
    lines.append(
        (f"{setting}=Lobby", "a setting changes" + (f": fires {event.name}" if event else ""))
    )
    lines.append(("local:news.m3u", "a status line: the device plays a playlist"))
    lines.append(("udp:2728 mute=1", "a text to that port, or to tcp:2700,"))
    lines.append(("", "udp:2727 or tcp:2727"))
    return lines


def help_text(definitions: Definitions) -> str:
    """Returns the help: what can be typed, and the events of the file."""
    lines = ["Type one of these; Ctrl-D ends:"]
    lines += [f"  {line:<30} {effect}" for line, effect in examples(definitions)]
    lines.append(f"  {'help':<30} this text")
    if not definitions.events:
        return "\n".join([*lines, "The definition file has no event with a positive Count."])
    lines.append("Events, by their triggers:")
    for event in definitions.events[:20]:
        lines.append(f"  {event.trigger:<18} " + ", ".join(map(str, event.steps)))
    if len(definitions.events) > 20:
        lines.append(f"  and {len(definitions.events) - 20} more")
    return "\n".join(lines)


def completions(definitions: Definitions) -> list[str]:
    """Returns the completions: triggers, tests and variables of the file."""
    tests = [f"__TEST__:{event.name}" for event in definitions.events]
    variables = [f"e_param_set::{name}::" for name, _ in definitions.raised_by("variable")]
    return [*definitions.triggers(), *tests, *variables, "help"]
