// Tests of the page in a browser.
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { createRequire } from "node:module";
import { gzipSync } from "node:zlib";
import { after, before, test } from "node:test";
import { example, launch, listedFindings, listedMessages, messagesListed, open, recordedLogs,
  replaceText, root, step } from "./browser.mjs";

let browser;
before(async () => (browser = await launch()));
after(() => browser.close());

/** Defines a test with a page of its own, which must log no error and request nothing. */
function pageTest(name, work, options = {}) {
  test(name, async () => {
    const { page, close } = await open(browser, options);
    await work(page);
    await close();
  });
}

const tab = (page, name) => page.getByRole("tab", { name }).click();
const fire = (page, trigger) =>
  page.getByRole("button", { name: `Fire ${trigger}`, exact: true }).click();
/** Saves the file and returns its bytes as Latin-1. The focus stays where it is. */
const editorText = async (page) => {
  await page.evaluate(() => {
    window.saved = null;
    URL.createObjectURL = (blob) => ((window.saved = blob), "data:,"); // browsers limit downloads
  });
  await page.keyboard.press("Control+s");
  await page.waitForFunction(() => window.saved !== null);
  const bytes =
    await page.evaluate(async () => [...new Uint8Array(await window.saved.arrayBuffer())]);
  return Buffer.from(bytes).toString("latin1");
};
const send = async (page, message) => {
  await page.getByLabel("Message", { exact: true }).fill(message);
  await page.getByRole("button", { name: "Send", exact: true }).click();
};
const answer = (page, name) =>
  page.getByRole("dialog").getByRole("button", { name, exact: true }).click();
const openFile = async (page, name, buffer) => {
  const chooser = page.waitForEvent("filechooser");
  await page.getByRole("button", { name: "Open" }).click();
  await (await chooser).setFiles({ name, mimeType: "text/plain", buffer });
};
const drop = (page, target, text, name) =>
  page.locator(target).first().evaluate((element, [text, name]) => {
    const dataTransfer = new DataTransfer();
    dataTransfer.items.add(new File([text], name));
    element.dispatchEvent(
      new DragEvent("drop", { dataTransfer, bubbles: true, cancelable: true }));
  }, [text, name]);
const hexOf = (text) =>
  Buffer.from(text, "latin1").toString("hex").toUpperCase().replace(/..(?=.)/g, "$& ");

pageTest("findings are listed while typing, and a click goes to the line", async (page) => {
  await replaceText(page, "");
  await page.keyboard.type(example("faulty.txt"));
  const report = readFileSync(`${root}docs/examples/faulty.report`, "utf8");
  const found = [...report.matchAll(/^faulty.txt:(\d+):\d+: (\w+): (.*) \[([\w-]+)\]$/gm)];
  const expected = ["error", "warning", "note"].flatMap((each) =>
    found.filter(([, , severity]) => severity === each));
  assert.deepEqual(
    (await listedFindings(page)).map((finding) => finding.slice(0, 4)),
    expected.map(([, line, severity, text, rule]) => [`Line ${line}`, severity, rule, text]));
  await page.locator("#findings button.finding", { hasText: '"udp"' }).click();
  assert.equal(await page.locator(".cm-activeLine").textContent(), "DoorProtocol0=udp");
  assert.equal(await page.locator(".cm-activeLine .cm-lintRange-error").textContent(), "udp");
  assert.ok((await page.locator(".cm-gutter-lint .cm-lint-marker-error").count()) > 0);
});

