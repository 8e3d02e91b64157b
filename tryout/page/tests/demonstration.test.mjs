// Compares what the page shows for the example with what the daemon sends in ./run --once.
import assert from "node:assert/strict";
import { spawnSync } from "node:child_process";
import { after, before, test } from "node:test";
import { launch, listedMessages, messagesListed, open, root } from "./browser.mjs";

let browser;
before(async () => (browser = await launch()));
after(() => browser.close());

/** Returns the messages sent to the network, and the times of each event's steps. */
function sentByDaemon() {
  const { stdout, status } =
    spawnSync(`${root}run`, ["--once"], { encoding: "utf8", timeout: 300_000 });
  assert.equal(status, 0, stdout);
  const messages = [...stdout.matchAll(/-> (udp|tcp) (10\.\S+) +"(.*?)("|~\d+)?$/gm)].map(
    ([, transport, to, text]) => `${transport.toUpperCase()} ${to} ${text}`,
  );
  const offsets = {};
  for (const [, event, times] of stdout.matchAll(/timeline +(\w+): (.*)$/gm)) {
    offsets[event] = times.split(", ").map((time) => Number.parseInt(time, 10));
  }
  return { messages, offsets };
}

const withoutClock = (text) =>
  text.replace(/\d\d:\d\d:\d\d/, "hh:mm:ss").replace(/inputName:.*/, "the device’s status");

test("the daemon sends what the page shows", async () => {
  const sent = sentByDaemon();
  const { page, close } = await open(browser);
  const shown = [];
  const offsets = {};
  const take = async (event, count) => {
    await messagesListed(page, count);
    const messages = await listedMessages(page);
    offsets[event] = messages.map((message) => Number.parseInt(message.time, 10));
    shown.push(...messages.map((message) => `${message.to} ${message.text}`));
    await page.getByRole("button", { name: "Clear" }).click();
  };
  await page.getByRole("button", { name: "Fire PowerOn" }).click();
  await take("PowerOn", 2);
  await page.getByRole("button", { name: "Fire doorState" }).click();
  await take("Door", 3);
  await page.getByRole("tab", { name: "Device" }).click();
  await page.getByLabel("Message", { exact: true }).fill("e_param_set::DEVICE_NAME::Foyer");
  await page.getByRole("button", { name: "Send", exact: true }).click();
  await take("Renamed", 1);
  await page.getByRole("tab", { name: "Events" }).click();
  await page.getByRole("button", { name: "Fire playMode" }).click();
  await take("Play", 1);
  await close();

  assert.deepEqual(shown.map(withoutClock), sent.messages.map(withoutClock));
  offsets.PowerOn =
    offsets.PowerOn.map((time) =>
      time - 1000); // the daemon counts from the end of the event's delay
  assert.ok("Door" in sent.offsets, "the demonstration prints when the steps arrived");
  for (const [event, times] of Object.entries(sent.offsets)) {
    assert.equal(times.length, offsets[event]?.length, event);
    times.forEach((time, at) => {
      const late = time - offsets[event][at];
      assert.ok(late >= -2 && late < 250,
        `step ${at} of ${event} left at ${time} ms, shown at ${offsets[event][at]}`);
    });
  }
});
