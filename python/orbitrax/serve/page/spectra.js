// Infrared and electronic spectra, linked both ways with modes and orbitals.
import { h, number, save } from "./dom.js";
import { chart } from "./chart.js";
import { showPair, showSurface } from "./orbitals.js";
import { placesOf, symbolsOf } from "./results.js";
import { swing } from "./viewer.js";

const POINTS = 900;
const range = (low, high) => Array.from({ length: POINTS }, (_, i) => low + (high - low) * i / (POINTS - 1));

function linked(about, rows, heads, pick, name) {
  const curve = chart({ ...about, onpick: (x) => choose(nearest(x)) });
  const buttons = rows.map((row, i) => h("button", { type: "button", class: "link", onclick: () => choose(i) }, row.cells[0]));
  const lines = rows.map((row, i) => h("tr", { "data-row": i }, h("td", { class: "num" }, buttons[i]),
    row.cells.slice(1).map((text) => h("td", { class: "num" }, text))));

  const nearest = (x) => rows.reduce((best, row, i) => (Math.abs(row.x - x) < Math.abs(rows[best].x - x) ? i : best), 0);

  function choose(i) {
    lines.forEach((line, k) => line.classList.toggle("chosen", k === i));
    buttons.forEach((one, k) => one.setAttribute("aria-pressed", String(k === i)));
    lines[i].scrollIntoView({ block: "nearest" });
    curve.mark(rows[i].x);
    pick(rows[i], i);
  }

  const csv = () => save(`${name}.csv`, [heads.join(","), ...rows.map((row) => row.cells.map((one) => `"${one}"`).join(","))].join("\n") + "\n", "text/csv");
  return [curve.box, h("div", { class: "row", role: "group", "aria-label": "Downloads of the spectrum" },
    h("button", { type: "button", class: "small", onclick: () => curve.png(`${name}.png`) }, "png"),
    h("button", { type: "button", class: "small", onclick: () => curve.svg(`${name}.svg`) }, "svg"),
    h("button", { type: "button", class: "small", onclick: csv }, "csv")),
  h("div", { class: "scroll", tabindex: "0", role: "region", "aria-label": about.label }, h("table", { class: "bands" },
    h("thead", {}, h("tr", {}, heads.map((text) => h("th", { scope: "col" }, text)))), h("tbody", {}, lines)))];
}

export function infraredTab(run) {
  const modes = run.document.vibrations.modes, half = (run.request.settings.band_width || 12) / 2;
  const x = range(0, Math.max(500, ...modes.map((one) => one.frequency_cm1)) * 1.08);
  const y = x.map((at) => modes.reduce((sum, one) => sum + one.intensity_km_mol * half / Math.PI /
    ((at - one.frequency_cm1) ** 2 + half ** 2), 0));
  const rows = modes.map((one) => ({ x: one.frequency_cm1, moves: one.displacements, cells: [number(one.frequency_cm1, 1),
    number(one.intensity_km_mol, 2), one.symmetry || "\u2013", one.atoms.slice(0, 4).join(", ")] }));
  return [h("p", { class: "note" }, "Choose a band or a line of the table to see the atoms move."),
    linked({ label: "Infrared spectrum", x: "1/cm", y: "km/mol per 1/cm", falling: true, data: [x, y],
      sticks: modes.map((one) => [one.frequency_cm1, one.intensity_km_mol]) }, rows,
    ["1/cm", "km/mol", "species", "atoms that move"],
    (row) => swing(symbolsOf(run), placesOf(run), row.moves), "infrared")];
}

export function statesTab(run) {
  const d = run.document, states = (d.uv?.states || d.ci.states).filter((one) => one.wavelength_nm);
  if (!states.length) return h("p", {}, "No state lies above the ground state.");
  const width = d.uv?.width_ev || 0.4, lines = states.map((one) => [one.energy_ev, one.oscillator_strength]);
  const low = Math.min(...states.map((one) => one.wavelength_nm)), high = Math.max(...states.map((one) => one.wavelength_nm));
  const x = range(Math.max(50, low * 0.8), high * 1.2);
  const y = x.map((nm) => lines.reduce((sum, [energy, strength]) => sum + strength *
    Math.exp(-(((1239.841984 / nm - energy) / width) ** 2)), 0));
  const place = h("div", { id: "pairs" });
  const rows = states.map((one) => ({ x: one.wavelength_nm, state: one, cells: [number(one.wavelength_nm, 1),
    number(one.energy_ev, 3), one.oscillator_strength.toFixed(4), String(one.multiplicity ?? "\u2013"), one.main || ""] }));
  return [h("p", { class: "note" }, "Choose a band or a line of the table to see its electron go from one orbital to the other. " +
    "Heights are oscillator strengths."),
  linked({ label: "Electronic spectrum", x: "nm", y: "strength", data: [x, y],
    sticks: states.map((one) => [one.wavelength_nm, one.oscillator_strength]) }, rows,
  ["nm", "eV", "strength", "2S+1", "main excitation"], (row) => place.replaceChildren(...pairs(run, row.state)), "spectrum"), place];
}

// The excitations that make a state, each with its two orbitals; equal ones of both spins are one.
function pairs(run, state) {
  const found = new Map();
  for (const one of state.contributions) {
    if (!one.to) continue;
    const key = `${one.from} ${one.to}`;
    found.set(key, (found.get(key) || 0) + one.coefficient ** 2);
  }
  const strongest = [...found].sort((a, b) => b[1] - a[1]).slice(0, 4);
  if (strongest.length) showPair(run, ...strongest[0][0].split(" "));
  return [h("h3", {}, `State ${state.state}: ${number(state.energy_ev, 3)} eV`), ...strongest.map(([key, weight]) => {
    const [from, to] = key.split(" ");
    const button = (text, about, act) => h("button", { type: "button", class: "small", ...about, onclick: act }, text);
    const one = (text, what) => button(text, { "data-orbital": what }, () => showSurface(run, what));
    return h("div", { class: "row" }, h("span", {}, `${(100 * weight).toFixed(0)} %`), one(`from orbital ${from}`, from),
      one(`to orbital ${to}`, to), button("both", { "data-pair": key }, () => showPair(run, from, to)));
  })];
}
