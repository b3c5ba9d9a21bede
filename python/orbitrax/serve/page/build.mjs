// Bundles the page: node build.mjs SOURCES MODULES TARGET, where MODULES is the folder that holds
// node_modules.
import { copyFileSync, existsSync, mkdirSync, readFileSync, readdirSync, renameSync, rmSync,
         writeFileSync } from "node:fs";
import { createRequire } from "node:module";
import { join, resolve } from "node:path";

const [sources, folder, target] = process.argv.slice(2).map((one) => resolve(one));
const modules = join(folder, "node_modules");
const { buildSync } = createRequire(join(modules, "x.js"))("esbuild");
const made = `${target}.new`;
rmSync(made, { recursive: true, force: true });
mkdirSync(made, { recursive: true });

buildSync({
  entryPoints: { page: join(sources, "main.js"), sketch: join(sources, "sketch.js") },
  outdir: made, bundle: true, minify: true, format: "esm", target: "es2021",
  nodePaths: [modules], external: ["./sketch.js"], legalComments: "none",
});
buildSync({
  entryPoints: [join(sources, "style.css")], outfile: join(made, "page.css"), bundle: true,
  minify: true, nodePaths: [modules],
});
copyFileSync(join(modules, "3dmol", "build", "3Dmol-min.js"), join(made, "3dmol.js"));
copyFileSync(join(sources, "index.html"), join(made, "index.html"));
copyFileSync(join(sources, "icon.svg"), join(made, "icon.svg"));
writeFileSync(join(made, "licences.txt"), licences());
rmSync(target, { recursive: true, force: true });
renameSync(made, target);

// What is in the bundle, by whom, with the text of each licence.
function licences() {
  const parts = ["3dmol", "uplot", "openchemlib", "pako", "iobuffer", "netcdfjs", "upng-js"];
  return parts.filter((name) => existsSync(join(modules, name))).map((name) => {
    const about = JSON.parse(readFileSync(join(modules, name, "package.json"), "utf8"));
    const file = readdirSync(join(modules, name)).find((one) => /^licen[cs]e/i.test(one));
    const text = file ? readFileSync(join(modules, name, file), "utf8").trim() : "";
    return `${about.name} ${about.version}, ${about.license}\n\n${text}`;
  }).join(`\n\n${"-".repeat(72)}\n\n`) + "\n";
}
