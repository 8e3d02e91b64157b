import type { TrialClock } from "./clock";
import type { Outcome, Run, Step } from "./core";
import { announce, byId, counted, element, svg } from "./dom";
import { content, destination, loss } from "./events";

const laneHeight = 38;
const axisHeight = 26;
const margin = 16;
const maxRows = 400;

interface Mark {
  run: Run;
  step: Step;
  outcome: Outcome;
  shape: SVGElement;
  listed: boolean;
}

/** Returns the distance of ticks: 1, 2 or 5 times a power of ten, for at most `most` ticks. */
function tickDistance(span: number, most: number): number {
  for (let power = 1; ; power *= 10) {
    for (const factor of [1, 2, 5]) {
      if (span / (factor * power) <= most) return factor * power;
    }
  }
}

export function timeText(ms: number): string {
  return ms < 10_000 ? `${ms} ms` : `${Number((ms / 1000).toFixed(2))} s`;
}

// The shapes differ, not only the colours, for users who cannot distinguish those.
function shapeOf(step: Step, outcome: Outcome): SVGElement {
  const kind = !outcome.sent ? "lost" : step.sends === "status" ? "status" : step.transport.toLowerCase();
  const paths: Record<string, string> = {
    udp: "M0-6a6 6 0 1 0 .01 0z",
    tcp: "M-5.5-5.5h11v11h-11z",
    status: "M0-7.5L7.5 0 0 7.5-7.5 0z",
    lost: "M-5-5L5 5M-5 5L5-5",
  };
  return svg("path", { d: paths[kind] ?? "", class: `mark ${kind}` });
}

function legend(): HTMLElement {
  const entry = (kind: string, text: string) => {
    const step = { sends: kind === "status" ? "status" : "payload", transport: kind.toUpperCase() } as Step;
    const icon = svg("svg", { viewBox: "-8 -8 16 16", width: 14, height: 14, "aria-hidden": "true" });
    const shape = shapeOf(step, { leaves_ms: 0, sent: kind !== "lost", why: "" });
    shape.classList.add("reached");
    icon.append(shape);
    return element("span", {}, icon, ` ${text}`);
  };
  return element(
    "p",
    { className: "legend" },
    entry("udp", "UDP"),
    entry("tcp", "TCP"),
    entry("status", "device status"),
    entry("lost", "not sent"),
  );
}

export class Timeline {
  private runs: Run[] = [];
  private marks: Mark[] = [];
  private origin = 0;
  private end = 0;
  private frame = 0;
  private readonly head = svg("line", { class: "head", y1: 0 });
  private readonly drawing = svg("svg", { role: "img" });
  private readonly rows = byId("messages").querySelector("tbody") as HTMLElement;

  constructor(private readonly clock: TrialClock) {
    byId("timeline").append(this.drawing, legend());
    new ResizeObserver(() => this.draw()).observe(byId("timeline"));
    this.draw();
  }

  /** Plays a run: on the timeline of those that are still playing, otherwise on a new one. */
  play(run: Run): void {
    if (this.frame === 0) {
      this.runs = [];
      this.marks = [];
      this.origin = run.raised_ms;
      this.end = this.origin;
    }
    this.runs.push(run);
    const last = Math.max(run.starts_ms, ...run.outcomes.map((outcome) => outcome.leaves_ms));
    this.end = Math.max(this.end, run.runs ? last : run.raised_ms);
    if (run.runs) this.addMarks(run);
    this.addRow("fired", run.raised_ms, [element("td", { colSpan: 3 }, this.story(run))]);
    this.draw();
    if (this.frame === 0) this.frame = requestAnimationFrame(() => this.tick());
    announce(this.story(run));
  }

  clear(): void {
    cancelAnimationFrame(this.frame);
    this.frame = 0;
    this.runs = [];
    this.marks = [];
    this.rows.replaceChildren();
    this.draw();
  }

  private addMarks(run: Run): void {
    run.event.steps.forEach((step, at) => {
      const outcome = run.outcomes[at];
      if (outcome === undefined) return;
      this.marks.push({ run, step, outcome, shape: shapeOf(step, outcome), listed: false });
    });
  }

  private story({ event, runs, why }: Run): string {
    if (!runs) return `${event.name} is ${why}`;
    const wait = event.delay_s > 0 ? `, after ${event.delay_s} s` : "";
    return `${event.trigger} fires ${event.name}${wait}: ${counted(event.steps.length, "step")}`;
  }

  private tick(): void {
    const now = this.clock.ms();
    for (const mark of this.marks) {
      if (!mark.listed && mark.outcome.leaves_ms <= now) this.list(mark);
    }
    this.moveHead(now);
    const over = now > this.end;
    this.frame = over ? 0 : requestAnimationFrame(() => this.tick());
    if (over) announce("Finished");
  }

