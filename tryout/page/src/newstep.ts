import type { Core } from "./core";
import { announce, element, field } from "./dom";
import { applyEdit, problemsOf, textOrHex } from "./editing";
import type { Editor } from "./editor";

/** Creates the form that adds a step. */
export function newStepPanel(core: Core, editor: Editor) {
  const preview = element("pre", { className: "preview", role: "group", "aria-label": "Lines of the new step" });
  const problem = element("p", { className: "remark lines", role: "status" });
  const input = (name: string, properties: Record<string, unknown> = {}) =>
    element("input", { name, spellcheck: false, autocomplete: "off", ...properties });
  const select = (name: string, ...options: [string, string][]) =>
    element("select", { name }, ...options.map(([value, label]) => element("option", { value }, label)));
  const list = (id: string, control: HTMLElement) => {
    control.setAttribute("list", id);
    return element("datalist", { id });
  };

  const event = input("event");
  const events = list("event-names", event);
  const trigger = input("trigger");
  const triggers = list("trigger-names", trigger);
  const ofNewEvent = [field("Trigger", trigger), field("Event delay (s)", input("event_delay", { inputMode: "numeric" }))];
  const payload = input("payload");
  const form = textOrHex();
  const ofPayload = [field("Payload", payload, "wide"), field("Payload format", form, "narrow")];
  const note = element("p", { className: "quiet" });
  const notes: Record<string, string> = {
    text: "\\r, \\n, \\t, \\x1B, <CR>, <LF>, $0D and %0D are one byte each, and \\\\ is a backslash. {{name}} is replaced by a status value.",
    hex: "Two digits for each byte. 0x, \\x, $ and % before them are ignored, and so are blanks, quotes and the characters , : ; -",
  };
  const panel = element(
    "form",
    {},
    element(
      "div",
      { className: "fields" },
      field("Event", event),
      ...ofNewEvent,
      field("Sends", select("sends", ["payload", "payload"], ["status", "the device’s status"])),
      field("Protocol", select("protocol", ["UDP", "UDP"], ["TCP", "TCP"])),
      field("Address", input("address")),
      field("Port", input("port", { inputMode: "numeric" })),
      field("Delay after previous step (ms)", input("delay", { inputMode: "numeric" })),
      ...ofPayload,
    ),
    problem,
    element("button", { type: "submit" }, "Add step"),
    note,
    preview,
    events,
    triggers,
  );

  let names: string[] = [];
  const wanted = () => {
    const fields: Record<string, string> = { do: "add" };
    for (const [name, value] of new FormData(panel)) fields[name] = String(value);
    return fields;
  };
  const update = () => {
    const fields = wanted();
    for (const each of ofNewEvent) each.hidden = names.includes(event.value);
    for (const each of ofPayload) each.hidden = fields.sends === "status";
    note.textContent = notes[form.value] ?? "";
    note.hidden = fields.sends === "status";
    const editing = core.edit(fields);
    problem.textContent = event.value === "" ? "" : problemsOf(editing);
    preview.textContent = editing.edits
      .map(({ text }) => (text.includes("=") ? text.trim() : `${event.value}Count=${text}`))
      .join("\n");
    preview.hidden = editing.edits.length === 0;
  };
  const add = async () => {
    const added = await applyEdit(core, editor, wanted());
    update();
    problem.textContent = added ? "" : problemsOf(core.edit(wanted()));
    if (!added) return problem.scrollIntoView({ block: "nearest" });
    announce(`Step of ${event.value} added`);
    panel.reset();
    event.focus();
  };
  panel.addEventListener("input", update);
  panel.addEventListener("submit", (submitted) => {
    submitted.preventDefault();
    void add();
  });

  return {
    panel,
    /** Updates the names of the file's events and the product's triggers, which the fields suggest. */
    show(newNames: string[], newTriggers: string[]) {
      names = newNames;
      events.replaceChildren(...names.map((value) => element("option", { value })));
      triggers.replaceChildren(...newTriggers.map((value) => element("option", { value })));
      if (panel.checkVisibility()) update();
    },
    update,
  };
}
