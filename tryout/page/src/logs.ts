import { html, nothing, render } from "lit-html";
import type { Core, LogTimeline } from "./core";
import { announce, counted, element } from "./dom";

const maxBytes = 50 * 1024 * 1024;
const pageful = 200; // blocks

/** Returns the bytes of a file, decompressed if it is one of gzip; null beyond the limit. */
async function readFile(file: File, limit: number): Promise<Uint8Array[] | null> {
  const head = new Uint8Array(await file.slice(0, 2).arrayBuffer());
  const packed = head[0] === 0x1f && head[1] === 0x8b;
  const stream = packed ? file.stream().pipeThrough(new DecompressionStream("gzip")) : file.stream();
  const parts: Uint8Array[] = [];
  const reader = stream.getReader();
  for (let size = 0; ; ) {
    const { done, value } = await reader.read().catch((error) => {
      if (parts.length === 0) throw error;
      return { done: true, value: undefined }; // a truncated file is read up to there
    });
    if (done || value === undefined) return parts;
    size += value.length;
    if (size > limit) return null;
    parts.push(value);
  }
}

/** Creates the tab that shows the timeline of a device's logs. */
export function logsPanel(core: Core, goTo: (event: string, trigger: string) => void) {
  const panel = element("div");
  let names: string[] = [];
  let bytes = 0;
  let problems: string[] = [];
  let isRead = false; // with the current logs and definition file
  let isStale = false; // the definition file has changed
  let took = 0; // milliseconds, the last time
  let wanted = { trigger: "", failed: false, most: pageful };
  let busy = "";

  const open = async (files: Iterable<File>) => {
    problems = [];
    for (const file of files) {
      if (names.includes(file.name)) {
        problems.push(`${file.name} is open already`);
        continue;
      }
      busy = `Reading ${file.name}…`;
      show();
      const parts = await readFile(file, maxBytes - bytes).catch((error) => String(error));
      if (typeof parts === "string") problems.push(`${file.name}: ${parts}`);
      else if (parts === null) problems.push(`${file.name}: the logs are larger than 50 MB together`);
      else if (!core.addLog(file.name, parts)) problems.push(`${file.name} is not a log of kovotcp`);
      else {
        bytes += parts.reduce((sum, part) => sum + part.length, 0);
        names.push(file.name);
      }
    }
    await read();
    announce(problems[0] ?? `${counted(names.length, "log")} opened`);
  };
  const read = async () => {
    isRead = isStale = false;
    busy = "Making the timeline…";
    show();
    await new Promise((later) => setTimeout(later, 50)); // until that is shown
    busy = "";
    show();
  };
  const close = () => {
    core.closeLogs();
    names = [];
    bytes = 0;
    problems = [];
    show();
  };
  const filter = (part: Partial<typeof wanted>) => {
    wanted = { ...wanted, ...part };
    show();
  };

  const blocks = ({ blocks: found, earlier }: LogTimeline) =>
    html`${earlier === 0 ? nothing
        : html`<button type="button" @click=${() => filter({ most: wanted.most + pageful })}>
            Show earlier ones (${earlier})</button>`}
      ${found.length === 0 ? html`<p>Nothing passes the filters.</p>` : nothing}
      <ol>${found.map(({ text, event, trigger, failed }) => {
        const look = failed ? "block failed" : "block";
        return html`<li>${trigger === "" ? html`<pre class=${look}>${text}</pre>`
          : html`<button type="button" class=${look} title="Show the event in the file"
              @click=${() => goTo(event, trigger)}>${text}</button>`}</li>`;
      })}</ol>`;

  const timeline = () => {
    const width = Math.max(40, Math.floor(panel.clientWidth / 8) - 2);
    const start = performance.now();
    const found = core.timeline({ ...wanted, width, renew: !isRead });
    if (!isRead) took = performance.now() - start;
    isRead = true;
    return html`<div class="fields">
        ${isStale ? html`<button type="button" @click=${() => void read()}>Use the changed definition file</button>` : nothing}
        <label class="field">Trigger
          <select aria-label="Trigger in the logs" @change=${({ target }: Event) => filter({ trigger: (target as HTMLSelectElement).value })}>
            <option value="">all</option>
            ${found.triggers.filter((each) => each !== "").map((each) =>
              html`<option value=${each} ?selected=${each === wanted.trigger}>${each}</option>`)}
          </select></label>
        <label class="check"><input type="checkbox" ?checked=${wanted.failed}
          @change=${({ target }: Event) => filter({ failed: (target as HTMLInputElement).checked })} />
          Only what failed</label>
      </div>
      ${blocks(found)}
      <pre class="preview">${found.summary}</pre>`;
  };

  const show = () => {
    const choose = ({ target }: Event) => {
      const input = target as HTMLInputElement;
      void open([...(input.files ?? [])]).then(() => (input.value = ""));
    };
    render(
      html`<p class="quiet">Open or drop kovo.log and kovoevent.log of the device, with their rotated
          parts (.gz too): what each trigger did, with the definition file of the editor.</p>
        <div class="row"><label class="button">Open logs…
            <input type="file" multiple class="screen-reader-only" @change=${choose} /></label>
          <button type="button" ?disabled=${names.length === 0} @click=${close}>Close logs</button>
          <span>${busy || names.join(", ")}</span></div>
        <p class="remark lines" role="status">${problems.join("\n")}</p>
        ${names.length === 0 || busy !== "" ? nothing : timeline()}`,
      panel,
    );
  };
  return {
    panel,
    open,
    /** Shows the timeline; `renew`: with a changed definition file. A slow one waits for a button. */
    show(renew: boolean) {
      isStale ||= renew && names.length > 0;
      if (!panel.checkVisibility()) return;
      if (isStale && took < 200) isRead = isStale = false;
      show();
    },
  };
}
