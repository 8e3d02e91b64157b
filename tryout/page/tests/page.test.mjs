// Tests of the page in a browser.
import assert from "node:assert/strict";
import { spawnSync } from "node:child_process";
import { readFileSync } from "node:fs";
import { createRequire } from "node:module";
import { after, before, test } from "node:test";
import { example, launch, listedFindings, listedMessages, messagesListed, open, pageFile, replaceText, root } from "./browser.mjs";

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
const fire = (page, trigger) => page.getByRole("button", { name: `Fire ${trigger}`, exact: true }).click();
const editorText = async (page) => {
  const download = page.waitForEvent("download");
  await page.getByRole("button", { name: "Save" }).click();
  return readFileSync(await (await download).path(), "latin1");
};
const send = async (page, message) => {
  await page.getByLabel("Message", { exact: true }).fill(message);
  await page.getByRole("button", { name: "Send", exact: true }).click();
};
const answer = (page, name) => page.getByRole("dialog").getByRole("button", { name, exact: true }).click();
const openFile = async (page, name, buffer) => {
  const chooser = page.waitForEvent("filechooser");
  await page.getByRole("button", { name: "Open" }).click();
  await (await chooser).setFiles({ name, mimeType: "text/plain", buffer });
};
const hexOf = (text) => Buffer.from(text, "latin1").toString("hex").toUpperCase().replace(/..(?=.)/g, "$& ");

pageTest("findings are listed while typing, and a click goes to the line", async (page) => {
  await replaceText(page, "");
  await page.keyboard.type(example("faulty.txt"));
  const { stdout } = spawnSync(`${root}build/release/check/kovocheck`, ["--format=json", `${root}docs/examples/faulty.txt`]);
  const expected = JSON.parse(stdout).findings;
  assert.deepEqual(
    await listedFindings(page),
    expected.map(({ line, severity, rule, text, hint }) => [`Line ${line}`, severity, rule, text, hint]),
  );
  const udp = expected.find(({ text }) => text.includes('"udp"'));
  await page.locator("#findings button.finding", { hasText: '"udp"' }).click();
  assert.equal(await page.locator(".cm-activeLine").textContent(), "DoorProtocol0=udp");
  const underlined = await page.locator(".cm-activeLine .cm-lintRange-error").allTextContents();
  assert.deepEqual(underlined, ["udp"]);
  assert.equal(await page.locator(".cm-activeLineGutter.cm-lineNumbers, .cm-lineNumbers .cm-activeLineGutter").textContent(), String(udp.line));
  assert.ok((await page.locator(".cm-gutter-lint .cm-lint-marker-error").count()) > 0);
});

