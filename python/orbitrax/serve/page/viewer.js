// The molecule in three dimensions. One viewer for the page; without WebGL it says so.
import { $, fill, h, number, save, say, still } from "./dom.js";

// Two colours that people with any kind of sight can tell apart.
const POSITIVE = "#3b82d0", NEGATIVE = "#e08a1e";
const SMALLEST = 3.2; // Angstrom across: what is smaller is shown at this size, with room for its orbitals
const OPACITY = 0.78; // of a surface
let gl = null, shown = null, moving = 0, latest = null, busy = false, colours = null, labels = "none", surfaces = [];

export async function startViewer() {
  await scriptIsThere();
  try {
    gl = window.$3Dmol.createViewer($("viewer"), { antialias: !bySoftware(), backgroundAlpha: 0,
      minimumZoomToDistance: SMALLEST });
    if (!gl) throw new Error("none");
    theme();
  } catch {
    gl = null;
    fill($("viewer"), h("p", { class: "note" },
      "This browser draws nothing in three dimensions (WebGL is off); all numbers are in the tables."));
  }
  $("viewer").querySelector("canvas")?.setAttribute("tabindex", "-1");
  tools();
  if (shown) show(shown.symbols, shown.places); // it came sooner
  new ResizeObserver(() => { gl?.resize(); fit(); gl?.render(); }).observe($("viewer"));
}

// The library comes beside the page: the form need not wait for it.
function scriptIsThere() {
  const script = $("viewer-script");
  return new Promise((tell) => {
    if (window.$3Dmol) setTimeout(tell);
    else for (const end of ["load", "error"]) script.addEventListener(end, tell, { once: true });
  });
}

// Whether a processor has to do the work of a graphics card: smooth edges would cost it half its speed.
function bySoftware() {
  const probe = document.createElement("canvas").getContext("webgl");
  const about = probe?.getExtension("WEBGL_debug_renderer_info");
  const name = about ? String(probe.getParameter(about.UNMASKED_RENDERER_WEBGL)) : "";
  probe?.getExtension("WEBGL_lose_context")?.loseContext();
  return /swiftshader|llvmpipe|software/i.test(name);
}

export function theme() {
  if (!gl) return;
  const ground = getComputedStyle(document.documentElement).getPropertyValue("--stage").trim();
  gl.setBackgroundColor(ground || "white", 1);
  gl.render();
}

function tools() {
  const choice = h("select", { "aria-label": "Labels of the atoms",
    onchange: (event) => { labels = event.target.value; relabel(); gl?.render(); } },
    h("option", { value: "none" }, "no labels"), h("option", { value: "numbers" }, "numbers"),
    h("option", { value: "charges" }, "charges"));
  choice.id = "labels";
  const turn = (axis, by) => () => { gl?.rotate(by, axis); };
  fill($("viewer-tools"), choice,
    h("button", { type: "button", onclick: turn("y", -15), "aria-label": "Turn left" }, "\u2190"),
    h("button", { type: "button", onclick: turn("y", 15), "aria-label": "Turn right" }, "\u2192"),
    h("button", { type: "button", onclick: turn("x", -15), "aria-label": "Turn up" }, "\u2191"),
    h("button", { type: "button", onclick: turn("x", 15), "aria-label": "Turn down" }, "\u2193"),
    h("button", { type: "button", onclick: () => { fit(); gl?.render(); } }, "Fit"),
    h("button", { type: "button", onclick: picture }, "PNG"));
}

// The whole molecule, in a window that may be narrower than high.
function fit() {
  if (!gl) return;
  if (!shown) return;
  gl.zoomTo();
  const { clientWidth, clientHeight } = $("viewer");
  gl.zoom(0.92 * Math.min(1, clientWidth / clientHeight));
}

async function picture() {
  if (!gl) return;
  const data = await (await fetch(gl.pngURI())).blob();
  save("structure.png", data);
}

export function xyzText(symbols, places, about = "") {
  const lines = symbols.map((one, i) => `${one} ${places.slice(3 * i, 3 * i + 3).map(
    (x) => x.toFixed(6)).join(" ")}`);
  return `${symbols.length}\n${about}\n${lines.join("\n")}\n`;
}

