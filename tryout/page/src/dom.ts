type Child = Node | string | null;

/** Makes an element; properties named on… are listeners, those with a dash are attributes. */
export function element<K extends keyof HTMLElementTagNameMap>(
  tag: K,
  properties: Record<string, unknown> = {},
  ...children: Child[]
): HTMLElementTagNameMap[K] {
  const made = document.createElement(tag);
  for (const [name, value] of Object.entries(properties)) {
    if (name.startsWith("on")) made.addEventListener(name.slice(2), value as EventListener);
    else if (name.includes("-") || name === "role") made.setAttribute(name, String(value));
    else Object.assign(made, { [name]: value });
  }
  made.append(...children.filter((child) => child !== null));
  return made;
}

/** An SVG element with its attributes. */
export function svg(tag: string, attributes: Record<string, string | number>, text = ""): SVGElement {
  const made = document.createElementNS("http://www.w3.org/2000/svg", tag);
  for (const [name, value] of Object.entries(attributes)) made.setAttribute(name, String(value));
  if (text !== "") made.textContent = text;
  return made;
}

/** The element of the page with that id. */
export function byId<T extends HTMLElement = HTMLElement>(id: string): T {
  const found = document.getElementById(id);
  if (found === null) throw new Error(`no element ${id}`);
  return found as T;
}

export function button(label: string, onclick: () => void, properties: Record<string, unknown> = {}) {
  return element("button", { type: "button", onclick, ...properties }, label);
}

let fields = 0;

/** A control with its label above it. */
export function field(label: string, control: HTMLElement, className = ""): HTMLElement {
  control.id ||= `field-${++fields}`;
  const properties = { className: `field ${className}` };
  return element("div", properties, element("label", { htmlFor: control.id }, label), control);
}

/** Asks in a dialog; the label of the button that was chosen, "" for Cancel and Escape. */
export function ask(question: string, ...choices: string[]): Promise<string> {
  return new Promise((resolve) => {
    const dialog = element(
      "dialog",
      { "aria-label": question, onclose: () => (dialog.remove(), resolve(dialog.returnValue)) },
      element("p", {}, question),
      element(
        "div",
        { className: "row" },
        ...choices.map((choice) => button(choice, () => dialog.close(choice))),
        button("Cancel", () => dialog.close("")),
      ),
    );
    document.body.append(dialog);
    dialog.showModal();
  });
}

/** Tells screen readers what has happened. */
export function announce(text: string): void {
  byId("announcer").textContent = text;
}

/** "1 step", "2 steps". */
export function counted(count: number, noun: string): string {
  return `${count} ${noun}${count === 1 ? "" : "s"}`;
}
