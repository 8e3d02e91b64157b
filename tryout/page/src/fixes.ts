import type { Edit, Finding } from "./core";

export interface Fix {
  label: string;
  edits: Edit[];
}

/** Returns what the button of a finding does; null if the checker knows no fix. */
export function fixOf(finding: Finding): Fix | null {
  const { line, column, length, fix, also } = finding;
  if (fix === null) return null;
  return { label: labelOf(finding, fix), edits: [...(also ?? []), { line, column, length, text: fix }] };
}

function labelOf({ rule, length }: Finding, text: string): string {
  if (rule === "line-end" && length === 1) return "Use Unix line endings";
  if (text === "") return "Remove it";
  if (rule === "placeholder") return `Write {{${text.replace(/../g, (hex) => String.fromCharCode(Number.parseInt(hex, 16)))}}}`;
  return `Write ${text === "=" ? "=" : JSON.stringify(text)}`;
}
