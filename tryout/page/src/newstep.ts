import type { Core } from "./core";
import { element, field } from "./dom";
import type { Editor } from "./editor";

/** A form that turns typed text into the lines of a step. */
export function newStepPanel(core: Core, editor: Editor) {
  const preview = element("pre", { className: "preview", "aria-label": "Lines of the new step" });
  const problem = element("p", { className: "remark", role: "status" });
  const input = (name: string, value: string, properties: Record<string, unknown> = {}) =>
    element("input", { name, value, spellcheck: false, autocomplete: "off", ...properties });
  const select = (name: string, ...options: [string, string][]) =>
    element("select", { name }, ...options.map(([value, label]) => element("option", { value }, label)));

  const events = element("datalist", { id: "event-names" });
  const event = input("event", "");
  event.setAttribute("list", "event-names");
  const payload = input("payload", "Hello from {{name}}\\r");
  const form = element(
    "form",
    {},
    element(
      "div",
      { className: "fields" },
      field("Event, old or new", event),
      field("Trigger, if it is new", input("trigger", "")),
      field("Sends", select("sends", ["payload", "this payload"], ["status", "the device’s status"])),
      field("By", select("protocol", ["UDP", "UDP"], ["TCP", "TCP"])),
      field("To address", input("address", "10.0.0.7")),
      field("Port", input("port", "6000", { inputMode: "numeric" })),
      field("Milliseconds after the step before", input("delay", "0", { inputMode: "numeric" })),
      field("Payload, as text; \\r, \\n, \\t and \\x1B are single bytes, {{name}} a value of the status", payload, "wide"),
    ),
    events,
    element("button", { type: "submit" }, "Add the step"),
    problem,
    preview,
  );

  const wanted = () => {
    const fields: Record<string, string> = {};
    for (const [name, value] of new FormData(form)) fields[name] = String(value);
    return core.addStep(fields);
  };
  const update = () => {
    const { edits, error } = wanted();
    preview.textContent = edits.map((edit) => edit.text.trim()).join("\n");
    preview.hidden = edits.length === 0;
    problem.textContent = event.value === "" ? "" : error;
    payload.disabled = new FormData(form).get("sends") === "status";
  };
  form.addEventListener("input", update);
  form.addEventListener("submit", (submitted) => {
    submitted.preventDefault();
    const { edits, error } = wanted();
    problem.textContent = error;
    if (edits.length > 0) editor.apply(edits);
  });

  return {
    panel: form,
    /** Takes over the names of the file's events. */
    show(names: string[]) {
      events.replaceChildren(...names.map((value) => element("option", { value })));
      update();
    },
  };
}