pageTest("a fired event sends its messages at their times, with the status values",
  async (page) => {
  const start = performance.now();
  await fire(page, "doorState");
  await messagesListed(page, 3);
  assert.ok(performance.now() - start > 330, "the last one is sent at its time");
  const first = await listedMessages(page);
  const clock = /\d\d:\d\d:\d\d/.exec(first[0].text)?.[0];
  assert.deepEqual(first, [
    { time: "0 ms", step: "Door 0", to: "UDP 10.0.0.7:6000", text: `Door of Lobby at ${clock}`,
      hex: hexOf(`Door of Lobby at ${clock}`), remark: "" },
    { time: "100 ms", step: "Door 1", to: "TCP 10.0.0.6:23", text: "LIGHTS ON\\r",
      hex: hexOf("LIGHTS ON\r"), remark: "" },
    { time: "350 ms", step: "Door 2", to: "UDP 10.0.0.7:6000", text: "the device’s status",
      hex: "", remark: "" },
  ]);
  const [zero, second, last] =
    await page.locator("#timeline > svg .mark").evaluateAll((marks) =>
      marks.map((mark) => Number(/\((.*),/.exec(mark.getAttribute("transform"))[1])));
  assert.ok(second > zero && Math.abs((second - zero) * 3.5 - (last - zero)) < 0.1,
    `on the timeline at ${[zero, second, last]}`);
  await tab(page, "Status values");
  const value = page.getByLabel("Value of name");
  await value.evaluate((field) => {
    field.value = "\ud83d"; // half a surrogate pair
    field.dispatchEvent(new Event("input", { bubbles: true }));
  });
  await value.fill("Foyer\\n");
  await tab(page, "Events");
  await page.locator(".event", { hasText: "Door of Foyer\\n at {{time}}" }).waitFor();
  assert.equal(await page.locator(".event .note", { hasText: "unknown" }).count(), 0);
  await tab(page, "Status values");
  await page.getByRole("button", { name: "Remove name" }).click();
  await tab(page, "Events");
  await page.locator(".event .note", { hasText: /^unknown: {{name}}$/ }).waitFor();
  await fire(page, "doorState");
  await messagesListed(page, 4);
  const row = page.locator("#messages tbody tr:not(.fired)").nth(3);
  assert.match(await row.locator("td").last().innerText(),
    /^Door of {{name}} at \d\d:\d\d:\d\d\s*length unknown$/);
});

pageTest("a pasted status is read as it was copied, and completes the values", async (page) => {
  await tab(page, "Status values");
  await page.getByText("Paste /tmp/kovo_var.txt").click();
  const use = async (...lines) => {
    await page.getByLabel("Lines name=value").fill(lines.join("\n"));
    await page.getByRole("button", { name: "Use these values" }).click();
  };
  const value = (name) => page.getByLabel(`Value of ${name}`, { exact: true }).inputValue();
  await use("nam=Lobby");
  await page.locator("#panels [role=status]", { hasText: "fewer than 6" }).waitFor();
  assert.equal(await value("name"), "Lobby"); // of the example
  await use("root@kovo:~# cat /tmp/kovo_var.txt", "nam=Lobby", "a=b=c", "b=", "c=", "d=", "e=");
  assert.equal(await value("a"), "b=c");
  await page.locator("#findings").getByRole("button", { name: "Write {{nam}}" }).click();
  await page.locator(".payload-text", { hasText: "Door of {{nam}} at" }).waitFor();
  const remove = page.getByRole("button", { name: "Remove a", exact: true });
  await remove.click();
  await remove.waitFor({ state: "detached" });
  await page.getByRole("button", { name: "Undo" }).click();
  assert.equal(await value("a"), "b=c");
});

pageTest("files are opened, dropped and saved unchanged; too large ones are rejected",
  async (page) => {
  const bytes = Buffer.from("\xEF\xBB\xBFDoorCount=1\r\nDoorData0=\xFF\0\n\n\nx", "latin1");
  await openFile(page, "door.txt", bytes);
  await page.locator("#file-name", { hasText: "door.txt" }).waitFor();
  assert.deepEqual((await listedFindings(page)).filter(([, , rule]) => rule === "line-end").length,
    3);
  await page.locator(".cm-content").click();
  await page.keyboard.press("Control+z"); // does not restore the example
  assert.equal(await editorText(page), bytes.toString("latin1"));
  await drop(page, ".cm-content", "Gäte=1\r\n", "gate.txt");
  await page.locator("#file-name", { hasText: "gate.txt" }).waitFor();
  await openFile(page, "large.txt", Buffer.alloc(8 << 20, "DoorCount=1\n"));
  await page.locator("#file-name", { hasText: "large.txt is too large" }).waitFor();
  assert.equal(Buffer.from(await editorText(page), "latin1").toString(), "Gäte=1\r\n");
});

pageTest("unsaved changes are marked, and nothing replaces them unasked", async (page) => {
  const marked = () => page.locator("#file-name", { hasText: "kovo.txt (unsaved)" }).waitFor();
  await replaceText(page, "OwnCount=1\n");
  await marked();
  for (const name of ["New", "Open…", "Example"]) {
    await page.getByRole("button", { name }).click();
    await answer(page, "Cancel");
  }
  const saved = page.waitForEvent("download");
  await page.getByRole("button", { name: "New" }).click();
  await answer(page, "Save");
  assert.equal(readFileSync(await (await saved).path(), "latin1"), "OwnCount=1\n");
  await page.locator("#file-name", { hasText: /^kovo.txt$/ }).waitFor();
  assert.equal(await editorText(page), "");
  await replaceText(page, "x");
  await tab(page, "Status values");
  await page.getByLabel("Value of name").fill("Foyer");
  await page.getByRole("button", { name: "Example" }).click();
  await answer(page, "Discard changes");
  await page.locator(".cm-line", { hasText: "PowerOnCount=2" }).waitFor();
  assert.equal(await page.getByLabel("Value of name").inputValue(), "Foyer");
  await page.locator("#file-name", { hasText: /^kovo.txt$/ }).waitFor();
});

pageTest("with the File System Access API, Save writes to the opened file", async (page) => {
  await page.evaluate(() => {
    const write = async (bytes) => (window.written = new TextDecoder().decode(bytes));
    const getFile = async () => new File(["PlayCount=1\n"], "picked.txt");
    const createWritable = async () => ({ write, close: async () => {} });
    window.showOpenFilePicker = async () => [{ name: "picked.txt", getFile, createWritable }];
    window.showSaveFilePicker = () => Promise.reject(new DOMException("closed", "AbortError"));
  });
  await page.keyboard.press("Control+s");
  await page.getByRole("button", { name: "Open" }).click();
  await page.locator("#file-name", { hasText: "picked.txt" }).waitFor();
  await page.locator(".cm-content").click();
  await page.keyboard.press("Control+Home");
  await page.keyboard.type("Name");
  await page.keyboard.press("Control+s");
  await page.locator("#file-name", { hasText: "saved" }).waitFor();
  assert.equal(await page.evaluate(() => window.written), "NamePlayCount=1\n");
});

pageTest("the last text is stored until the page is reset", async (page) => {
  await replaceText(page, "KeptCount=1\n");
  const asked = page.waitForEvent("dialog");
  const reloaded = page.reload();
  assert.equal((await asked).type(), "beforeunload");
  await (await asked).accept();
  await reloaded;
  await page.locator(".cm-line", { hasText: "KeptCount=1" }).waitFor();
  await page.locator("#file-name", { hasText: "(unsaved)" }).waitFor();
  await page.getByRole("button", { name: "Reset" }).click();
  await answer(page, "Reset");
  await page.locator(".cm-line", { hasText: "PowerOnCount=2" }).waitFor();
  await page.waitForTimeout(700); // longer than the page waits before it stores something
  assert.equal(await page.evaluate(() => localStorage.length), 0);
});

const STEP = { Address: "10.0.0.7", Port: "6000" };
const fillStep = async (page, fields) => {
  for (const [label, value] of Object.entries(fields)) {
    const field = page.locator("#new-step").getByLabel(label, { exact: true });
    if (label === "Protocol" || label === "Payload format") await field.selectOption(value);
    else await field.fill(value);
  }
};
const addStep = async (page, fields) => {
  await fillStep(page, fields);
  await page.getByRole("button", { name: "Add step" }).click();
};
const added = (page, text) => page.locator("#new-step [role=status]", { hasText: text }).waitFor();

pageTest("the form adds steps with text or hexadecimal payloads, to new events too",
  async (page) => {
  await tab(page, "New step");
  await fillStep(page, { Event: "Door", Protocol: "UDP", "Payload format": "Hexadecimal" });
  const address = page.locator("#new-step").getByLabel("Address", { exact: true });
  assert.equal(await address.inputValue(), "10.0.0.7"); // of its last step
  await addStep(page, { Port: "70000", Payload: "4F 4B 00" });
  await page.getByText("DoorPort3=70000").first().waitFor();
  await addStep(page, { Port: "6000", Payload: "4F 4" });
  await page.getByText("write two hexadecimal digits").first().waitFor();
  await addStep(page, { Payload: "4F 4B" });
  await added(page, "Added: step 3 of Door, UDP 10.0.0.7:6000");
  await hasFocus(page, "Payload");
  await page.locator(".cm-line", { hasText: "DoorProtocol3=UDP" }).waitFor(); // the editor scrolls
  await addStep(page, { Event: "Blinds", Trigger: "videoMute", "Event delay (s)": "2", ...STEP,
    Protocol: "TCP", "Delay after previous step (ms)": "20", Payload: "4F4B" });
  await answer(page, "Use as hexadecimal");
  await added(page, "Added: step 0 of Blinds");
  const text = await editorText(page);
  const lines = (key, protocol, delay) =>
    step(...key, "4F4B").replace("UDP", protocol) + `${key[0]}Delay${key[1]}=${delay}\n`;
  assert.ok(text.includes("DoorCount=4\n"));
  assert.ok(text.includes(`DoorDelay2=250\n${lines(["Door", 3], "UDP", 0)}RenamedCount=1\n`), text);
  const blinds = "BlindsCount=1\nBlindsDelay=2\nBlindsXMLfield=videoMute\n";
  assert.ok(text.endsWith(blinds + lines(["Blinds", 0], "TCP", 20)), text);
});

pageTest("the bytes are shown while a payload is typed, and what is only text", async (page) => {
  await tab(page, "New step");
  await fillStep(page, { Event: "Door", Protocol: "UDP", Payload: "a\\n{{name}}$02" });
  const bytes = page.locator("#new-step .bytes");
  assert.equal(await bytes.locator("code").textContent(), "61 0A {{name}} 24 30 32");
  await bytes.locator(".note", { hasText: "“$02” is sent as these characters" }).waitFor();
  await fillStep(page, { Payload: "OK\\r", "Payload format": "Hexadecimal" });
  assert.equal(await page.locator("#new-step").getByLabel("Payload", { exact: true }).inputValue(),
    "4F 4B 0D");
});

const field = (page, label) => page.getByLabel(label, { exact: true });
const isText = async (page, expected) => assert.equal(await editorText(page), expected);
const hasFocus = (page, name) =>
  page.waitForFunction(
    (wanted) => (document.activeElement.ariaLabel ?? document.activeElement.textContent) === wanted,
    name,
    { timeout: 5000 },
  );

pageTest("each field of Edit takes effect on Enter and on leaving it, and can be undone",
  async (page) => {
  const before = `BCount=1\nBDelay=1\nBXMLfield=b\n${step("B", 0)}BDelay0=5\n`;
  let text = before;
  await replaceText(page, before);
  await page.getByRole("button", { name: "Edit B" }).click();
  for (const [label, value, from, to, leave] of [
    ["Trigger of B", "door", "XMLfield=b", "XMLfield=door", "Tab"],
    ["Event delay (s) of B", "3", "BDelay=1", "BDelay=3", "Enter"],
    ["Address of step 0 of B", "10.0.0.8", "10.0.0.7", "10.0.0.8", "Enter"],
    ["Port of step 0 of B", "23", "6000", "23", "Tab"],
    ["Delay (ms) of step 0 of B", "250", "Delay0=5", "Delay0=250", "Tab"],
    ["Payload of step 0 of B", "OK<CR>", "=4F", "=4F4B0D", "Tab"],
    ["Name of B", "Gäte", /^B/gm, "Gäte", "Enter"],
  ]) {
    await field(page, label).fill(value);
    await field(page, label).press(leave);
    text = text.replace(from, to);
    assert.equal(Buffer.from(await editorText(page), "latin1").toString(), text);
  }
  await page.getByText("Step 0, at 250 ms").waitFor();
  await hasFocus(page, "Name of Gäte");
  await field(page, "Protocol of step 0 of Gäte").selectOption("TCP");
  assert.ok((await editorText(page)).includes("Protocol0=TCP"));
  await field(page, "Name of Gäte").fill("Data of B");
  await field(page, "Name of Gäte").press("Enter");
  await page.getByText("an event name must not contain").waitFor();
  for (let at = 0; at < 8; ++at) await page.getByRole("button", { name: "Undo" }).click();
  await isText(page, before);
  await page.keyboard.press("Control+y"); // outside of fields
  await isText(page, before.replace("XMLfield=b", "XMLfield=door"));
});

pageTest("steps are moved and deleted with the focus on them, and no other line changes",
  async (page) => {
  const own = "# own\n\nBCount=1\nBData0=41\n";
  await replaceText(page, `ACount=2\n${step("A", 0)}ADelay0=5\nAFoo=1\n${step("A", 1, "4g")}${own}`);
  await page.getByRole("button", { name: "Edit A" }).click();
  await page.getByRole("button", { name: "Move up step 1 of A" }).press("Enter");
  const moved = `ACount=2\n${step("A", 0, "4g")}`;
  const second = `${step("A", 1).replace("UDP\n", "UDP\nAFoo=1\n")}ADelay1=5\n`; // in its place
  await isText(page, `${moved}${second}${own}`);
  await hasFocus(page, "Move down step 0 of A"); // it cannot be moved up
  await page.getByRole("button", { name: "Delete step 1 of A" }).press("Enter");
  await hasFocus(page, "Undo");
  await isText(page, `ACount=1\n${step("A", 0, "4g")}AFoo=1\n${own}`);
  await page.getByRole("button", { name: "Copy test command of A" }).click();
  const command =
    "cp kovo.txt /www/pelm/tmp/kovotest.txt\nprintf '__TEST__:A\\n' | nc -N 127.0.0.1 2700\n";
  assert.equal(await page.getByRole("region", { name: "Test command of A" }).textContent(),
    command);
  await page.getByRole("button", { name: "Delete event A" }).click();
  await isText(page, `AFoo=1\n${own}`);
});

for (const encoding of ["utf8", "latin1"]) {
  pageTest(`fixes and edits change the right bytes of a ${encoding} file`, async (page) => {
    const file =
      "GäteCount=1\r\nGäteXMLfield=tür\r\nGäteprotocol0=UDP\nGäteIP0=10.0.0.7\n" +
      "GätePort0=6000\nGäteData0=4F\nGäteDelay0=0\n";
    await openFile(page, "gate.txt", Buffer.from(file, encoding));
    await page.getByRole("button", { name: "Use Unix line endings" }).click();
    await page.locator("#findings").getByRole("button", { name: /^Write "G.*Protocol0"/ }).click();
    await page.getByRole("button", { name: "Edit Gäte" }).click();
    await field(page, "Port of step 0 of Gäte").fill("23");
    await field(page, "Port of step 0 of Gäte").press("Enter");
    await fire(page, "tür");
    await messagesListed(page, 1);
    await page.locator(".cm-content").press("Control+End");
    await page.keyboard.insertText("# ö€\n");
    const fixed = file.replaceAll("\r", "").replace("protocol0", "Protocol0").replace("6000", "23");
    const last = Buffer.concat([Buffer.from("# ö", encoding), Buffer.from("€\n")]);
    const expected = Buffer.concat([Buffer.from(fixed, encoding), last]);
    assert.equal(await editorText(page), expected.toString("latin1"));
  });
}

pageTest("messages to the device, its product and its switches have effects", async (page) => {
  const log = page.getByRole("log");
  await tab(page, "Device");
  await send(page, "e_param_set::DEVICE_NAME::Foyer");
  await send(page, "e_param_set::DEVICE_NAME::Lobby");
  await log.getByText(/name is held off: .* arrived [01] s ago/).waitFor();
  await page.getByLabel("10× speed").check();
  await page.waitForTimeout(700);
  await send(page, "e_param_set::DEVICE_NAME::Lobby");
  await messagesListed(page, 2);
  await page.getByLabel("Product").selectOption("output");
  await send(page, "e_param_set::HDMI_OUT_STATUS::1");
  await log.getByText('no event has the trigger "HDMIOutStatus"').waitFor();
  for (const row of ["stream variable CH_SELECT", "sysName setting sysName"]) {
    await page.getByRole("row", { name: row, exact: true }).waitFor();
  }
  await page.getByRole("button", { name: "playMode", exact: true }).click();
  assert.equal(await page.getByLabel("Message", { exact: true }).inputValue(), "local:");
  await send(page, "local:news.m3u");
  await log.getByText("local:news.m3u raises localPlay").waitFor();
  await page.getByLabel("Message type").selectOption("2700");
  await send(page, "doorState\nplayMode");
  await messagesListed(page, 7);
  await send(page, "__set__:network.kovo.enable=0");
  assert.equal(await page.getByLabel("Events are enabled").isChecked(), false);
  await send(page, "doorState");
  await page.locator("#messages .fired", { hasText: "events are disabled" }).waitFor();
  await page.getByLabel("Events are enabled").check();
  await page.getByRole("button", { name: "Restart the device" }).click();
  await tab(page, "Events");
  await fire(page, "PowerOn");
  await page.locator("#messages", { hasText: "PowerOn is skipped" }).waitFor();
});

pageTest("logs are opened, also compressed, and a click goes to the event", async (page) => {
  await replaceText(page,
    `BCount=1\n${step("B", 0)}SlowCount=1\nSlowXMLfield=slow\n${step("Slow", 0)}`);
  await tab(page, "Logs");
  const files = Object.entries(recordedLogs()).map(([name, text]) =>
    name.endsWith("-20261124")
      ? { name: `${name}.gz`, mimeType: "", buffer: gzipSync(text) }
      : { name, mimeType: "", buffer: Buffer.from(text) },
  );
  files.push({ name: "odd.txt", mimeType: "", buffer: Buffer.from("hello\n") });
  files.push({ name: "large.log.gz", mimeType: "", buffer: gzipSync(Buffer.alloc(51 << 20)) });
  await page.getByLabel("Open logs…").setInputFiles(files);
  const problems = page.locator(".remark.lines", { hasText: "odd.txt is not a log of kovotcp" });
  await problems.filter({ hasText: "large.log.gz: the logs are larger than 50 MB" }).waitFor();
  const blocks = page.locator(".block");
  await blocks.filter({ hasText: '15:18:06.004 "slow" on tcp:2700' }).click();
  assert.equal(await page.locator(".cm-activeLine").textContent(), "SlowCount=1");
  await page.getByLabel("Only what failed").check();
  await blocks.filter({ hasText: "the daemon starts" }).first().waitFor({ state: "detached" });
  await page.locator(".block.failed").first().waitFor();
  await page.getByLabel("Only what failed").uncheck();
  await page.getByLabel("Trigger in the logs").selectOption("later");
  await blocks.filter({ hasText: "slow" }).first().waitFor({ state: "detached" });
  // The definition file of the editor counts, as it is now.
  await replaceText(page, `LateCount=1\nLateXMLfield=later\n${step("Late", 0)}`);
  await blocks.filter({ hasText: "-> Late, 1 step" }).first().waitFor();
  await drop(page, ".block", recordedLogs()["kovoevent.log"], "kovoevent.log.2");
  await page.getByText("kovoevent.log.2").waitFor();
  await page.locator("#file-name", { hasText: "kovo.txt" }).waitFor();
  await page.getByRole("button", { name: "Close logs" }).click();
  assert.equal(await blocks.count(), 0);
});

pageTest("everything works by keyboard", async (page) => {
  const focused = () =>
    page.evaluate(() =>
      document.activeElement.getAttribute("aria-label") ?? document.activeElement.textContent);
  const press = async (key, times) => {
    for (let at = 0; at < times; ++at) await page.keyboard.press(key);
  };
  const tabTo = async (name, most) => {
    const reached = [];
    for (; reached.length < most &&
      reached.at(-1) !== name; reached.push(await focused())) await press("Tab", 1);
    assert.equal(reached.at(-1), name, reached.join(", "));
  };
  await page.getByRole("button", { name: "Fire PowerOn" }).waitFor();
  await tabTo("Fire PowerOn", 14);
  await press("Shift+Tab", 3);
  for (const [key, panel] of [["ArrowRight", "Device"], ["End", "Logs"], ["Home", "Events"]]) {
    await page.keyboard.press(key);
    assert.equal(await page.getByRole("tabpanel", { name: panel }).count(), 1);
  }
  await press("Tab", 3);
  await press("Enter", 1);
  await page.locator("#announcer",
    { hasText: "PowerOn fires PowerOn, after 1 s: 2 steps" }).waitFor({ state: "attached" });
  // Goes to the next finding, leaves the editor, and applies the fix.
  await replaceText(page, "DoorCount=1\nDoorProtocol0=udp\n");
  await page.keyboard.press("Control+Home");
  const line = () => page.locator(".cm-activeLine").textContent();
  for (let at = 0; at < 9 && (await line()) !== "DoorProtocol0=udp"; ++at) await press("F8", 1);
  await tabTo('Write "UDP"', 21);
  await press("Enter", 1);
  await page.locator(".cm-line", { hasText: "DoorProtocol0=UDP" }).waitFor();
});

const axe = readFileSync(createRequire(import.meta.url).resolve("axe-core/axe.min.js"), "utf8");
async function checkLook(page, name) {
  await page.evaluate(axe);
  const violations =
    await page.evaluate(async () =>
      (await axe.run()).violations.map(({ id, nodes }) => [id, ...nodes.map((node) => node.html)]));
  assert.deepEqual(violations, [], name);
  const [wide, window] =
    await page.evaluate(() => [document.documentElement.scrollWidth, innerWidth]);
  assert.ok(wide <= window, `${name}: ${wide} of ${window} pixels`);
}
for (const [look, options] of [
  ["light", { colorScheme: "light" }],
  ["dark", { colorScheme: "dark" }],
  ["at 200 %", { viewport: { width: 720, height: 450 }, deviceScaleFactor: 2 }],
  ["at 1024x768", { viewport: { width: 1024, height: 768 }, colorScheme: "light" }],
  ["on a telephone", { viewport: { width: 390, height: 844 }, colorScheme: "dark" }],
]) {
  pageTest(`axe finds no fault, and nothing is wider than the window: ${look}`, async (page) => {
    await fire(page, "doorState");
    await fire(page, "PowerOn");
    await page.getByRole("button", { name: "Edit Door" }).click();
    await page.getByRole("button", { name: "Copy test command of Door" }).click();
    await checkLook(page, "edited event");
    await replaceText(page, example("faulty.txt"));
    await messagesListed(page, 5);
    await fire(page, "PowerOn");
    for (const name of ["Events", "Device", "Status values", "New step", "Logs"]) {
      await tab(page, name);
      await checkLook(page, name);
    }
    await page.getByRole("button", { name: "New" }).click();
    await checkLook(page, "question");
  }, options);
}

test("the page cannot send anything", async () => {
  const { page, close } = await open(browser);
  const refused = await page.evaluate(async () => {
    const directives = [];
    document.addEventListener("securitypolicyviolation", (event) =>
      directives.push(event.effectiveDirective));
    const url = "http://127.0.0.1:1/";
    await fetch(url).catch(() => {});
    const form = Object.assign(document.createElement("form"), { action: url });
    document.body.append(form, ...[["img", "src", url], ["script", "src", url],
      ["script", "textContent", "window.ran = true"]].map(([tag, key, value]) =>
      Object.assign(document.createElement(tag), { [key]: value })));
    form.submit();
    await new Promise((later) => setTimeout(later, 200));
    return [...directives, window.ran === true];
  });
  assert.deepEqual(refused.sort(),
    ["connect-src", false, "form-action", "img-src", "script-src-elem", "script-src-elem"]);
  await assert.rejects(close, /Content Security Policy/); // the browser logs it as well
});
