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

/** The fix may be part of a word: the hint has the whole one. */
function labelOf({ rule, length, hint }: Finding, text: string): string {
  if (rule === "line-end" && length === 1) return "Use Unix line endings";
  if (rule === "placeholder") {
    const name = text.replace(/../g, (hex) => String.fromCharCode(Number.parseInt(hex, 16)));
    return `Write {{${name}}}`;
  }
  const word = /^write ([^\s;]+)(;|$)/.exec(hint)?.[1];
  if (word !== undefined) return `Write "${word}"`;
  return text === "" ? "Remove it" : `Write ${text === "=" ? text : JSON.stringify(text)}`;
}
