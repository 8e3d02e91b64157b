import type { Core, Event, Payload, Step } from "./core";
import { button, element } from "./dom";
import { applyEdit, problemsOf, textOrHex } from "./editing";
import type { Editor } from "./editor";

/** Returns where a step's message goes. */
export function destination(step: Step): string {
  if (step.sends === "nothing") return "not sent";
  return `${step.transport} ${step.address}:${step.port}`;
}

/** Returns what a step sends, as text, or why it sends nothing. */
export function content(step: Step): string {
  if (step.sends === "status") return "the device’s status";
  return step.sends === "nothing" ? `"${step.protocol}" is not a supported protocol` : step.payload;
}

/** Returns why the daemon does not send the whole payload; "" if it does. */
export function loss(step: Step): string {
  if (step.truncated) return `truncated to ${step.bytes} bytes`;
  return step.ends_at_zero ? "ends at a NUL" : "";
}

/** Returns the placeholders without a value, except those that get one when the step is sent. */
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
      { className: "content", title: step.hex ?? "unknown until the step is sent" },
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

function restrictions(event: Event): string {
  const once = event.once_per_boot ? " Runs once per boot." : "";
  return once + (event.display_period ? " Not sent in the first 120 s after boot." : "");
}

const quoted = (text: string) => `'${text.replaceAll("'", "'\\''")}'`;

/** Returns shell commands that run an event of the file on the device. */
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

/** Creates the form that changes a step. `indexes` are those of all steps of its event. */
function stepForm(event: string, step: Step, payload: string, indexes: number[], act: (fields: Record<string, string>) => void) {
  const label = `step ${step.index} of ${event}`;
  const fields = { event, index: String(step.index) };
  const text = element("input", { defaultValue: payload, "aria-label": `Payload of ${label}`, spellcheck: false, autocomplete: "off" });
  const form = textOrHex();
  form.setAttribute("aria-label", `Payload format of ${label}`);
  const onsubmit = (submitted: globalThis.Event) => {
    submitted.preventDefault();
    act({ ...fields, do: "payload", payload: text.value, form: form.value });
  };
  const move = (name: string, index: number) =>
    button(`Move ${name}`, () => act({ event, do: "down", index: String(index) }), {
      "aria-label": `Move ${name} ${label}`,
      disabled: !indexes.includes(name === "up" ? index : index + 1),
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
      button("Delete step", () => act({ ...fields, do: "delete_step" }), { "aria-label": `Delete ${label}`, disabled: indexes.length < 2 }),
    ),
    step.sends === "status" ? null : element("div", { className: "row" }, text, form, element("button", { type: "submit" }, "Set payload")),
  );
}

function card(event: Event, line: () => number, payloads: Map<number, string>, edited: boolean, toggle: () => void, panel: Panel): HTMLElement {
  const by = event.raised_by.length > 0 ? `by: ${event.raised_by.join("; ")}` : "only by a program on tcp:2700";
  const delay = event.delay_s > 0 ? ` · runs after ${event.delay_s} s` : "";
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
    copied.textContent = done ? "Copied. Run it on the device, in the directory of the saved file." : "Run this on the device, in the directory of the saved file:";
  };
  const steps = [...event.steps].sort((a, b) => a.index - b.index);
  const forms = steps.map((step) => stepForm(event.name, step, payloads.get(step.index) ?? "", steps.map(({ index }) => index), (fields) => void act(fields)));
  return element(
    "li",
    { className: "event" },
    element(
      "div",
      { className: "title-row" },
      element("h3", {}, button(event.name, () => panel.editor.goTo(line(), 1), { className: "link", title: "Show in the file" })),
      element("span", { className: "trigger" }, "trigger ", element("code", {}, event.trigger), delay),
      button("Fire", () => panel.fire(event.trigger), { className: "fire", "aria-label": `Fire ${event.trigger}` }),
      button("Copy test command", () => void copy(), { "aria-label": `Copy test command of ${event.name}` }),
      button("Edit", toggle, { "aria-label": `Edit ${event.name}`, "aria-expanded": edited }),
    ),
    element("p", { className: "quiet" }, `Raised ${by}.${restrictions(event)}`),
    ...remarks(event).map((remark) => element("p", { className: "remark" }, remark)),
    copied,
    command,
    ...(edited
      ? [...forms, problem, button("Delete event", () => void act({ event: event.name, do: "delete_event" }), { "aria-label": `Delete event ${event.name}` })]
      : [element("table", { "aria-label": `Steps of ${event.name}` }, element("tbody", {}, ...event.steps.map(stepRow)))]),
  );
}

/** Copies payloads that were typed but not set yet, unless the payload has changed. */
function copyTyped(from: HTMLElement, to: HTMLElement): void {
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
  const none = element("li", { className: "quiet" }, "The file defines no event. Add one in the tab “New step”.");
  let shown = new Map<string, Shown>();
  let edited = "";
  let last: [Event[], Payload[]] = [[], []];

  /** Shows the events. A card that is still up to date stays, with the text typed into it. */
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
        if (before !== undefined) copyTyped(before.card, now.card);
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
