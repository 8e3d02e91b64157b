import type { TrialClock } from "./clock";
import type { Core, Reaction, TriggerSource } from "./core";
import { button, element, field } from "./dom";

const products: [string, string][] = [
  ["", "Any (simulated with two HDMI inputs)"],
  ["input-hdmi", "Input side, two HDMI inputs"],
  ["input-usbc", "Input side, HDMI and USB-C"],
  ["output", "Output side"],
];

const variables = "2727";
const statusLines = "2728";
const names = "2700";

/** Returns what raises a trigger, and the port and the beginning of the message that does. */
function describe({ cause, name, trigger }: TriggerSource): { by: string; port: string; message: string } {
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

/** Creates the tab that sends messages to the simulated device, and lists its triggers. */
export function devicePanel({ core, clock, react, productChanged }: Wiring) {
  const log = element("div", { className: "reactions", role: "log", "aria-label": "Device log" });
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
    { "aria-label": "Message type" },
    element("option", { value: variables }, "Variable or setting (port 2727)"),
    element("option", { value: statusLines }, "Status line or setting (port 2728)"),
    element("option", { value: names }, "Trigger (port 2700)"),
  );
  const known = element("datalist", { id: "messages-known" });
  const rows = element("tbody");
  const holdOff = element("p", { className: "quiet" });
  let triggers: TriggerSource[] = [];

  const showKnown = () => {
    const texts = triggers.flatMap((source) => {
      const { by, port: on, message: value } = describe(source);
      if (port.value === names) return [[source.trigger, by]];
      return on === port.value || source.cause === "setting" ? [[value, source.trigger]] : [];
    });
    known.replaceChildren(...texts.map(([value, label]) => element("option", { value }, label ?? "")));
  };
  const fill = (source: TriggerSource) => {
    const { port: on, message: text } = describe(source);
    port.value = on;
    message.value = text;
    showKnown();
    message.focus();
  };
  const row = (source: TriggerSource) =>
    element(
      "tr",
      {},
      element("td", {}, button(source.trigger, () => fill(source), { className: "link", title: "Copy its message to the field above" })),
      element("td", {}, describe(source).by),
    );
  const showVocabulary = () => {
    const vocabulary = core.vocabulary();
    triggers = vocabulary.triggers;
    showKnown();
    rows.replaceChildren(...[...triggers].sort((a, b) => a.trigger.localeCompare(b.trigger)).map(row));
    const { hold_off_s, display_period_s } = vocabulary.limits;
    holdOff.textContent =
      `Hold-off time: a variable raises its trigger only if its previous message arrived more than ${hold_off_s} s earlier. ` +
      `Display events are not sent in the first ${display_period_s} s after boot.`;
  };
  port.addEventListener("change", showKnown);

  const product = element("select", {}, ...products.map(([value, label]) => element("option", { value }, label)));
  const enabled = element("input", { type: "checkbox", id: "enabled", checked: true });
  const boot = (bootedMs: number) => {
    core.startDevice(product.value, bootedMs);
    core.enableEvents(enabled.checked);
  };
  const bootHourAgo = () => boot(clock.ms() - 3_600_000); // display events are sent by now
  product.addEventListener("change", () => {
    bootHourAgo();
    showVocabulary();
    productChanged(product.value);
  });
  enabled.addEventListener("change", () => core.enableEvents(enabled.checked));

  const restart = button("Restart the device", () => {
    boot(clock.ms());
    say("The device has started and raises PowerOn.");
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
      element("p", {}, "Send to the device"),
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
    /** Starts a device of this product. */
    start(name: string) {
      product.value = products.some(([value]) => value === name) ? name : "";
      bootHourAgo();
      showVocabulary();
    },
  };
}
