// Takes the screenshots of the page for the documents: a file with two mistakes, after an event was fired.
import { example, launch, messagesListed, open, replaceText, root } from "./tests/browser.mjs";

const text = example("kovo.txt")
  .replace("PowerOnProtocol1=TCP", "PowerOnProtocol1=tcp")
  .replace("RenamedXMLfield=name", "RenamedXMLfield=DEVICE_NAME");

const browser = await launch();
for (const colorScheme of ["light", "dark"]) {
  const { page, close } = await open(browser, { colorScheme, date: "2026-01-31T14:07:09" });
  await replaceText(page, text);
  await page.locator(".event", { hasText: "is not a supported protocol" }).waitFor();
  await page.getByRole("button", { name: "Fire doorState" }).click();
  await messagesListed(page, 3);
  await page.waitForTimeout(300);
  await page.locator(".cm-content").click();
  await page.keyboard.press("Control+Home");
  await page.getByRole("tab", { name: "Events" }).focus();
  await page.screenshot({ path: `${root}docs/kovotry-${colorScheme}.png` });
  await close();
}
await browser.close();
