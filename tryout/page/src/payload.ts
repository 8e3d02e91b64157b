import { html, nothing, render } from "lit-html";
import { live } from "lit-html/directives/live.js";
import type { Core, StepForm } from "./core";

export const payloadHint =
  "\\r \\n \\t, \\x1B, <CR> <STX> <ESC> and the other names of control characters, $0D $0A %0D %0A are " +
  "one byte each, and \\\\ is a backslash; before n, r and t the daemon makes a newline, a carriage " +
  "return and a tab of it. {{name}} is replaced by a status value.";
const hexHint =
  "Two digits for each byte. 0x, \\x, $ and % before them are ignored, and so are blanks, quotes " +
  "and the characters , : ; -";

/**
 * The field of a payload, with its format and its bytes. `payload` is shown, `typed` is what the
 * field contains; fires "change" when it was edited and is left, and on Enter.
 */
export class PayloadField extends HTMLElement {
  core!: Core;
  #of = "";
  #typed: StepForm = { payload: "", form: "text" };

  /** Which step it is, in the labels. */
  set of(of: string) {
    this.#of = of;
    this.#render();
  }
  set payload(payload: string) {
    this.#typed = { payload, form: "text" };
    this.#render();
  }
  get typed(): StepForm {
    return this.#typed;
  }
  connectedCallback() {
    this.#render();
  }

  #type(part: StepForm) {
    this.#typed = { ...this.#typed, ...part };
    this.#render();
  }

  #render() {
    if (this.core === undefined) return;
    const { payload = "", form = "text" } = this.#typed;
    const { bytes, hex, text, error, code } = this.core.typed(this.#typed);
    const input = ({ target }: Event) => this.#type({ payload: (target as HTMLInputElement).value });
    const choose = (event: Event) => {
      const wanted = (event.target as HTMLSelectElement).value;
      this.#type({ form: wanted, payload: error === "" ? (wanted === "hex" ? hex : text) : payload });
    };
    const what = form === "hex" ? error : code && `“${code}” is sent as these characters`;
    const options = [["text", "Text"], ["hex", "Hexadecimal"]];
    render(
      html`<label class="field wide">Payload
          <input .value=${live(payload)} @input=${input} aria-label=${`Payload${this.#of}`}
            spellcheck="false" autocomplete="off" /></label>
        <label class="field narrow">Payload format
          <select @change=${choose} aria-label=${`Payload format${this.#of}`}>
            ${options.map(([value, label]) =>
              html`<option value=${value ?? ""} ?selected=${value === form}>${label}</option>`)}
          </select></label>
        <p class="bytes">${bytes === "" ? nothing : html`Sent: <code>${bytes}</code>`}
          ${payload !== "" && what !== "" ? html`<span class="note">${what}</span>` : nothing}</p>
        ${this.#of === "" ? html`<p class="quiet">${form === "hex" ? hexHint : payloadHint}</p>` : nothing}`,
      this,
    );
  }
}
customElements.define("payload-field", PayloadField);
