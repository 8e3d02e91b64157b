// The page and kovocheck have the same findings and events for the same file.
import assert from "node:assert/strict";
import { spawnSync } from "node:child_process";
import { mkdtempSync, readFileSync, readdirSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { after, test } from "node:test";
import { gzipSync } from "node:zlib";
import { pageFile, recordedLogs, root } from "./browser.mjs";
import { startCore, wasmFile } from "./core.mjs";

const directory = mkdtempSync(`${tmpdir()}/kovotry-`);
after(() => rmSync(directory, { recursive: true }));

function checked(definition, product, status) {
  writeFileSync(`${directory}/kovo.txt`, definition);
  const options = ["--format=json"];
  if (product !== "") options.push("--product", product);
  if (status !== null) {
    writeFileSync(`${directory}/status.txt`, status.map((pair) => `${pair.join("=")}\n`).join(""));
    options.push("--status", "status.txt");
  }
  const { stdout, status: exit } = spawnSync(
    `${root}build/release/check/kovocheck`,
    [...options, "kovo.txt"],
    { cwd: directory, maxBuffer: 64 << 20 },
  );
  assert.ok(exit === 0 || exit === 1, `exit status ${exit}`);
  return stdout.toString().trimEnd();
}

const examples =
  readdirSync(`${root}docs/examples`).map((name) =>
    readFileSync(`${root}docs/examples/${name}`, "latin1"));
const odd =
  ["GäteCount=1", "DoorData0=\xFF\xFE", "\0Door=1", `${"x".repeat(2100)}=1`,
    `DoorData0=${"41".repeat(1100)}`,
  "DoorDelay0=99999999999", "DoorPort4294967296=1", "DoorData-1=5C6E", "DoorCount=-5",
    "DoorPort0=70000", "DoorIP0=300.1.1.1"];

test("the page contains the WebAssembly that is tested here, is small, and has no source notice",
  () => {
  const page = readFileSync(pageFile);
  assert.ok(page.includes(gzipSync(readFileSync(wasmFile), { level: 9 }).toString("base64")));
  assert.ok(!page.includes("source of the page") &&
    readFileSync(`${root}tryout/page/kovotry.html`).includes("source of the page"));
  assert.ok(page.length <= 900_000, `${page.length} bytes`);
});

test("the page reports what kovocheck reports", async () => {
  const core = await startCore();
  const status =
    [["name", "Lobby"], ["inputName", "HDMI1"], ["text", "a\\r\\nb"], ["ä", "ö"], ["b", ""],
      ["c", "d=e"]];
  const products = ["", "input-hdmi", "input-usbc", "output"];
  // The examples, a file of odd lines, and each line of the examples after an odd one.
  const lines = new Set(examples.flatMap((file) => file.split("\n")));
  const files =
    [...examples, `\xEF\xBB\xBF${odd.join("\r\n")}`,
      ...Array.from(lines, (line, at) => `${odd[at % odd.length]}\nDoorCount=2\n${line}`)];
  files.forEach((file, at) => {
    const definition = Buffer.from(file, "latin1");
    const product = products[at % 4];
    const known = at % 3 === 0 ? status : null;
    assert.equal(core.report(definition, product, known), checked(definition, product, known),
      `file ${at}:\n${file}`);
  });
});

test("the timeline of logs is the one of kovocheck log", async () => {
  const core = await startCore();
  const logs = recordedLogs();
  const definition =
    "SlowCount=1\nSlowXMLfield=slow\nSlowProtocol0=UDP\nPowerOnCount=1\nPowerOnProtocol0=UDP\n";
  writeFileSync(`${directory}/kovo.txt`, definition);
  const files = Object.entries(logs).map(([name, text]) => {
    const packed = name.endsWith("-20261124"); // rotated
    writeFileSync(`${directory}/${name}${packed ? ".gz" : ""}`, packed ? gzipSync(text) : text);
    return `${name}${packed ? ".gz" : ""}`;
  });
  for (const [filter, options] of [[{}, []], [{ failed: true }, ["--failed"]],
    [{ trigger: "slow" }, ["--trigger", "slow"]]]) {
    const command = ["log", ...files, "--definitions", "kovo.txt", ...options];
    const printed = spawnSync(`${root}build/release/check/kovocheck`, command, { cwd: directory });
    assert.equal(core.timeline(logs, Buffer.from(definition), filter), printed.stdout.toString());
    assert.ok(printed.stdout.length > 300);
  }
});

test("an edit keeps step numbers without lines; one that is not known is an error", async () => {
  const core = await startCore();
  core.report(Buffer.from("ACount=3\nAProtocol2=UDP"), "", null);
  const { edits } = core.edit({ do: "change_step", event: "A", at: 2, with: { port: "23" } });
  assert.deepEqual(edits, [{ line: 2, column: 15, length: 0, text: "\nAPort2=23\n" }]);
  core.report(Buffer.from("ACount=1\nAProtocol0=UDP\n"), "", null);
  for (const [change, error] of [
    [{ do: "turn", event: "A" }, '"turn" is not an edit'],
    [{ do: "move_step", event: "A", at: 0 }, "the event has no such step"],
    [{ do: "delete_event", event: "B" }, "no event has this name"],
  ]) {
    const edited = core.edit(change);
    assert.deepEqual([edited.error, edited.edits], [error, []]);
  }
});
