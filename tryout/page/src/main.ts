import exampleText from "../../../docs/examples/kovo.txt?raw";
import exampleStatus from "../status.txt?raw";
import { TrialClock } from "./clock";
import { type Reaction, embeddedCore, toBytes } from "./core";
import { byId } from "./dom";
import { devicePanel } from "./device";
import { createEditor } from "./editor";
import { eventsPanel } from "./events";
import { fileButtons } from "./files";
import { showFindings } from "./findings";
import { type Kept, forget, keep, recall } from "./kept";
import { newStepPanel } from "./newstep";
import { statusPanel } from "./status";
import { showTabs } from "./tabs";
import { Timeline } from "./timeline";

const example: Kept = {
  name: "kovo.txt",
  text: exampleText,
  encoding: "utf-8",
  status: { lines: exampleStatus, complete: false },
  product: "",
};

const core = await embeddedCore();
const largest = core.vocabulary().limits.file_bytes;
const clock = new TrialClock();
const timeline = new Timeline(clock);
const editor = createEditor(byId("editor"), textChanged);
const events = eventsPanel((trigger) => react(core.raise(trigger, clock.now())), editor);
const newStep = newStepPanel(core, editor);
const status = statusPanel((values) => {
  core.setStatus(values.lines, values.complete);
  check();
  keepSoon();
});
const device = devicePanel({ core, clock, react, productChanged });
const files = fileButtons(editor, largest, () => begin(example), forgetAll);

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
  keepSoon();
}

/** Findings come with the keystroke, the list of events when the hands rest. */
function check(): void {
  const report = core.report();
  editor.show(report.findings, core.payloadTexts());
  showFindings(report, editor);
  clearTimeout(laterTimer);
  laterTimer = window.setTimeout(() => {
    events.show(report.events);
    newStep.show(report.events.map((event) => event.name));
  }, 120);
}

function keepSoon(): void {
  clearTimeout(keepTimer);
  keepTimer = window.setTimeout(() => {
    const text = editor.text();
    keep({ name: files.name(), text, encoding: editor.encoding(), status: status.values(), product });
  }, 500);
}

function begin(kept: Kept): void {
  files.setName(kept.name);
  status.show(kept.status);
  core.setStatus(kept.status.lines, kept.status.complete);
  product = kept.product;
  device.begin(product);
  editor.setText(kept.text, kept.encoding);
}

function forgetAll(): void {
  if (!confirm("Forget the text and the values that this browser keeps, and go back to the example?")) return;
  begin(example);
  clearTimeout(keepTimer);
  queueMicrotask(() => {
    clearTimeout(keepTimer); // the example need not be kept
    forget();
  });
}

byId("fast").addEventListener("change", (event) => {
  clock.setSpeed((event.target as HTMLInputElement).checked ? 10 : 1);
});
byId("clear-axis").addEventListener("click", () => timeline.clear());
showTabs([
  ["Events", events.panel],
  ["Device", device.panel],
  ["Status values", status.panel],
  ["New step", newStep.panel],
]);
begin(recall() ?? example);
