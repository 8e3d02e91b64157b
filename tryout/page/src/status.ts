import { html, render } from "lit-html";
import { live } from "lit-html/directives/live.js";
import type { Core, StatusValues } from "./core";
import { element } from "./dom";

/** Creates the tab with the values of placeholders. Each change takes effect on Enter and on leaving. */
export function statusPanel(core: Core, changed: (status: StatusValues) => void) {
  const panel = element("div");
  let status: StatusValues = { values: [], complete: false };
  let problem = "";

  const setValue = (at: number, column: 0 | 1) => ({ target }: Event) => {
    const values = status.values.map(([...pair]) => pair);
    const pair = values[at];
    if (pair === undefined) return;
    pair[column] = (target as HTMLInputElement).value;
    changed({ ...status, values });
  };
  const add = async () => {
    changed({ ...status, values: [...status.values, ["", ""]] });
    await Promise.resolve(); // until it is shown
    panel.querySelector<HTMLElement>("tbody tr:last-child input")?.focus();
  };
  const remove = async (at: number) => {
    changed({ ...status, values: status.values.filter((_, each) => each !== at) });
    await Promise.resolve();
    const buttons = panel.querySelectorAll<HTMLElement>("table button");
    (buttons[Math.min(at, buttons.length - 1)] ?? panel.querySelector<HTMLElement>("button"))?.focus();
  };
  const use = () => {
    const pasted = panel.querySelector("textarea") as HTMLTextAreaElement;
    const { values, error } = core.readStatus(pasted.value);
    problem = error;
    if (error !== "") return show(status);
    pasted.value = "";
    changed({ values, complete: true });
  };

  const cell = (label: string, value: string, set: (event: Event) => void) =>
    html`<td><input .value=${live(value)} aria-label=${label} @change=${set}
      spellcheck="false" autocomplete="off" /></td>`;
  const row = ([name, value]: [string, string], at: number) =>
    html`<tr>
      ${cell("Name", name, setValue(at, 0))} ${cell(`Value of ${name || "this row"}`, value, setValue(at, 1))}
      <td><button type="button" aria-label=${`Remove ${name || "this row"}`} @click=${() => void remove(at)}>×</button></td>
    </tr>`;

  const show = (newStatus: StatusValues) => {
    status = newStatus;
    render(
      html`<p class="quiet">The device’s status: the values of placeholders such as {{name}}.</p>
        <table class="inputs">
          <thead><tr><th scope="col">Name</th><th scope="col">Value</th><td></td></tr></thead>
          <tbody>${status.values.map(row)}</tbody>
        </table>
        <div class="row"><button type="button" @click=${add}>Add a value</button></div>
        <label class="check"><input type="checkbox" .checked=${live(status.complete)}
          @change=${({ target }: Event) => changed({ ...status, complete: (target as HTMLInputElement).checked })} />
          This list is complete: report other placeholders</label>
        <details>
          <summary>Paste /tmp/kovo_var.txt of your device or an answer of its status service</summary>
          <label for="pasted">Lines name=value or name:value</label>
          <textarea id="pasted" rows="4" spellcheck="false"></textarea>
          <div class="row"><button type="button" @click=${use}>Use these values</button></div>
          <p class="remark" role="status">${problem}</p>
        </details>`,
      panel,
    );
  };
  return { panel, show };
}
