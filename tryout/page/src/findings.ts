import type { Finding, Report, Severity } from "./core";
import { button, byId, counted, element, svg } from "./dom";
import type { Editor } from "./editor";
import { editsOf } from "./mends";

const mostShown = 200;

// Told apart by shape as well as by colour.
const shapes: Record<Severity, string> = {
  error: "M4 1h8l3 3v8l-3 3H4l-3-3V4z",
  warning: "M8 1l7 14H1z",
  note: "M8 1a7 7 0 1 0 .01 0z",
};

function icon(severity: Severity): SVGElement {
  const made = svg("svg", { viewBox: "0 0 16 16", width: 14, height: 14, class: severity, "aria-hidden": "true" });
  made.append(svg("path", { d: shapes[severity] }));
  return made;
}

function item(finding: Finding, editor: Editor): HTMLLIElement {
  const { line, column, severity, rule, text, hint } = finding;
  const mend = editsOf(finding, editor.text);
  return element(
    "li",
    {},
    element(
      "button",
      { type: "button", className: "finding", onclick: () => editor.goTo(line, column) },
      icon(severity),
      element("span", { className: "place" }, `Line ${line}`),
      element("span", { className: "severity" }, severity),
      element("span", { className: "text" }, text, " ", element("code", {}, rule)),
    ),
    element(
      "div",
      { className: "hint" },
      element("span", {}, hint),
      mend && button(mend.label, () => editor.apply(mend.edits()), { className: "mend" }),
    ),
  );
}

function summary(report: Report): string {
  const { errors, warnings, notes } = report;
  if (errors + warnings + notes === 0) return "none";
  return [counted(errors, "error"), counted(warnings, "warning"), counted(notes, "note")].join(", ");
}

export function showFindings(report: Report, editor: Editor): void {
  const items = report.findings.slice(0, mostShown).map((finding) => item(finding, editor));
  const more = report.findings.length - items.length;
  if (more > 0) items.push(element("li", { className: "hint" }, `and ${more} more`));
  byId("findings").replaceChildren(...items);
  const count = byId("findings-count");
  if (count.textContent !== summary(report)) count.textContent = summary(report);
}
