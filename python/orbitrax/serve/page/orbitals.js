// The ladder of orbitals, and surfaces of orbitals, densities and the potential.
import { $, fill, h, number, s, save, still } from "./dom.js";
import { ask } from "./api.js";
import { blend, move, stop, surface } from "./viewer.js";

const SAME = 0.02; // eV between levels that count as one
const AROUND = 9; // levels to either side of the gap
const HELD = 0.01; // electrons above which a level is occupied

let asked = 0; // how many surfaces were asked for: an answer that another question has overtaken is not shown

// Asks for surfaces, and hands them to show, which returns what stands under the structure then.
async function fetchSurfaces(run, whats, beta, show) {
  const under = $("viewer-under"), mine = asked += 1;
  fill(under, h("p", { class: "busy" }, whats.length > 1 ? "Computing two surfaces\u2026" : "Computing the surface\u2026"));
  delete under.dataset.surface;
  try {
    const found = await Promise.all(whats.map((what) => ask("GET",
      `/api/runs/${run.id}/surface?what=${encodeURIComponent(what)}&beta=${beta ? 1 : 0}`)));
    if (mine !== asked) return;
    fill(under, show(...found));
    under.dataset.surface = found.map((one) => one.title).join(", ");
  } catch (error) {
    if (mine === asked) fill(under, h("p", { class: "error", role: "alert" }, error.message));
  }
}

// Asks for a surface and shows it, with a slider for its value under the structure.
export function showSurface(run, what, beta = false) {
  return fetchSurfaces(run, [what], beta, (found) => {
    surface(found);
    return controls(found, what);
  });
}

// Shows the orbital that an electron leaves, and how it becomes the one that it enters.
export function showPair(run, from, to) {
  return fetchSurfaces(run, [from, to], false, (left, entered) => goOver(left, entered));
}

const ROUND = 3600; // ms: there and back
const RESTS = 1.6; // how much longer than it goes it stays at either end

function goOver(left, entered) {
  const set = blend(left, entered);
  const slider = h("input", { type: "range", id: "gone", min: "0", max: "1", step: "0.02", value: "0",
    "aria-label": `From ${left.title} to ${entered.title}`, oninput: () => { halt(); set(Number(slider.value)); } });
  const play = h("button", { type: "button", class: "small", id: "swap", onclick: () => (playing() ? halt() : run()) });
  const playing = () => play.textContent === "Pause";

  function run() {
    play.textContent = "Pause";
    const began = performance.now();
    move(() => {
      const turn = -RESTS * Math.cos(2 * Math.PI * (performance.now() - began) / ROUND);
      const part = (1 + Math.max(-1, Math.min(1, turn))) / 2;
      if (Number(slider.value) === part) return;
      slider.value = String(part);
      set(part);
    });
  }

  function halt() {
    stop();
    play.textContent = "Play";
  }

  set(0);
  if (still()) halt();
  else run();
  return h("div", { class: "row surface-controls" }, play, h("span", { class: "surface-title" }, left.title), slider,
    h("span", { class: "surface-title" }, entered.title));
}

function controls(found, what) {
  const shown = h("output", {}, number(found.isovalue));
  const slider = h("input", { type: "range", id: "isovalue", min: "-4", max: "-0.5", step: "0.05",
    value: String(Math.log10(found.isovalue)), oninput: () => { shown.value = number(10 ** slider.value); },
    onchange: () => surface(found, 10 ** slider.value) });
  return h("div", { class: "row surface-controls" },
    h("span", { class: "surface-title" }, found.title),
    found.signed && found.cubes.length === 1 && h("span", { class: "key" }, h("span", { class: "plus" }, "plus"), h("span", { class: "minus" }, "minus")),
    found.cubes.length > 1 && h("span", { class: "note" }, "red \u22120.06 to blue +0.06 hartree/e"),
    h("label", { for: "isovalue" }, "at"), slider, shown,
    h("button", { type: "button", class: "small", onclick: () => save(`${what}.cube`, found.cubes[0]) }, "cube"));
}

export function orbitalsTab(run) {
  const d = run.document, half = d.spin === "UHF" ? d.orbital_energies_ev.length / 2 : d.orbital_energies_ev.length;
  const spins = d.spin === "UHF" ? [["alpha", 0], ["beta", half]] : [["", 0]];
  const all = spins.map(([spin, first]) => levelsOf(d, spin, first, half));
  return [
    h("p", { class: "note" }, `${d.point_group ? `Point group ${d.point_group}. ` : ""}` +
      `${d.gap_ev !== null ? `Gap ${number(d.gap_ev, 3)} eV. ` : ""}Choose a level to see its orbital.`),
    h("button", { type: "button", class: "small", onclick: (event) => save("orbitals.svg",
      new XMLSerializer().serializeToString(event.target.parentNode.querySelector("svg.ladder")), "image/svg+xml") }, "svg"),
    h("button", { type: "button", class: "small", onclick: () => save("orbitals.csv", csvOf(all), "text/csv") }, "csv"),
    ladder(run, all),
  ];
}

const csvOf = (all) => ["spin,number,energy_ev,occupancy,symmetry", ...all.flat().map((one) =>
  [one.spin, one.number, one.energy, one.held, one.label].join(","))].join("\n") + "\n";

