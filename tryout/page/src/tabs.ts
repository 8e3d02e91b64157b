import { byId, element } from "./dom";

/** Creates the tabs. The arrow keys, Home and End switch between them. */
export function showTabs(tabs: [label: string, content: HTMLElement, onSelect?: () => void][]): void {
  const buttons: HTMLButtonElement[] = [];
  const panels: HTMLElement[] = [];
  const select = (at: number) => {
    buttons.forEach((button, each) => {
      button.setAttribute("aria-selected", String(each === at));
      button.tabIndex = each === at ? 0 : -1;
    });
    panels.forEach((panel, each) => {
      panel.hidden = each !== at;
    });
    document.body.dataset.tab = tabs[at]?.[0] ?? "";
    tabs[at]?.[2]?.();
  };
  tabs.forEach(([label, content], at) => {
    const id = `tab-${at}`;
    buttons.push(
      element("button", { type: "button", role: "tab", id, "aria-controls": `panel-${at}`, onclick: () => select(at) }, label),
    );
    const properties = { role: "tabpanel", id: `panel-${at}`, "aria-labelledby": id, tabIndex: 0, className: "scroll" };
    panels.push(element("div", properties, content));
  });
  const list = byId("tabs");
  list.append(...buttons);
  list.addEventListener("keydown", ({ key }) => {
    const at = buttons.indexOf(document.activeElement as HTMLButtonElement);
    const next = { ArrowRight: at + 1, ArrowLeft: at - 1, Home: 0, End: buttons.length - 1 }[key];
    if (at < 0 || next === undefined) return;
    const wrapped = (next + buttons.length) % buttons.length;
    select(wrapped);
    buttons[wrapped]?.focus();
  });
  byId("panels").append(...panels);
  select(0);
}
