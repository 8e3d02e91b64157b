import type { Change, Core, Editing } from "./core";
import { ask, byId } from "./dom";
import type { Editor } from "./editor";

/** What the forms that change events need. */
export interface Workplace {
  core: Core;
  editor: Editor;
  /** Shows the events of the changed text at once. */
  refresh(): void;
}

/** The labels of the protocols that the daemon has. */
export const protocols: [value: string, label: string][] = [
  ["UDP", "UDP"],
  ["TCP", "TCP"],
  ["UDPStatus", "UDP, the device’s status"],
  ["TCPStatus", "TCP, the device’s status"],
];

export const sendsStatus = (protocol = "") => protocol.includes("Status");

/** Returns the reasons against an edit, one per line. */
export function problemsOf({ error, findings }: Editing): string {
  if (error !== "") return error;
  const text = (hint: string) => (hint === "" ? "" : `; ${hint}`);
  return findings.map((each) => `${each.severity}: ${each.text}${text(each.hint)}`).join("\n");
}

/**
 * Asks whether a typed payload that looks like hexadecimal is meant so. Returns the change with the
 * answer, null if it was cancelled.
 */
async function confirmed(core: Core, change: Change): Promise<Change | null> {
  const part = change.step === undefined ? "with" : "step";
  const step = change[part];
  if (step === undefined || !("payload" in step)) return change;
  if (!core.typed(step).looks_like_hex) return change;
  const question = `“${step.payload}” looks like hexadecimal.`;
  const choice = await ask(question, "Use as hexadecimal", "Use as text");
  if (choice === "") return null;
  return choice === "Use as text" ? change : { ...change, [part]: { ...step, form: "hex" } };
}

/**
 * Applies a change of an event, and selects the new lines if `strict`; a strict change is not
 * applied if it adds an error. Returns whether it was applied, and the problems.
 */
export async function applyChange(place: Workplace, wanted: Change, strict = false) {
  const change = await confirmed(place.core, wanted);
  if (change === null) return { applied: false, problems: "" };
  const editing = place.core.edit(change);
  const problems = problemsOf(editing);
  const refused = strict && editing.findings.some(({ severity }) => severity === "error");
  if (editing.error !== "" || refused) return { applied: false, problems };
  place.editor.apply(editing.edits, strict);
  await Promise.resolve(); // the editor reports its new text first
  place.refresh();
  return { applied: true, problems };
}

/** Moves the focus to Undo: what had it is no longer there. */
export const focusUndo = () => byId("undo").focus();
