import { html, nothing, render, svg } from "lit-html";
import type { TrialClock } from "./clock";
import type { Outcome, Run, Step } from "./core";
import { announce, byId, counted } from "./dom";
import { content, destination, loss } from "./events";

const laneHeight = 38;
const axisHeight = 26;
const margin = 16;
const maxRows = 400;

interface Mark {
  run: Run;
  step: Step;
  outcome: Outcome;
}
/** A row of the table: a run without a mark, or a message. */
interface Row extends Partial<Mark> {
  run: Run;
  ms: number;
}

/** Returns the distance of ticks: 1, 2 or 5 times a power of ten, for at most `most` ticks. */
function tickDistance(span: number, most: number): number {
  for (let power = 1; ; power *= 10) {
    for (const factor of [1, 2, 5]) {
      if (span / (factor * power) <= most) return factor * power;
    }
  }
}

function timeText(ms: number): string {
  return ms < 10_000 ? `${ms} ms` : `${Number((ms / 1000).toFixed(2))} s`;
}

// The shapes differ, not only the colours, for users who cannot distinguish those.
const shapes: Record<string, string> = {
  udp: "M0-6a6 6 0 1 0 .01 0z",
  tcp: "M-5.5-5.5h11v11h-11z",
  status: "M0-7.5L7.5 0 0 7.5-7.5 0z",
  lost: "M-5-5L5 5M-5 5L5-5",
};
const shape = (kind: string, reached: boolean, place = "") =>
  svg`<path d=${shapes[kind] ?? ""} transform=${place} class=${`mark ${kind}${reached ? " reached" : ""}`} />`;
const legend = Object.entries({ udp: "UDP", tcp: "TCP", status: "device status", lost: "not sent" });

function story({ event, runs, why }: Run): string {
  if (!runs) return `${event.name} is ${why}`;
  const wait = event.delay_s > 0 ? `, after ${event.delay_s} s` : "";
  return `${event.trigger} fires ${event.name}${wait}: ${counted(event.steps.length, "step")}`;
}

export class Timeline {
  private runs: Run[] = [];
  private due: Mark[] = []; // not listed yet, in the order in which they leave
  private rows: Row[] = [];
  private origin = 0; // of the drawing
  private end = 0;
  private frame = 0;

  constructor(private readonly clock: TrialClock) {
    new ResizeObserver(() => this.draw()).observe(byId("timeline"));
  }

  /** Plays a run: on the timeline of those that are still playing, otherwise on a new one. */
  play(run: Run): void {
    if (this.frame === 0) {
      this.runs = [];
      this.origin = this.end = run.raised_ms;
    }
    this.runs.push(run);
    const leaves = run.outcomes.map((outcome) => outcome.leaves_ms);
    this.end = Math.max(this.end, run.runs ? Math.max(run.starts_ms, ...leaves) : run.raised_ms);
    run.event.steps.forEach((step, at) => {
      const outcome = run.outcomes[at];
      if (outcome !== undefined && run.runs) this.due.push({ run, step, outcome });
    });
    this.due.sort((a, b) => a.outcome.leaves_ms - b.outcome.leaves_ms);
    this.list([{ run, ms: run.raised_ms - this.origin }]);
    if (this.frame === 0) this.frame = requestAnimationFrame(() => this.tick());
    announce(story(run));
  }

  clear(): void {
    cancelAnimationFrame(this.frame);
    this.frame = 0;
    this.runs = [];
    this.due = [];
    this.rows = [];
    this.list([]);
  }

  private tick(): void {
    const now = this.clock.ms();
    const waiting = this.due.findIndex(({ outcome }) => outcome.leaves_ms > now);
    const sent = this.due.splice(0, waiting < 0 ? this.due.length : waiting);
    const over = now > this.end;
    this.frame = over ? 0 : requestAnimationFrame(() => this.tick());
    if (sent.length > 0) this.list(sent.map((mark) => ({ ...mark, ms: mark.outcome.leaves_ms - this.origin })));
    else this.draw();
    if (over) announce("Finished");
  }

  /** Adds rows to the table. */
  private list(rows: Row[]): void {
    this.rows = [...this.rows, ...rows].slice(-maxRows);
    const table = byId("messages").querySelector("tbody") as HTMLElement;
    render(this.rows.map((row) => this.row(row)), table);
    const box = table.closest(".scroll");
    if (box !== null) box.scrollTop = box.scrollHeight;
    this.draw();
  }

