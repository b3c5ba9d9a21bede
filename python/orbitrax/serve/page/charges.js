// Charges on the atoms: a table, and a colouring of the structure.
import { h, number, save, say } from "./dom.js";
import { ask } from "./api.js";
import { colourBy } from "./viewer.js";

// What is left of rounding is no charge.
const sumOf = (values) => number(Number(values.reduce((a, b) => a + b, 0).toFixed(4)) + 0, 4);

export function chargesTab(run) {
  const d = run.document;
  const models = [["net charges", d.charges], ["unpaired electrons", d.spin_populations], ["valences", d.valences]]
    .filter(([, values]) => values);
  const place = h("div", {});
  const choice = h("select", { id: "charge-model", onchange: () => choose(choice.value) },
    models.map(([title], i) => h("option", { value: i }, title)),
    h("option", { value: "am1bcc" }, "AM1-BCC, for force fields"),
    h("option", { value: "am1-mulliken" }, "AM1 at its own minimum, for force fields"));

  async function choose(which) {
    if (models[which]) {
      table(models[which][0], models[which][1]);
      return;
    }
    place.replaceChildren(h("p", { class: "busy" }, "Computing\u2026"));
    try {
      const found = await ask("GET", `/api/runs/${run.id}/charges?model=${which}`);
      table(found.title, found.charges, found.remarks);
    } catch (error) {
      place.replaceChildren(h("p", { class: "error", role: "alert" }, error.message));
    }
  }

  function table(title, values, remarks = []) {
    colourBy(values);
    const rows = values.map((one, i) => [i + 1, d.symbols[i], number(one, 4)]);
    const csv = () => save("charges.csv", ["atom,element,value", ...rows.map((row) => row.join(","))].join("\n") + "\n", "text/csv");
    place.replaceChildren(...remarks.map((text) => h("p", { class: "note" }, text)),
      h("p", { class: "note" }, `Sum ${sumOf(values)}. Blue is positive, orange negative.`),
      h("button", { type: "button", class: "small", onclick: csv }, "csv"),
      h("div", { class: "scroll", tabindex: "0", role: "region", "aria-label": title }, h("table", {},
        h("thead", {}, h("tr", {}, ["Atom", "Element", title].map((text) => h("th", { scope: "col" }, text)))),
        h("tbody", {}, rows.map((row) => h("tr", {}, row.map((text, i) => h("td", { class: i === 1 ? "" : "num" }, text))))))));
    say(`The atoms are coloured by ${title}`);
  }

  choose(0);
  return [h("div", { class: "row" }, h("label", { for: "charge-model" }, "Show"), choice), place];
}
