import type { Event, Step } from "./core";
import { button, element } from "./dom";
import type { Editor } from "./editor";

/** Where a step's message goes. */
export function destination(step: Step): string {
  if (step.sends === "nothing") return "nowhere";
  return `${step.transport} ${step.address}:${step.port}`;
}

/** What a step sends, as text. */
export function content(step: Step): string {
  if (step.sends === "status") return "the device’s status";
  return step.sends === "nothing" ? "nothing: its protocol names no sender" : step.payload;
}

/** What the daemon leaves away of a payload. */
export function loss(step: Step): string {
  if (step.cut) return `cut at ${step.bytes} bytes`;
  return step.ends_at_zero ? "ends at a zero byte" : "";
}

function stepRow(step: Step): HTMLElement {
  return element(
    "tr",
    {},
    element("td", { className: "number" }, `${step.offset_ms} ms`),
    element("td", {}, destination(step)),
    element(
      "td",
      { title: step.hex },
      element("code", { className: step.sends === "payload" ? "" : "plain" }, content(step)),
      " ",
      element("span", { className: "remark" }, loss(step)),
    ),
  );
}

function remarks(event: Event): string[] {
  const found: string[] = [];
  if (event.shadowed_by !== "") found.push(`its trigger raises ${event.shadowed_by} instead`);
  if (event.never_runs) found.push("never runs: its delay is too long");
  return found;
}

function limits(event: Event): string {
  const once = event.once_per_boot ? "; runs once after each start of the device" : "";
  return once + (event.display_period ? "; not sent in the first time after a start" : "");
}

function card(event: Event, raise: (trigger: string) => void, editor: Editor): HTMLElement {
  const by = event.raised_by.length > 0 ? event.raised_by.join("; ") : "only by name on tcp:2700";
  const delay = event.delay_s > 0 ? ` · after ${event.delay_s} s` : "";
  return element(
    "li",
    { className: "event" },
    element(
      "div",
      { className: "title-row" },
      element("h3", {}, button(event.name, () => editor.goTo(event.line, 1), { className: "link", title: "Show it in the file" })),
      element("span", { className: "trigger" }, "trigger ", element("code", {}, event.trigger), delay),
      button("Raise", () => raise(event.trigger), { className: "raise", "aria-label": `Raise ${event.trigger}` }),
    ),
    element("p", { className: "quiet" }, `Raised by: ${by}${limits(event)}`),
    ...remarks(event).map((remark) => element("p", { className: "remark" }, remark)),
    element("table", { "aria-label": `Steps of ${event.name}` }, element("tbody", {}, ...event.steps.map(stepRow))),
  );
}

export function eventsPanel(raise: (trigger: string) => void, editor: Editor) {
  const list = element("ul", { className: "events" });
  const panel = element("div", {}, list);
  const show = (events: Event[]) => {
    if (events.length === 0) {
      list.replaceChildren(
        element("li", { className: "quiet" }, "The file has no event with a positive Count. The tab “New step” makes one."),
      );
      return;
    }
    const focused = document.activeElement?.getAttribute("aria-label");
    list.replaceChildren(...events.map((event) => card(event, raise, editor)));
    if (focused?.startsWith("Raise ")) {
      list.querySelector<HTMLElement>(`[aria-label=${JSON.stringify(focused)}]`)?.focus();
    }
  };
  return { panel, show };
}
