// The form of a calculation, made from what the server tells of tasks and their settings.
import { $, fill, h, say } from "./dom.js";
import { ask } from "./api.js";
import { page } from "./main.js";
import { openRun } from "./runs.js";

let task = null;
const kept = {}; // what was typed, by setting, so that another task finds it again

export function startForm() {
  const first = page.about.tasks[0].name;
  fill($("form"),
    h("label", { for: "task" }, "What"),
    h("select", { id: "task", onchange: (event) => chooseTask(event.target.value) },
      page.about.tasks.map((one) => h("option", { value: one.name }, `${one.name}: ${one.title}`))),
    h("label", { for: "method" }, "Method"),
    h("select", { id: "method", onchange: (event) => { kept.method = event.target.value; said("method", ""); } }),
    h("p", { id: "method-error", class: "error", role: "alert" }),
    h("div", { id: "method-refusals" }),
    h("div", { id: "fields" }),
    h("p", { id: "form-error", class: "error", role: "alert" }),
    h("button", { type: "submit", class: "main", id: "run" }, "Run"));
  $("form").addEventListener("submit", submit);
  chooseTask(first);
}

export function chooseTask(name) {
  task = page.about.tasks.find((one) => one.name === name);
  $("task").value = name;
  const first = task.fields.filter((one) => one.first);
  const groups = new Map();
  for (const one of task.fields.filter((field) => !field.first)) {
    groups.set(one.group, [...(groups.get(one.group) || []), one]);
  }
  fill($("fields"),
    h("p", { class: "note" }, task.description),
    first.map(fieldOf),
    [...groups].map(([title, fields]) => h("details", {}, h("summary", {}, title), fields.map(fieldOf))));
  refreshMethods();
}

// Methods that cannot do the molecule are grey, with the reason below.
export function refreshMethods() {
  const wanted = kept.method || task.default_method || "am1";
  fill($("method"), page.about.methods.map((one) => {
    const reason = page.refused[one.key];
    return h("option", { value: one.key, disabled: Boolean(reason), title: reason || one.source },
      `${one.title}${reason ? " \u2013 not for this molecule" : ""}`);
  }));
  const fits = page.refused[wanted] ? page.about.methods.find((one) => !page.refused[one.key])?.key : wanted;
  if (fits) $("method").value = fits;
  const reasons = Object.entries(page.refused);
  fill($("method-refusals"), reasons.length > 0 && h("details", {},
    h("summary", {}, `${reasons.length} method${reasons.length > 1 ? "s" : ""} cannot calculate it`),
    h("ul", {}, reasons.map(([, text]) => h("li", {}, text)))));
}

function fieldOf(one) {
  const id = `set-${one.name}`, label = one.name.replaceAll("_", " ");
  const about = { id, name: one.name, "aria-describedby": `${id}-help ${id}-error`,
    onchange: (event) => { kept[one.name] = valueOf(event.target); said(one.name, ""); } };
  const input = inputOf(one, about);
  restore(one, input);
  const check = input.type === "checkbox";
  return h("div", { class: check ? "field check" : "field" },
    h("label", { for: id }, label, one.unit && h("span", { class: "unit" }, ` ${one.unit}`)),
    input,
    h("p", { class: "help", id: `${id}-help` }, one.help),
    h("p", { class: "error", id: `${id}-error`, role: "alert" }));
}

function inputOf(one, about) {
  if (one.choices) {
    return h("select", about, one.default === null && h("option", { value: "" }, "automatic"),
      one.choices.map((name) => h("option", { value: name }, name)));
  }
  if (one.kind === "bool" && one.optional) {
    return h("select", about, h("option", { value: "" }, "automatic"), h("option", { value: "true" }, "yes"),
      h("option", { value: "false" }, "no"));
  }
  if (one.kind === "bool") return h("input", { ...about, type: "checkbox" });
  const usual = one.default === null ? "automatic" : `${one.default}`;
  if (!one.converts && (one.kind === "int" || one.kind === "float")) {
    return h("input", { ...about, type: "number", step: one.kind === "int" ? "1" : "any", placeholder: usual,
      inputmode: one.kind === "int" ? "numeric" : "decimal" });
  }
  return h("input", { ...about, type: "text", autocomplete: "off",
    placeholder: one.default === null || one.repeated ? (one.repeated ? "several with ; between" : "none") : usual });
}

function restore(one, input) {
  const value = kept[one.name] ?? one.usual;
  if (input.type === "checkbox") input.checked = Boolean(value);
  else if (input.tagName === "SELECT") input.value = value === null ? "" : String(value);
  else if (kept[one.name] !== undefined) input.value = kept[one.name];
}

const valueOf = (input) => (input.type === "checkbox" ? input.checked : input.value);

// The settings that differ from their defaults.
function settings() {
  const found = {};
  for (const one of task.fields) {
    const input = $(`set-${one.name}`);
    let value = valueOf(input);
    if (one.kind === "bool" && one.optional) value = { true: true, false: false }[value] ?? null;
    else if (value === "") value = input.validity?.badInput ? "no number" : null;
    else if (!one.converts && (one.kind === "int" || one.kind === "float")) value = Number(value);
    if (value === null || value === one.default) continue;
    found[one.name] = value;
  }
  return found;
}

function said(name, text) {
  const place = $(name === "method" ? "method-error" : `set-${name}-error`);
  if (!place) return false;
  place.textContent = text;
  $(name === "method" ? "method" : `set-${name}`)?.setAttribute("aria-invalid", text ? "true" : "false");
  return true;
}

// Says what is wrong beside the field that it concerns: the one that is named, or spelled in the text.
export function complain(text, field) {
  const spelled = [...text.matchAll(/--(?:no-)?([a-z][a-z-]*[a-z])/g)].map((one) => one[1].replaceAll("-", "_"));
  const name = [field, ...spelled].find((one) => one && $(`set-${one}`));
  if (name && said(name, text)) {
    $(`set-${name}`).closest("details")?.setAttribute("open", "");
    $(`set-${name}`).focus();
  } else {
    $("form-error").textContent = text;
  }
}

function quiet() {
  for (const place of $("form").querySelectorAll(".error")) place.textContent = "";
  for (const input of $("form").querySelectorAll("[aria-invalid]")) input.removeAttribute("aria-invalid");
}

async function submit(event) {
  event.preventDefault();
  quiet();
  if (!page.molecule) {
    complain("A molecule is needed first: type a SMILES string, draw one, drop a file or take an example.");
    return;
  }
  try {
    const run = await ask("POST", "/api/runs", { task: task.name, method: $("method").value,
      settings: settings(), molecule: page.molecule });
    say("The calculation has begun");
    history.pushState(null, "", `#run=${run.id}`);
    await openRun(run.id);
  } catch (error) {
    complain(error.message, error.field);
  }
}
