import { html, render } from "lit-html";
import { live } from "lit-html/directives/live.js";
import type { TrialClock } from "./clock";
import type { Core, Reaction, TriggerSource } from "./core";
import { element } from "./dom";

const products: [string, string][] = [
  ["", "Any (simulated with two HDMI inputs)"],
  ["input-hdmi", "Input side, two HDMI inputs"],
  ["input-usbc", "Input side, HDMI and USB-C"],
  ["output", "Output side"],
];

const names = 2700;
const variables = 2727;
const statusLines = 2728;
const ports: [number, string][] = [
  [variables, "Variable or setting (port 2727)"],
  [statusLines, "Status line or setting (port 2728)"],
  [names, "Triggers or command (port 2700)"],
];

/** Returns what raises a trigger, and the port and the beginning of the message that does. */
function describe({ cause, name, trigger }: TriggerSource): [by: string, port: number, text: string] {
  switch (cause) {
    case "variable":
      return [`variable ${name}`, variables, `e_param_set::${name}::`];
    case "setting":
      return [`setting ${name}`, variables, `${name}=`];
    case "playback":
      return ["playback selection", statusLines, "local:"];
    case "start":
      return ["first start after boot", names, trigger];
    case "display":
      return ["display connection", names, trigger];
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
  const panel = element("div");
  let said: string[] = [];
  let port = variables;
  let text = "e_param_set::DEVICE_NAME::Lobby";
  let product = "";
  let enabled = true;
  let vocabulary = core.vocabulary();

  const say = (line: string) => {
    said = [line, ...said].slice(0, 50);
    show();
  };
  const boot = (bootedMs: number) => {
    core.startDevice(product, bootedMs);
    core.enableEvents(enabled);
  };
  /** Starts a device of this product; display events are sent by now. */
  const start = (name: string) => {
    product = products.some(([value]) => value === name) ? name : "";
    boot(clock.ms() - 3_600_000);
    vocabulary = core.vocabulary();
    show();
  };
  const restart = () => {
    boot(clock.ms());
    say("The device has started and raises PowerOn.");
    react(core.raise("PowerOn", clock.now()));
  };
  const send = (event: globalThis.Event) => {
    event.preventDefault();
    const reaction = core.message(text, port, clock.now());
    for (const trigger of reaction.triggers) say(`${text} raises ${trigger}`);
    enabled = reaction.events_enabled;
    show();
    react(reaction);
  };
  const fill = (source: TriggerSource) => {
    [, port, text] = describe(source);
    show();
    panel.querySelector<HTMLElement>("form [aria-label=Message]")?.focus();
  };
  const choose = (value: string) => {
    port = Number(value);
    text = "";
    show();
  };
  const switchEvents = (on: boolean) => {
    enabled = on;
    core.enableEvents(on);
  };

  type Input = { target: HTMLInputElement };
  /** A text for port 2700 may have several lines. */
  const message = () => {
    const set = ({ target }: Input) => (text = target.value);
    const fits = ({ cause, ...source }: TriggerSource) =>
      cause === "setting" || describe({ cause, ...source })[1] === port;
    return port === names
      ? html`<textarea rows="2" aria-label="Message" spellcheck="false" .value=${live(text)} @input=${set}></textarea>`
      : html`<input id="message" aria-label="Message" list="messages-known" spellcheck="false" autocomplete="off"
          .value=${live(text)} @input=${set} />
        <datalist id="messages-known">${vocabulary.triggers.filter(fits).map((source) =>
          html`<option value=${describe(source)[2]}>${source.trigger}</option>`)}</datalist>`;
  };
  const row = (source: TriggerSource) =>
    html`<tr><td><button type="button" class="link" title="Copy its message to the field above"
      @click=${() => fill(source)}>${source.trigger}</button></td><td>${describe(source)[0]}</td></tr>`;
  const options = (all: [string | number, string][], chosen: string | number) =>
    all.map(([value, label]) => html`<option value=${value} ?selected=${value === chosen}>${label}</option>`);

  const show = () => {
    const { triggers, limits } = vocabulary;
    const sorted = [...triggers].sort((a, b) => a.trigger.localeCompare(b.trigger));
    render(
      html`<form @submit=${send}>
          <p>Send to the device</p>
          <div class="row">
            <select aria-label="Message type" .value=${live(String(port))}
              @change=${({ target }: Input) => choose(target.value)}>${options(ports, port)}</select>
            ${message()}<button type="submit">Send</button>
          </div>
        </form>
        <div class="reactions" role="log" aria-label="Device log">${said.map((line) => html`<p>${line}</p>`)}</div>
        <p class="quiet">Hold-off time: a variable raises its trigger only if its previous message arrived
          more than ${limits.hold_off_s} s earlier. Display events are not sent in the first
          ${limits.display_period_s} s after boot.</p>
        <div class="fields">
          <label class="field">Product
            <select aria-label="Product" .value=${live(product)}
              @change=${({ target }: Input) => (start(target.value), productChanged(product))}>
              ${options(products, product)}</select></label>
          <label class="check"><input type="checkbox" .checked=${live(enabled)}
            @change=${({ target }: Input) => switchEvents(target.checked)} /> Events are enabled</label>
          <button type="button" @click=${restart}>Restart the device</button>
        </div>
        <details open>
          <summary>Triggers of this product</summary>
          <table><thead><tr><th scope="col">Trigger</th><th scope="col">Raised by</th></tr></thead>
            <tbody>${sorted.map(row)}</tbody></table>
        </details>`,
      panel,
    );
  };
  return { panel, say, start, triggers: () => [...new Set(vocabulary.triggers.map(({ trigger }) => trigger))] };
}
