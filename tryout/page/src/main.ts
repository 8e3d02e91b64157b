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
import { type Kept, forget, keep, recall } from "./kept";
import { newStepPanel } from "./newstep";
import { statusPanel } from "./status";
import { showTabs } from "./tabs";
import { Timeline } from "./timeline";

const example: Kept = {
  name: "kovo.txt",
  text: exampleText,
  encoding: "utf-8",
  unsaved: false,
  status: { lines: exampleStatus, complete: false },
  product: "",
};

const core = await embeddedCore();
const largest = core.vocabulary().limits.file_bytes;
const clock = new TrialClock();
const timeline = new Timeline(clock);
const editor = createEditor(byId("editor"), textChanged);
const files = fileButtons(editor, largest, example, () => void forgetAll());
const showFindings = findingsList(editor);
const fire = (trigger: string) => react(core.raise(trigger, clock.now()));
const events = eventsPanel({ core, editor, fire, fileName: files.name });
const newStep = newStepPanel(core, editor);
const status = statusPanel((values) => {
  core.setStatus(values.lines, values.complete);
  check();
  keepSoon();
});
const device = devicePanel({ core, clock, react, productChanged });

let product = "";
let laterTimer = 0;
let keepTimer = 0;

function react(reaction: Reaction): void {
  for (const run of reaction.runs) timeline.play(run);
  for (const note of reaction.notes) device.say(note);
}

function productChanged(name: string): void {
  product = name;
  check();
  keepSoon();
}

function textChanged(): void {
  const bytes = toBytes(editor.text(), editor.encoding());
  const tooLarge = bytes.length > largest;
  core.setDefinition(tooLarge ? new Uint8Array() : bytes);
  check();
  if (tooLarge) byId("findings-count").textContent = "not checked: too large for a definition file";
  files.showName();
  keepSoon();
}

/** Findings come with the keystroke, the list of events when the hands rest. */
function check(): void {
  const report = core.findings();
  const payloads = core.payloadTexts();
  editor.show(report.findings, payloads);
  showFindings(report);
  clearTimeout(laterTimer);
  laterTimer = window.setTimeout(() => {
    const found = core.events();
    events.show(found, payloads);
    newStep.show(found.map((event) => event.name), device.triggers());
  }, 120);
}

function keepNow(): void {
  if (keepTimer === 0) return;
  clearTimeout(keepTimer);
  keepTimer = 0;
  keep({
    name: files.name(),
    text: editor.text(),
    encoding: editor.encoding(),
    unsaved: editor.unsaved(),
    status: status.values(),
    product,
  });
}

function keepSoon(): void {
  clearTimeout(keepTimer);
  keepTimer = window.setTimeout(keepNow, 500);
}

function begin(kept: Kept): void {
  status.show(kept.status);
  core.setStatus(kept.status.lines, kept.status.complete);
  product = kept.product;
  device.begin(product);
  files.begin(kept, null, kept.unsaved);
}

async function forgetAll(): Promise<void> {
  const question = "Forget the text and the status values that this browser keeps, and go back to the example?";
  if ((await ask(question, "Forget")) === "") return;
  begin(example);
  queueMicrotask(() => {
    clearTimeout(keepTimer); // the example need not be kept
    keepTimer = 0;
    forget();
  });
}

window.addEventListener("pagehide", keepNow);
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
begin(recall() ?? example);
