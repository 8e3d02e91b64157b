import { html, render } from "lit-html";
import { live } from "lit-html/directives/live.js";
import type { Change, Editing, EventForm, StepForm } from "./core";
import { announce, element } from "./dom";
import { type Workplace, applyChange, problemsOf, protocols, sendsStatus } from "./editing";
import { PayloadField } from "./payload";

type Values = Record<"event" | "trigger" | "event_delay" | "protocol" | "address" | "port" | "delay", string>;

const empty: Values = {
  event: "", trigger: "", event_delay: "", protocol: "UDP", address: "", port: "", delay: "",
};

/** Creates the form that adds a step. */
export function newStepPanel(place: Workplace) {
  const { core } = place;
  const panel = element("form", { id: "new-step", onsubmit: (event: Event) => (event.preventDefault(), void add()) });
  const payload = new PayloadField();
  payload.core = core;
  payload.className = "fields";
  let names: string[] = [];
  let triggers: string[] = [];
  let values = empty;
  let typed = new Set<string>(); // the fields that the user has filled in
  let message = "";

  const change = (): Change => {
    const { event, trigger, event_delay, protocol, address, port, delay } = values;
    const step: StepForm = { protocol, address, port, delay: delay || "0" };
    const sent = sendsStatus(protocol) ? {} : payload.typed;
    const ofNew: Partial<EventForm> = { trigger: trigger || event, delay: event_delay };
    return { do: "add_step", event, step: { ...step, ...sent }, ...(names.includes(event) ? {} : { with: ofNew }) };
  };
  /** A new step of an event begins with the destination of its last one. */
  const copyDestination = () => {
    const last = core.form(values.event).steps.at(-1) ?? {};
    for (const name of ["protocol", "address", "port"] as const) {
      if (!typed.has(name)) values = { ...values, [name]: last[name] ?? empty[name] };
    }
  };
  const set = (name: keyof Values) => ({ target }: Event) => {
    values = { ...values, [name]: (target as HTMLInputElement).value };
    typed.add(name);
    if (name === "event") copyDestination();
    message = "";
    update();
  };
  const add = async () => {
    const wanted = change();
    const count = core.form(values.event).steps.length;
    const { applied, problems } = await applyChange(place, wanted, true);
    if (!applied) {
      message = problems;
      return update();
    }
    const { event, protocol, address, port } = values;
    message = `Added: step ${count} of ${event}, ${protocol.slice(0, 3)} ${address}:${port}`;
    announce(message);
    values = { ...empty, event };
    typed = new Set();
    copyDestination();
    payload.payload = "";
    update();
    payload.querySelector("input")?.focus();
  };
  payload.addEventListener("input", () => ((message = ""), update()));

  const field = (name: keyof Values, label: string, list = "") =>
    html`<label class="field">${label}
      <input name=${name} list=${list} .value=${live(values[name])} @input=${set(name)}
        spellcheck="false" autocomplete="off" /></label>`;
  const options = (texts: string[]) => texts.map((text) => html`<option value=${text}></option>`);
  const preview = ({ edits }: Editing) => edits.map(({ text }) => text.trim()).join("\n");

  const update = () => {
    const editing = core.edit(change());
    const isNew = !names.includes(values.event);
    payload.hidden = sendsStatus(values.protocol);
    const problems = message || (values.event === "" ? "" : problemsOf(editing));
    render(
      html`<div class="fields">
          ${field("event", "Event", "event-names")}
          ${isNew ? [field("trigger", "Trigger", "trigger-names"), field("event_delay", "Event delay (s)")] : ""}
          <label class="field">Protocol
            <select aria-label="Protocol" @input=${set("protocol")} .value=${live(values.protocol)}>
              ${protocols.map(([value, label]) => html`<option value=${value}>${label}</option>`)}
            </select></label>
          ${field("address", "Address")} ${field("port", "Port")}
          ${field("delay", "Delay after previous step (ms)")}
        </div>
        ${payload}
        <div class="row"><button type="submit">Add step</button>
          <p class=${message.startsWith("Added") ? "lines" : "remark lines"} role="status">${problems}</p></div>
        <pre class="preview" role="group" aria-label="Lines of the new step"
          ?hidden=${editing.edits.length === 0}>${preview(editing)}</pre>
        <datalist id="event-names">${options(names)}</datalist>
        <datalist id="trigger-names">${options(triggers)}</datalist>`,
      panel,
    );
  };

  return {
    panel,
    /** Updates the names of the file's events and the product's triggers, which the fields suggest. */
    show(newNames: string[], newTriggers: string[]) {
      names = newNames;
      triggers = newTriggers;
      if (panel.checkVisibility()) update();
    },
    update,
  };
}
