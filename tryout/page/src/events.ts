import type { Core, Event, Payload, Step } from "./core";
import { button, element } from "./dom";
import { applyEdit, problemsOf, textOrHex } from "./editing";
import type { Editor } from "./editor";

/** Where a step's message goes. */
export function destination(step: Step): string {
  if (step.sends === "nothing") return "nowhere";
  return `${step.transport} ${step.address}:${step.port}`;
}

/** What a step sends, as text. */
export function content(step: Step): string {
  if (step.sends === "status") return "the device’s status";
  return step.sends === "nothing" ? `nothing: "${step.protocol}" is not a supported protocol` : step.payload;
}

/** What the daemon does not send of a payload. */
export function loss(step: Step): string {
  if (step.cut) return `truncated to ${step.bytes} bytes`;
  return step.ends_at_zero ? "ends at a NUL" : "";
}

/** The placeholders without a value, but for those that get theirs when the step is sent. */
function unknown(step: Step): string {
  if (step.bytes !== null) return "";
  const names = [...step.payload.matchAll(/\{\{(?!(?:date|time|uptime)\}\})(.*?)\}\}/gi)].map(([text]) => text);
  return names.length === 0 ? "" : `unknown: ${[...new Set(names)].join(", ")}`;
}

function stepRow(step: Step): HTMLElement {
  return element(
    "tr",
    {},
    element("td", { className: "number" }, `${step.offset_ms} ms`),
    element("td", { className: "place" }, destination(step)),
    element(
      "td",
      { className: "content", title: step.hex ?? "unknown until it is sent" },
      element("code", { className: step.sends === "payload" ? "" : "plain" }, content(step)),
      " ",
      element("span", { className: "remark" }, loss(step)),
      element("span", { className: "note" }, unknown(step)),
    ),
  );
}

function remarks(event: Event): string[] {
  const found: string[] = [];
  if (event.shadowed_by !== "") found.push(`its trigger fires ${event.shadowed_by} instead`);
  if (event.never_runs) found.push("never runs: its delay is too long");
  return found;
}

function limits(event: Event): string {
  const once = event.once_per_boot ? "; runs once after each start of the device" : "";
  return once + (event.display_period ? "; not sent in the first two minutes after a start" : "");
}

const quoted = (text: string) => `'${text.replaceAll("'", "'\\''")}'`;

/** Shell commands that run an event of the file on the device. */
function testCommand(file: string, event: string): string {
  const path = /^[\w][\w.-]*$/.test(file) ? file : quoted(`./${file}`);
  const format = `__TEST__:${event.replaceAll("\\", "\\\\").replaceAll("%", "%%")}\\n`;
  return `cp ${path} /www/pelm/tmp/kovotest.txt\nprintf ${quoted(format)} | nc -N 127.0.0.1 2700\n`;
}

interface Panel {
  core: Core;
  editor: Editor;
  fire(trigger: string): void;
  fileName(): string;
}

/** The form that changes one step; `others` are the indexes of all steps. */
function stepForm(event: string, step: Step, payload: string, others: number[], act: (fields: Record<string, string>) => void) {
  const label = `step ${step.index} of ${event}`;
  const fields = { event, index: String(step.index) };
  const text = element("input", { defaultValue: payload, "aria-label": `Payload of ${label}`, spellcheck: false, autocomplete: "off" });
  const form = textOrHex();
  form.setAttribute("aria-label", `Payload of ${label} is`);
  const onsubmit = (submitted: globalThis.Event) => {
    submitted.preventDefault();
    act({ ...fields, do: "payload", payload: text.value, form: form.value });
  };
  const move = (name: string, index: number) =>
    button(`Move ${name}`, () => act({ event, do: "down", index: String(index) }), {
      "aria-label": `Move ${name} ${label}`,
      disabled: !others.includes(name === "up" ? index : index + 1),
    });
  return element(
    "form",
    { className: "step-form", onsubmit },
    element(
      "div",
      { className: "row" },
      element("span", { className: "place" }, `${step.index}: ${destination(step)}`),
      move("up", step.index - 1),
      move("down", step.index),
      button("Delete step", () => act({ ...fields, do: "delete_step" }), { "aria-label": `Delete ${label}`, disabled: others.length < 2 }),
    ),
    step.sends === "status" ? null : element("div", { className: "row" }, text, form, element("button", { type: "submit" }, "Set payload")),
  );
}

