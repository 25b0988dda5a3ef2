// Bundles and runs the tests of the page's logic: *.test.ts.
import { spawnSync } from "node:child_process";
import { mkdtemp, readdir, rm } from "node:fs/promises";
import { tmpdir } from "node:os";
import path from "node:path";
import { fileURLToPath } from "node:url";
import esbuild from "esbuild";

const here = path.dirname(fileURLToPath(import.meta.url));
const out = await mkdtemp(path.join(tmpdir(), "ktnotebook-page-"));
const tests = (await readdir(here)).filter((name) => name.endsWith(".test.ts"));
await esbuild.build({
  entryPoints: tests.map((name) => path.join(here, name)),
  outdir: out,
  outExtension: { ".js": ".mjs" },
  bundle: true,
  platform: "node",
  format: "esm",
  logLevel: "warning",
});
const files = tests.map((name) => path.join(out, name.replace(/\.ts$/, ".mjs")));
const { status } = spawnSync(process.execPath, ["--test", ...files], { stdio: "inherit" });
await rm(out, { recursive: true });
process.exit(status ?? 1);
