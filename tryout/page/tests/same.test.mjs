// The page and kovocheck have the same findings and events for the same file.
import assert from "node:assert/strict";
import { spawnSync } from "node:child_process";
import { mkdtempSync, readFileSync, readdirSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { after, test } from "node:test";
import { gzipSync } from "node:zlib";
import { pageFile, root } from "./browser.mjs";
import { startCore, wasmFile } from "./core.mjs";

const directory = mkdtempSync(`${tmpdir()}/kovotry-`);
after(() => rmSync(directory, { recursive: true }));

function checked(definition, product, status) {
  writeFileSync(`${directory}/kovo.txt`, definition);
  const options = ["--format=json"];
  if (product !== "") options.push("--product", product);
  if (status !== null) {
    writeFileSync(`${directory}/status.txt`, status);
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

const examples = readdirSync(`${root}docs/examples`).map((name) => readFileSync(`${root}docs/examples/${name}`, "latin1"));
const odd = ["GäteCount=1", "DoorData0=\xFF\xFE", "\0Door=1", `${"x".repeat(2100)}=1`, `DoorData0=${"41".repeat(1100)}`,
  "DoorDelay0=99999999999", "DoorPort4294967296=1", "DoorData-1=5C6E", "DoorCount=-5", "DoorPort0=70000", "DoorIP0=300.1.1.1"];

test("the page contains the WebAssembly that is tested here, is small, and has no source notice", () => {
  const page = readFileSync(pageFile);
  assert.ok(page.includes(gzipSync(readFileSync(wasmFile), { level: 9 }).toString("base64")));
  assert.ok(!page.includes("source of the page") && readFileSync(`${root}tryout/page/kovotry.html`).includes("source of the page"));
  assert.ok(page.length <= 850_000, `${page.length} bytes`);
});

test("the page reports what kovocheck reports", async () => {
  const core = await startCore();
  const status = Buffer.from("name=Lobby\ninputName=HDMI1\ntext=a\\r\\nb\nraw=\xFF\none=1\ntwo=2\n", "latin1");
  const products = ["", "input-hdmi", "input-usbc", "output"];
  // The examples, a file of odd lines, and each line of the examples after an odd one.
  const lines = new Set(examples.flatMap((file) => file.split("\n")));
  const files = [...examples, `\xEF\xBB\xBF${odd.join("\r\n")}`, ...Array.from(lines, (line, at) => `${odd[at % odd.length]}\nDoorCount=2\n${line}`)];
  files.forEach((file, at) => {
    const definition = Buffer.from(file, "latin1");
    const product = products[at % 4];
    const known = at % 3 === 0 ? status : null;
    assert.equal(core.report(definition, product, known), checked(definition, product, known), `file ${at}:\n${file}`);
  });
});