pageTest("a fix changes the right bytes, in a file with multibyte letters too", async (page) => {
  await openFile(page, "gate.txt", Buffer.from("GäteCount=1\r\nGäteXMLfield=doorStäte\r\nGäteprotocol0=UDP\r\nGäteIP0=10.0.0.7\nGätePort0=6000\nGäteData0=4F\n"));
  await page.getByRole("button", { name: "Use Unix line endings" }).click();
  await page.locator("#findings").getByRole("button", { name: /^Write "Gäte/ }).click();
  const expected = "GäteCount=1\nGäteXMLfield=doorStäte\nGäteProtocol0=UDP\nGäteIP0=10.0.0.7\nGätePort0=6000\nGäteData0=4F\n";
  assert.equal(Buffer.from(await editorText(page), "latin1").toString(), expected);
  assert.deepEqual((await listedFindings(page)).filter(([, severity]) => severity !== "note"), []);
});

pageTest("a fired event sends its messages at their times, with the status values", async (page) => {
  const start = performance.now();
  await fire(page, "doorState");
  await messagesListed(page, 3);
  assert.ok(performance.now() - start > 330, "the last one is sent at its time");
  const first = await listedMessages(page);
  const clock = /\d\d:\d\d:\d\d/.exec(first[0].text)?.[0];
  assert.deepEqual(first, [
    { time: "0 ms", step: "Door 0", to: "UDP 10.0.0.7:6000", text: `Door of Lobby at ${clock}`, hex: hexOf(`Door of Lobby at ${clock}`), remark: "" },
    { time: "100 ms", step: "Door 1", to: "TCP 10.0.0.6:23", text: "LIGHTS ON\\r", hex: hexOf("LIGHTS ON\r"), remark: "" },
    { time: "350 ms", step: "Door 2", to: "UDP 10.0.0.7:6000", text: "the device’s status", hex: "", remark: "" },
  ]);
  const [zero, second, last] = await page.locator("#timeline > svg .mark").evaluateAll((marks) => marks.map((mark) => Number(/\((.*),/.exec(mark.getAttribute("transform"))[1])));
  assert.ok(second > zero && Math.abs((second - zero) * 3.5 - (last - zero)) < 0.1, `on the timeline at ${[zero, second, last]}`);
  await tab(page, "Status values");
  await page.getByLabel("Value of name").fill("Foyer\\n");
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
  assert.match(await row.locator("td").last().innerText(), /^Door of {{name}} at \d\d:\d\d:\d\d\s*length unknown$/);
});

pageTest("a placeholder that is missing from a complete status is a mistake", async (page) => {
  await tab(page, "Status values");
  await page.getByText("Paste /tmp/kovo_var.txt").click();
  const use = async (lines) => {
    await page.getByLabel("Lines name=value").fill(lines);
    await page.getByRole("button", { name: "Use these values" }).click();
  };
  await use("nam:Lobby\rt:12:30\r");
  assert.equal(await page.getByLabel("Value of t", { exact: true }).inputValue(), "12:30");
  await use("nam=Lobby\nt:1\n");
  await page.getByText('"t:1" is not of the form name=value').waitFor();
  await use("nam=Lobby\na=b=c\n");
  assert.equal(await page.getByLabel("Value of a", { exact: true }).inputValue(), "b=c");
  await page.locator("#findings").getByRole("button", { name: "Write {{nam}}" }).click();
  await page.locator(".payload-text", { hasText: "Door of {{nam}} at" }).waitFor();
});

pageTest("files are opened, dropped and saved unchanged; too large ones are rejected", async (page) => {
  const bytes = Buffer.from("\xEF\xBB\xBFDoorCount=1\r\nDoorData0=\xFF\0\n\n\nx", "latin1");
  await openFile(page, "door.txt", bytes);
  await page.locator("#file-name", { hasText: "door.txt" }).waitFor();
  assert.deepEqual((await listedFindings(page)).filter(([, , rule]) => rule === "line-end").length, 3);
  await page.locator(".cm-content").click();
  await page.keyboard.press("Control+z"); // does not restore the example
  assert.equal(await editorText(page), bytes.toString("latin1"));
  // Files can be dropped anywhere, including the editor.
  await page.evaluate(() => {
    const dataTransfer = new DataTransfer();
    dataTransfer.items.add(new File(["Gäte=1\r\n"], "gate.txt"));
    document.querySelector(".cm-content").dispatchEvent(new DragEvent("drop", { dataTransfer, bubbles: true, cancelable: true }));
  });
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
    window.written = [];
    const handle = {
      name: "picked.txt",
      getFile: async () => new File(["PlayCount=1\n"], "picked.txt"),
      createWritable: async () => ({ write: async (bytes) => window.written.push(new TextDecoder().decode(bytes)), close: async () => {} }),
    };
    window.showOpenFilePicker = async () => [handle];
    window.showSaveFilePicker = async () => {
      throw new DOMException("closed", "AbortError");
    };
  });
  await page.keyboard.press("Control+s");
  await page.getByRole("button", { name: "Open" }).click();
  await page.locator("#file-name", { hasText: "picked.txt" }).waitFor();
  await page.locator(".cm-content").click();
  await page.keyboard.press("Control+Home");
  await page.keyboard.type("Name");
  await page.keyboard.press("Control+s");
  await page.locator("#file-name", { hasText: "saved" }).waitFor();
  assert.deepEqual(await page.evaluate(() => window.written), ["NamePlayCount=1\n"]);
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

pageTest("the form adds steps with text or hexadecimal payloads, to new events too", async (page) => {
  await tab(page, "New step");
  const fill = async (fields) => {
    for (const [label, value] of Object.entries(fields)) await page.getByLabel(label, { exact: true }).fill(value);
    await page.getByRole("button", { name: "Add step" }).click();
  };
  const emptied = () => page.waitForFunction(() => document.querySelector("[name=event]").value === "");
  await page.getByLabel("Payload format").selectOption("Hexadecimal");
  await fill({ Event: "Door", Address: "10.0.0.7", Port: "70000", Payload: "0x4F, \\x4b$0D %0A 00" });
  await page.getByText("DoorPort3=70000").first().waitFor();
  await page.getByLabel("Payload", { exact: true }).fill("0x4F, \\x4b$0D %0A7");
  await page.getByText("write two hexadecimal digits").waitFor();
  await fill({ Port: "6000", Payload: "0x4F, \\x4b$0D %0A7F" });
  await emptied();
  await fill({ Event: "Door", Address: "10.0.0.7", Port: "6000", Payload: "\\x1B[0m{{name}}\\\\<cr><LF>$0D%0a%1AVMT $1" });
  await emptied();
  const trigger = page.getByLabel("Trigger", { exact: true });
  assert.ok((await trigger.evaluate((input) => Array.from(input.list.options, ({ value }) => value))).includes("videoMute"));
  await page.getByLabel("Protocol").selectOption("TCP");
  await page.getByLabel("Event", { exact: true }).fill("Blinds");
  await fill({ Trigger: "videoMute", "Event delay (s)": "2", Address: "10.0.0.7", Port: "6000", "Delay after previous step (ms)": "20", Payload: "4F4B" });
  await answer(page, "Use as hexadecimal");
  await emptied();
  const text = await editorText(page);
  const data = Buffer.from("\x1B[0m{{name}}\\\r\n\r\n%1AVMT $1", "latin1").toString("hex").toUpperCase();
  const lines = (key, index, hex) => `${key}IP${index}=10.0.0.7\n${key}Port${index}=6000\n${key}Data${index}=${hex}\n${key}Delay${index}`;
  assert.ok(text.includes("DoorCount=5\n"));
  const added = `DoorProtocol3=UDP\n${lines("Door", 3, "4F4B0D0A7F")}=0\nDoorProtocol4=UDP\n${lines("Door", 4, data)}=0\n`;
  assert.ok(text.includes(`DoorDelay2=250\n${added}RenamedCount=1\n`), text);
  const blinds = `BlindsCount=1\nBlindsDelay=2\nBlindsXMLfield=videoMute\nBlindsProtocol0=TCP\n${lines("Blinds", 0, "4F4B")}=20\n`;
  assert.ok(text.endsWith(blinds), text);
});

pageTest("steps are edited as text, moved and deleted, and no other line changes", async (page) => {
  const before = "# own\nACount=3\nAData1=3C43523E5C720D\nAProtocol0=UDP\nBCount=1\nBData0=41\nADelay0=5\nAProtocol1=TCP\nADelay1=7\nAProtocol2=UDPStatus\n";
  await replaceText(page, before);
  await page.getByRole("button", { name: "Edit A" }).click();
  const payload = page.getByLabel("Payload of step 1 of A", { exact: true });
  assert.equal(await payload.inputValue(), "\\x3CCR>\\\\r\\r");
  const text = async (expected) => assert.equal(await editorText(page), expected);
  await payload.fill(`${await payload.inputValue()}!`);
  await payload.press("Enter");
  await text(before.replace("3C43523E5C720D", "3C43523E5C720D21"));
  await page.getByRole("button", { name: "Move up step 1 of A" }).click();
  await text("# own\nACount=3\nAData0=3C43523E5C720D21\nAProtocol0=TCP\nBCount=1\nBData0=41\nADelay0=7\nAProtocol1=UDP\nADelay1=5\nAProtocol2=UDPStatus\n");
  await page.getByLabel("Payload of step 0 of A", { exact: true }).waitFor();
  await page.getByRole("button", { name: "Delete step 0 of A" }).click();
  await text("# own\nACount=2\nBCount=1\nBData0=41\nAProtocol0=UDP\nADelay0=5\nAProtocol1=UDPStatus\n");
  await page.getByRole("button", { name: "Delete step 2 of A" }).waitFor({ state: "detached" });
  await page.getByRole("button", { name: "Delete event A" }).click();
  await text("# own\nBCount=1\nBData0=41\n");
  await page.locator(".cm-content").press("Control+z");
  await page.getByRole("button", { name: "Copy test command of A" }).click();
  const command = "cp kovo.txt /www/pelm/tmp/kovotest.txt\nprintf '__TEST__:A\\n' | nc -N 127.0.0.1 2700\n";
  assert.equal(await page.getByRole("region", { name: "Test command of A" }).textContent(), command);
});

pageTest("variables, switches and limits have the same effects as in the daemon", async (page) => {
  const noted = (text) => page.locator(".reactions p", { hasText: text }).first().waitFor();
  const reaction = async (message, text) => {
    await send(page, message);
    await noted(text);
  };
  await tab(page, "Device");
  await send(page, "e_param_set::device_name::Foyer");
  await reaction("e_param_set::DEVICE_NAME::Lobby", /name is held off: the previous message of DEVICE_NAME arrived [01] s ago/);
  await page.getByLabel("10× speed").check();
  await page.waitForTimeout(700);
  await send(page, "e_param_set::DEVICE_NAME::Lobby");
  await messagesListed(page, 2);
  await reaction("e_param_set::HDMI_OUT_STATUS::1", "HDMI_OUT_STATUS raises no trigger on this product");
  await page.getByLabel("Product").selectOption("output");
  await reaction("e_param_set::HDMI_OUT_STATUS::1", 'no event has the trigger "HDMIOutStatus"');
  await send(page, "e_param_set::WPA_EAP_MODE::off");
  await reaction("e_param_set::WPA_EAP_MODE::PEAP", "raises p8021enable");
  assert.equal(await page.locator(".reactions p", { hasText: "WPA_EAP_MODE raises no trigger" }).count(), 0);
  const listed = await page.locator("details tbody tr").evaluateAll((rows) => rows.map((row) => row.innerText.replace(/\s+/g, " ")));
  for (const row of ["stream variable CH_SELECT", "sysName setting sysName", "playMode playback selection"]) assert.ok(listed.includes(row), row);
  await page.getByRole("button", { name: "playMode", exact: true }).click();
  assert.equal(await page.getByLabel("Message", { exact: true }).inputValue(), "local:");
  await reaction("local:news.m3u", "local:news.m3u raises localPlay");
  await reaction("sysName=Lobby", "sysName=Lobby raises sysName");
  await reaction("setSettings:name", "raises no trigger; it restarts the hold-off time of name");
  await page.getByLabel("Message type").selectOption("2727");
  await reaction("name=Lobby", "not a valid message");

  const step = (name, index, data = "4F") => `${name}Protocol${index}=UDP\n${name}IP${index}=10.0.0.7\n${name}Port${index}=6000\n${name}Data${index}=${data}\n`;
  const many = Array.from({ length: 128 }, (_, at) => `${step("Many", at)}ManyDelay${at}=${at === 0 ? 30000 : 0}\n`).join("");
  await replaceText(
    page,
    `LongCount=1\n${step("Long", 0, "7B7B444154457D7D".repeat(100))}LateCount=1\nLateDelay=60\n${step("Late", 0)}` +
      `DVIConnectedCount=1\n${step("DVIConnected", 0)}PowerOnCount=1\n${step("PowerOn", 0)}ManyCount=128\n${many}`,
  );
  await page.getByRole("button", { name: "Restart the device" }).click();
  await tab(page, "Events");
  for (const [trigger, end] of [
    ["Long", "truncated to 1023 bytes"],
    ["Late", "Late is dropped: its delay is not below 60 s"],
    ["PowerOn", "PowerOn is skipped"],
    ["DVIConnected", "in the first 120 s"],
  ]) {
    await fire(page, trigger);
    await page.locator("#messages tbody tr").last().filter({ hasText: end }).waitFor();
  }
  for (let at = 0; at < 5; ++at) await fire(page, "Many");
  await page.locator("#messages .lost", { hasText: "all 512 senders are busy" }).nth(126).waitFor();
  await tab(page, "Device");
  await page.getByLabel("Events are enabled").uncheck();
  await tab(page, "Events");
  await fire(page, "Long");
  await page.locator("#messages", { hasText: "Long is dropped: events are disabled" }).waitFor();
});

pageTest("everything works by keyboard", async (page) => {
  const focused = () => page.evaluate(() => document.activeElement.getAttribute("aria-label") ?? document.activeElement.textContent);
  await page.getByRole("button", { name: "Fire PowerOn" }).waitFor();
  const press = async (key, times) => {
    for (let at = 0; at < times; ++at) await page.keyboard.press(key);
  };
  const tabTo = async (name, most) => {
    const reached = [];
    for (; reached.length < most && reached.at(-1) !== name; reached.push(await focused())) await press("Tab", 1);
    assert.equal(reached.at(-1), name, reached.join(", "));
    return reached;
  };
  assert.deepEqual((await tabTo("Fire PowerOn", 12)).slice(0, 5), ["New", "Open…", "Save", "Example", "Reset"]);
  await press("Shift+Tab", 3);
  assert.equal(await focused(), "Events");
  for (const [key, panel] of [["ArrowRight", "Device"], ["End", "New step"], ["Home", "Events"]]) {
    await page.keyboard.press(key);
    assert.equal(await page.getByRole("tabpanel", { name: panel }).count(), 1);
  }
  await press("Tab", 3);
  await press("Enter", 1);
  await page.locator("#announcer", { hasText: "PowerOn fires PowerOn, after 1 s: 2 steps" }).waitFor({ state: "attached" });
  // Types, goes to the next finding, leaves the editor, and applies the fix.
  await replaceText(page, "DoorCount=1\nDoorProtocol0=udp\n");
  await page.keyboard.press("Control+Home");
  const line = () => page.locator(".cm-activeLine").textContent();
  for (let at = 0; at < 9 && (await line()) !== "DoorProtocol0=udp"; ++at) await press("F8", 1);
  assert.equal(await line(), "DoorProtocol0=udp");
  await tabTo('Write "UDP"', 21);
  await press("Enter", 1);
  await page.locator(".cm-line", { hasText: "DoorProtocol0=UDP" }).waitFor();
});

const axe = readFileSync(createRequire(import.meta.url).resolve("axe-core/axe.min.js"), "utf8");
async function checkLook(page, name) {
  await page.evaluate(axe);
  const violations = await page.evaluate(async () => (await axe.run()).violations.map(({ id, nodes }) => [id, ...nodes.map((node) => node.html)]));
  assert.deepEqual(violations, [], name);
  const [wide, window] = await page.evaluate(() => [document.documentElement.scrollWidth, innerWidth]);
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
    if (options.viewport?.width === 390) {
      const cells = page.locator(".event td:not(.number)");
      await cells.nth(1).waitFor();
      const [place, payload] = await cells.evaluateAll((all) => all.map((cell) => cell.getBoundingClientRect()));
      assert.ok(payload.top >= place.bottom, "the payload is below the address");
    }
    await fire(page, "doorState");
    await fire(page, "PowerOn");
    await page.getByRole("button", { name: "Edit Door" }).click();
    await page.getByRole("button", { name: "Copy test command of Door" }).click();
    await checkLook(page, "edited event");
    await replaceText(page, example("faulty.txt"));
    await messagesListed(page, 5);
    await fire(page, "PowerOn");
    for (const name of ["Events", "Device", "Status values", "New step"]) {
      await tab(page, name);
      await checkLook(page, name);
    }
    await page.getByRole("button", { name: "New" }).click();
    await checkLook(page, "question");
  }, options);
}

pageTest("a keystroke in a file of 2,000 lines is checked within 50 ms", async (page) => {
  const step = (event, at) => `${event}Protocol${at}=UDP\n${event}IP${at}=10.0.0.7\n${event}Port${at}=${at === 2 ? 0 : 6000}\n${event}Data${at}=7B7B6E616D657D7D0D\n${event}Delay${at}=100\n`;
  const events = Array.from({ length: 112 }, (_, at) => `Ev${at}Count=3\nEv${at}XMLfield=x${at}\nEv${at}Delay=1\n${[0, 1, 2].map((index) => step(`Ev${at}`, index)).join("")}`);
  await replaceText(page, events.join(""));
  await page.evaluate(() => {
    window.took = [];
    const count = document.getElementById("findings-count");
    let since = 0;
    document.addEventListener("keydown", () => (since = performance.now()), { capture: true });
    new MutationObserver(() => window.took.push(performance.now() - since)).observe(count, { childList: true });
  });
  for (let at = 0; at < 15; ++at) await page.keyboard.type("x\n", { delay: 60 });
  const took = (await page.evaluate(() => window.took)).sort((a, b) => a - b);
  assert.ok(took.length >= 15, `${took.length} checks seen`);
  assert.ok(took[Math.floor(took.length / 2)] < 50, `median of ${took.map(Math.round)} ms`);
});

test("the page cannot send anything", async () => {
  const { page, close } = await open(browser);
  const refused = await page.evaluate(async () => {
    const directives = [];
    document.addEventListener("securitypolicyviolation", (event) => directives.push(event.effectiveDirective));
    const url = "http://127.0.0.1:1/";
    await fetch(url).catch(() => {});
    new Image().src = url;
    const form = Object.assign(document.createElement("form"), { action: url });
    const script = Object.assign(document.createElement("script"), { textContent: "window.ran = true" });
    document.body.append(form, script, Object.assign(document.createElement("script"), { src: url }));
    form.submit();
    await new Promise((later) => setTimeout(later, 200));
    return [...directives, window.ran === true];
  });
  assert.deepEqual(refused.sort(), ["connect-src", false, "form-action", "img-src", "script-src-elem", "script-src-elem"]);
  await assert.rejects(close, /Content Security Policy/); // the browser logs it as well
});
