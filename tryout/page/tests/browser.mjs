// Opens the built page in a browser, as a user does: as a file.
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { fileURLToPath } from "node:url";
import { chromium } from "playwright-core";

export const root = fileURLToPath(new URL("../../../", import.meta.url));
export const pageFile = `${root}build/page/kovotry.html`;
export const example = (name) => readFileSync(`${root}docs/examples/${name}`, "utf8");

export function launch() {
  const quiet =
    ["quic", "component-update", "background-networking", "sync", "gpu"].map((feature) =>
      `--disable-${feature}`);
  return chromium.launch(
    { executablePath: "/usr/bin/chromium",
      args: ["--headless", "--no-sandbox", "--no-first-run", ...quiet] });
}

/** Opens the page,
  at a date if one is given. `close` fails if the page logged an error or requested anything. */
export async function open(browser, { date, ...options } = {}) {
  const context = await browser.newContext({ viewport: { width: 1440, height: 900 }, ...options });
  // Without the system's file dialogs, which no test can answer: files are uploaded and downloaded.
  await context.addInitScript(() => {
    delete window.showOpenFilePicker;
    delete window.showSaveFilePicker;
  });
  const page = await context.newPage();
  if (date !== undefined) await page.clock.setFixedTime(date);
  const problems = [];
  page.on("console", (message) => {
    if (message.type() !== "log") problems.push(`${message.type()}: ${message.text()}`);
  });
  page.on("pageerror", (error) => problems.push(String(error)));
  page.on("request", (request) => {
    const url = request.url();
    if (url !== `file://${pageFile}` &&
      !/^(data|blob):/.test(url)) problems.push(`request: ${url}`);
  });
  await page.goto(`file://${pageFile}`);
  await page.locator("#findings-count", { hasText: /./ }).waitFor();
  const close = () => context.close().then(() => assert.deepEqual(problems, []));
  return { page, close };
}

/** Replaces the editor's text. */
export async function replaceText(page, text) {
  await page.locator(".cm-content").click();
  await page.keyboard.press("Control+A");
  await page.keyboard.insertText(text);
}

/** Returns the findings as the list shows them. */
export function listedFindings(page) {
  return page.locator("#findings > li").evaluateAll((items) =>
    items.map((item) => {
      const part = (selector) => item.querySelector(selector)?.textContent ?? "";
      const text = item.querySelector(".text")?.textContent.replace(/\s\S*$/, "");
      return [part(".place"), part(".severity"), part(".text code"), text, part(".hint span")];
    }),
  );
}

/** Returns the messages as the table shows them. */
export function listedMessages(page) {
  return page.locator("#messages tbody tr:not(.fired)").evaluateAll((rows) =>
    rows.map((row) => {
      const [time, step, to] = Array.from(row.cells, (cell) => cell.textContent);
      const part = (selector) => row.querySelector(selector)?.textContent ?? "";
      return { time, step, to, text: part(".payload"), hex: part(".hex"), remark: part(".remark") };
    }),
  );
}

/** Waits until so many messages are listed. */
export function messagesListed(page, count) {
  return page.locator("#messages tbody tr:not(.fired)").nth(count - 1).waitFor({ timeout: 20_000 });
}

/** Returns the logs of a device that the scenario of kovocheck has, by name. */
export function recordedLogs() {
  const scenario = readFileSync(`${root}tests/scenarios/timeline_clock.txt`, "utf8");
  const written = [...scenario.matchAll(/^write \/tmp\/(kovo\S*log\S*)\n((?:\|.*\n)*)/gm)];
  return Object.fromEntries(
    written.map(([, name, lines]) => [name, lines.replaceAll(/^\| /gm, "")]));
}

/** Returns the lines of a step. */
export const step = (name, index, data = "4F") =>
  `${name}Protocol${index}=UDP\n${name}IP${index}=10.0.0.7\n` +
  `${name}Port${index}=6000\n${name}Data${index}=${data}\n`;
