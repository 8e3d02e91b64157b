import { type TemplateResult, html, nothing, render } from "lit-html";
import { live } from "lit-html/directives/live.js";
import { repeat } from "lit-html/directives/repeat.js";
import type { Change, Event, EventForm, Step, StepForm } from "./core";
import { element } from "./dom";
import { type Workplace, applyChange, focusUndo, protocols, sendsStatus } from "./editing";
import type { PayloadField } from "./payload";

/** Returns where a step's message goes. */
export function destination(step: Step): string {
  return step.transport === "" ? "not sent" : `${step.transport} ${step.address}:${step.port}`;
}

/** Returns what a step sends, as text, or why it sends nothing. */
export function content(step: Step): string {
  if (step.sends === "nothing") return step.transport === "" ? step.why : `not sent: ${step.why}`;
  return step.sends === "status" ? "the device’s status" : step.payload;
}

/** Returns why the daemon does not send the whole payload; "" if it does. */
export function loss(step: Step): string {
  if (step.truncated) return `truncated to ${step.bytes} bytes`;
  return step.ends_at_zero ? "ends at a NUL" : "";
}

/** Returns the placeholders without a value, except those that get one when the step is sent. */
function unknown(step: Step): string {
  if (step.bytes !== null) return "";
  const pattern = /\{\{(?!(?:date|time|uptime)\}\})(.*?)\}\}/gi;
  const names = [...step.payload.matchAll(pattern)].map(([text]) => text);
  return names.length === 0 ? "" : `unknown: ${[...new Set(names)].join(", ")}`;
}

const stepRow = (step: Step) =>
  html`<tr>
    <td class="number">${step.offset_ms} ms</td>
    <td class="place">${destination(step)}</td>
    <td class="content" title=${step.hex ?? "unknown until the step is sent"}>
      <code class=${step.sends === "payload" ? "" : "plain"}>${content(step)}</code>
      <span class="remark">${loss(step)}</span> <span class="note">${unknown(step)}</span>
    </td>
  </tr>`;

function remarks(event: Event): string[] {
  const found: string[] = [];
  if (event.shadowed_by !== "") found.push(`its trigger fires ${event.shadowed_by} instead`);
  if (event.never_runs) found.push("never runs: its delay is too long");
  return found;
}

function raised(event: Event): string {
  const by = event.raised_by.length > 0 ? `by: ${event.raised_by.join("; ")}` : "only by a program on tcp:2700";
  const once = event.once_per_boot ? " Runs once per boot." : "";
  return `Raised ${by}.${once}${event.display_period ? " Not sent in the first 120 s after boot." : ""}`;
}

const quoted = (text: string) => `'${text.replaceAll("'", "'\\''")}'`;

/** Returns shell commands that run an event of the file on the device. */
function testCommand(file: string, event: string): string {
  const path = /^[\w][\w.-]*$/.test(file) ? file : quoted(`./${file}`);
  const format = `__TEST__:${event.replaceAll("\\", "\\\\").replaceAll("%", "%%")}\\n`;
  return `cp ${path} /www/pelm/tmp/kovotest.txt\nprintf ${quoted(format)} | nc -N 127.0.0.1 2700\n`;
}

interface Panel extends Workplace {
  fire(trigger: string): void;
  fileName(): string;
}

