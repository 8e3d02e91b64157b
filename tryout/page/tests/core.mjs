// Runs the page's WebAssembly without the page.
import { readFileSync } from "node:fs";
import { WASI } from "@bjorn3/browser_wasi_shim";
import { root } from "./browser.mjs";

export const wasmFile = `${root}build/wasm/tryout/kovotry.wasm`;

export async function startCore() {
  const wasi = new WASI([], [], []);
  const imports = { wasi_snapshot_preview1: wasi.wasiImport };
  const { instance } = await WebAssembly.instantiate(readFileSync(wasmFile), imports);
  wasi.initialize(instance);
  const core = instance.exports;
  const give = (bytes) => {
    const at = core.kovo_input(bytes.length);
    new Uint8Array(core.memory.buffer, at, bytes.length).set(bytes);
    return bytes.length;
  };
  const answer = (size) => Buffer.from(core.memory.buffer, core.kovo_output(), size).toString();
  const json = (value) => give(Buffer.from(JSON.stringify(value)));
  /** Returns what kovocheck prints for the same file. */
  const report = (definition, product, status) => {
    core.kovo_start_device(give(Buffer.from(product)), 0);
    core.kovo_set_status(json({ values: status ?? [], complete: status !== null }));
    core.kovo_set_definition(give(definition), 0);
    return answer(core.kovo_report(1));
  };
  /** Returns the timeline of logs, by name, as kovocheck prints it to a file. */
  const timeline = (logs, definition, filter) => {
    core.kovo_set_definition(give(definition), 0);
    for (const [name, text] of Object.entries(logs)) core.kovo_add_log(
      give(Buffer.from(`${name}\n${text}`)));
    const wanted = { trigger: "", failed: false, ...filter, most: 1000, width: 80, renew: true };
    const { blocks, summary } = JSON.parse(answer(core.kovo_timeline(json(wanted))));
    core.kovo_close_logs();
    return `${blocks.map(({ text }) => text).join("")}\n${summary}`;
  };
  return { report, timeline, edit: (change) => JSON.parse(answer(core.kovo_edit(json(change)))) };
}
