import exampleText from "../../../docs/examples/kovo.txt?raw";
import exampleStatus from "../status.txt?raw";
import { TrialClock } from "./clock";
import { type Reaction, embeddedCore, toBytes } from "./core";
import { ask, byId } from "./dom";
import { devicePanel } from "./device";
import { createEditor } from "./editor";
import { eventsPanel } from "./events";
import { fileButtons } from "./files";
import { findingsList } from "./findings";
import { newStepPanel } from "./newstep";
import { statusPanel } from "./status";
import { type Stored, clear, load, store } from "./storage";
import { showTabs } from "./tabs";
import { Timeline } from "./timeline";

const example: Stored = {
  name: "kovo.txt",
  text: exampleText,
  encoding: "utf-8",
  unsaved: false,
  status: { lines: exampleStatus, complete: false },
  product: "",
};

const core = await embeddedCore();
const maxBytes = core.vocabulary().limits.file_bytes;
const clock = new TrialClock();
const timeline = new Timeline(clock);
const editor = createEditor(byId("editor"), textChanged);
const files = fileButtons(editor, maxBytes, example, () => void reset());
const showFindings = findingsList(editor);
const fire = (trigger: string) => react(core.raise(trigger, clock.now()));
const events = eventsPanel({ core, editor, fire, fileName: files.name });
const newStep = newStepPanel(core, editor);
const status = statusPanel(core, (values) => {
  core.setStatus(values.lines, values.complete);
  check();
  storeSoon();
});
const device = devicePanel({ core, clock, react, productChanged });

let product = "";
let eventsTimer = 0;
let storeTimer = 0;

function react(reaction: Reaction): void {
  for (const run of reaction.runs) timeline.play(run);
  for (const note of reaction.notes) device.say(note);
}

function productChanged(name: string): void {
  product = name;
  check();
  storeSoon();
}

function textChanged(): void {
  const bytes = toBytes(editor.text(), editor.encoding());
  const tooLarge = bytes.length > maxBytes;
  core.setDefinition(tooLarge ? new Uint8Array() : bytes);
  check();
  if (tooLarge) byId("findings-count").textContent = "not checked: the file is too large";
  files.showName();
  storeSoon();
}

/** Updates the findings at once, and the events 120 ms after the last keystroke: they take longer. */
function check(): void {
  const report = core.findings();
  const payloads = core.payloadTexts();
  editor.show(report.findings, payloads);
  showFindings(report);
  clearTimeout(eventsTimer);
  eventsTimer = window.setTimeout(() => {
    const found = core.events();
    events.show(found, payloads);
    newStep.show(found.map((event) => event.name), device.triggers());
  }, 120);
}

function storeNow(): void {
  if (storeTimer === 0) return;
  clearTimeout(storeTimer);
  storeTimer = 0;
  store({
    name: files.name(),
    text: editor.text(),
    encoding: editor.encoding(),
    unsaved: editor.unsaved(),
    status: status.values(),
    product,
  });
}

function storeSoon(): void {
  clearTimeout(storeTimer);
  storeTimer = window.setTimeout(storeNow, 500);
}

function begin(stored: Stored): void {
  status.show(stored.status);
  core.setStatus(stored.status.lines, stored.status.complete);
  product = stored.product;
  device.start(product);
  files.load(stored, null, stored.unsaved);
}

async function reset(): Promise<void> {
  const question = "Delete the text and the status values that this browser has stored, and load the example?";
  if ((await ask(question, "Reset")) === "") return;
  begin(example);
  queueMicrotask(() => {
    clearTimeout(storeTimer); // the example need not be stored
    storeTimer = 0;
    clear();
  });
}

window.addEventListener("pagehide", storeNow);
byId("fast").addEventListener("change", (event) => {
  clock.setSpeed((event.target as HTMLInputElement).checked ? 10 : 1);
});
byId("clear-timeline").addEventListener("click", () => timeline.clear());
showTabs([
  ["Events", events.panel],
  ["Device", device.panel],
  ["Status values", status.panel],
  ["New step", newStep.panel, newStep.update],
]);
begin(load() ?? example);