function card(event: Event, line: () => number, payloads: Map<number, string>, edited: boolean, toggle: () => void, panel: Panel): HTMLElement {
  const by = event.raised_by.length > 0 ? event.raised_by.join("; ") : "only by name on tcp:2700";
  const delay = event.delay_s > 0 ? ` · after ${event.delay_s} s` : "";
  const problem = element("p", { className: "remark lines", role: "status" });
  const act = async (fields: Record<string, string>) => {
    const done = await applyEdit(panel.core, panel.editor, fields);
    problem.textContent = done ? "" : problemsOf(panel.core.edit(fields));
  };
  const command = element("pre", { className: "preview", hidden: true, tabIndex: 0, role: "region", "aria-label": `Test command of ${event.name}` });
  const copied = element("p", { className: "quiet", role: "status" });
  const copy = async () => {
    command.textContent = testCommand(panel.fileName(), event.name);
    command.hidden = false;
    const done = await navigator.clipboard?.writeText(command.textContent).then(() => true, () => false);
    copied.textContent = done ? "Copied: for a shell on the device, where the saved file is." : "For a shell on the device, where the saved file is:";
  };
  const steps = [...event.steps].sort((a, b) => a.index - b.index);
  const forms = steps.map((step) => stepForm(event.name, step, payloads.get(step.index) ?? "", steps.map(({ index }) => index), (fields) => void act(fields)));
  return element(
    "li",
    { className: "event" },
    element(
      "div",
      { className: "title-row" },
      element("h3", {}, button(event.name, () => panel.editor.goTo(line(), 1), { className: "link", title: "Show it in the file" })),
      element("span", { className: "trigger" }, "trigger ", element("code", {}, event.trigger), delay),
      button("Fire", () => panel.fire(event.trigger), { className: "fire", "aria-label": `Fire ${event.trigger}` }),
      button("Copy test command", () => void copy(), { "aria-label": `Copy test command of ${event.name}` }),
      button("Edit", toggle, { "aria-label": `Edit ${event.name}`, "aria-expanded": edited }),
    ),
    element("p", { className: "quiet" }, `Raised by: ${by}${limits(event)}`),
    ...remarks(event).map((remark) => element("p", { className: "remark" }, remark)),
    copied,
    command,
    ...(edited
      ? [...forms, problem, button("Delete event", () => void act({ event: event.name, do: "delete_event" }), { "aria-label": `Delete event ${event.name}` })]
      : [element("table", { "aria-label": `Steps of ${event.name}` }, element("tbody", {}, ...event.steps.map(stepRow)))]),
  );
}

/** Carries over what was typed and not set yet, where it still belongs to the same payload. */
function keepTyped(from: HTMLElement, to: HTMLElement): void {
  const inputs = [...to.querySelectorAll("input")];
  for (const old of from.querySelectorAll("input")) {
    const same = inputs.find((each) => each.ariaLabel === old.ariaLabel && each.defaultValue === old.defaultValue);
    if (same !== undefined) same.value = old.value;
  }
}

interface Shown {
  key: string;
  line: number;
  card: HTMLElement;
}

export function eventsPanel(panel: Panel) {
  const list = element("ul");
  const none = element("li", { className: "quiet" }, "The file has no event with a positive Count. The tab “New step” adds one.");
  let shown = new Map<string, Shown>();
  let edited = "";
  let last: [Event[], Payload[]] = [[], []];

  /** A card that says the same stays, with what is typed in it. */
  const show = (events: Event[], payloads: Payload[]) => {
    last = [events, payloads];
    const old = shown;
    const focused = document.activeElement?.getAttribute("aria-label");
    const within = list.contains(document.activeElement);
    shown = new Map();
    for (const event of events) {
      const texts = new Map(payloads.filter((each) => each.event === event.name).map(({ index, text }) => [index, text]));
      const isEdited = event.name === edited;
      const key = JSON.stringify([{ ...event, line: 0 }, isEdited, isEdited ? [...texts] : []]);
      const before = old.get(event.name);
      const now: Shown = before?.key === key ? before : { key, line: 0, card: document.createElement("li") };
      now.line = event.line;
      if (now !== before) {
        const toggle = () => {
          edited = isEdited ? "" : event.name;
          show(...last);
        };
        now.card = card(event, () => now.line, texts, isEdited, toggle, panel);
        if (before !== undefined) keepTyped(before.card, now.card);
      }
      shown.set(event.name, now);
    }
    const cards = [...shown.values()].map((each) => each.card);
    const same = cards.length === list.children.length && cards.every((each, at) => each === list.children[at]);
    if (!same) list.replaceChildren(...(cards.length > 0 ? cards : [none]));
    if (!within || list.contains(document.activeElement)) return;
    const next = focused && list.querySelector<HTMLElement>(`[aria-label=${JSON.stringify(focused)}]:not(:disabled)`);
    (next || list.querySelector<HTMLElement>(`[aria-expanded="true"], .link`))?.focus();
  };
  return { panel: element("div", {}, list), show };
}
