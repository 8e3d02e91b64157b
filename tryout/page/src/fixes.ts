import type { Edit, Finding } from "./core";

export interface Fix {
  label: string;
  edits(): Edit[];
}

/** What the button of a finding does; null for what takes more than a replacement. */
export function fixOf(finding: Finding, text: () => string): Fix | null {
  const { line, column, length, mend } = finding;
  if (mend !== null) {
    return { label: labelOf(finding.rule, mend), edits: () => [{ line, column, length, text: mend }] };
  }
  if (finding.rule === "line-end" && finding.hint.includes("sed -i")) {
    return { label: "Use Unix line endings", edits: () => withoutCarriageReturns(text()) };
  }
  return null;
}

function labelOf(rule: string, text: string): string {
  if (text === "") return "Remove it";
  if (rule === "placeholder") return `Write {{${text.replace(/../g, (hex) => String.fromCharCode(Number.parseInt(hex, 16)))}}}`;
  return `Write ${text === "=" ? "=" : JSON.stringify(text)}`;
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
