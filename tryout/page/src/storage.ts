import type { StatusValues } from "./core";
import type { NamedText } from "./files";

export interface Stored extends NamedText {
  unsaved: boolean;
  status: StatusValues;
  product: string;
}

const key = "kovotry";

/** Returns the pairs of lines name=value. */
export function valuesOfLines(lines: string): StatusValues["values"] {
  return [...lines.matchAll(/^([^=\n]+)=(.*)$/gm)].map(([, name = "", value = ""]) => [name, value]);
}

/** Returns what this browser has stored; null if there is nothing valid. */
export function load(): Stored | null {
  try {
    const stored = JSON.parse(localStorage.getItem(key) ?? "null") as Stored | null;
    if (typeof stored?.text !== "string") return null;
    const { values, lines = "", complete = false } = stored.status as StatusValues & { lines?: string };
    return { ...stored, status: { values: values ?? valuesOfLines(lines), complete } }; // older pages stored lines
  } catch {
    return null;
  }
}

/** Stores it for the next visit, where the browser allows that. */
export function store(what: Stored): void {
  try {
    localStorage.setItem(key, JSON.stringify(what));
  } catch {
    // The storage is full or disabled, and the page works without it.
  }
}

export function clear(): void {
  try {
    localStorage.removeItem(key);
  } catch {
    // The storage is disabled, and so is empty.
  }
}
