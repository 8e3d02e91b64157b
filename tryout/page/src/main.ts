import exampleText from "../../../docs/examples/kovo.txt?raw";
import exampleStatus from "../status.txt?raw";
import { TrialClock } from "./clock";
import { type Reaction, type StatusValues, embeddedCore, toBytes } from "./core";
import { announce, ask, button, byId } from "./dom";
import { devicePanel } from "./device";
import { createEditor } from "./editor";
import { eventsPanel } from "./events";
import { fileButtons } from "./files";
import { findingsList } from "./findings";
import { logsPanel } from "./logs";
import { newStepPanel } from "./newstep";
import { statusPanel } from "./status";
import { type Stored, clear, load, store, valuesOfLines } from "./storage";
import { showTabs } from "./tabs";
import { Timeline } from "./timeline";

const example: Stored = {
  name: "kovo.txt",
  text: exampleText,
  encoding: "utf-8",
  unsaved: false,
  status: { values: valuesOfLines(exampleStatus), complete: false },
  product: "",
};

const core = await embeddedCore();
const maxBytes = core.vocabulary().limits.file_bytes;
const clock = new TrialClock();
const timeline = new Timeline(clock);
const editor = createEditor(byId("editor"), textChanged);
const files = fileButtons(editor, maxBytes, example, () => void reset(), (dropped) => void logs.open(dropped));
const showFindings = findingsList(editor);
const fire = (trigger: string) => react(core.raise(trigger, clock.now()));
const place = { core, editor, refresh: showEvents };
const events = eventsPanel({ ...place, fire, fileName: files.name });
const newStep = newStepPanel(place);
const status = statusPanel(core, editor.setStatus);
const logs = logsPanel(core, (name, trigger) => {
  const event = core.events().find((each) => (name === "" ? each.trigger === trigger : each.name === name));
  if (event === undefined) announce(`The definition file has no event for ${trigger}`);
  else editor.goTo(event.line, 1);
});
const device = devicePanel({ core, clock, react, productChanged });

const undo = button("Undo", () => (editor.undo(), announce("Undone")), { id: "undo", title: "Ctrl+Z" });
const redo = button("Redo", () => (editor.redo(), announce("Redone")), { id: "redo", title: "Ctrl+Y" });
byId("edit-buttons").append(undo, redo);

let product = "";
let shownStatus: StatusValues | null = null;
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
  if (shownStatus !== editor.status()) {
    shownStatus = editor.status();
    core.setStatus(shownStatus);
    status.show(shownStatus);
  }
  const bytes = toBytes(editor.text(), editor.encoding());
  const tooLarge = bytes.length > maxBytes;
  core.setDefinition(tooLarge ? new Uint8Array() : bytes, editor.encoding());
  check();
  if (tooLarge) byId("findings-count").textContent = "not checked: the file is too large";
  files.showName();
  undo.setAttribute("aria-disabled", String(!editor.canUndo()));
  redo.setAttribute("aria-disabled", String(!editor.canRedo()));
  storeSoon();
}

/** Updates the findings at once, and the events 120 ms after the last keystroke: they take longer. */
function check(): void {
  const report = core.findings();
  editor.show(report.findings, core.payloadTexts());
  showFindings(report);
  clearTimeout(eventsTimer);
  eventsTimer = window.setTimeout(showEvents, 120);
}

function showEvents(): void {
  clearTimeout(eventsTimer);
  logs.show(true);
  const found = core.events();
  events.show(found);
  newStep.show(found.map((event) => event.name), device.triggers());
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
    status: editor.status(),
    product,
  });
}

function storeSoon(): void {
  clearTimeout(storeTimer);
  storeTimer = window.setTimeout(storeNow, 500);
}

function begin(stored: Stored): void {
  product = stored.product;
  device.start(product);
  files.load(stored, null, stored.unsaved, stored.status);
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

// Fields have an undo of their own, and so has the editor.
document.addEventListener("keydown", (event) => {
  const { key, ctrlKey, metaKey, shiftKey, target } = event;
  const within = (target as Element).closest?.("input:not([type=checkbox]), textarea, .cm-editor, dialog");
  if (within || !(ctrlKey || metaKey) || !/^[zy]$/i.test(key)) return;
  event.preventDefault();
  (key.toLowerCase() === "y" || shiftKey ? redo : undo).click();
});
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
  ["Logs", logs.panel, () => logs.show(false)],
]);
begin(load() ?? example);