export function eventsPanel(panel: Panel) {
  const { core, editor } = panel;
  const list = element("ul");
  let events: Event[] = [];
  let edited = "";
  let problems = "";
  let command = { event: "", text: "", copied: false };

  /** Moves the focus to the first of these controls that is enabled. */
  const focus = (...labels: string[]) => {
    const find = (label: string) => `[aria-label=${JSON.stringify(label)}]:not(:disabled)`;
    const found = labels.map((label) => list.querySelector<HTMLElement>(find(label)));
    found.find((control) => control !== null)?.focus();
  };
  const change = async (wanted: Omit<Change, "event">) => {
    const name = wanted.do === "change_event" && (wanted.with as Partial<EventForm>).name;
    const event = edited;
    if (name) edited = name; // its card stays
    const done = await applyChange(panel, { ...wanted, event });
    if (!done.applied) edited = event;
    problems = done.problems;
    show(events);
    return done.applied;
  };
  const toggle = (event: string) => {
    edited = edited === event ? "" : event;
    problems = edited === "" ? "" : core.form(event).error;
    show(events);
    focus(edited === "" ? `Edit ${event}` : `Name of ${event}`);
  };
  const copy = async (event: string) => {
    command = { event, text: testCommand(panel.fileName(), event), copied: false };
    command.copied = (await navigator.clipboard?.writeText(command.text).then(() => true, () => false)) ?? false;
    show(events);
  };
  const move = async (at: number, to: number) => {
    if (!(await change({ do: "move_step", at: Math.min(at, to) }))) return;
    const ways = to < at ? ["up", "down"] : ["down", "up"];
    focus(...ways.map((way) => `Move ${way} step ${to} of ${edited}`));
  };
  const remove = async (wanted: Omit<Change, "event">) => {
    if (await change(wanted)) focusUndo();
  };

  const input = (label: string, name: string, value: string, set: (value: string) => void, placeholder = "") =>
    html`<label class="field narrow">${label}
      <input .value=${live(value)} aria-label=${`${label}${name}`} placeholder=${placeholder}
        @change=${({ target }: { target: HTMLInputElement }) => set(target.value)}
        spellcheck="false" autocomplete="off" /></label>`;

  const stepForm = (event: Event, step: StepForm, at: number, last: number) => {
    const of = ` of step ${at} of ${event.name}`;
    const label = of.slice(4);
    const set = (key: keyof StepForm) => (value: string) => void change({ do: "change_step", at, with: { [key]: value } });
    const sent = event.steps.find(({ index }) => index === at);
    const { protocol = "", address = "", port = "", delay = "", payload = "" } = step;
    const known = protocols.some(([value]) => value === protocol);
    const options = known ? protocols : [...protocols, [protocol, protocol]];
    return html`<fieldset class="step-form">
      <legend>Step ${at}${sent === undefined ? "" : `, at ${sent.offset_ms} ms`}</legend>
      <div class="fields">
        <label class="field narrow">Protocol
          <select .value=${live(protocol)} aria-label=${`Protocol${of}`}
            @change=${({ target }: { target: HTMLSelectElement }) => set("protocol")(target.value)}>
            ${options.map(([value = "", text]) =>
              html`<option value=${value} ?selected=${value === protocol}>${text}</option>`)}
          </select></label>
        ${input("Address", of, address, set("address"))} ${input("Port", of, port, set("port"))}
        ${input("Delay (ms)", of, delay, set("delay"))}
      </div>
      ${sendsStatus(protocol) ? nothing
        : html`<payload-field class="fields" .core=${core} .of=${of} .payload=${payload}
            @change=${({ currentTarget }: { currentTarget: PayloadField }) =>
              void change({ do: "change_step", at, with: currentTarget.typed })}></payload-field>`}
      <div class="row">
        <button type="button" aria-label=${`Move up ${label}`} ?disabled=${at === 0}
          @click=${() => void move(at, at - 1)}>Move up</button>
        <button type="button" aria-label=${`Move down ${label}`} ?disabled=${at === last}
          @click=${() => void move(at, at + 1)}>Move down</button>
        <button type="button" aria-label=${`Delete ${label}`} ?disabled=${last === 0}
          @click=${() => void remove({ do: "delete_step", at })}>Delete step</button>
      </div>
    </fieldset>`;
  };

  const eventForm = (event: Event) => {
    const form = core.form(event.name);
    const of = ` of ${event.name}`;
    const set = (key: keyof EventForm) => (value: string) => void change({ do: "change_event", with: { [key]: value } });
    const fields = html`<div class="fields">
        ${input("Name", of, event.name, set("name"))}
        ${input("Trigger", of, form.trigger, set("trigger"), event.name)}
        ${input("Event delay (s)", of, form.delay ?? "", set("delay"), "0")}
      </div>
      ${form.steps.map((step, at) => stepForm(event, step, at, form.steps.length - 1))}`;
    return html`<p class="remark lines" role="status">${form.error === "" ? problems : `Cannot be edited: ${form.error}`}</p>
      ${form.error === "" ? fields : nothing}
      <button type="button" aria-label=${`Delete event ${event.name}`}
        @click=${() => void remove({ do: "delete_event" })}>Delete event</button>`;
  };

  const commandOf = () => html`<p class="quiet" role="status">
      ${command.copied ? "Copied. Run it on the device, in the directory of the saved file."
        : "Run this on the device, in the directory of the saved file:"}</p>
    <pre class="preview" tabindex="0" role="region" aria-label=${`Test command of ${command.event}`}
      >${command.text}</pre>`;

  const card = (event: Event): TemplateResult => {
    const { name, trigger } = event;
    const delay = event.delay_s > 0 ? ` · runs after ${event.delay_s} s` : "";
    const isEdited = name === edited;
    return html`<li class="event">
      <div class="title-row">
        <h3><button type="button" class="link" title="Show in the file"
          @click=${() => editor.goTo(event.line, 1)}>${name}</button></h3>
        <span class="trigger">trigger <code>${trigger}</code>${delay}</span>
        <button type="button" class="fire" aria-label=${`Fire ${trigger}`}
          @click=${() => panel.fire(trigger)}>Fire</button>
        <button type="button" aria-label=${`Copy test command of ${name}`}
          @click=${() => void copy(name)}>Copy test command</button>
        <button type="button" aria-label=${`Edit ${name}`} aria-expanded=${isEdited}
          @click=${() => toggle(name)}>Edit</button>
      </div>
      <p class="quiet">${raised(event)}</p>
      ${remarks(event).map((remark) => html`<p class="remark">${remark}</p>`)}
      ${command.event === name ? commandOf() : nothing}
      ${isEdited ? eventForm(event)
        : html`<table aria-label=${`Steps of ${name}`}><tbody>${event.steps.map(stepRow)}</tbody></table>`}
    </li>`;
  };

  /** Shows the events. Elements stay, with the text typed into them and the focus. */
  const show = (newEvents: Event[]) => {
    events = newEvents;
    const key = ({ name }: Event) => (name === edited ? "" : name); // also while its name changes
    const none = html`<li class="quiet">The file defines no event. Add one in the tab “New step”.</li>`;
    render(events.length === 0 ? none : repeat(events, key, card), list);
  };
  return { panel: element("div", {}, list), show };
}
