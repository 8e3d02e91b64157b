"""Measures when each step of an event arrived after its execution.

The event log shows which steps are executed, but not of which event. The steps of an event follow
each other in it, though records of other threads may be between them, and the record of the push
may follow them. So an execution is recognised only by its steps; a push decides between events that
begin with the same step.
"""

from collections import deque
from collections.abc import Iterator
from dataclasses import dataclass, field

from device.constants import EVENT_LIFE_S
from device.logs import Record
from device.show.events import Definitions, Event, Step
from device.show.network import Network

_MS = 10**6
_AUTO_PUSH = "auto push event: "  # at each first start, also if no event has that trigger
_LATE_NS = 5000 * _MS  # at most, after the offset of a step
_STAMP_ERROR_NS = _MS  # stamps are truncated to milliseconds
_EVENT_LIFE_NS = (EVENT_LIFE_S + 2) * 1000 * _MS  # the daemon has dropped an event by then
_SHOWN_DIFFERENCE_MS = 20


@dataclass
class _Sent:
    """An executed step with its payload as logged, and its arrival."""

    step: Step
    payload: bytes
    outcome: str = ""  # such as "100 ms" or "not received"


@dataclass(eq=False)
class _Run:
    event: Event
    at_ns: int  # when its first step was executed or, until then, when it is due
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
        self._due: deque[_Run] = deque()  # pushed and not executed
        self._runs: list[_Run] = []

    def follow(self, record: Record) -> list[str]:
        """Adds a record of the event log; returns the pushed names that no event has."""
        text = record.text
        names, is_test = record.pushed()
        unknown = [name for name in names if not self._follow_push(record.at_ns, name, is_test)]
        if not names and ", disabled uptime=" not in text and not text.startswith("skip "):
            self._follow_step(record)
        return [] if text.startswith(_AUTO_PUSH) else unknown

    def _follow_push(self, at_ns: int, name: str, is_test: bool) -> bool:
        """Returns whether an event has the name or, unless it is a test, the trigger."""
        for event in self._definitions.events:
            if name == (event.name if is_test else event.trigger):
                due_ns = at_ns + (0 if is_test else event.delay_s * 1000 * _MS)
                unpushed = [run for run in self._runs if run.event == event and not run.pushed]
                if unpushed and unpushed[0].at_ns <= due_ns:  # logged before the record of its push
                    unpushed[0].pushed = True
                else:
                    self._due.append(_Run(event, due_ns, True))
                return True
        return False

    def _follow_step(self, record: Record) -> None:
        """Adds the step of a record to the first execution whose next step it is."""
        while self._due and self._due[0].at_ns + _EVENT_LIFE_NS < record.at_ns:
            self._due.popleft()
        for run in self._possible_runs(record.at_ns):
            step = run.next_step()
            payload = step.logged_payload(record.data) if step else None
            if payload is not None:
                break
        else:
            return
        if run in self._due:
            self._due.remove(run)
        if run not in self._runs:
            self._runs.append(run)
            run.at_ns = record.at_ns
        run.sent.append(_Sent(step, payload))
        if step.sends == "nothing":
            run.sent[-1].outcome = f'sends nothing (protocol "{step.protocol}")'
        elif reason := self._network.refused.get(step.target()):
            run.sent[-1].outcome = f"no simulated receiver ({reason})"
        elif step.sends == "payload" and step.transport == "TCP" and not payload:
            run.sent[-1].outcome = "no bytes"

    def _possible_runs(self, at_ns: int) -> Iterator[_Run]:
        """Yields the latest execution, those that are due, and a new one of each event."""
        yield from self._runs[-1:]
        due = [run for run in self._due if run.at_ns <= at_ns + _STAMP_ERROR_NS]
        yield from sorted(due, key=lambda run: run.at_ns)
        for event in self._definitions.events:
            yield _Run(event, at_ns, False)

    def follow_error(self, record: Record) -> None:
        """Adds a record of the main log, which may report that a step was not sent."""
        where, error = record.failed_connection()
        for run in self._runs if error else ():
            for sent in run.sent:
                is_due = self._due_ns(run, sent) <= record.at_ns
                if is_due and not sent.outcome and sent.step.target() == f"tcp {where}":
                    sent.outcome = f"not sent: {error}"
                    return

    def is_waiting(self, now_ns: int) -> bool:
        """Returns whether an event is to be executed soon or its steps are being sent."""
        return bool(self._runs) or any(run.at_ns + 1000 * _MS > now_ns for run in self._due)

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

    @staticmethod
    def _due_ns(run: _Run, sent: _Sent) -> int:
        return run.at_ns + max(0, sent.step.offset_ms) * _MS

    def _settle(self, run: _Run, sent: _Sent, now_ns: int) -> None:
        if sent.outcome:
            return
        due_ns = self._due_ns(run, sent)
        arrival = self._network.claim(sent.step, sent.payload, due_ns - _STAMP_ERROR_NS)
        if arrival:
            configured_ms = max(0, sent.step.offset_ms)
            measured_ms = max(0, arrival.at_ns - run.at_ns) // _MS
            sent.outcome = f"{configured_ms} ms"
            if abs(measured_ms - configured_ms) > _SHOWN_DIFFERENCE_MS:
                sent.outcome += f" (measured {measured_ms} ms)"
        elif now_ns > due_ns + _LATE_NS:
            sent.outcome = "not received"
