// What came of a run, in tabs. Which tabs there are follows from what the document holds.
import { $, fill, h, save, say } from "./dom.js";
import { ask } from "./api.js";
import { takeStructure } from "./molecule.js";
import { show, colourBy, clearSurface, stop, xyzText } from "./viewer.js";
import { summaryTab } from "./summary.js";
import { chargesTab } from "./charges.js";
import { orbitalsTab, surfacesTab } from "./orbitals.js";
import { infraredTab, statesTab } from "./spectra.js";
import { motionTab } from "./motion.js";

// A tab: its title, whether a run has it, and what makes its content.
const TABS = [
  ["Summary", () => true, summaryTab],
  ["Charges", (run) => run.document.charges, chargesTab],
  ["Orbitals", (run) => run.document.orbital_energies_ev, orbitalsTab],
  ["Surfaces", (run) => run.document.orbital_energies_ev, surfacesTab],
  ["Infrared", (run) => run.document.vibrations?.modes, infraredTab],
  ["Spectrum", (run) => (run.document.uv?.states || run.document.ci?.states)?.length, statesTab],
  ["Motion", (run) => run.frames.length > 1, motionTab],
  ["Report", (run) => run.document.log, (run) => h("pre", { tabindex: "0", class: "log" }, run.document.log)],
];

export const symbolsOf = (run) => run.document.symbols || run.request.molecule.symbols;
export const placesOf = (run) => (run.document.coordinates_angstrom ?
  run.document.coordinates_angstrom.flat() : run.request.molecule.positions);

const FIRST = { plot: "Surfaces" }; // the tab that a task is asked for, where it is not the summary
const chosen = { run: null, tab: null }; // so that a run that is shown again has the same tab

export function showResults(run) {
  const tabs = TABS.filter(([, has]) => has(run));
  const panel = h("div", { role: "tabpanel", id: "panel", tabindex: "0" });
  const buttons = tabs.map(([title, , make], i) => h("button", { type: "button", role: "tab", id: `tab-${title}`,
    "aria-controls": "panel", "aria-selected": "false", tabindex: "-1", onclick: () => choose(i),
    onkeydown: (event) => step(event, i) }, title));

  function choose(i) {
    Object.assign(chosen, { run: run.id, tab: tabs[i][0] });
    buttons.forEach((one, k) => {
      one.setAttribute("aria-selected", String(k === i));
      one.tabIndex = k === i ? 0 : -1;
    });
    panel.setAttribute("aria-labelledby", buttons[i].id);
    stop();
    clearSurface();
    fill($("viewer-under"));
    colourBy(null);
    show(symbolsOf(run), placesOf(run));
    fill(panel, tabs[i][2](run));
  }

  function step(event, i) {
    const to = { ArrowRight: i + 1, ArrowLeft: i - 1, Home: 0, End: tabs.length - 1 }[event.key];
    if (to === undefined) return;
    event.preventDefault();
    const k = (to + tabs.length) % tabs.length;
    choose(k);
    buttons[k].focus();
  }

  fill($("tabs"), notices(run), downloads(run),
    h("div", { role: "tablist", "aria-label": "Results", class: "tabs" }, buttons), panel);
  const wanted = chosen.run === run.id ? chosen.tab : FIRST[run.task];
  choose(Math.max(0, tabs.findIndex(([title]) => title === wanted)));
}

function notices(run) {
  const { status, errors, warnings, remarks } = run.document;
  const all = [...errors.map((text) => ["error", text]), ...warnings.map((text) => ["warning", text]),
    ...remarks.map((text) => ["warning", text])];
  return h("div", { class: "notices" },
    status !== "done" && h("p", { class: "status-line" }, { unconverged: "Not converged: not to be believed",
      refused: "Refused", failed: "Failed", interrupted: "Interrupted; what there was is shown" }[status] || status),
    all.map(([kind, text]) => h("p", { class: kind }, text)));
}

function downloads(run) {
  const { document: d } = run, name = `${d.task || run.task}-${run.formula || "molecule"}`;
  const button = (text, act) => h("button", { type: "button", class: "small", onclick: act }, text);
  const xyz = () => save(`${name}.xyz`, xyzText(symbolsOf(run), placesOf(run), `${d.method} ${d.total_energy ?? ""} kcal/mol`));
  const path = () => save(`${name}-path.xyz`, run.frames.map((one) => xyzText(symbolsOf(run), one.xyz,
    `point ${one.n}, ${one.energy} kcal/mol`)).join(""));
  const molden = async (event) => {
    event.target.disabled = true;
    try {
      save(`${name}.molden`, (await ask("GET", `/api/runs/${run.id}/molden`)).text);
    } catch (error) { say(error.message); }
    event.target.disabled = false;
  };
  return h("div", { class: "row downloads", role: "group", "aria-label": "Downloads" },
    button("JSON", () => save(`${name}.json`, JSON.stringify(d), "application/json")),
    d.coordinates_angstrom && button("xyz", xyz),
    run.frames.length > 1 && button("path xyz", path),
    d.orbital_energies_ev && button("Molden", molden),
    d.coordinates_angstrom && button("Use this structure", () => takeStructure({
      ...run.request.molecule, positions: placesOf(run), charge: d.charge })));
}
