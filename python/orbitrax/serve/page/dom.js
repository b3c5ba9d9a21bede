// Small helpers: everything that is shown goes through text nodes, never through markup.

export const $ = (id) => document.getElementById(id);

// An element with properties, listeners (onclick, ...) and children. Strings become text.
export function h(tag, about = {}, ...children) {
  const found = document.createElement(tag);
  for (const [name, value] of Object.entries(about)) set(found, name, value);
  found.append(...children.flat(9).filter((one) => one !== null && one !== undefined && one !== false));
  return found;
}

const SVG = "http://www.w3.org/2000/svg";
export function s(tag, about = {}, ...children) {
  const found = document.createElementNS(SVG, tag);
  for (const [name, value] of Object.entries(about)) set(found, name, value);
  found.append(...children.flat(9).filter(Boolean));
  return found;
}

function set(element, name, value) {
  if (value === null || value === undefined || value === false) return;
  if (name.startsWith("on")) element.addEventListener(name.slice(2), value);
  else if (value === true) element.setAttribute(name, "");
  else element.setAttribute(name, value);
}

export function fill(element, ...children) {
  element.replaceChildren(...children.flat(9).filter(
    (one) => one !== null && one !== undefined && one !== false));
  return element;
}

// Tells people who listen instead of look.
export function say(text) {
  $("said").textContent = text;
}

export function save(name, content, kind = "text/plain") {
  const blob = content instanceof Blob ? content : new Blob([content], { type: kind });
  const link = h("a", { href: URL.createObjectURL(blob), download: name });
  document.body.append(link);
  link.click();
  link.remove();
  setTimeout(() => URL.revokeObjectURL(link.href), 10000);
}

export const still = () => matchMedia("(prefers-reduced-motion: reduce)").matches;

export function number(value, digits = 4) {
  if (value === null || value === undefined) return "\u2013";
  if (!Number.isFinite(value)) return String(value);
  if (Number.isInteger(value)) return String(value);
  const size = Math.abs(value);
  return size !== 0 && (size < 1e-4 || size >= 1e7) ? value.toExponential(digits) : value.toFixed(digits);
}
