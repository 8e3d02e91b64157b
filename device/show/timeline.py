"""Measures when each step of an event arrived after its execution.

The event log shows which steps are executed, but not of which event. The steps of an event follow
each other in it, though records of other threads may be between them, and the record of the push
may follow them. So an execution is recognised only by its steps; a push decides between events that
begin with the same step.
"""

from collections import deque
from dataclasses import dataclass, field

from device.show.events import Definitions, Event, Step
from device.show.logs import Record
from device.show.network import Network

_MS = 10**6
_PUSHES = ("push event: ", "auto push event: ")
_LATE_NS = 5000 * _MS  # at most, after the offset of a step
_STAMP_ERROR_NS = _MS  # stamps are truncated to milliseconds
_EVENT_LIFE_NS = 62_000 * _MS  # the daemon has dropped an event by then


@dataclass
class _Push:
    event: Event
    due_ns: int


@dataclass
class _Sent:
    """An executed step with its payload as logged, and its arrival."""

    step: Step
    payload: bytes
    outcome: str = ""  # such as "100 ms" or "not received"


@dataclass
class _Run:
    event: Event
    at_ns: int
    pushed: bool  # the record of its push was found
    sent: list[_Sent] = field(default_factory=list)

    def next_step(self) -> Step | None:
        """Returns the step whose record follows; None after the last one."""
        steps = self.event.steps
        return steps[len(self.sent)] if len(self.sent) < len(steps) else None


class Timeline:
    """The executions that the event log shows, and the arrivals of their steps."""

    def __init__(self, definitions: Definitions, network: Network) -> None:
        self._definitions = definitions
        self._network = network
        self._pushes: deque[_Push] = deque()
        self._runs: list[_Run] = []

    def follow(self, record: Record) -> list[str]:
        """Adds a record of the event log; returns the pushed names that no event has."""
        for prefix in _PUSHES:
            if record.text.startswith(prefix):
                return self._follow_push(record.at_ns, record.text.removeprefix(prefix))
        if ", disabled uptime=" in record.text or record.text.startswith("skip "):
            return []
        run = self._runs[-1] if self._runs else None
        step = run.next_step() if run else None
        if not step or not step.is_record(record.text):
            run = self._begin(record)
        if run:
            self._add(run, record)
        return []

    def _follow_push(self, at_ns: int, text: str) -> list[str]:
        name, _, test = text.rpartition(", test=1")
        unknown = []
        for pushed in (name if name else text).split("\n"):
            fits = [
                e for e in self._definitions.events if pushed == (e.name if name else e.trigger)
            ]
            if not fits:
                unknown.append(pushed)
                continue
            delay_s = 0 if name else fits[0].delay_s
            self._add_push(_Push(fits[0], at_ns + delay_s * 1000 * _MS))
        return unknown

    def _add_push(self, push: _Push) -> None:
        for run in self._runs:  # logged before the record of its push
            if run.event == push.event and not run.pushed and run.at_ns <= push.due_ns:
                run.pushed = True
                return
        self._pushes.append(push)

    def _begin(self, record: Record) -> _Run | None:
        while self._pushes and self._pushes[0].due_ns + _EVENT_LIFE_NS < record.at_ns:
            self._pushes.popleft()
        due = [push for push in self._pushes if push.due_ns <= record.at_ns + _STAMP_ERROR_NS]
        for push in sorted(due, key=lambda push: push.due_ns):
            if push.event.begins_with(record.text):
                self._pushes.remove(push)
                self._runs.append(_Run(push.event, record.at_ns, pushed=True))
                return self._runs[-1]
        for event in self._definitions.events:
            if event.begins_with(record.text):
                self._runs.append(_Run(event, record.at_ns, pushed=False))
                return self._runs[-1]
        return None

    def _add(self, run: _Run, record: Record) -> None:
        step = run.next_step()
        head = record.text.index(f" {step.protocol} ") + len(step.protocol) + 2
        payload = record.text.encode("latin-1")[head:].split(b"\0")[0][:1023]
        run.sent.append(_Sent(step, payload))
        if step.sends == "nothing":
            run.sent[-1].outcome = f'sends nothing (protocol "{step.protocol}")'
        elif reason := self._network.refused.get(step.target()):
            run.sent[-1].outcome = f"no simulated receiver ({reason})"
        elif step.sends == "payload" and step.transport == "TCP" and not payload:
            run.sent[-1].outcome = "no bytes"

    def is_waiting(self, now_ns: int) -> bool:
        """Returns whether an event is to be executed soon or its steps are being sent."""
        return bool(self._runs) or any(push.due_ns + 1000 * _MS > now_ns for push in self._pushes)

    def finished(self, now_ns: int) -> list[str]:
        """Removes the finished executions; returns a line for each."""
        lines = []
        for run in list(self._runs):
            for sent in run.sent:
                self._settle(run, sent, now_ns)
            complete = run.next_step() is None or now_ns > run.at_ns + _LATE_NS
            if complete and all(sent.outcome for sent in run.sent):
                lines.append(f"{run.event.name}: " + ", ".join(sent.outcome for sent in run.sent))
                self._runs.remove(run)
        return lines

    def _settle(self, run: _Run, sent: _Sent, now_ns: int) -> None:
        if sent.outcome:
            return
        due_ns = run.at_ns + max(0, sent.step.offset_ms) * _MS
        arrival = self._network.claim(sent.step, sent.payload, due_ns - _STAMP_ERROR_NS)
        if arrival:
            sent.outcome = f"{max(0, arrival.at_ns - run.at_ns) // _MS} ms"
        elif now_ns > due_ns + _LATE_NS:
            sent.outcome = "not received"
