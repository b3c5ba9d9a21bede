// The runs that there were.
import { h, number } from "./dom.js";
import { ask } from "./api.js";
import { openDialog } from "./main.js";

export async function openHistory() {
  const runs = await ask("GET", "/api/runs");
  if (!runs.length) {
    openDialog("Runs", h("p", {}, "There are none yet."));
    return;
  }
  const dialog = openDialog("Runs", h("div", { class: "scroll", tabindex: "0", role: "region", "aria-label": "Runs" },
    h("table", { id: "history" },
      h("thead", {}, h("tr", {}, ["When", "Molecule", "Task", "Method", "Energy, kcal/mol", "How it ended", "Remove"].map(
        (text) => h("th", { scope: "col" }, text)))),
      h("tbody", {}, runs.map(rowOf)))));

  function rowOf(one) {
    const row = h("tr", {},
      h("td", {}, new Date(one.created * 1000).toLocaleString()),
      h("td", {}, h("a", { href: `#run=${one.id}`, onclick: () => dialog.close() }, one.formula || "molecule"), ` ${one.title}`),
      h("td", {}, one.task), h("td", {}, one.method),
      h("td", { class: "num" }, number(one.energy)),
      h("td", {}, one.status),
      h("td", {}, h("button", { type: "button", class: "small", "aria-label": `Remove ${one.formula} ${one.task}`,
        onclick: async () => { await ask("DELETE", `/api/runs/${one.id}`); row.remove(); } }, "Remove")));
    return row;
  }
}
