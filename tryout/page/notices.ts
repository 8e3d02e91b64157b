import { readdirSync, readFileSync, writeFileSync } from "node:fs";
import type { Plugin } from "vite";

/** Returns the notice of a package in node_modules, after a heading with its name, version and licence. */
function noticeOf(folder: string): string {
  const { name, version, license } = JSON.parse(readFileSync(`${folder}/package.json`, "utf8"));
  const files = readdirSync(folder).filter((file) => /^(licen[cs]e(-mit)?|copying|notice)(\.\w+)?$/i.test(file));
  if (files.length === 0) throw new Error(`${name} has no notice`);
  const texts = files.map((file) => readFileSync(`${folder}/${file}`, "utf8").trim());
  return `== ${name} ${version} (${license})\n${texts.join("\n\n")}\n\n`;
}

/**
 * Appends the notices of everything in the page to it, and writes them to NOTICES beside it: those of
 * the npm packages of which code is in the bundle, and those of the core, which `core` holds.
 */
export function appendNotices(core: string): Plugin {
  const folders = new Set<string>();
  return {
    name: "append-notices",
    generateBundle(_, bundle) {
      for (const output of Object.values(bundle)) {
        for (const [id, { renderedLength }] of Object.entries(output.type === "chunk" ? output.modules : {})) {
          const folder = /^.*\/node_modules\/(@[^/]+\/)?[^/]+/.exec(id)?.[0];
          if (folder !== undefined && renderedLength > 0) folders.add(folder.replace(/^\0/, ""));
        }
      }
    },
    writeBundle({ dir }) {
      const notices = [...folders].sort().map(noticeOf).join("") + readFileSync(core, "utf8");
      if (notices.includes("-->")) throw new Error("a notice would end its comment");
      writeFileSync(`${dir}/NOTICES`, notices);
      const page = `${dir}/kovotry.html`;
      writeFileSync(page, `${readFileSync(page, "utf8")}<!--\nNotices of the software in this page\n\n${notices}-->\n`);
    },
  };
}
