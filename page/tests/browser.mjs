// Runs the page's tests one after the other: node browser.mjs [NAME...] for NAME.test.mjs, else all.
import { existsSync, readdirSync } from "node:fs";
import path from "node:path";
import { after } from "node:test";
import { fileURLToPath } from "node:url";

const here = path.dirname(fileURLToPath(import.meta.url));
const needed = {
  "/usr/bin/chromium": "the Debian package chromium",
  [path.join(here, "../node_modules/playwright-core")]: 'the page\'s libraries: "npm ci" in page/',
};
const missing = Object.keys(needed).filter((file) => !existsSync(file));
for (const file of missing) console.error(`The page's tests need ${needed[file]}: there is no ${file}`);
if (missing.length > 0) process.exit(1);

const names = process.argv.slice(2).map((name) => `${name}.test.mjs`);
const files = names.length > 0 ? names : readdirSync(here).filter((file) => file.endsWith(".test.mjs"));
const { closeBrowser } = await import("./support.mjs");
after(closeBrowser);
for (const file of files) await import(`./${file}`);
