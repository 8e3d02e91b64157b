import type { Core, Editing } from "./core";
import { ask, element } from "./dom";
import type { Editor } from "./editor";

export const textOrHex = () =>
  element(
    "select",
    { name: "form" },
    element("option", { value: "text" }, "Text"),
    element("option", { value: "hex" }, "Hexadecimal"),
  );

/** Returns the reasons against an edit, one per line. */
export function problemsOf({ error, findings }: Editing): string {
  if (error !== "") return error;
  return findings.map(({ severity, text, hint }) => `${severity}: ${text}${hint === "" ? "" : `; ${hint}`}`).join("\n");
}

/** Applies an edit of steps unless it leads to an error. Returns whether it was applied. */
export async function applyEdit(core: Core, editor: Editor, fields: Record<string, string>): Promise<boolean> {
  let wanted = fields;
  if (core.edit(fields).looks_like_hex) {
    const choice = await ask(`“${fields.payload}” looks like hexadecimal.`, "Use as hexadecimal", "Use as text");
    if (choice === "") return false;
    if (choice === "Use as hexadecimal") wanted = { ...fields, form: "hex" };
  }
  const { edits, error, findings } = core.edit(wanted);
  if (error !== "" || findings.some(({ severity }) => severity === "error")) return false;
  editor.apply(edits);
  return true;
}
