// The page: a molecule, a calculation, what comes of it.
import { $, fill, h, say } from "./dom.js";
import { ask } from "./api.js";
import { startForm } from "./form.js";
import { openHistory } from "./history.js";
import { startMolecule } from "./molecule.js";
import { openRun, startRuns } from "./runs.js";
import * as viewer from "./viewer.js";

export const page = { about: null, molecule: null, refused: {} };

function setTheme(name) {
  document.documentElement.dataset.theme = name;
  try { localStorage.setItem("theme", name); } catch { /* a window without memory */ }
  viewer.theme();
  document.dispatchEvent(new Event("theme"));
}

function startTheme() {
  let name = null;
  try { name = localStorage.getItem("theme"); } catch { /* a window without memory */ }
  const dark = matchMedia("(prefers-color-scheme: dark)").matches;
  document.documentElement.dataset.theme = name || (dark ? "dark" : "light");
  $("theme").addEventListener("click", () => setTheme(
    document.documentElement.dataset.theme === "dark" ? "light" : "dark"));
}

export function openDialog(title, ...content) {
  const dialog = $("dialog");
  const end = h("button", { type: "button", class: "close", onclick: () => dialog.close() }, "Close");
  fill(dialog, h("div", { class: "dialog-head" }, h("h2", { id: "dialog-title" }, title), end), content);
  if (!dialog.open) dialog.showModal();
  return dialog;
}

async function openAbout() {
  const text = await (await fetch("/static/licences.txt")).text();
  const { about } = page;
  const limits = about.limits;
  openDialog("About Orbitrax",
    h("p", {}, `Orbitrax ${about.version}: semi-empirical quantum chemistry on your own machine. ` +
      `Nothing that you draw or compute leaves it.`),
    h("p", {}, `This page runs ${limits.jobs} calculations at a time, each for at most ` +
      `${limits.time} s with ${limits.memory} MB of memory.`),
    h("h3", {}, "Methods"),
    h("ul", {}, about.methods.map((one) => h("li", {}, `${one.title}: ${one.source}`))),
    h("h3", {}, "Made with"),
    h("pre", { tabindex: "0" }, text));
}

async function start() {
  startTheme();
  try {
    page.about = await ask("GET", "/api/about");
  } catch (error) {
    fill($("molecule"), h("p", { class: "error", role: "alert" }, error.message));
    return;
  }
  startMolecule();
  startForm();
  startRuns();
  $("open-history").addEventListener("click", openHistory);
  $("open-about").addEventListener("click", openAbout);
  addEventListener("hashchange", fromAddress);
  performance.mark("usable"); // a molecule can be typed; the viewer takes its time
  await viewer.startViewer();
  performance.mark("viewer");
  await fromAddress();
  document.documentElement.dataset.ready = "yes";
  say("The page is ready");
}

async function fromAddress() {
  const id = /^#run=([\w-]+)$/.exec(location.hash)?.[1];
  if (id) await openRun(id);
}

window.orbitrax = { page, viewer };
start();
