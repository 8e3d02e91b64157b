import type { NamedText } from "./files";
import type { StatusValues } from "./status";

export interface Kept extends NamedText {
  unsaved: boolean;
  status: StatusValues;
  product: string;
}

const key = "kovotry";

/** What this browser kept; null when there is nothing, or nothing of use. */
export function recall(): Kept | null {
  try {
    const kept = JSON.parse(localStorage.getItem(key) ?? "null") as Kept | null;
    return typeof kept?.text === "string" && typeof kept.status?.lines === "string" ? kept : null;
  } catch {
    return null;
  }
}

/** Keeps it, as far as this browser keeps anything. */
export function keep(what: Kept): void {
  try {
    localStorage.setItem(key, JSON.stringify(what));
  } catch {
    // full or forbidden: the page works without
  }
}

export function forget(): void {
  try {
    localStorage.removeItem(key);
  } catch {
    // forbidden: then nothing is kept
  }
}
