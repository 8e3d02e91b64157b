import { button, element } from "./dom";

export interface StatusValues {
  lines: string; // name=value
  complete: boolean;
}

/** The values of placeholders, as a table. */
export function statusPanel(changed: (values: StatusValues) => void) {
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
  const tell = () => changed(values());
  complete.addEventListener("change", tell);

  const cell = (label: string, value: string) =>
    element("td", {}, element("input", { value, "aria-label": label, oninput: tell, spellcheck: false, autocomplete: "off" }));
  const addRow = (name: string, value: string) => {
    const remove = button("×", () => {
      const next = row.nextElementSibling ?? row.previousElementSibling;
      row.remove();
      (next?.querySelector("button") ?? add).focus();
      tell();
    }, { "aria-label": `Remove ${name || "this row"}`, className: "remove" });
    const row = element("tr", {}, cell("Name", name), cell(`Value of ${name || "it"}`, value), element("td", {}, remove));
    rows.append(row);
    return row;
  };
  const add = button("Add a value", () => addRow("", "").querySelector("input")?.focus());

  const show = ({ lines, complete: all }: StatusValues) => {
    rows.replaceChildren();
    complete.checked = all;
    for (const line of lines.split(/\r?\n/)) {
      const at = line.indexOf("=");
      if (at > 0) addRow(line.slice(0, at), line.slice(at + 1));
    }
  };

  const pasted = element("textarea", { id: "pasted", rows: 4, spellcheck: false });
  const use = button("Use these values", () => {
    show({ lines: pasted.value, complete: true });
    pasted.value = "";
    tell();
  });

  const panel = element(
    "div",
    {},
    element("p", { className: "quiet" }, "What placeholders such as {{name}} stand for: the status of your device."),
    element(
      "table",
      { className: "inputs" },
      element("thead", {}, element("tr", {}, element("th", { scope: "col" }, "Name"), element("th", { scope: "col" }, "Value"), element("td"))),
      rows,
    ),
    element("div", { className: "row" }, add),
    element("label", { className: "check" }, complete, " This is all of it: a placeholder with another name is a mistake"),
    element(
      "details",
      {},
      element("summary", {}, "Paste /tmp/kovo_var.txt of your device"),
      element("label", { htmlFor: "pasted" }, "Lines name=value"),
      pasted,
      element("div", { className: "row" }, use),
    ),
  );
  return { panel, show, values };
}
