import type { Edit, Finding } from "./core";

export interface Mend {
  label: string;
  edits(): Edit[];
}

/** What a click on a finding's button does; null for what takes more than a replacement. */
export function editsOf(finding: Finding, text: () => string): Mend | null {
  const { line, column, length, mend } = finding;
  if (mend !== null) {
    const label = mend === "" ? "Remove it" : `Write ${mend === "=" ? "=" : JSON.stringify(mend)}`;
    return { label, edits: () => [{ line, column, length, text: mend }] };
  }
  if (finding.rule === "line-end" && finding.hint.includes("Unix line ends")) {
    return { label: "Use Unix line ends", edits: () => withoutCarriageReturns(text()) };
  }
  return null;
}

function withoutCarriageReturns(text: string): Edit[] {
  const edits: Edit[] = [];
  text.split("\n").forEach((each, at) => {
    if (!each.endsWith("\r")) return;
    const column = new TextEncoder().encode(each).length; // of the last byte
    edits.push({ line: at + 1, column, length: 1, text: "" });
  });
  return edits;
}
