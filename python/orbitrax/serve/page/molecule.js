// A molecule comes in: typed, drawn, dropped, or one of the examples.
import { $, fill, h, say } from "./dom.js";
import { ask } from "./api.js";
import { page, openDialog } from "./main.js";
import { refreshMethods } from "./form.js";
import { show, colourBy, xyzText } from "./viewer.js";
import { save } from "./dom.js";

export function startMolecule() {
  const smiles = h("input", { id: "smiles", type: "text", spellcheck: "false", autocomplete: "off",
    placeholder: "SMILES, as CCO" });
  const file = h("input", { id: "file", type: "file", class: "hidden-file", "aria-label": "Molecule file",
    onchange: () => { if (file.files[0]) takeFile(file.files[0]); file.value = ""; } });
  const examples = h("select", { id: "examples", "aria-label": "Examples",
    onchange: () => { take(sourceOf(page.about.examples[examples.value])); examples.value = ""; } },
    h("option", { value: "" }, "Examples\u2026"),
    page.about.examples.map((one, i) => h("option", { value: i }, one.name)));
  const typed = h("form", { class: "row", onsubmit: (event) => {
    event.preventDefault();
    take({ smiles: smiles.value });
  } }, h("label", { for: "smiles", class: "sr" }, "SMILES"), smiles,
  h("button", { type: "submit" }, "Load"));
  fill($("molecule"), typed,
    h("div", { class: "row" },
      h("button", { type: "button", id: "draw", onclick: draw }, "Draw\u2026"),
      h("button", { type: "button", id: "choose", onclick: () => file.click() }, "File\u2026"), file, examples),
    h("p", { class: "note" }, "Or drop a file anywhere on the page."),
    h("p", { id: "molecule-error", class: "error", role: "alert" }),
    h("div", { id: "molecule-is" }));
  acceptDrops();
}

const sourceOf = ({ smiles, name, text }) => (smiles ? { smiles } : { name, text });

function acceptDrops() {
  addEventListener("dragover", (event) => {
    event.preventDefault();
    document.body.classList.add("dropping");
  });
  addEventListener("dragleave", () => document.body.classList.remove("dropping"));
  addEventListener("drop", (event) => {
    event.preventDefault();
    document.body.classList.remove("dropping");
    const file = event.dataTransfer.files[0];
    if (file) takeFile(file);
  });
}

async function takeFile(file) {
  const most = page.about.limits.bytes;
  if (file.size > most - 10000) {
    refuse(`${file.name} has ${(file.size / 1e6).toFixed(1)} MB; files up to 5 MB are taken`);
    return;
  }
  await take({ name: file.name, text: await file.text() });
}

function refuse(text) {
  $("molecule-error").textContent = text;
}

// Asks the server for the molecule of a source, and shows it.
export async function take(source) {
  refuse("");
  fill($("molecule-is"), h("p", { class: "note busy" }, "Reading\u2026"));
  try {
    const found = await ask("POST", "/api/molecule", source);
    setMolecule(found.molecule, found.refused);
    colourBy(null);
    show(found.molecule.symbols, found.molecule.positions);
    say(`${found.molecule.formula} is loaded`);
  } catch (error) {
    refuse(error.message);
    describe();
  }
}

export function setMolecule(molecule, refused) {
  Object.assign(page, { molecule, refused });
  describe();
  refreshMethods();
}

// Takes the structure of a result for the next calculation.
export async function takeStructure(molecule) {
  const found = await ask("POST", "/api/molecule", { molecule });
  setMolecule(found.molecule, found.refused);
  say("The next calculation starts from this structure");
}

function describe() {
  const one = page.molecule;
  if (!one) {
    fill($("molecule-is"));
    return;
  }
  const count = one.symbols.length;
  fill($("molecule-is"),
    h("p", { class: "molecule-line" }, h("strong", {}, one.formula), ` ${one.title}, ${count} atom${count > 1 ? "s" : ""}`),
    one.remarks.map((text) => h("p", { class: "note" }, text)),
    h("button", { type: "button", class: "small", onclick: () => save("molecule.xyz",
      xyzText(one.symbols, one.positions)) }, "Save as xyz"));
}

async function draw() {
  const place = h("div", { class: "sketch" });
  const take3d = h("button", { type: "button", class: "main" }, "Use this molecule");
  const dialog = openDialog("Draw a molecule", place, h("div", { class: "row" }, take3d));
  const { openSketch } = await import("./sketch.js");
  const sketch = openSketch(place, $("smiles").value);
  take3d.addEventListener("click", () => {
    const smiles = sketch.smiles();
    dialog.close();
    $("smiles").value = smiles;
    take({ smiles });
  });
  dialog.addEventListener("close", () => sketch.close(), { once: true });
}
