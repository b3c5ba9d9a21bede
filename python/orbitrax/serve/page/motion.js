// Structures one after the other: a search, a path, a trajectory, with a curve and a slider.
import { h, number } from "./dom.js";
import { chart } from "./chart.js";
import { symbolsOf } from "./results.js";
import { show } from "./viewer.js";
import { still } from "./dom.js";

// Where the frames of a scan along one coordinate lie on it.
function scanOf(run) {
  const { coordinates, points } = run.document.scan || {};
  const reached = points?.filter((one) => one.reached).map((one) => one.reached[0]);
  if (coordinates?.length !== 1 || reached.length !== run.frames.length) return null;
  return { x: reached, name: `${coordinates[0].name}, ${coordinates[0].unit}` };
}

export function motionTab(run) {
  const { frames } = run, symbols = symbolsOf(run);
  const timed = frames.some((one) => one.time_ps), scan = scanOf(run);
  const x = frames.map((one, i) => (scan ? scan.x[i] : timed ? one.time_ps || 0 : one.n));
  const order = frames.map((_, i) => i).sort((a, b) => x[a] - x[b]); // a scan may go downwards
  const curve = chart({ label: "Energy along the path", x: scan ? scan.name : timed ? "ps" : "point", y: "kcal/mol", points: frames.length < 60,
    data: [order.map((i) => x[i]), order.map((i) => frames[i].energy)], onpick: (at) => go(x.reduce((best, one, i) => (
      Math.abs(one - at) < Math.abs(x[best] - at) ? i : best), 0)) });
  const told = h("output", { id: "frame-told", for: "frame" });
  const slider = h("input", { type: "range", id: "frame", min: "0", max: String(frames.length - 1), value: "0",
    oninput: () => go(Number(slider.value)) });
  const play = h("button", { type: "button", id: "play", "aria-pressed": "false", onclick: toggle }, "Play");
  let timer = 0;

  function go(i) {
    const one = frames[i];
    slider.value = String(i);
    show(symbols, one.xyz, true);
    curve.mark(x[i]);
    told.value = `${i + 1} of ${frames.length}: ${timed ? `${number(one.time_ps || 0, 4)} ps, ` : scan ? `${scan.name} ${number(x[i], 3)}, ` : ""}${number(one.energy, 4)} kcal/mol` +
      (one.temperature ? `, ${number(one.temperature, 0)} K` : "");
  }

  function toggle() {
    if (timer) {
      clearInterval(timer);
      timer = 0;
    } else {
      timer = setInterval(() => {
        if (!slider.isConnected) { clearInterval(timer); return; }
        go((Number(slider.value) + 1) % frames.length);
      }, still() ? 500 : 60);
    }
    play.textContent = timer ? "Pause" : "Play";
    play.setAttribute("aria-pressed", String(Boolean(timer)));
  }

  go(frames.length - 1);
  return [curve.box, h("div", { class: "row" }, play, h("label", { for: "frame", class: "sr" }, "Place on the path"), slider), told,
    h("div", { class: "row" }, h("button", { type: "button", class: "small", onclick: () => curve.png("path.png") }, "png"),
      h("button", { type: "button", class: "small", onclick: () => curve.svg("path.svg") }, "svg"))];
}
