// The page and kovocheck say the same of the same file, byte by byte.
import assert from "node:assert/strict";
import { spawnSync } from "node:child_process";
import { mkdtempSync, readFileSync, readdirSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { after, test } from "node:test";
import { gzipSync } from "node:zlib";
import { pageFile, root } from "./browser.mjs";
import { startCore, wasmFile } from "./core.mjs";

const folder = mkdtempSync(`${tmpdir()}/kovotry-`);
after(() => rmSync(folder, { recursive: true }));

function checked(definition, product, status) {
  writeFileSync(`${folder}/kovo.txt`, definition);
  const options = ["--format=json"];
  if (product !== "") options.push("--product", product);
  if (status !== null) {
    writeFileSync(`${folder}/status.txt`, status);
    options.push("--status", "status.txt");
  }
  const { stdout, status: exit } = spawnSync(
    `${root}build/release/check/kovocheck`,
    [...options, "kovo.txt"],
    { cwd: folder, maxBuffer: 64 << 20 },
  );
  assert.ok(exit === 0 || exit === 1, `exit status ${exit}`);
  return stdout.toString().trimEnd();
}

// A small generator of numbers that is the same everywhere.
let state = 20260131;
function below(limit) {
  state = (Math.imul(state, 1664525) + 1013904223) >>> 0;
  return Math.floor((state / 2 ** 32) * limit);
}
const pick = (list) => list[below(list.length)];

const examples = readdirSync(`${root}docs/examples`).map((name) => readFileSync(`${root}docs/examples/${name}`));
const lines = examples.flatMap((file) => file.toString("latin1").split("\n"));
lines.push("GäteCount=1", "DoorData0=\xFF\xFE", "\0Door=1", `${"x".repeat(2100)}=1`, `DoorData0=${"41".repeat(1100)}`,
  "DoorDelay0=99999999999", "DoorPort4294967296=1", "DoorData-1=5C6E", "DoorCount=-5", "DoorPort0=70000", "DoorIP0=300.1.1.1");

function randomLine() {
  const bytes = Buffer.from(`${pick(lines)}${below(40) === 0 ? "\r\n" : "\n"}`, "latin1");
  if (below(10) === 0) bytes[below(bytes.length)] = below(256);
  return bytes;
}

test("the page holds the WebAssembly that is tested here, and is small", () => {
  const page = readFileSync(pageFile);
  assert.ok(page.includes(gzipSync(readFileSync(wasmFile), { level: 9 }).toString("base64")));
  assert.ok(page.length <= 850_000, `${page.length} bytes`);
});

test("all examples and 200 random files are judged as by kovocheck", async () => {
  const core = await startCore();
  const files = [...examples];
  for (let at = 0; at < 200; ++at) {
    const mark = below(30) === 0 ? [Buffer.from("\xEF\xBB\xBF", "latin1")] : [];
    files.push(Buffer.concat([...mark, ...Array.from({ length: 1 + below(60) }, randomLine)]));
  }
  const status = Buffer.from("name=Lobby\ninputName=HDMI1\ntext=a\\r\\nb\nraw=\xFF\n", "latin1");
  const products = ["", "input-hdmi", "input-usbc", "output"];
  let findings = 0;
  files.forEach((file, at) => {
    const product = products[at % 4];
    const known = at % 3 === 0 ? status : null;
    const expected = checked(file, product, known);
    assert.equal(core.report(file, product, known), expected, `file ${at}:\n${file}`);
    findings += JSON.parse(expected).findings.length;
  });
  assert.ok(findings > files.length, "the random files hold mistakes");
});
