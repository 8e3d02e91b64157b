import { createHash } from "node:crypto";
import { readFileSync, writeFileSync } from "node:fs";
import { fileURLToPath } from "node:url";
import { gzipSync } from "node:zlib";
import { defineConfig, type Plugin } from "vite";
import { viteSingleFile } from "vite-plugin-singlefile";
import { appendNotices } from "./notices";

const root = fileURLToPath(new URL("../../", import.meta.url));

/** Provides the module "kovotry-core": the WebAssembly, compressed, as base64. */
function embedCore(): Plugin {
  return {
    name: "embed-core",
    resolveId: (id) => (id === "kovotry-core" ? `\0${id}` : null),
    load(id) {
      if (id !== "\0kovotry-core") return null;
      const wasm = readFileSync(`${root}build/wasm/tryout/kovotry.wasm`);
      return `export default ${JSON.stringify(gzipSync(wasm, { level: 9 }).toString("base64"))}`;
    },
  };
}

/** Removes the notice that this is the source of the page. */
function removeSourceNotice(): Plugin {
  return {
    name: "remove-source-notice",
    transformIndexHtml: { order: "pre", handler: (html) => html.replace(/<!-- source -->[^]*<!-- \/source -->/, "") },
  };
}

/** Allows only the page's own script, by its hash. */
function allowOwnScript(): Plugin {
  return {
    name: "allow-own-script",
    writeBundle({ dir }) {
      const file = `${dir}/kovotry.html`;
      const html = readFileSync(file, "utf8");
      const script = /<script[^>]*>([\s\S]+)<\/script>/.exec(html)?.[1];
      if (script === undefined) throw new Error("the page has no script");
      const hash = createHash("sha256").update(script).digest("base64");
      writeFileSync(file, html.replace("script-src 'sha256-own'", `script-src 'sha256-${hash}'`));
    },
  };
}

export default defineConfig({
  base: "./",
  plugins: [
    removeSourceNotice(),
    embedCore(),
    viteSingleFile({ removeViteModuleLoader: true }),
    allowOwnScript(),
    appendNotices(`${root}build/wasm/NOTICES`),
  ],
  build: {
    outDir: `${root}build/page`,
    emptyOutDir: true,
    target: "es2022",
    rollupOptions: { input: "kovotry.html" },
  },
});
