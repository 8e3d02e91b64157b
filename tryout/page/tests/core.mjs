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
  /** Returns what kovocheck prints for the same file. */
  const report = (definition, product, status) => {
    core.kovo_start_device(give(Buffer.from(product)), 0);
    core.kovo_set_status(give(status ?? Buffer.alloc(0)), status === null ? 0 : 1);
    core.kovo_set_definition(give(definition));
    return answer(core.kovo_report(1));
  };
  return { report };
}