  private list(mark: Mark): void {
    const { run, step, outcome, shape } = mark;
    mark.listed = true;
    shape.classList.add("reached");
    const lost = outcome.sent ? loss(step) : outcome.why;
    const shown = outcome.sent && step.sends === "payload";
    this.addRow(outcome.sent ? "sent" : "lost", outcome.leaves_ms, [
      element("td", {}, `${run.event.name} ${step.index}`),
      element("td", {}, destination(step)),
      element(
        "td",
        {},
        step.sends === "nothing" ? null : element("code", { className: step.sends === "payload" ? "payload" : "payload plain" }, content(step)),
        shown && step.hex !== null ? element("code", { className: "hex" }, step.hex.replace(/..(?=.)/g, "$& ")) : null,
        shown ? element("span", { className: "quiet" }, step.bytes === null ? "length unknown" : counted(step.bytes, "byte")) : null,
        lost === "" ? null : element("span", { className: "remark" }, lost),
      ),
    ]);
  }

  private addRow(className: string, ms: number, cells: HTMLElement[]): void {
    const time = element("td", { className: "number" }, timeText(ms - this.origin));
    this.rows.append(element("tr", { className }, time, ...cells));
    while (this.rows.children.length > maxRows) this.rows.firstElementChild?.remove();
    const box = this.rows.closest(".scroll");
    if (box !== null) box.scrollTop = box.scrollHeight;
  }

  private get width(): number {
    return Math.max(byId("timeline").clientWidth, 200);
  }

  private get span(): number {
    return Math.max(this.end - this.origin, 400) * 1.05;
  }

  private x(ms: number): number {
    return margin + ((ms - this.origin) / this.span) * (this.width - 2 * margin);
  }

  private moveHead(now: number): void {
    const x = this.x(Math.min(now, this.origin + this.span));
    this.head.setAttribute("x1", String(x));
    this.head.setAttribute("x2", String(x));
  }

  private draw(): void {
    const height = Math.max(this.runs.length, 1) * laneHeight + axisHeight;
    this.drawing.replaceChildren();
    this.drawing.setAttribute("viewBox", `0 0 ${this.width} ${height}`);
    this.drawing.setAttribute("height", String(height));
    this.drawing.setAttribute("aria-label", `Timeline: ${this.runs.map((run) => this.story(run)).join("; ") || "empty"}`);
    this.drawTicks(height - axisHeight);
    this.runs.forEach((run, lane) => this.drawLane(run, lane * laneHeight));
    if (this.runs.length === 0) {
      const text = "Fire an event or send a message to the device.";
      this.drawing.append(svg("text", { x: margin, y: 24, class: "quiet" }, text));
      return;
    }
    this.head.setAttribute("y2", String(height - axisHeight));
    this.drawing.append(this.head);
    this.moveHead(this.frame === 0 ? this.end : this.clock.ms());
  }

  private drawTicks(bottom: number): void {
    const distance = tickDistance(this.span, Math.max(2, Math.floor(this.width / 90)));
    for (let at = 0; at <= this.span; at += distance) {
      const x = this.x(this.origin + at);
      const anchor = at === 0 ? "start" : "middle";
      this.drawing.append(
        svg("line", { x1: x, x2: x, y1: 0, y2: bottom + 4, class: "tick" }),
        svg("text", { x: at === 0 ? x - 4 : x, y: bottom + 18, "text-anchor": anchor, class: "quiet" }, timeText(at)),
      );
    }
  }

  private drawLane(run: Run, top: number): void {
    const y = top + 26;
    const from = this.x(run.raised_ms);
    const last = Math.max(run.starts_ms, ...run.outcomes.map((outcome) => outcome.leaves_ms));
    this.drawing.append(svg("text", { x: from - 4, y: top + 13, class: "lane" }, run.runs ? run.event.name : this.story(run)));
    if (!run.runs) {
      this.drawing.append(svg("path", { d: "M-5-5L5 5M-5 5L5-5", class: "mark lost reached", transform: `translate(${from},${y})` }));
      return;
    }
    this.drawing.append(
      svg("line", { x1: from, x2: this.x(run.starts_ms), y1: y, y2: y, class: "delay" }),
      svg("line", { x1: this.x(run.starts_ms), x2: this.x(last), y1: y, y2: y, class: "run" }),
    );
    for (const mark of this.marks) {
      if (mark.run !== run) continue;
      mark.shape.setAttribute("transform", `translate(${this.x(mark.outcome.leaves_ms)},${y})`);
      this.drawing.append(mark.shape);
    }
  }
}
