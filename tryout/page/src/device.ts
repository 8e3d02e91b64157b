import type { TrialClock } from "./clock";
import type { Core, Reaction, TriggerSource } from "./core";
import { button, element, field } from "./dom";

export const products: [string, string][] = [
  ["", "Any (tried as two HDMI inputs)"],
  ["input-hdmi", "Input side, two HDMI inputs"],
  ["input-usbc", "Input side, HDMI and USB-C"],
  ["output", "Output side"],
];

const variables = "2727";
const statusLines = "2728";
const names = "2700";

/** What raises a trigger, and the beginning of the message that does. */
function explained({ cause, name, trigger }: TriggerSource): { by: string; port: string; message: string } {
  switch (cause) {
    case "variable":
      return { by: `variable ${name}`, port: variables, message: `e_param_set::${name}::` };
    case "setting":
      return { by: `setting ${name}`, port: variables, message: `${name}=` };
    case "playback":
      return { by: "playback selection", port: statusLines, message: "local:" };
    case "start":
      return { by: "first start after boot", port: names, message: trigger };
    case "display":
      return { by: "display connection", port: names, message: trigger };
  }
}

interface Wiring {
  core: Core;
  clock: TrialClock;
  react(reaction: Reaction): void;
  productChanged(product: string): void;
}

/** What happens on the device: its product, its switches, and the messages that it receives. */
export function devicePanel({ core, clock, react, productChanged }: Wiring) {
  const log = element("div", { className: "reactions", role: "log", "aria-label": "What the device did" });
  const say = (text: string) => {
    log.prepend(element("p", {}, text));
    while (log.children.length > 50) log.lastElementChild?.remove();
  };

  const message = element("input", {
    id: "message",
    value: "e_param_set::DEVICE_NAME::Lobby",
    "aria-label": "Message",
    spellcheck: false,
    autocomplete: "off",
  });
  message.setAttribute("list", "messages-known");
  const port = element(
    "select",
    { "aria-label": "Received as" },
    element("option", { value: variables }, "Variable or setting (port 2727)"),
    element("option", { value: statusLines }, "Status line or setting (port 2728)"),
    element("option", { value: names }, "Trigger by name (port 2700)"),
  );
  const known = element("datalist", { id: "messages-known" });
  const rows = element("tbody");
  const holdOff = element("p", { className: "quiet" });
  let triggers: TriggerSource[] = [];

  const showKnown = () => {
    const texts = triggers.flatMap((source) => {
      const { by, port: on, message: value } = explained(source);
      if (port.value === names) return [[source.trigger, by]];
      return on === port.value || source.cause === "setting" ? [[value, source.trigger]] : [];
    });
    known.replaceChildren(...texts.map(([value, label]) => element("option", { value }, label ?? "")));
  };
  const fill = (source: TriggerSource) => {
    const { port: on, message: text } = explained(source);
    port.value = on;
    message.value = text;
    showKnown();
    message.focus();
  };
  const row = (source: TriggerSource) =>
    element(
      "tr",
      {},
      element("td", {}, button(source.trigger, () => fill(source), { className: "link", title: "Write its message above" })),
      element("td", {}, explained(source).by),
    );
  const showVocabulary = () => {
    const vocabulary = core.vocabulary();
    triggers = vocabulary.triggers;
    showKnown();
    rows.replaceChildren(...[...triggers].sort((a, b) => a.trigger.localeCompare(b.trigger)).map(row));
    const { hold_off_s, display_period_s } = vocabulary.limits;
    holdOff.textContent =
      `Hold-off time: a variable raises its trigger only if its last message came more than ${hold_off_s} s before. ` +
      `Display events are not sent in the first ${display_period_s} s after a start.`;
  };
  port.addEventListener("change", showKnown);

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
    say("The device has started: it raises PowerOn.");
    react(core.raise("PowerOn", clock.now()));
  });

  const send = (event: globalThis.Event) => {
    event.preventDefault();
    const text = message.value;
    const reaction =
      port.value === names ? core.raise(text, clock.now()) : core.message(text, Number(port.value), clock.now());
    for (const trigger of reaction.triggers) say(`${text} raises ${trigger}`);
    react(reaction);
  };

  const panel = element(
    "div",
    {},
    element(
      "form",
      { onsubmit: send },
      element("p", {}, "The device receives"),
      element("div", { className: "row" }, port, message, known, element("button", { type: "submit" }, "Send")),
    ),
    log,
    holdOff,
    element(
      "div",
      { className: "fields" },
      field("Product", product),
      element("label", { className: "check" }, enabled, " Events are enabled"),
      restart,
    ),
    element(
      "details",
      { open: true },
      element("summary", {}, "Triggers of this product"),
      element(
        "table",
        {},
        element("thead", {}, element("tr", {}, element("th", { scope: "col" }, "Trigger"), element("th", { scope: "col" }, "Raised by"))),
        rows,
      ),
    ),
  );
  return {
    panel,
    say,
    triggers: () => [...new Set(triggers.map(({ trigger }) => trigger))],
    /** Begins with a device of that product that has run for an hour. */
    begin(name: string) {
      product.value = products.some(([value]) => value === name) ? name : "";
      running();
      showVocabulary();
    },
  };
}