function levelsOf(d, spin, first, count) {
  return Array.from({ length: count }, (_, i) => ({ spin, number: i + 1, energy: d.orbital_energies_ev[first + i],
    held: d.occupancies?.[first + i] ?? 0, label: d.orbital_symmetries?.[first + i] || "" }));
}

function near(levels) {
  const top = levels.filter((one) => one.held > HELD).length;
  return levels.slice(Math.max(0, top - AROUND), top + AROUND).map((one) => ({ ...one,
    name: one.number === top ? "HOMO" : one.number === top + 1 ? "LUMO" : "" }));
}

function ladder(run, all) {
  const columns = all.map(near), flat = columns.flat();
  const low = Math.min(...flat.map((one) => one.energy)), high = Math.max(...flat.map((one) => one.energy));
  const wide = 460 / columns.length + 90, height = 560, top = 30;
  const y = (energy) => top + (height - 2 * top) * (high - energy) / (high - low || 1);
  const drawn = columns.map((levels, c) => {
    const groups = groupsOf(levels), places = spread(groups.map((group) => y(group.at(-1).energy)));
    return groups.map((group, i) => groupOf(run, group, c * wide + 60, wide - 70, y, places[i]));
  });
  const ticks = Array.from({ length: 6 }, (_, i) => low + (high - low) * i / 5);
  return h("div", { class: "ladder-box" }, s("svg", { class: "ladder", viewBox: `0 0 ${columns.length * wide + 60} ${height}`,
    role: "group", "aria-label": "Levels of the orbitals, eV" },
  ticks.map((one) => s("text", { x: 44, y: y(one) + 4, class: "tick", "text-anchor": "end" }, one.toFixed(1))),
  s("text", { x: 8, y: 16, class: "tick" }, "eV"),
  columns.map((levels, c) => levels[0].spin && s("text", { x: c * wide + 60, y: 16, class: "tick" }, levels[0].spin)),
  drawn));
}

// Levels that are the same stand side by side; names of levels that are too near to each other are moved apart.
function groupsOf(levels) {
  const groups = [];
  for (const one of levels) {
    const last = groups.at(-1);
    if (last && one.energy - last[0].energy < SAME) last.push(one);
    else groups.push([one]);
  }
  return groups;
}

// Places of names, from the bottom up, that keep a distance and stay near to where they belong.
function spread(wanted) {
  const found = [...wanted], least = 15;
  for (let round = 0; round < 60; round++) {
    for (let i = 1; i < found.length; i++) {
      const gap = found[i - 1] - found[i];
      if (gap < least) {
        found[i - 1] += (least - gap) / 2;
        found[i] -= (least - gap) / 2;
      }
    }
  }
  return found;
}

function groupOf(run, group, left, width, y, place) {
  const room = Math.min(150, width * 0.55) / group.length;
  return group.map((one, k) => {
    const x = left + k * room, at = y(one.energy), held = one.held > HELD;
    const text = `${one.number}${one.label ? ` ${one.label}` : ""} ${one.energy.toFixed(2)}${one.name ? ` ${one.name}` : ""}`;
    const last = k === group.length - 1, several = group.length > 1;
    const shown = several ? `${group[0].number}\u2013${one.number} ${one.label.replace(/^\d+/, "")} ${one.energy.toFixed(2)}` +
      group.map((g) => g.name).filter(Boolean).map((n) => ` ${n}`).join("") : text;
    const act = () => showSurface(run, String(one.number), one.spin === "beta");
    return s("g", { class: `level ${held ? "held" : "empty"}`, tabindex: "0", role: "button",
      "aria-label": `Orbital ${text} eV, ${one.held.toFixed(1)} electrons ${one.spin}${last && several ? `, one of ${shown}` : ""}`,
      "data-number": one.number,
      onclick: act, onkeydown: (event) => { if (event.key === "Enter" || event.key === " ") { event.preventDefault(); act(); } } },
    s("rect", { x, y: at - 9, width: room, height: 18, class: "hit" }),
    s("line", { x1: x + 2, x2: x + room - 2, y1: at, y2: at }),
    one.held > 1.5 ? [arrow(x + room / 2 - 5, at, -1), arrow(x + room / 2 + 5, at, 1)] :
      held ? arrow(x + room / 2, at, one.spin === "beta" ? 1 : -1) : null,
    last && s("path", { class: "leader", d: `M${x + room} ${at}L${x + room + 16} ${place}` }),
    last && s("text", { x: left + room * group.length + 19, y: place + 4 }, shown));
  });
}

const arrow = (x, y, way) => s("path", { d: `M${x} ${y - 7 * way}V${y + 7 * way}m-3 ${-4 * way}l3 ${4 * way}l3 ${-4 * way}`, class: "electron" });

export function surfacesTab(run) {
  const open = run.document.spin === "UHF";
  const kinds = [["density", "Density of the electrons"], ["potential", "Electrostatic potential on the density"],
    ...(open ? [["spin-density", "Spin density"]] : []), ["homo", "HOMO"], ["lumo", "LUMO"]];
  const plotted = run.document.plot?.what;
  if (plotted) showSurface(run, plotted, Boolean(run.request.settings.beta));
  return [h("p", { class: "note" }, "Each is computed when it is asked for, at the structure that is shown."),
    h("div", { class: "column" }, kinds.map(([what, title]) => h("button", { type: "button", "data-what": what,
      onclick: () => showSurface(run, what) }, title)))];
}
