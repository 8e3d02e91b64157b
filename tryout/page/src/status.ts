import type { Core } from "./core";
import { button, element } from "./dom";

export interface StatusValues {
  lines: string; // name=value
  complete: boolean;
}

/** Creates the tab with the values of placeholders. */
export function statusPanel(core: Core, changed: (values: StatusValues) => void) {
  const rows = element("tbody");
  const complete = element("input", { type: "checkbox" });

  const values = (): StatusValues => {
    const lines: string[] = [];
    for (const row of rows.rows) {
      const [name, value] = Array.from(row.querySelectorAll("input"), (input) => input.value);
      if (name !== undefined && name !== "") lines.push(`${name}=${value ?? ""}`);
    }
    return { lines: lines.join("\n"), complete: complete.checked };
  };
  const report = () => changed(values());
  complete.addEventListener("change", report);

  const cell = (label: string, value: string) =>
    element("td", {}, element("input", { value, "aria-label": label, oninput: report, spellcheck: false, autocomplete: "off" }));
  const addRow = (name: string, value: string) => {
    const remove = button("×", () => {
      const next = row.nextElementSibling ?? row.previousElementSibling;
      row.remove();
      (next?.querySelector("button") ?? add).focus();
      report();
    }, { "aria-label": `Remove ${name || "this row"}` });
    const row = element("tr", {}, cell("Name", name), cell(`Value of ${name || "this row"}`, value), element("td", {}, remove));
    rows.append(row);
    return row;
  };
  const add = button("Add a value", () => addRow("", "").querySelector("input")?.focus());

  const show = ({ lines, complete: all }: StatusValues) => {
    rows.replaceChildren();
    complete.checked = all;
    for (const line of lines.split("\n")) {
      const at = line.indexOf("=");
      if (at > 0) addRow(line.slice(0, at), line.slice(at + 1));
    }
  };

  const pasted = element("textarea", { id: "pasted", rows: 4, spellcheck: false });
  const problem = element("p", { className: "remark", role: "status" });
  const use = button("Use these values", () => {
    const { lines, error } = core.readStatus(pasted.value);
    problem.textContent = error;
    if (error !== "") return;
    show({ lines, complete: true });
    pasted.value = "";
    report();
  });

  const panel = element(
    "div",
    {},
    element("p", { className: "quiet" }, "The device’s status: the values of placeholders such as {{name}}."),
    element(
      "table",
      { className: "inputs" },
      element("thead", {}, element("tr", {}, element("th", { scope: "col" }, "Name"), element("th", { scope: "col" }, "Value"), element("td"))),
      rows,
    ),
    element("div", { className: "row" }, add),
    element("label", { className: "check" }, complete, " This list is complete: report other placeholders"),
    element(
      "details",
      {},
      element("summary", {}, "Paste /tmp/kovo_var.txt of your device or an answer of its status service"),
      element("label", { htmlFor: "pasted" }, "Lines name=value or name:value"),
      pasted,
      element("div", { className: "row" }, use),
      problem,
    ),
  );
  return { panel, show, values };
}
