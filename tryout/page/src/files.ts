import { type Encoding, fromBytes, toBytes } from "./core";
import { announce, button, byId, element } from "./dom";
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

/** The buttons for files, and files that are dropped onto the page. */
export function fileButtons(editor: Editor, largest: number, example: () => void, forget: () => void) {
  const pickers = window as unknown as Pickers;
  let handle: Handle | null = null;
  let name = "kovo.txt";

  const showName = () => {
    byId("file-name").textContent = name;
  };
  const tell = (text: string) => {
    byId("file-name").textContent = text;
    announce(text);
  };
  const take = async (file: File) => {
    if (file.size > largest) return tell(`${file.name} is too large: no definition file`);
    const { text, encoding } = fromBytes(new Uint8Array(await file.arrayBuffer()));
    name = file.name;
    editor.setText(text, encoding);
    tell(name);
  };
  /** A picker that was closed without a choice is no failure. */
  const attempt = async (work: () => Promise<void>) => {
    try {
      await work();
    } catch (error) {
      if (!(error instanceof DOMException && error.name === "AbortError")) tell(String(error));
    }
  };

  const upload = element("input", { type: "file", hidden: true, "aria-label": "Definition file to open" });
  upload.addEventListener("change", () => {
    const file = upload.files?.[0];
    upload.value = "";
    handle = null;
    if (file !== undefined) void attempt(() => take(file));
  });
  const open = async () => {
    if (pickers.showOpenFilePicker === undefined) return upload.click();
    const [chosen] = await pickers.showOpenFilePicker();
    if (chosen === undefined) return;
    await take(await chosen.getFile());
    handle = chosen;
  };

  const download = (bytes: Uint8Array) => {
    const url = URL.createObjectURL(new Blob([bytes as BlobPart], { type: "text/plain" }));
    element("a", { href: url, download: name }).click();
    setTimeout(() => URL.revokeObjectURL(url), 10_000);
  };
  const save = async () => {
    const bytes = toBytes(editor.text(), editor.encoding());
    if (handle === null && pickers.showSaveFilePicker === undefined) return download(bytes);
    handle ??= (await pickers.showSaveFilePicker?.({ suggestedName: name })) ?? null;
    if (handle === null) return;
    const file = await handle.createWritable();
    await file.write(bytes);
    await file.close();
    name = handle.name;
    tell(`${name}, saved`);
  };

  document.addEventListener("dragover", (event) => event.preventDefault());
  document.addEventListener(
    "drop",
    (event) => {
      const file = event.dataTransfer?.files[0];
      if (file === undefined) return;
      event.preventDefault(); // the editor would put it into the text
      handle = null;
      void attempt(() => take(file));
    },
    { capture: true },
  );
  document.addEventListener("keydown", (event) => {
    if (event.key !== "s" || !(event.ctrlKey || event.metaKey)) return;
    event.preventDefault();
    void attempt(save);
  });

  byId("file-buttons").append(
    button("Open…", () => void attempt(open)),
    button("Save", () => void attempt(save)),
    button("Example", () => {
      handle = null;
      example();
    }),
    button("Forget", forget, { title: "Forget the text and the values that this browser keeps" }),
    upload,
  );

  return {
    name: () => name,
    setName(newName: string) {
      name = newName;
      showName();
    },
  };
}
