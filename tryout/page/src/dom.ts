type Child = Node | string | null;

/** Creates an element. Properties named on… are listeners, those with a dash are attributes. */
export function element<K extends keyof HTMLElementTagNameMap>(
  tag: K,
  properties: Record<string, unknown> = {},
  ...children: Child[]
): HTMLElementTagNameMap[K] {
  const created = document.createElement(tag);
  for (const [name, value] of Object.entries(properties)) {
    if (name.startsWith("on")) created.addEventListener(name.slice(2), value as EventListener);
    else if (name.includes("-") || name === "role") created.setAttribute(name, String(value));
    else Object.assign(created, { [name]: value });
  }
  created.append(...children.filter((child) => child !== null));
  return created;
}

/** Returns the element with this id; throws if there is none. */
export function byId<T extends HTMLElement = HTMLElement>(id: string): T {
  const found = document.getElementById(id);
  if (found === null) throw new Error(`no element ${id}`);
  return found as T;
}

export function button(label: string, onclick: () => void, properties: Record<string, unknown> = {}) {
  return element("button", { type: "button", onclick, ...properties }, label);
}

/** Asks in a dialog. Returns the label of the chosen button, "" for Cancel and Escape. */
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

/** Gives screen readers a text to read out. */
export function announce(text: string): void {
  byId("announcer").textContent = text;
}

/** Returns "1 step", "2 steps" and so on. */
export function counted(count: number, noun: string): string {
  return `${count} ${noun}${count === 1 ? "" : "s"}`;
}