// Shows a structure; fits it into the window if it is another molecule than before.
export function show(symbols, places, keep = false) {
  if (!keep) stop();
  if (!keep) { surfaces = []; colours = null; gl?.removeAllShapes(); }
  const other = !shown || shown.symbols.join() !== symbols.join();
  shown = { symbols, places };
  draw(places);
  if (gl && other) fit();
  gl?.render();
  $("viewer").setAttribute("aria-label", `The structure of ${symbols.length} atoms: ${count(symbols)}`);
}

function count(symbols) {
  const found = {};
  for (const one of symbols) found[one] = (found[one] || 0) + 1;
  return Object.entries(found).map(([one, n]) => `${n} ${one}`).join(", ");
}

// bonds: of each atom, where they are not those that the distances tell.
function draw(places, bonds = null) {
  if (!gl) return;
  gl.removeAllModels();
  const model = gl.addModel(xyzText(shown.symbols, places), "xyz");
  if (bonds) model.selectedAtoms({}).forEach((atom, i) => Object.assign(atom, bonds[i]));
  const small = shown.symbols.length > 300 ? { stick: { radius: 0.12 } } :
    { stick: { radius: 0.11 }, sphere: { scale: 0.24 } };
  model.setStyle({}, small);
  if (colours) {
    const tint = (atom) => colours.tint[atom.index ?? atom.serial];
    model.setStyle({}, { stick: { radius: 0.11, colorfunc: tint }, sphere: { scale: 0.3, colorfunc: tint } });
  }
  relabel();
}

function relabel() {
  if (!gl) return;
  gl.removeAllLabels();
  if (labels === "none" || !shown) return;
  const dark = document.documentElement.dataset.theme === "dark";
  shown.symbols.forEach((one, i) => {
    const text = labels === "numbers" ? `${one}${i + 1}` : colours ? colours.text[i] : null;
    if (text === null) return;
    gl.addLabel(text, { position: { x: shown.places[3 * i], y: shown.places[3 * i + 1], z: shown.places[3 * i + 2] },
      fontSize: 13, fontColor: dark ? "white" : "black", backgroundColor: dark ? "black" : "white",
      backgroundOpacity: 0.65, inFront: true, alignment: "center" });
  });
}

// Colours the atoms by numbers, blue above 0, orange below, with labels; null for their elements.
export function colourBy(values, digits = 3) {
  colours = null;
  if (values) {
    const most = Math.max(0.05, ...values.map(Math.abs));
    colours = { tint: values.map((one) => mixed(one / most)),
      text: values.map((one) => (one > 0 ? "+" : "") + one.toFixed(digits)) };
  }
  labels = values ? "charges" : "none";
  $("labels").value = labels;
  if (shown) draw(shown.places);
  gl?.render();
}

function mixed(part) {
  const end = part > 0 ? [59, 130, 208] : [224, 138, 30], size = Math.abs(part);
  const [r, g, b] = end.map((one) => Math.round(245 + (one - 245) * size));
  return (r << 16) | (g << 8) | b;
}

// ---- surfaces -------------------------------------------------------------------------------------

// Shows an answer about a surface. level: the value on it, null for the usual one.
export function surface(found, level = null) {
  stop();
  surfaces = [found];
  if (!gl) return;
  gl.removeAllShapes();
  const at = level ?? found.isovalue;
  const values = new window.$3Dmol.VolumeData(found.cubes[0], "cube");
  if (found.cubes.length > 1) {
    const density = new window.$3Dmol.VolumeData(found.cubes[1], "cube");
    const most = 0.06;
    gl.addIsosurface(density, { isoval: at, opacity: 0.88, voldata: values, smoothness: 2,
      volscheme: new window.$3Dmol.Gradient.RWB(-most, most) });
  } else {
    bothSigns(values, at, found.signed);
  }
  gl.render();
  say(`${found.title} is shown`);
  $("viewer").setAttribute("aria-label", `${found.title}, at ${number(at)}`);
}

function bothSigns(values, at, signed) {
  const style = { opacity: OPACITY, smoothness: 2 };
  return [gl.addIsosurface(values, { ...style, isoval: at, color: POSITIVE }),
    ...(signed ? [gl.addIsosurface(values, { ...style, isoval: -at, color: NEGATIVE })] : [])];
}

