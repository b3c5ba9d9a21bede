// The single numbers of a result with their units, and the blocks of its task, whichever there are.
import { h, number, say } from "./dom.js";
import { page } from "./main.js";

const OPEN = new Set(["scan", "compare"]); // what their runs are made for
const LEFT_OUT = new Set(["schema", "version", "log", "status"]);

export function summaryTab(run) {
  const rows = page.about.rows.filter((one) => !one.array && !LEFT_OUT.has(one.key) &&
    run.document[one.key] !== null && run.document[one.key] !== undefined);
  const known = new Set(page.about.rows.map((one) => one.key));
  const blocks = Object.entries(run.document).filter(([key, value]) => !known.has(key) && value);
  const details = ([key, value]) => h("details", { open: OPEN.has(key) },
    h("summary", {}, `Details: ${key.replaceAll("_", " ")}`), tree(value));
  return [
    blocks.filter(([key]) => OPEN.has(key)).map(details),
    h("table", { class: "summary" }, h("caption", { class: "sr" }, "Summary"), h("tbody", {}, rows.map((one) =>
      rowOf(one.key, run.document[one.key], one.unit, one.meaning)))),
    run.summary.length > 0 && h("details", {}, h("summary", {}, "As the command line prints it"),
      h("pre", { tabindex: "0" }, run.summary.join("\n"))),
    blocks.filter(([key]) => !OPEN.has(key)).map(details),
  ];
}

function rowOf(key, value, unit, meaning) {
  const name = key.replaceAll("_", " "), text = typeof value === "number" ? number(value, 6) : String(value);
  return h("tr", {}, h("th", { scope: "row", title: meaning }, name),
    h("td", { class: text.length < 20 ? "num" : "" }, text), h("td", { class: "unit" }, unit),
    h("td", {}, h("button", { type: "button", class: "small", "aria-label": `Copy ${name}`, onclick: async () => {
      await navigator.clipboard.writeText(String(value));
      say(`${name} is copied`);
    } }, "Copy")));
}

// Any value of a document: numbers and texts as they are, lists short, what is nested below each other.
export function tree(value) {
  if (value === null || value === undefined) return "\u2013";
  if (typeof value === "number") return number(value, 6);
  if (typeof value !== "object") return String(value);
  if (Array.isArray(value)) {
    if (!value.length) return "none";
    if (value.every((one) => typeof one === "object" && one && !Array.isArray(one))) return tableOf(value);
    const shown = value.slice(0, 12).map((one) => (typeof one === "number" ? number(one) : JSON.stringify(one)));
    return shown.join(", ") + (value.length > 12 ? `, \u2026 (${value.length})` : "");
  }
  return h("table", { class: "tree" }, h("tbody", {}, Object.entries(value).map(([key, one]) =>
    h("tr", {}, h("th", { scope: "row" }, key.replaceAll("_", " ")), h("td", {}, tree(one))))));
}

function tableOf(rows) {
  const few = (value) => typeof value !== "object" || value === null || (value.length < 4 && typeof value[0] !== "object");
  const names = Object.keys(rows[0]).filter((key) => few(rows[0][key]));
  return h("div", { class: "scroll", tabindex: "0", role: "region", "aria-label": "Table" },
    h("table", {}, h("thead", {}, h("tr", {}, names.map((name) => h("th", { scope: "col" }, name.replaceAll("_", " "))))),
      h("tbody", {}, rows.slice(0, 200).map((row) => h("tr", {}, names.map((name) => h("td", { class: "num" }, tree(row[name]))))))));
}
