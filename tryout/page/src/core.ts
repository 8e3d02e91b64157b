// The daemon's own code as WebAssembly: text in, JSON out. The page has no rules, limits or payload
// handling of its own.
import { WASI } from "@bjorn3/browser_wasi_shim";
import base64 from "kovotry-core";

export type Severity = "error" | "warning" | "note";

/** Lines and columns count from 1, columns and lengths in bytes; a length may include newlines. */
export interface Edit { line: number; column: number; length: number; text: string }

export interface Finding {
  line: number;
  column: number;
  length: number;
  severity: Severity;
  rule: string;
  text: string;
  hint: string;
  fix: string | null; // what replaces those bytes
  also?: Edit[]; // what the same fix replaces elsewhere
}

export interface Step {
  index: number;
  offset_ms: number;
  sends: "payload" | "status" | "nothing";
  transport: "UDP" | "TCP" | "";
  address: string;
  port: number;
  bytes: number | null; // null while a placeholder's value is not known
  hex: string | null; // likewise
  payload: string;
  truncated: boolean;
  ends_at_zero: boolean;
  why: string; // why it is not sent, "" when it is
}

export interface Event {
  line: number;
  name: string;
  trigger: string;
  raised_by: string[];
  shadowed_by: string;
  delay_s: number;
  never_runs: boolean;
  once_per_boot: boolean;
  display_period: boolean;
  steps: Step[];
}

export interface Findings { findings: Finding[]; errors: number; warnings: number; notes: number }

export interface Outcome { leaves_ms: number; sent: boolean; why: string }

export interface Run {
  event: Event;
  raised_ms: number;
  starts_ms: number;
  runs: boolean;
  why: string;
  outcomes: Outcome[]; // of the event's steps, in their order; none when it does not run
}

export interface Reaction {
  triggers: string[];
  runs: Run[];
  notes: string[];
  events_enabled: boolean;
}

export interface TriggerSource {
  trigger: string;
  cause: "variable" | "setting" | "playback" | "start" | "display";
  name: string; // of the variable or setting
}

export interface Vocabulary {
  limits: {
    file_bytes: number;
    display_period_s: number;
    hold_off_s: number;
  };
  triggers: TriggerSource[];
}

/** Names and values of placeholders. `complete`: all other placeholders are mistakes. */
export interface StatusValues { values: [name: string, value: string][]; complete: boolean }

export interface Payload { line: number; text: string }

/** The values of a step's lines; `payload` is its Data as typed text. */
export interface StepForm {
  protocol?: string;
  address?: string;
  port?: string;
  delay?: string;
  payload?: string;
  form?: string; // of a payload that was typed: "text" or "hex"
}

/** The values of an event's lines, or why they cannot be edited. */
export interface EventForm {
  name: string;
  trigger: string;
  delay?: string;
  steps: StepForm[];
  error: string;
}

/** A typed payload: its bytes, what is wrong with it, and what looks like a code but is text. */
export interface Typed {
  bytes: string; // that are sent, in hexadecimal, with the placeholders
  hex: string; // that are written to the file
  text: string; // the same as text
  error: string;
  code: string;
  looks_like_hex: boolean;
}

/** A change of an event; see step_edits.h. */
export interface Change {
  do: string;
  event: string;
  at?: number;
  step?: StepForm;
  with?: Partial<EventForm> | StepForm;
}

/** The edits of a change, or why there are none, and the findings that they add. */
export interface Editing {
  edits: Edit[];
  error: string;
  findings: { severity: Severity; text: string; hint: string }[];
}

/** Which blocks of the timeline are wanted; `renew`: with other logs or definitions than before. */
export interface LogFilter {
  trigger: string;
  failed: boolean;
  most: number;
  width: number;
  renew: boolean;
}

/** The last blocks of the timeline of logs; `text` is what kovocheck log prints. */
export interface LogTimeline {
  blocks: { text: string; event: string; trigger: string; failed: boolean }[];
  earlier: number; // that many more pass the filters
  triggers: string[];
  summary: string;
}

export interface Moment { ms: number; local_s: number }

/** How the file's bytes are decoded: as Latin-1 if they are not valid UTF-8. */
export type Encoding = "utf-8" | "latin1";

