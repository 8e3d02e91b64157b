import { html, nothing, render, svg } from "lit-html";
import { repeat } from "lit-html/directives/repeat.js";
import type { Finding, Findings, Severity } from "./core";
import { byId, counted } from "./dom";
import type { Editor } from "./editor";
import { fixOf } from "./fixes";

const maxShown = 200;
const order: Severity[] = ["error", "warning", "note"];

// The shapes differ, not only the colours, for users who cannot distinguish those.
const shapes: Record<Severity, string> = {
  error: "M4 1h8l3 3v8l-3 3H4l-3-3V4z",
  warning: "M8 1l7 14H1z",
  note: "M8 1a7 7 0 1 0 .01 0z",
};

const icon = (severity: Severity) =>
  html`<svg viewBox="0 0 16 16" width="14" height="14" class=${severity} aria-hidden="true">
    ${svg`<path d=${shapes[severity]} />`}</svg>`;

function summary({ errors, warnings, notes }: Findings): string {
  if (errors + warnings + notes === 0) return "none";
  return [counted(errors, "error"), counted(warnings, "warning"), counted(notes, "note")].join(", ");
}

/** Creates the list of findings: errors first, each severity in the order of lines. */
export function findingsList(editor: Editor) {
  const item = (finding: Finding) => {
    const fix = fixOf(finding);
    return html`<li>
      <button type="button" class="finding" @click=${() => editor.goTo(finding.line, finding.column)}>
        ${icon(finding.severity)}<span class="place">Line ${finding.line}</span>
        <span class="severity">${finding.severity}</span>
        <span class="text">${finding.text} <code>${finding.rule}</code></span>
      </button>
      <div class="hint"><span>${finding.hint}</span>
        ${fix === null ? nothing
          : html`<button type="button" class="fix" @click=${() => editor.apply(fix.edits)}>${fix.label}</button>`}
      </div>
    </li>`;
  };
  return (report: Findings) => {
    const sorted = order.flatMap((severity) => report.findings.filter((each) => each.severity === severity));
    const seen = new Map<string, number>();
    /** Equal for the same finding in another line, so that its button keeps the focus. */
    const keyOf = ({ rule, text, hint, fix }: Finding) => {
      const key = JSON.stringify([rule, text, hint, fix]);
      seen.set(key, (seen.get(key) ?? 0) + 1);
      return `${key}${seen.get(key)}`;
    };
    const hidden = sorted.length - maxShown;
    render(
      html`${repeat(sorted.slice(0, maxShown), keyOf, item)}
        ${hidden > 0 ? html`<li class="hint">and ${hidden} more</li>` : nothing}`,
      byId("findings"),
    );
    const count = byId("findings-count");
    if (count.textContent !== summary(report)) count.textContent = summary(report);
  };
}
