import { readdirSync, readFileSync, writeFileSync } from "node:fs";
import type { Plugin } from "vite";

/** Returns the notice of a package in node_modules, after a heading with its name, version and licence. */
function noticeOf(directory: string): string {
  const { name, version, license } = JSON.parse(readFileSync(`${directory}/package.json`, "utf8"));
  const files = readdirSync(directory).filter((file) => /^(licen[cs]e(-mit)?|copying|notice)(\.\w+)?$/i.test(file));
  if (files.length === 0) throw new Error(`${name} has no notice`);
  const texts = files.map((file) => readFileSync(`${directory}/${file}`, "utf8").trim());
  return `== ${name} ${version} (${license})\n${texts.join("\n\n")}\n\n`;
}

/**
 * Appends the notices of the software in the page to it, and writes them to NOTICES in its directory:
 * those of the npm packages in the bundle, and those of the core, which are in the file `core`.
 */
export function appendNotices(core: string): Plugin {
  const directories = new Set<string>();
  return {
    name: "append-notices",
    generateBundle(_, bundle) {
      for (const output of Object.values(bundle)) {
        for (const [id, { renderedLength }] of Object.entries(output.type === "chunk" ? output.modules : {})) {
          const directory = /^.*\/node_modules\/(@[^/]+\/)?[^/]+/.exec(id)?.[0];
          if (directory !== undefined && renderedLength > 0) directories.add(directory.replace(/^\0/, ""));
        }
      }
    },
    writeBundle({ dir }) {
      const notices = [...directories].sort().map(noticeOf).join("") + readFileSync(core, "utf8");
      if (notices.includes("-->")) throw new Error("a notice contains the end of a comment");
      writeFileSync(`${dir}/NOTICES`, notices);
      const page = `${dir}/kovotry.html`;
      writeFileSync(page, `${readFileSync(page, "utf8")}<!--\nNotices of the software in this page\n\n${notices}-->\n`);
    },
  };
}
