import { type Encoding, fromBytes, toBytes } from "./core";
import { announce, ask, button, byId, element } from "./dom";
import type { Editor } from "./editor";

// File System Access, where there is one.
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

/** The buttons for files, and files that are dropped onto the page. */
export function fileButtons(editor: Editor, largest: number, example: NamedText, forget: () => void) {
  const pickers = window as unknown as Pickers;
  let handle: Handle | null = null;
  let name = newFile.name;

  const show = (text: string) => {
    if (byId("file-name").textContent !== text) byId("file-name").textContent = text;
  };
  const tell = (text: string) => {
    show(text);
    announce(text);
  };
  const showName = () => {
    show(editor.unsaved() ? `${name} (not saved)` : name);
    document.title = `${editor.unsaved() ? "• " : ""}${name} – kovotry`;
  };
  /** Replaces the text; the next Save writes to `file`, or asks where to. */
  const begin = (text: NamedText, file: Handle | null, unsaved = false) => {
    handle = file;
    name = text.name;
    editor.setText(text.text, text.encoding, unsaved);
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
    tell(editor.unsaved() ? `${name} (not saved)` : `${name}, saved`);
  };

  /** Asks when the text has changes that would be lost. */
  const mayReplace = async () => {
    if (!editor.unsaved()) return true;
    const choice = await ask(`${name} has changes that are not saved.`, "Save", "Discard the changes");
    if (choice === "Save") await save();
    return choice !== "";
  };
  const take = async (file: File, opened: Handle | null) => {
    if (file.size > largest) return tell(`${file.name} is too large for a definition file`);
    begin({ name: file.name, ...fromBytes(new Uint8Array(await file.arrayBuffer())) }, opened);
    announce(name);
  };
  const attempt = async (work: () => Promise<void>) => {
    try {
      await work();
    } catch (error) {
      // A picker that was closed without a choice is no failure.
      if (!(error instanceof DOMException && error.name === "AbortError")) tell(String(error));
    }
  };
  const replace = (text: NamedText) =>
    attempt(async () => {
      if (await mayReplace()) begin(text, null);
    });

  const upload = element("input", { type: "file", hidden: true, "aria-label": "Definition file to open" });
  upload.addEventListener("change", () => {
    const file = upload.files?.[0];
    if (file !== undefined) void attempt(() => take(file, null));
    upload.value = "";
  });
  const open = async () => {
    if (!(await mayReplace())) return;
    if (pickers.showOpenFilePicker === undefined) return upload.click();
    const [chosen] = await pickers.showOpenFilePicker();
    if (chosen !== undefined) await take(await chosen.getFile(), chosen);
  };

  document.addEventListener("dragover", (event) => event.preventDefault());
  document.addEventListener(
    "drop",
    (event) => {
      const file = event.dataTransfer?.files[0];
      if (file === undefined) return;
      event.preventDefault(); // the editor would put it into the text
      void attempt(async () => {
        if (await mayReplace()) await take(file, null);
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
    button("Forget", forget, { title: "Forget the text and the status values that this browser keeps" }),
    upload,
  );

  return { name: () => name, begin, showName };
}
