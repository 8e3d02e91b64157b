import { type Encoding, fromBytes, toBytes } from "./core";
import { announce, ask, button, byId, element } from "./dom";
import type { Editor } from "./editor";

// The File System Access API, which not every browser has.
interface Handle {
  name: string;
  getFile(): Promise<File>;
  createWritable(): Promise<{ write(bytes: Uint8Array): Promise<void>; close(): Promise<void> }>;
}
interface Pickers {
  showOpenFilePicker?(): Promise<Handle[]>;
  showSaveFilePicker?(options: { suggestedName: string }): Promise<Handle>;
}

export interface NamedText {
  name: string;
  text: string;
  encoding: Encoding;
}

const newFile: NamedText = { name: "kovo.txt", text: "", encoding: "utf-8" };

/**
 * Creates the file buttons, and opens files that are dropped onto the page; `openLogs` those that are
 * dropped onto the tab Logs.
 */
export function fileButtons(
  editor: Editor, maxBytes: number, example: NamedText, reset: () => void, openLogs: (files: File[]) => void,
) {
  const pickers = window as unknown as Pickers;
  let handle: Handle | null = null;
  let name = newFile.name;

  const show = (text: string) => {
    if (byId("file-name").textContent !== text) byId("file-name").textContent = text;
  };
  const report = (text: string) => {
    show(text);
    announce(text);
  };
  const showName = () => {
    show(editor.unsaved() ? `${name} (unsaved)` : name);
    document.title = `${editor.unsaved() ? "• " : ""}${name} – kovotry`;
  };
  /** Replaces the text, and the status values if they are given. The next Save writes to `file`; without one it asks for a name. */
  const load = (text: NamedText, file: Handle | null, unsaved = false, status = editor.status()) => {
    handle = file;
    name = text.name;
    editor.load(text.text, text.encoding, unsaved, status);
    showName();
  };

  const download = (bytes: Uint8Array) => {
    const url = URL.createObjectURL(new Blob([bytes as BlobPart], { type: "text/plain" }));
    element("a", { href: url, download: name }).click();
    setTimeout(() => URL.revokeObjectURL(url), 10_000);
  };
  const write = async (bytes: Uint8Array) => {
    if (handle === null && pickers.showSaveFilePicker === undefined) return download(bytes);
    handle ??= (await pickers.showSaveFilePicker?.({ suggestedName: name })) ?? null;
    if (handle === null) return;
    const file = await handle.createWritable();
    await file.write(bytes);
    await file.close();
    name = handle.name;
  };
  const save = async () => {
    const text = editor.text();
    await write(toBytes(text, editor.encoding()));
    editor.markSaved(text);
    showName();
    report(editor.unsaved() ? `${name} (unsaved)` : `${name}, saved`);
  };

  /** Asks if unsaved changes would be lost. Returns whether the text may be replaced. */
  const mayReplace = async () => {
    if (!editor.unsaved()) return true;
    const choice = await ask(`${name} has unsaved changes.`, "Save", "Discard changes");
    if (choice === "Save") await save();
    return choice !== "";
  };
  const read = async (file: File, opened: Handle | null) => {
    if (file.size > maxBytes) return report(`${file.name} is too large for a definition file`);
    load({ name: file.name, ...fromBytes(new Uint8Array(await file.arrayBuffer())) }, opened);
    announce(name);
  };
  const attempt = async (work: () => Promise<void>) => {
    try {
      await work();
    } catch (error) {
      // AbortError: the user closed the picker without a choice.
      if (!(error instanceof DOMException && error.name === "AbortError")) report(String(error));
    }
  };
  const replace = (text: NamedText) =>
    attempt(async () => {
      if (await mayReplace()) load(text, null);
    });

  const upload = element("input", { type: "file", hidden: true, "aria-label": "Definition file to open" });
  upload.addEventListener("change", () => {
    const file = upload.files?.[0];
    if (file !== undefined) void attempt(() => read(file, null));
    upload.value = "";
  });
  const open = async () => {
    if (!(await mayReplace())) return;
    if (pickers.showOpenFilePicker === undefined) return upload.click();
    const [chosen] = await pickers.showOpenFilePicker();
    if (chosen !== undefined) await read(await chosen.getFile(), chosen);
  };

  document.addEventListener("dragover", (event) => event.preventDefault());
  document.addEventListener(
    "drop",
    (event) => {
      const file = event.dataTransfer?.files[0];
      if (file === undefined) return;
      event.preventDefault(); // the editor would put it into the text
      if ((event.target as Element).closest?.(".tabs-section") && document.body.dataset.tab === "Logs") {
        return openLogs([...(event.dataTransfer?.files ?? [])]);
      }
      void attempt(async () => {
        if (await mayReplace()) await read(file, null);
      });
    },
    { capture: true },
  );
  document.addEventListener("keydown", (event) => {
    if (event.key !== "s" || !(event.ctrlKey || event.metaKey)) return;
    event.preventDefault();
    void attempt(save);
  });
  window.addEventListener("beforeunload", (event) => {
    if (editor.unsaved()) event.preventDefault();
  });

  byId("file-buttons").append(
    button("New", () => void replace(newFile)),
    button("Open…", () => void attempt(open)),
    button("Save", () => void attempt(save)),
    button("Example", () => void replace(example)),
    button("Reset", reset, { title: "Delete the text and the status values that this browser has stored" }),
    upload,
  );

  return { name: () => name, load, showName };
}
