import { createHash } from "node:crypto";
import { fileURLToPath } from "node:url";
import { defineConfig, type Plugin } from "vite";
import { viteSingleFile } from "vite-plugin-singlefile";

const root = fileURLToPath(new URL("../../", import.meta.url));

/** Allows the page's own script by its hash, and no other. */
function allowOwnScript(): Plugin {
  return {
    name: "allow-own-script",
    enforce: "post",
    generateBundle(_, bundle) {
      for (const file of Object.values(bundle)) {
        if (file.type !== "asset" || !file.fileName.endsWith(".html")) continue;
        const html = String(file.source);
        const script = /<script[^>]*>([\s\S]*)<\/script>/.exec(html)?.[1];
        if (script === undefined) throw new Error("the page holds no script");
        const hash = createHash("sha256").update(script).digest("base64");
        file.source = html.replace("script-src 'self'", `script-src 'sha256-${hash}'`);
      }
    },
  };
}

export default defineConfig({
  base: "./",
  resolve: { alias: { "kovotry.wasm": `${root}build/wasm/tryout/kovotry.wasm` } },
  plugins: [viteSingleFile({ removeViteModuleLoader: true }), allowOwnScript()],
  build: { outDir: `${root}build/page`, emptyOutDir: true, target: "es2022" },
});
