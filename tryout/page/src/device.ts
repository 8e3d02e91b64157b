import type { TrialClock } from "./clock";
import type { Core, Reaction } from "./core";
import { button, element, field } from "./dom";

export const products: [string, string][] = [
  ["", "Any product"],
  ["input-hdmi", "Input side, two HDMI inputs"],
  ["input-usbc", "Input side, HDMI and USB-C"],
  ["output", "Output side"],
];

interface Wiring {
  core: Core;
  clock: TrialClock;
  react(reaction: Reaction): void;
  productChanged(product: string): void;
}

/** What happens on the device: its product, its switches, and changes of its variables. */
export function devicePanel({ core, clock, react, productChanged }: Wiring) {
  const log = element("div", { className: "reactions", role: "log", "aria-label": "What the device said" });
  const say = (text: string) => {
    log.prepend(element("p", {}, text));
    while (log.children.length > 50) log.lastElementChild?.remove();
  };

  const names = element("datalist", { id: "messages-known" });
  const rows = element("tbody");
  const quietNote = element("p", { className: "quiet" });
  const showVocabulary = () => {
    const vocabulary = core.vocabulary();
    const driven = vocabulary.rows.filter((row) => row.variable !== "");
    names.replaceChildren(
      ...driven.map((row) => element("option", { value: `e_param_set::${row.variable}::` }, row.status)),
    );
    rows.replaceChildren(
      ...driven.map((row) =>
        element("tr", {}, element("td", {}, element("code", {}, row.variable)), element("td", {}, element("code", {}, row.status))),
      ),
    );
    const { quiet_period_s, display_period_s } = vocabulary.limits;
    quietNote.textContent =
      `A variable raises its event when no message for it came within the last ${quiet_period_s} s. ` +
      `Display events are not sent in the first ${display_period_s} s after a start.`;
  };

  const product = element("select", {}, ...products.map(([value, label]) => element("option", { value }, label)));
  const enabled = element("input", { type: "checkbox", id: "enabled", checked: true });
  const start = (bootedMs: number) => {
    core.startDevice(product.value, bootedMs);
    core.enableEvents(enabled.checked);
  };
  const running = () => start(clock.ms() - 3_600_000); // for an hour
  product.addEventListener("change", () => {
    running();
    showVocabulary();
    productChanged(product.value);
  });
  enabled.addEventListener("change", () => core.enableEvents(enabled.checked));

  const restart = button("Restart the device", () => {
    start(clock.ms());
    say("The device has started: PowerOn is raised.");
    react(core.raise("PowerOn", clock.now()));
  });

  const message = element("input", {
    id: "message",
    value: "e_param_set::DEVICE_NAME::Lobby",
    spellcheck: false,
    autocomplete: "off",
  });
  message.setAttribute("list", "messages-known");
  const send = (event: globalThis.Event) => {
    event.preventDefault();
    const reaction = core.message(message.value, clock.now());
    for (const trigger of reaction.triggers) say(`${message.value} raises ${trigger}`);
    react(reaction);
  };

  const panel = element(
    "div",
    {},
    element(
      "form",
      { className: "line-form", onsubmit: send },
      element("label", { htmlFor: "message" }, "A variable changes (port 2727)"),
      element("div", { className: "row" }, message, names, element("button", { type: "submit" }, "Send")),
    ),
    log,
    quietNote,
    element(
      "div",
      { className: "fields" },
      field("Product", product),
      element("label", { className: "check" }, enabled, " Events are switched on"),
      restart,
    ),
    element(
      "details",
      {},
      element("summary", {}, "Variables of this product and the triggers they raise"),
      element(
        "table",
        {},
        element("thead", {}, element("tr", {}, element("th", { scope: "col" }, "Variable"), element("th", { scope: "col" }, "Trigger"))),
        rows,
      ),
    ),
  );
  return {
    panel,
    say,
    /** Begins with a device of that product that has run for an hour. */
    begin(name: string) {
      product.value = products.some(([value]) => value === name) ? name : "";
      running();
      showVocabulary();
    },
  };
}
