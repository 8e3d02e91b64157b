// The daemon's own code as WebAssembly: text in, JSON out. The page has no rules, limits or payload
// handling of its own.
import { WASI } from "@bjorn3/browser_wasi_shim";
import base64 from "kovotry-core";

export type Severity = "error" | "warning" | "note";

/** Lines and columns count from 1, columns and lengths in bytes; a length may include newlines. */
export interface Edit {
  line: number;
  column: number;
  length: number;
  text: string;
}

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
  protocol: string;
  address: string;
  port: number;
  bytes: number | null; // null while a placeholder's value is not known
  hex: string | null; // likewise
  payload: string;
  truncated: boolean;
  ends_at_zero: boolean;
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
  step_count: number;
  steps: Step[];
}

export interface Findings {
  findings: Finding[];
  errors: number;
  warnings: number;
  notes: number;
}

export interface Outcome {
  leaves_ms: number;
  sent: boolean;
  why: string;
}

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

/** A status as lines name=value, or what is wrong with its text. */
export interface StatusReading {
  lines: string;
  error: string;
}

export interface Payload {
  line: number;
  event: string;
  index: number;
  text: string;
}

/** The requested edits, and the findings for their text. */
export interface Editing {
  edits: Edit[];
  error: string;
  looks_like_hex: boolean;
  findings: { severity: Severity; text: string; hint: string }[];
}

export interface Moment {
  ms: number; // on the page's clock
  local_s: number; // local wall clock
}

/** How the file's bytes are decoded: as Latin-1 if they are not valid UTF-8. */
export type Encoding = "utf-8" | "latin1";

export function toBytes(text: string, encoding: Encoding): Uint8Array {
  if (encoding === "utf-8") return new TextEncoder().encode(text);
  return Uint8Array.from(text, (letter) => letter.charCodeAt(0));
}

export function fromBytes(bytes: Uint8Array): { text: string; encoding: Encoding } {
  try {
    const decoder = new TextDecoder("utf-8", { fatal: true, ignoreBOM: true });
    return { text: decoder.decode(bytes), encoding: "utf-8" };
  } catch {
    return { text: Array.from(bytes, (byte) => String.fromCharCode(byte)).join(""), encoding: "latin1" };
  }
}

interface Exports {
  memory: WebAssembly.Memory;
  kovo_input(size: number): number;
  kovo_output(): number;
  kovo_set_definition(size: number): void;
  kovo_set_status(size: number, complete: number): void;
  kovo_read_status(size: number): number;
  kovo_start_device(size: number, booted_ms: number): void;
  kovo_enable_events(enabled: number): void;
  kovo_report(events: number): number;
  kovo_events(): number;
  kovo_payload_texts(): number;
  kovo_vocabulary(): number;
  kovo_raise(size: number, ms: number, local_s: number): number;
  kovo_message(size: number, port: number, ms: number, local_s: number): number;
  kovo_edit(size: number): number;
}

export type Core = Awaited<ReturnType<typeof startCore>>;

export async function startCore(binary: BufferSource) {
  const wasi = new WASI([], [], []);
  const module = await WebAssembly.compile(binary);
  const instance = await WebAssembly.instantiate(module, { wasi_snapshot_preview1: wasi.wasiImport });
  const core = instance.exports as unknown as Exports;
  wasi.initialize(instance as never);

  function give(bytes: Uint8Array): number {
    const at = core.kovo_input(bytes.length); // may grow the memory
    new Uint8Array(core.memory.buffer, at, bytes.length).set(bytes);
    return bytes.length;
  }
  function giveText(text: string): number {
    return give(new TextEncoder().encode(text));
  }
  function answerText(size: number): string {
    return new TextDecoder().decode(new Uint8Array(core.memory.buffer, core.kovo_output(), size));
  }
  const answer = (size: number) => JSON.parse(answerText(size));

  return {
    setDefinition: (bytes: Uint8Array) => core.kovo_set_definition(give(bytes)),
    readStatus: (text: string): StatusReading => answer(core.kovo_read_status(giveText(text))),
    setStatus: (lines: string, complete: boolean) =>
      core.kovo_set_status(giveText(lines), complete ? 1 : 0),
    startDevice: (product: string, booted_ms: number) =>
      core.kovo_start_device(giveText(product), booted_ms),
    enableEvents: (enabled: boolean) => core.kovo_enable_events(enabled ? 1 : 0),
    findings: (): Findings => answer(core.kovo_report(0)),
    events: (): Event[] => answer(core.kovo_events()),
    payloadTexts: (): Payload[] => answer(core.kovo_payload_texts()),
    vocabulary: (): Vocabulary => answer(core.kovo_vocabulary()),
    raise: (trigger: string, now: Moment): Reaction =>
      answer(core.kovo_raise(giveText(trigger), now.ms, now.local_s)),
    message: (text: string, port: number, now: Moment): Reaction =>
      answer(core.kovo_message(giveText(text), port, now.ms, now.local_s)),
    edit: (fields: Record<string, string>): Editing =>
      answer(core.kovo_edit(giveText(Object.entries(fields).map((pair) => pair.join("=")).join("\n")))),
  };
}

export async function embeddedCore(): Promise<Core> {
  const packed = new Blob([Uint8Array.from(atob(base64), (letter) => letter.charCodeAt(0))]);
  const unpacked = packed.stream().pipeThrough(new DecompressionStream("gzip"));
  return startCore(await new Response(unpacked).arrayBuffer());
}
