import type { Finding, Findings, Severity } from "./core";
import { button, byId, counted, element, svg } from "./dom";
import type { Editor } from "./editor";
import { fixOf } from "./fixes";

const maxShown = 200;

// The shapes differ, not only the colours, for users who cannot distinguish those.
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

interface Item {
  finding: Finding;
  place: HTMLElement;
  shown: HTMLLIElement;
}

function makeItem(finding: Finding, editor: Editor): Item {
  const place = element("span", { className: "place" });
  const fix = fixOf(finding);
  const item: Item = { finding, place, shown: element("li") };
  item.shown.append(
    element(
      "button",
      { type: "button", className: "finding", onclick: () => editor.goTo(item.finding.line, item.finding.column) },
      icon(finding.severity),
      place,
      element("span", { className: "severity" }, finding.severity),
      element("span", { className: "text" }, finding.text, " ", element("code", {}, finding.rule)),
    ),
    element(
      "div",
      { className: "hint" },
      element("span", {}, finding.hint),
      fix && button(fix.label, () => editor.apply(fixOf(item.finding)?.edits ?? []), { className: "fix" }),
    ),
  );
  return item;
}

function summary({ errors, warnings, notes }: Findings): string {
  if (errors + warnings + notes === 0) return "none";
  return [counted(errors, "error"), counted(warnings, "warning"), counted(notes, "note")].join(", ");
}

const keyOf = ({ rule, text, hint, fix }: Finding) => JSON.stringify([rule, text, hint, fix]);

/** Creates the list of findings. An item that is still up to date stays, with its new line number. */
export function findingsList(editor: Editor) {
  let items = new Map<string, Item[]>();
  const more = element("li", { className: "hint" });
  return (report: Findings) => {
    const old = items;
    items = new Map();
    const shown = report.findings.slice(0, maxShown).map((finding) => {
      const key = keyOf(finding);
      const item = old.get(key)?.shift() ?? makeItem(finding, editor);
      items.set(key, [...(items.get(key) ?? []), item]);
      if (item.place.textContent !== `Line ${finding.line}`) item.place.textContent = `Line ${finding.line}`;
      item.finding = finding;
      return item.shown;
    });
    for (const left of [...old.values()].flat()) left.shown.remove();
    const list = byId("findings");
    shown.forEach((item, at) => {
      if (list.children[at] !== item) list.insertBefore(item, list.children[at] ?? null);
    });
    const hidden = report.findings.length - maxShown;
    more.textContent = `and ${hidden} more`;
    if (hidden > 0) list.append(more);
    else more.remove();
    const count = byId("findings-count");
    if (count.textContent !== summary(report)) count.textContent = summary(report);
  };
}