/** Returns the bytes of a text; letters that are not in Latin-1 are always UTF-8. */
export function toBytes(text: string, encoding: Encoding): Uint8Array {
  const utf8 = new TextEncoder();
  if (encoding === "utf-8") return utf8.encode(text);
  const bytesOf = (letter: string) => (letter > "\xff" ? utf8.encode(letter) : [letter.charCodeAt(0)]);
  return Uint8Array.from(Array.from(text, bytesOf).flatMap((bytes) => [...bytes]));
}

export function fromBytes(bytes: Uint8Array): { text: string; encoding: Encoding } {
  try {
    const decoder = new TextDecoder("utf-8", { fatal: true, ignoreBOM: true });
    return { text: decoder.decode(bytes), encoding: "utf-8" };
  } catch {
    const text = Array.from(bytes, (byte) => String.fromCharCode(byte)).join("");
    return { text, encoding: "latin1" };
  }
}

export type Core = Awaited<ReturnType<typeof startCore>>;

export async function startCore(binary: BufferSource) {
  const wasi = new WASI([], [], []);
  const module = await WebAssembly.compile(binary);
  const instance = await WebAssembly.instantiate(module, { wasi_snapshot_preview1: wasi.wasiImport });
  const { memory } = instance.exports as { memory: WebAssembly.Memory };
  type Call = (...numbers: number[]) => number;
  const call = (name: string, ...numbers: number[]) => (instance.exports[`kovo_${name}`] as Call)(...numbers);
  wasi.initialize(instance as never);

  let encoding: Encoding = "utf-8";

  function give(...parts: Uint8Array[]): number {
    const size = parts.reduce((sum, part) => sum + part.length, 0);
    let at = call("input", size); // may grow the memory
    for (const part of parts) {
      new Uint8Array(memory.buffer, at, part.length).set(part);
      at += part.length;
    }
    return size;
  }
  const giveText = (text: string) => give(toBytes(text, encoding));
  // A text field may hold half a surrogate pair, which is not valid in JSON.
  const wellFormed = (_key: string, value: unknown) =>
    typeof value === "string" ? new TextDecoder().decode(new TextEncoder().encode(value)) : value;
  const giveJson = (json: unknown) => give(new TextEncoder().encode(JSON.stringify(json, wellFormed)));
  const answer = (size: number) =>
    JSON.parse(new TextDecoder().decode(new Uint8Array(memory.buffer, call("output"), size)));

  return {
    setDefinition(bytes: Uint8Array, newEncoding: Encoding) {
      encoding = newEncoding;
      call("set_definition", give(bytes), encoding === "latin1" ? 1 : 0);
    },
    /** Reads a copy of a device's status. */
    readStatus: (text: string): { values: StatusValues["values"]; error: string } =>
      answer(call("read_status", give(new TextEncoder().encode(text)))),
    setStatus: (status: StatusValues) => call("set_status", giveJson(status)),
    startDevice: (product: string, booted_ms: number) =>
      call("start_device", giveText(product), booted_ms),
    enableEvents: (enabled: boolean) => call("enable_events", enabled ? 1 : 0),
    findings: (): Findings => answer(call("report", 0)),
    events: (): Event[] => answer(call("events")),
    payloadTexts: (): Payload[] => answer(call("payload_texts")),
    vocabulary: (): Vocabulary => answer(call("vocabulary")),
    raise: (trigger: string, now: Moment): Reaction =>
      answer(call("message", giveText(trigger), 0, now.ms, now.local_s)),
    message: (text: string, port: number, now: Moment): Reaction =>
      answer(call("message", giveText(text), port, now.ms, now.local_s)),
    typed: (payload: StepForm): Typed => answer(call("typed", giveJson(payload))),
    form: (event: string): EventForm => answer(call("form", giveText(event))),
    closeLogs: () => call("close_logs"),
    /** Adds a log, in parts; returns false for another file. */
    addLog: (name: string, parts: Uint8Array[]) =>
      call("add_log", give(new TextEncoder().encode(`${name}\n`), ...parts)) !== 0,
    timeline: (wanted: LogFilter): LogTimeline => answer(call("timeline", giveJson(wanted))),
    edit: (change: Change): Editing => answer(call("edit", giveJson(change))),
  };
}

export async function embeddedCore(): Promise<Core> {
  const packed = new Blob([Uint8Array.from(atob(base64), (letter) => letter.charCodeAt(0))]);
  const unpacked = packed.stream().pipeThrough(new DecompressionStream("gzip"));
  return startCore(await new Response(unpacked).arrayBuffer());
}