  private row({ run, step, outcome, ms }: Row) {
    const time = html`<td class="number">${timeText(ms)}</td>`;
    if (step === undefined || outcome === undefined) {
      return html`<tr class="fired">${time}<td colspan="3">${story(run)}</td></tr>`;
    }
    const remark = outcome.sent ? loss(step) : outcome.why;
    const isShown = outcome.sent && step.sends === "payload";
    return html`<tr class=${outcome.sent ? "sent" : "lost"}>${time}
      <td>${run.event.name} ${step.index}</td><td>${destination(step)}</td>
      <td>${step.sends === "nothing" ? nothing
          : html`<code class=${step.sends === "payload" ? "payload" : "payload plain"}>${content(step)}</code>`}
        ${isShown && step.hex !== null ? html`<code class="hex">${step.hex.replace(/..(?=.)/g, "$& ")}</code>` : nothing}
        ${isShown ? html`<span class="quiet">${
          step.bytes === null ? "length unknown" : counted(step.bytes, "byte")}</span>` : nothing}
        ${remark === "" ? nothing : html`<span class="remark">${remark}</span>`}</td></tr>`;
  }

  private draw(): void {
    const width = Math.max(byId("timeline").clientWidth, 200);
    const height = Math.max(this.runs.length, 1) * laneHeight + axisHeight;
    const span = Math.max(this.end - this.origin, 400) * 1.05;
    const x = (ms: number) => margin + ((ms - this.origin) / span) * (width - 2 * margin);
    const now = this.frame === 0 ? this.end : this.clock.ms();
    const distance = tickDistance(span, Math.max(2, Math.floor(width / 90)));
    const ticks = Array.from({ length: Math.floor(span / distance) + 1 }, (_, at) => at * distance);
    const bottom = height - axisHeight;
    const tick = (ms: number) => {
      const at = x(this.origin + ms);
      return svg`<line x1=${at} x2=${at} y1="0" y2=${bottom + 4} class="tick" />
        <text x=${ms === 0 ? at - 4 : at} y=${bottom + 18} text-anchor=${ms === 0 ? "start" : "middle"}
          class="quiet">${timeText(ms)}</text>`;
    };
    const lane = (run: Run, at: number) => {
      const y = at * laneHeight + 26;
      const from = x(run.raised_ms);
      const name = svg`<text x=${from - 4} y=${y - 13} class="lane">${run.runs ? run.event.name : story(run)}</text>`;
      if (!run.runs) return svg`${name}${shape("lost", true, `translate(${from},${y})`)}`;
      const last = Math.max(run.starts_ms, ...run.outcomes.map((outcome) => outcome.leaves_ms));
      const starts = x(run.starts_ms);
      return svg`${name}<line x1=${from} x2=${starts} y1=${y} y2=${y} class="delay" />
        <line x1=${starts} x2=${x(last)} y1=${y} y2=${y} class="run" />
        ${run.outcomes.map(({ leaves_ms, sent }, step) => {
          const { sends, transport } = run.event.steps[step] as Step;
          const kind = !sent ? "lost" : sends === "status" ? "status" : transport.toLowerCase();
          return shape(kind, leaves_ms <= now, `translate(${x(leaves_ms)},${y})`);
        })}`;
    };
    const head = x(Math.min(now, this.origin + span));
    render(
      html`<svg role="img" viewBox=${`0 0 ${width} ${height}`} height=${height}
          aria-label=${`Timeline: ${this.runs.map(story).join("; ") || "empty"}`}>
          ${ticks.map(tick)} ${this.runs.map(lane)}
          ${this.runs.length === 0
            ? svg`<text x=${margin} y="24" class="quiet">Fire an event or send a message to the device.</text>`
            : svg`<line class="head" x1=${head} x2=${head} y1="0" y2=${bottom} />`}
        </svg>
        <p class="legend">${legend.map(([kind, text]) =>
          html`<span><svg viewBox="-8 -8 16 16" width="14" height="14" aria-hidden="true">${shape(kind, true)}</svg>
            ${text}</span>`)}</p>`,
      byId("timeline"),
    );
  }
}
