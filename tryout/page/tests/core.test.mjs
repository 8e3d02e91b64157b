// The page's WebAssembly without the page: it reports what kovocheck does and simulates the daemon.
import assert from "node:assert/strict";
import { spawnSync } from "node:child_process";
import { mkdtempSync, readFileSync, readdirSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { after, test } from "node:test";
import { gzipSync } from "node:zlib";
import { WASI } from "@bjorn3/browser_wasi_shim";
import { pageFile, root, step } from "./browser.mjs";

const wasmFile = `${root}build/wasm/tryout/kovotry.wasm`;
const wasi = new WASI([], [], []);
const { instance } = await WebAssembly.instantiate(readFileSync(wasmFile),
  { wasi_snapshot_preview1: wasi.wasiImport });
wasi.initialize(instance);
const core = instance.exports;

/** Calls a function of tryout.cpp with a text, bytes or JSON; returns what it answers. */
function call(name, input, ...numbers) {
  const isText = typeof input === "string" || Buffer.isBuffer(input);
  const bytes = Buffer.from(isText ? input : JSON.stringify(input));
  const at = core.kovo_input(bytes.length);
  new Uint8Array(core.memory.buffer, at, bytes.length).set(bytes);
  return output(core[`kovo_${name}`](bytes.length, ...numbers));
}
const output = (size = 0) => Buffer.from(core.memory.buffer, core.kovo_output(), size).toString();
const answer = (...input) => JSON.parse(call(...input));

const directory = mkdtempSync(`${tmpdir()}/kovotry-`);
after(() => rmSync(directory, { recursive: true }));

function kovocheck(...options) {
  const { stdout, status } = spawnSync(`${root}build/release/check/kovocheck`, options,
    { cwd: directory, maxBuffer: 64 << 20 });
  assert.ok(status === 0 || status === 1, `exit status ${status}`);
  return stdout.toString();
}

test("the page contains this WebAssembly, is small, and has no source notice", () => {
  const page = readFileSync(pageFile);
  assert.ok(page.includes(gzipSync(readFileSync(wasmFile), { level: 9 }).toString("base64")));
  assert.ok(!page.includes("source of the page") &&
    readFileSync(`${root}tryout/page/kovotry.html`).includes("source of the page"));
  assert.ok(page.length <= 900_000, `${page.length} bytes`);
});

test("its report is that of kovocheck", () => {
  const values = [["name", "Lobby"], ["text", "a\\r\\nb"], ["ä", "ö"], ["b", ""], ["c", "d=e"],
    ["d", "x"]];
  const lines = values.map((pair) => `${pair.join("=")}\n`);
  writeFileSync(`${directory}/status.txt`, lines.join(""));
  const examples = readdirSync(`${root}docs/examples`).map((name) =>
    readFileSync(`${root}docs/examples/${name}`, "latin1"));
  const odd = ["GäteCount=1", "DoorData0=\xFF\xFE", "\0Door=1", `${"x".repeat(2100)}=1`,
    `DoorData0=${"41".repeat(1100)}`, "DoorDelay0=99999999999", "DoorPort4294967296=1",
    "DoorData-1=5C6E", "DoorCount=-5", "DoorPort0=70000", "DoorIP0=300.1.1.1"];
  // The examples, a file of odd lines, and each line of the examples after an odd one.
  const single = [...new Set(examples.flatMap((file) => file.split("\n")))].map((line, at) =>
    `${odd[at % odd.length]}\nDoorCount=2\n${line}`);
  const files = [...examples, `\xEF\xBB\xBF${odd.join("\r\n")}`, ...single];
  files.forEach((file, at) => {
    const product = ["", "input-hdmi", "input-usbc", "output"][at % 4];
    const complete = at % 3 === 0;
    call("start_device", product, 0);
    call("set_status", { values: complete ? values : [], complete });
    call("set_definition", Buffer.from(file, "latin1"), 0);
    writeFileSync(`${directory}/kovo.txt`, Buffer.from(file, "latin1"));
    const options = [...(product ? ["--product", product] : []),
      ...(complete ? ["--status", "status.txt"] : [])];
    const size = core.kovo_report(1); // may grow the memory
    assert.equal(`${output(size)}\n`, kovocheck("--format=json", ...options, "kovo.txt"), file);
  });
});

test("typed payloads are read as text with codes; what looks like a code is named", () => {
  for (const [payload, hex, code] of [
    ["<STX>A<esc><NUL>\\x1b", "02 41 1B 00 1B", ""],
    ["a\\n\\\\x{{n}}<cr><LF>$0D%0a", "61 0A 5C 78 7B 7B 6E 7D 7D 0D 0A 0D 0A", ""],
    ["$02", "24 30 32", "$02"],
    ["%1P %7f", "25 31 50 20 25 37 66", "%7f"],
    ["x[cr]", "78 5B 63 72 5D", "[cr]"],
    ["0x0D", "30 78 30 44", "0x0D"],
    ["h [1] 5%", "68 20 5B 31 5D 20 35 25", ""],
  ]) {
    const typed = answer("typed", { payload, form: "text" });
    assert.deepEqual([typed.hex, typed.code], [hex, code], payload);
  }
  const hex = (payload) => answer("typed", { payload, form: "hex" });
  assert.equal(hex("0x4F, \\x4b$0D %0A7F").hex, "4F 4B 0D 0A 7F");
  assert.match(hex("4F4").error, /two hexadecimal digits/);
  assert.equal(answer("typed", { payload: "{{n}}\\r", form: "text" }).bytes, " {{n}} 0D");
});

test("edits change no other line, or say why they are impossible", () => {
  const edit = (text, change) => {
    call("set_definition", text, 0);
    return answer("edit", { event: "A", ...change });
  };
  assert.deepEqual(
    edit("ACount=3\nAProtocol2=UDP", { do: "change_step", at: 2, with: { port: "23" } }).edits,
    [{ line: 2, column: 15, length: 0, text: "\nAPort2=23\n" }]);
  for (const [lines, change, error] of [
    ["", { do: "rotate" }, '"rotate" is not an edit'],
    ["", { do: "move_step", at: 0 }, "the event has no such step"],
    ["", { do: "delete_step", at: 1 }, "the event has no such step"],
    ["", { do: "delete_event", event: "B" }, "no event has this name"],
    ["BCount=1\n", { do: "change_event", with: { name: "B" } }, "another event has this name"],
    ["ACount=1\n", { do: "delete_step", at: 0 }, "it has two lines Count: remove one first"],
    ["AProtocol1=UDP\n", { do: "delete_step", at: 1 },
      "it has lines of step 1: increase its Count first"],
  ]) {
    const edited = edit(`ACount=1\nAProtocol0=UDP\n${lines}`, change);
    assert.deepEqual([edited.error, edited.edits], [error, []]);
  }
});

test("the simulated device reacts as the daemon does", () => {
  const event = (name, count, ...lines) =>
    [`${name}Count=${count}\n`, ...Array.from({ length: count }, (_, at) => step(name, at)),
      ...lines.map((line) => `${name}${line}\n`)].join("");
  call("set_status", { values: [], complete: false });
  call("set_definition",
    event("A", 2, "XMLfield=name", "Delay0=5", "Delay1=7") + event("B", 1) +
      event("DVIConnected", 1, "Delay=10") + event("Late", 1, "Delay=60") + event("Start", 1, "XMLfield=PowerOn") +
      event("Many", 128, "Delay0=30000") + event("Sys", 1, "XMLfield=sysName") +
      event("Cast", 1).replace("10.0.0.7", "255.255.255.255"), 0);
  call("start_device", "", 0);
  const early = "skipped: display events are not sent in the first 120 s after boot";
  const busy = "dropped: all 512 senders are busy";
  for (const [s, port, text, ...expected] of [
    [0, 2700, "A\nB\nb", "B 0", 'no event has the trigger "A"', 'no event has the trigger "b"'],
    [0, 2700, "PowerOn=1", "Start 0"],
    [0, 2700, "PowerOn", "Start skipped: it runs only once per boot"],
    [0, 2700, "Cast", "Cast not sent: the daemon does not broadcast"],
    [0, 2700, "Late", "Late dropped: its delay is not below 60 s"],
    [0, 2700, "__TEST__:B",
      "tests are not simulated: Fire in the tab Events shows what an event sends"],
    [0, 2700, "__Set__:x", "__Set__:x is not a command: it is ignored"],
    [109, 2700, "DVIConnected", `DVIConnected ${early}`],
    [111, 2700, "DVIConnected", "DVIConnected 10000"],
    [200, 2727, "e_param_set::device_name::x", "A 5 12"],
    [204, 2727, "e_param_set::DEVICE_NAME::y", "name is held off: the previous message of " +
      "DEVICE_NAME arrived 4 s ago; wait 5 s between messages"],
    [208, 2728, "setSettings:name",
      "setSettings:name raises no trigger; it restarts the hold-off time of name"],
    [208, 2728, "nothing=1", "nothing raises no trigger: this product has no such status line"],
    [208, 2728, "CUR_HDCP=1",
      "CUR_HDCP raises no trigger; it restarts the hold-off time of HDCP1Status"],
    [208, 2728, "CUR_HDCP=1", "CUR_HDCP raises no trigger: its value is unchanged"],
    [220, 2727, "sysName=x", "Sys 0"],
    [220, 2727, "name=x", "not a valid message: a variable is changed by e_param_set::NAME::VALUE"],
    [220, 2727, "e_param_set::HDMI_OUT_STATUS::1",
      "HDMI_OUT_STATUS raises no trigger on this product"],
    [220, 2727, "e_param_set::WPA_EAP_MODE::PEAP", 'no event has the trigger "p8021enable"',
      'no event has the trigger "p8021status"'],
    [220, 2728, "local:a", 'no event has the trigger "playMode"',
      'no event has the trigger "localPlay"'],
    [220, 2700, "__set__:network.kovo.enable=0", "events are disabled"],
    [220, 2700, "B", "B dropped: events are disabled"],
    [220, 2727, "e_param_set::DEVICE_NAME::z", "A skipped: events are disabled " +
      "skipped: events are disabled"],
    [220, 2700, "__SET__:network.kovo.enable=Yes", "events are enabled"],
  ]) {
    const { runs, notes } = answer("message", text, port, s * 1000, s);
    const outcomes = (run) =>
      run.why || run.outcomes.map(({ leaves_ms, why }) => why || leaves_ms - s * 1000).join(" ");
    const shown = [...runs.map((run) => `${run.event.name} ${outcomes(run)}`), ...notes];
    assert.deepEqual(shown, expected, text);
  }
  const steps = [1, 2, 3, 4, 5].flatMap(() =>
    answer("message", "Many", 0, 300_000, 300).runs[0].outcomes);
  assert.equal(steps.filter(({ why }) => why === busy).length, 128);
  call("start_device", "output", 0);
  assert.deepEqual(answer("message", "sysName=X", 2727, 0, 0).notes,
    ["sysName raises no trigger: its value is unchanged"], "settings outlive a restart");
});
