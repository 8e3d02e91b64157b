import { byId, element } from "./dom";

/** Tabs as screen readers and keyboards know them: the arrow keys go from one to the next. */
export function showTabs(tabs: [label: string, content: HTMLElement, onChosen?: () => void][]): void {
  const buttons: HTMLButtonElement[] = [];
  const panels: HTMLElement[] = [];
  const choose = (at: number) => {
    buttons.forEach((button, each) => {
      button.setAttribute("aria-selected", String(each === at));
      button.tabIndex = each === at ? 0 : -1;
    });
    panels.forEach((panel, each) => {
      panel.hidden = each !== at;
    });
    tabs[at]?.[2]?.();
  };
  tabs.forEach(([label, content], at) => {
    const id = `tab-${at}`;
    buttons.push(
      element("button", { type: "button", role: "tab", id, "aria-controls": `panel-${at}`, onclick: () => choose(at) }, label),
    );
    const properties = { role: "tabpanel", id: `panel-${at}`, "aria-labelledby": id, tabIndex: 0, className: "scroll" };
    panels.push(element("div", properties, content));
  });
  const list = byId("tabs");
  list.append(...buttons);
  list.addEventListener("keydown", ({ key }) => {
    const at = buttons.indexOf(document.activeElement as HTMLButtonElement);
    const to = { ArrowRight: at + 1, ArrowLeft: at - 1, Home: 0, End: buttons.length - 1 }[key];
    if (at < 0 || to === undefined) return;
    const next = (to + buttons.length) % buttons.length;
    choose(next);
    buttons[next]?.focus();
  });
  byId("panels").append(...panels);
  choose(0);
}