// Shows an orbital that goes over into another. Returns what sets how far it has gone, from 0 to 1.
export function blend(from, to) {
  stop();
  surfaces = [from, to];
  $("viewer").setAttribute("aria-label", `${from.title}, then ${to.title}`);
  if (!gl) return () => {};
  gl.removeAllShapes();
  const shapes = [from, to].map((one) => bothSigns(new window.$3Dmol.VolumeData(one.cubes[0], "cube"),
    one.isovalue, true));
  return (part) => {
    [1 - part, part].forEach((share, k) => shapes[k].forEach((one) =>
      one.updateStyle({ opacity: OPACITY * share, hidden: share < 0.04 })));
    gl.render();
  };
}

export function clearSurface() {
  surfaces = [];
  gl?.removeAllShapes();
  gl?.render();
}

// ---- motion ---------------------------------------------------------------------------------------

export function stop() {
  moving += moving % 2; // odd while something moves
  latest = null;
}

// Draws the latest structure that came, no sooner than the picture before is on the screen: a machine
// that draws slowly shows fewer, and is never behind.
export function showLive(symbols, places) {
  latest = [symbols, places];
  if (busy) return;
  busy = true;
  requestAnimationFrame(() => {
    if (latest) show(...latest, true);
    requestAnimationFrame(() => requestAnimationFrame(() => {
      busy = false;
      if (latest && latest[1] !== shown?.places) showLive(...latest);
    }));
  });
}

// Calls step again and again, LEAST ms apart or more, until something else is shown.
const LEAST = 33;
export function move(step) {
  const mine = moving += 1 + moving % 2;
  let last = 0;
  const turn = (now) => {
    if (moving !== mine) return;
    if (now - last >= LEAST) {
      last = now;
      step();
      requestAnimationFrame(() => requestAnimationFrame(turn));
    } else requestAnimationFrame(turn);
  };
  requestAnimationFrame(turn);
}

// Swings the atoms along displacements, n x 3; shows arrows where motion is not wanted.
export function swing(symbols, places, moves) {
  show(symbols, places);
  if (!gl) return;
  const largest = Math.max(1e-9, ...moves.map((one) => Math.hypot(...one)));
  const amplitude = 0.45 / largest;
  if (still()) {
    moves.forEach((one, i) => {
      if (Math.hypot(...one) * amplitude < 0.03) return;
      const [x, y, z] = places.slice(3 * i, 3 * i + 3);
      gl.addArrow({ start: { x, y, z }, end: { x: x + 2 * amplitude * one[0], y: y + 2 * amplitude * one[1],
        z: z + 2 * amplitude * one[2] }, radius: 0.06, color: NEGATIVE });
    });
    gl.render();
    return;
  }
  const bonds = gl.getModel().selectedAtoms({}).map((atom) => ({ bonds: [...atom.bonds],
    bondOrder: [...atom.bondOrder] })); // none is made or torn by a motion
  let phase = 0;
  move(() => {
    phase += 0.35;
    const by = amplitude * Math.sin(phase);
    draw(places.map((x, k) => x + by * moves[Math.floor(k / 3)][k % 3]), bonds);
    gl.render();
  });
}

// Frames a second while the structure is turned, for the tests.
export function measure(seconds = 2) {
  return new Promise((tell) => {
    const began = performance.now();
    let frames = 0;
    const turn = () => {
      gl.rotate(2, "y");
      frames += 1;
      const past = (performance.now() - began) / 1000;
      if (past < seconds) requestAnimationFrame(turn);
      else tell(frames / past);
    };
    requestAnimationFrame(turn);
  });
}

const bondCount = () => gl?.getModel()?.selectedAtoms({}).reduce((sum, atom) => sum + atom.bonds.length, 0) / 2;

export const state = () => ({ gl: Boolean(gl), bonds: bondCount(), atoms: shown?.symbols.length ?? 0, places: shown?.places,
  moving: moving % 2 === 1, surfaces: surfaces.map((one) => one.title), shapes: gl?.shapes?.length ?? 0,
  coloured: Boolean(colours) });
