import type { NamedText } from "./files";
import type { StatusValues } from "./status";

export interface Stored extends NamedText {
  unsaved: boolean;
  status: StatusValues;
  product: string;
}

const key = "kovotry";

/** Returns what this browser has stored; null if there is nothing valid. */
export function load(): Stored | null {
  try {
    const stored = JSON.parse(localStorage.getItem(key) ?? "null") as Stored | null;
    return typeof stored?.text === "string" && typeof stored.status?.lines === "string" ? stored : null;
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
