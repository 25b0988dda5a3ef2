// Bundles the page into the folder given as argument (else dist): index.html, page.js, page.css
// and licences.txt, the licences of what is bundled.
import { copyFile, mkdir, readFile, readdir, writeFile } from "node:fs/promises";
import path from "node:path";
import { fileURLToPath } from "node:url";
import esbuild from "esbuild";

const here = path.dirname(fileURLToPath(import.meta.url));
const out = path.resolve(process.argv[2] ?? path.join(here, "dist"));

const result = await esbuild.build({
  absWorkingDir: here,
  entryPoints: { page: "src/main.ts" },
  outdir: out,
  bundle: true,
  minify: true,
  format: "iife",
  target: ["chrome123", "firefox121", "safari17.5"],
  charset: "utf8",
  legalComments: "none",
  metafile: true,
  logLevel: "warning",
});
await mkdir(out, { recursive: true });
await copyFile(path.join(here, "src/index.html"), path.join(out, "index.html"));
await writeFile(path.join(out, "licences.txt"), await licences(bundledPackages(result.metafile)));

// Folders of the packages of which something is in the bundle.
function bundledPackages(metafile) {
  const inputs = Object.values(metafile.outputs).flatMap((output) => Object.keys(output.inputs));
  const names = inputs.map((input) => /^(.*node_modules\/(?:@[^/]+\/)?[^/]+)\//.exec(input)?.[1]);
  return [...new Set(names.filter(Boolean))].sort();
}

async function licences(folders) {
  const texts = await Promise.all(folders.map(licence));
  return `The page contains these packages.\n\n${texts.join("\n")}`;
}

async function licence(folder) {
  const root = path.join(here, folder);
  const about = JSON.parse(await readFile(path.join(root, "package.json"), "utf8"));
  const files = (await readdir(root)).filter((name) => /^(licen[cs]e|notice|copying)/i.test(name));
  if (files.length === 0) throw new Error(`${about.name} comes without a licence text`);
  const texts = await Promise.all(files.map((file) => readFile(path.join(root, file), "utf8")));
  const title = `${about.name} ${about.version} (${about.license})`;
  return `${title}\n${"=".repeat(title.length)}\n${texts.join("\n").trim()}\n`;
}
