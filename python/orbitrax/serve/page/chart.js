// Curves: live energies, spectra, profiles, by uPlot; with a table beside them for those who do not see.
import uPlot from "uplot";
import { h, save } from "./dom.js";

// How much larger than usual the letters of the page are: on large screens.
const scale = () => parseFloat(getComputedStyle(document.documentElement).fontSize) / 16;
const MOST_DOTS = 80; // points that are drawn as dots; more are a line

const colour = (name) => getComputedStyle(document.documentElement).getPropertyValue(name).trim();

// about: label, x, y (titles), sticks ([x, height]), bars: whether x falls, onpick(x).
export function chart(about) {
  const box = h("div", { class: "chart", role: "img", "aria-label": about.label });
  const grid = { stroke: colour("--line"), width: 1 };
  const by = scale(), letters = (size) => `${Math.round(size * by)}px system-ui`;
  const axis = (text, size) => ({ label: text, stroke: colour("--text"), grid, ticks: grid, size: size * by,
    font: letters(12), labelFont: letters(13), labelSize: 22 * by });
  const options = {
    width: 300, height: (about.height || 240) * by, legend: { show: false },
    cursor: { drag: { x: true, y: false }, points: { size: 8 } },
    scales: { x: { time: false, dir: about.falling ? -1 : 1 } },
    axes: [axis(about.x, 44), axis(about.y, 66)],
    series: [{}, { stroke: colour("--accent"), width: 2, points: { size: 5,
      show: (plot) => Boolean(about.points) && plot.data[0].length < MOST_DOTS } }],
    hooks: { draw: [(plot) => { drawSticks(plot, about); drawMark(plot, about); }] },
  };
  const plot = new uPlot(options, about.data || [[], []], box);
  new ResizeObserver(([entry]) => {
    const width = Math.floor(entry.contentRect.width);
    if (width > 0 && width !== plot.width) plot.setSize({ width, height: options.height });
  }).observe(box);
  if (about.onpick) {
    plot.over.addEventListener("click", () => about.onpick(plot.posToVal(plot.cursor.left, "x")));
  }
  return {
    box, plot,
    set: (x, y) => plot.setData([x, y]),
    mark: (x) => { about.marked = x; plot.redraw(false); },
    png: (name) => plot.root.querySelector("canvas").toBlob((blob) => save(name, blob)),
    svg: (name) => save(name, svgOf(about, plot.data), "image/svg+xml"),
  };
}

function drawSticks(plot, about) {
  if (!about.sticks?.length) return;
  const { ctx } = plot, most = Math.max(...about.sticks.map((one) => one[1]), 1e-12);
  const bottom = plot.bbox.top + plot.bbox.height;
  ctx.save();
  ctx.strokeStyle = colour("--warm");
  ctx.lineWidth = 2 * devicePixelRatio;
  for (const [x, height] of about.sticks) {
    const at = plot.valToPos(x, "x", true);
    if (at < plot.bbox.left || at > plot.bbox.left + plot.bbox.width) continue;
    ctx.beginPath();
    ctx.moveTo(at, bottom);
    ctx.lineTo(at, bottom - Math.max(4 * devicePixelRatio, 0.5 * plot.bbox.height * height / most));
    ctx.stroke();
  }
  ctx.restore();
}

function drawMark(plot, about) {
  if (about.marked === undefined || about.marked === null) return;
  const { ctx } = plot, at = plot.valToPos(about.marked, "x", true);
  ctx.save();
  ctx.strokeStyle = colour("--text");
  ctx.setLineDash([4, 4]);
  ctx.beginPath();
  ctx.moveTo(at, plot.bbox.top);
  ctx.lineTo(at, plot.bbox.top + plot.bbox.height);
  ctx.stroke();
  ctx.restore();
}

// The same curve as a drawing that can be printed at any size.
function svgOf(about, [x, y]) {
  const w = 900, height = 420, left = 90, right = 20, top = 20, bottom = 60;
  const low = Math.min(...x), high = Math.max(...x);
  const floor = Math.min(0, ...y) === 0 && about.sticks ? 0 : Math.min(...y), roof = Math.max(...y);
  const part = (v) => (v - low) / (high - low || 1);
  const px = (v) => left + (w - left - right) * (about.falling ? 1 - part(v) : part(v));
  const py = (v) => height - bottom - (height - top - bottom) * (v - floor) / (roof - floor || 1);
  const path = x.map((one, i) => `${i ? "L" : "M"}${px(one).toFixed(2)} ${py(y[i]).toFixed(2)}`).join("");
  const most = Math.max(...(about.sticks || []).map((one) => one[1]), 1e-12);
  const sticks = (about.sticks || []).map(([at, size]) =>
    `<path d="M${px(at).toFixed(2)} ${height - bottom}v-${(150 * size / most).toFixed(2)}" stroke="#b35c00" fill="none"/>`);
  const ticks = [0, 0.25, 0.5, 0.75, 1].map((f) => {
    const v = low + f * (high - low), u = floor + f * (roof - floor);
    return `<text x="${px(v).toFixed(1)}" y="${height - bottom + 20}" text-anchor="middle">${v.toPrecision(4)}</text>` +
      `<text x="${left - 8}" y="${(py(u) + 4).toFixed(1)}" text-anchor="end">${u.toPrecision(4)}</text>`;
  });
  return `<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 ${w} ${height}" font-family="sans-serif" font-size="13">` +
    `<rect width="${w}" height="${height}" fill="white"/><path d="M${left} ${top}V${height - bottom}H${w - right}" stroke="#444" fill="none"/>` +
    `${sticks.join("")}<path d="${path}" stroke="#0b62b0" stroke-width="2" fill="none"/>${ticks.join("")}` +
    `<text x="${(left + w - right) / 2}" y="${height - 14}" text-anchor="middle">${about.x}</text>` +
    `<text transform="translate(18 ${(height - bottom) / 2})rotate(-90)" text-anchor="middle">${about.y}</text></svg>`;
}
