// A run that is watched: live progress, cancel, and its results once it has ended.
import { $, fill, h, number, say } from "./dom.js";
import { ask, follow } from "./api.js";
import { chart } from "./chart.js";
import { chooseTask, complain } from "./form.js";
import { page } from "./main.js";
import { setMolecule } from "./molecule.js";
import { showResults } from "./results.js";
import { show, showLive, colourBy, stop } from "./viewer.js";

const MOST_POINTS = 600; // of the live curve: of more, every second one, and so on
const MOST_LINES = 200; // messages whose lines the live report keeps

let unfollow = () => {}, current = null;

export function startRuns() {
  document.addEventListener("theme", () => { if (current?.state === "ended") showResults(current); });
}

export async function openRun(id) {
  unfollow();
  stop();
  let run;
  try {
    run = await ask("GET", `/api/runs/${id}`);
  } catch (error) {
    fill($("tabs"), h("p", { class: "error", role: "alert" }, error.message));
    return;
  }
  current = run;
  fill($("tabs"));
  await takeOver(run);
  if (innerWidth < 900) document.querySelector(".stage").scrollIntoView();
  if (run.state === "ended") ended(run);
  else watch(run);
}

async function takeOver(run) {
  if (page.about.tasks.some((one) => one.name === run.task)) chooseTask(run.task);
  if (page.molecule && same(page.molecule, run.request.molecule)) return;
  const found = await ask("POST", "/api/molecule", { molecule: run.request.molecule });
  setMolecule(found.molecule, found.refused);
  colourBy(null);
  show(found.molecule.symbols, found.molecule.positions);
}

function same(one, other) {
  const told = ({ numbers, positions, charge, multiplicity, masses, point_charges: charges }) =>
    JSON.stringify([numbers, positions, charge, multiplicity, masses, charges]);
  return told(one) === told(other);
}

// ---- live -----------------------------------------------------------------------------------------

function watch(run) {
  const status = h("p", { id: "live-status", class: "busy" }, "waiting for a free place\u2026");
  const log = h("pre", { id: "live-log", tabindex: "0", "aria-label": "Report of the backend" });
  const cancel = h("button", { type: "button", id: "cancel", class: "warn", onclick: async () => {
    cancel.disabled = true;
    status.textContent = "cancelling\u2026";
    await ask("POST", `/api/runs/${run.id}/cancel`).catch((error) => { status.textContent = error.message; });
  } }, "Cancel");
  const curve = chart({ label: "Energy on the way", x: "point", y: "kcal/mol", height: 200, points: true });
  curve.box.hidden = true;
  fill($("live"), h("div", { class: "row" }, h("strong", {}, `${run.task}, ${run.method}, ${run.formula}`), cancel),
    status, curve.box, h("details", {}, h("summary", {}, "Report"), log));
  $("live").hidden = false;
  const points = [];
  let due = false;

  // Draws the curve with the next picture of the screen, however many messages come before.
  function draw() {
    if (due) return;
    due = true;
    requestAnimationFrame(() => {
      due = false;
      const every = Math.ceil(points.length / MOST_POINTS);
      const some = points.filter((_, i) => i % every === 0 || i === points.length - 1);
      curve.set(some.map((one) => one.n), some.map((one) => one.energy));
    });
  }

  unfollow = follow(run.id, (message) => {
    if (message.type === "snapshot") points.length = 0;
    points.push(...(message.points || []));
    if (message.state === "running" && !message.status) status.textContent = "running\u2026";
    if (message.status && message.type !== "ended") status.textContent = message.status;
    if (message.log) {
      log.append(message.log.map((line) => `${line}\n`).join(""));
      while (log.childNodes.length > MOST_LINES) log.firstChild.remove();
      if (log.parentNode.open) log.scrollTop = log.scrollHeight;
    }
    if (message.points?.length && points.length > 1) {
      curve.box.hidden = false;
      draw();
      $("live").dataset.points = points.length;
    }
    if (message.xyz) showLive(run.request.molecule.symbols, message.xyz);
    if (message.type === "ended") finish(run.id);
  });
}

async function finish(id) {
  if (current?.id !== id) return;
  const run = await ask("GET", `/api/runs/${id}`);
  current = run;
  ended(run);
}

function ended(run) {
  unfollow();
  stop();
  $("live").hidden = true;
  fill($("live"));
  const document_ = run.document;
  const text = document_.errors[0];
  say(document_.status === "done" ? `Done: ${number(document_.total_energy)} kcal/mol` : `${document_.status}: ${text || ""}`);
  showResults(run);
  if (text && (document_.status === "refused" || run.field)) complain(text, run.field);
}
