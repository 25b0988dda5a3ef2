// What the page's tests share: a folder, the real program and a real browser for each of them.
// Waits end by a condition; `patience` is only how long a slow program may take to fulfil it.
import assert from "node:assert/strict";
import { execFileSync, spawn } from "node:child_process";
import { once } from "node:events";
import { mkdirSync, mkdtempSync, readFileSync, rmSync } from "node:fs";
import { tmpdir } from "node:os";
import path from "node:path";
import { test } from "node:test";
import { setTimeout as sleep } from "node:timers/promises";
import { fileURLToPath } from "node:url";
import { chromium } from "playwright-core";

export const patience = Number(process.env.KT_PAGE_TEST_PATIENCE ?? 30_000);
const testTimeout = 300_000;
export const source = path.resolve(path.dirname(fileURLToPath(import.meta.url)), "../..");
const program = process.env.KT_NOTEBOOK_PROGRAM ?? path.join(source, "build/debug/src/ktnotebook");
// Pictures, and what the page looked like when a test failed.
export const output = process.env.KT_PAGE_TEST_OUTPUT ?? path.join(source, "build/page-tests");
mkdirSync(output, { recursive: true });

// For work on the page: its files from this folder instead of the program's own.
const pageFiles = process.env.KT_PAGE_FILES ? ["--page", process.env.KT_PAGE_FILES] : [];
const browserArguments = [
  "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
  "--disable-background-networking", "--disable-component-update", "--disable-sync",
];
let browser = null;

async function theBrowser() {
  browser ??= chromium.launch({ executablePath: "/usr/bin/chromium", args: browserArguments });
  return browser;
}

// To be called when all tests are done.
export async function closeBrowser() {
  await (await browser)?.close();
}

// A test with a scene of its own, which has to end without a fault on any of its pages.
export function scenario(name, play, timeout = testTimeout) {
  test(name, { timeout }, async () => {
    const scene = new Scene();
    try {
      await play(scene);
      scene.assertQuiet();
    } catch (error) {
      await scene.picture(`failed ${name}`).catch(() => undefined);
      await scene.end().catch(() => undefined);
      throw error;
    }
    await scene.end();
  });
}

export class Scene {
  folder = mkdtempSync(path.join(tmpdir(), "ktnotebook-page-"));
  db = path.join(this.folder, "notebook.db");
  server = null;
  views = [];
  contexts = [];
  faults = [];

  // The program's command line; its standard output.
  run(...args) {
    return execFileSync(program, args, { encoding: "utf8", maxBuffer: 1 << 30, stdio: ["ignore", "pipe", "pipe"] });
  }

  // One of the commands that work on the database.
  ask(command, ...args) {
    return this.run(command, ...args, "--db", this.db);
  }

  // The texts of a form's cells by address, as the command line has them.
  texts(form) {
    return textsOf(JSON.parse(this.ask("show", form, "--json")));
  }

  example(name) {
    this.ask("import", path.join(source, "examples", name));
  }

  async serve({ port = 0 } = {}) {
    this.server = await startServer(this.db, port, path.join(this.folder, "key"));
    return this.server;
  }

  // A page of a browser of its own, on the server.
  async open({ waitFor = ".cell", ...options } = {}) {
    const context = await (await theBrowser()).newContext({
      viewport: { width: 1600, height: 900 }, locale: "en-US", acceptDownloads: true, ...options,
    });
    this.contexts.push(context);
    await context.grantPermissions(["clipboard-read", "clipboard-write"]);
    return this.show(await context.newPage(), waitFor);
  }

  // One more page of the same browser.
  async openTab(view) {
    return this.show(await view.page.context().newPage(), ".cell");
  }

  async show(page, waitFor) {
    page.setDefaultTimeout(patience);
    this.watch(page);
    await page.goto(this.server.address);
    await page.locator(waitFor).first().waitFor();
    const view = new View(page);
    this.views.push(view);
    return view;
  }

  // Refusals and lost connections, which a browser tells as errors too, are part of some tests.
  watch(page) {
    page.on("pageerror", (error) => this.faults.push(String(error.stack ?? error)));
    page.on("console", (message) => {
      const isFault = message.type() === "error" && !message.text().startsWith("Failed to load resource");
      if (isFault) this.faults.push(message.text());
    });
    page.on("dialog", (dialog) => (this.faults.push(`dialog: ${dialog.message()}`), dialog.dismiss()));
  }

  // What the largest page of the browser takes of the machine's memory, in MB.
  async memory() {
    const session = await (await theBrowser()).newBrowserCDPSession();
    const { processInfo } = await session.send("SystemInfo.getProcessInfo");
    const pages = processInfo.filter(({ type }) => type === "renderer");
    const sizes = pages.map(({ id }) => /^Pss:\s+(\d+) kB/m.exec(readFileSync(`/proc/${id}/smaps_rollup`, "utf8"))[1] / 1000);
    return Math.max(...sizes);
  }

  assertQuiet() {
    assert.deepEqual(this.faults, []);
  }

  async picture(name) {
    const page = this.views[this.views.length - 1]?.page;
    await page?.screenshot({ path: path.join(output, `${name.replace(/\W+/g, "-")}.png`) });
  }

  async end() {
    for (const context of this.contexts) await context.close();
    await this.server?.stop();
    rmSync(this.folder, { recursive: true, force: true });
  }
}

async function startServer(db, port, keyFile) {
  const args = ["serve", "--db", db, "--port", String(port), "--key-file", keyFile, "--log", "changes", ...pageFiles];
  const child = spawn(program, args, { stdio: ["ignore", "pipe", "pipe"] });
  let told = "";
  child.stderr.on("data", (data) => (told += data));
  const ended = once(child, "close");
  const address = await firstLine(child, ended, () => told);
  const end = async (signal) => {
    if (child.exitCode === null && child.signalCode === null) child.kill(signal);
    return (await ended)[0];
  };
  return {
    address,
    port: Number(new URL(address).port),
    // Ends it as Ctrl-C does; it has to end well, also in the eyes of its sanitizers.
    async stop() {
      const code = await end("SIGTERM");
      if (child.signalCode !== "SIGKILL") assert.equal(code, 0, told);
    },
    async kill() {
      await end("SIGKILL");
    },
  };
}

async function firstLine(child, ended, told) {
  let text = "";
  const line = new Promise((resolve) => {
    child.stdout.on("data", (data) => {
      text += data;
      if (text.includes("\n")) resolve(text.slice(0, text.indexOf("\n")));
    });
  });
  const failure = ended.then(() => Promise.reject(new Error(`the server did not start: ${told()}`)));
  failure.catch(() => undefined);
  return Promise.race([line, failure]);
}

// What is seen of a page, and what a person does there.
export class View {
  constructor(page) {
    this.page = page;
  }

  cell(address) {
    return this.page.locator(`[data-address=${quoted(address)}]`);
  }

  control(name) {
    return this.page.locator(`[data-control=${quoted(name)}]`);
  }

  panel(name) {
    return this.page.locator(`[data-panel=${quoted(name)}]`);
  }

  button(name, within = this.page) {
    return within.getByRole("button", { name, exact: true });
  }

  alert(text) {
    return this.page.getByRole("alert").filter({ hasText: text });
  }

  async press(...keys) {
    for (const key of keys) await this.page.keyboard.press(key);
  }

  async type(text, ...keys) {
    await this.page.keyboard.type(text);
    await this.press(...keys);
  }

  // Goes on with Tab until the element with this name has the focus.
  async tabTo(name, key = "Tab") {
    for (let i = 0; i < 80; ++i) {
      if ((await this.focused()) === name) return;
      await this.press(key);
    }
    assert.fail(`"${name}" is not reached by ${key}`);
  }

  // Goes from part to part of the page until the grid has the focus.
  async toGrid() {
    const isThere = () => this.page.evaluate(() => document.activeElement?.closest(".grid") !== null);
    for (let i = 0; i < 8 && !(await isThere()); ++i) await this.press("F6");
  }

  focused() {
    return this.page.evaluate(() => {
      const { activeElement: at } = document;
      return at?.dataset.address ?? at?.getAttribute("aria-label") ?? at?.labels?.[0]?.textContent ?? at?.textContent;
    });
  }

  // A panel beside the grid, or the dialog of properties.
  async openPanel(tool, panel = this.panel(tool.replace("?", "").toLowerCase())) {
    if (!(await panel.isVisible())) await this.button(tool).click();
    await panel.waitFor();
    return panel;
  }

  async menu(button, item) {
    await this.page.getByRole("button", { name: button, exact: true }).click();
    await this.page.getByRole("menuitem", { name: item }).click();
  }

  async shows(address, text) {
    await eventually(() => this.textOf(address), text, address);
  }

  async textOf(address) {
    const cell = this.cell(address);
    return (await cell.count()) === 1 ? cell.innerText() : undefined;
  }

  // Exactly one of typed, computed, noted, empty and error.
  async kindOf(address) {
    const classes = (await this.cell(address).getAttribute("class")).split(" ");
    return ["typed", "computed", "noted", "empty", "error"].filter((kind) => classes.includes(kind)).join();
  }

  // The texts of all cells on the screen by address.
  texts() {
    return this.page.evaluate(() =>
      Object.fromEntries([...document.querySelectorAll(".cell[data-address]")]
        .filter((cell) => cell.checkVisibility())
        .map((cell) => [cell.dataset.address, cell.textContent])));
  }

  // The status line tells only what takes long.
  saved() {
    const unsent = this.page.locator(".row:not([hidden]) .cell.unsent");
    const state = async () => [await this.page.locator(".saving").innerText(), await unsent.count()];
    return eventually(state, ["Saved", 0], "the state of the edits");
  }
}

// Waits until `read` gives what is wanted.
export async function eventually(read, wanted, what = "", limit = patience) {
  const end = performance.now() + limit;
  for (;;) {
    const value = await read();
    try {
      assert.deepEqual(value, wanted, `${what} ${JSON.stringify(value)} is not ${JSON.stringify(wanted)}`);
      return;
    } catch (error) {
      if (performance.now() > end) throw error;
      await sleep(20);
    }
  }
}

export function textsOf({ forms }) {
  const texts = {};
  for (const form of forms) {
    for (const table of form.tables) {
      for (const row of table.rows) {
        for (const [column, cell] of Object.entries(row.cells)) {
          texts[`${form.name}/${table.name}:${column}:${row.id}`] = cell.text;
        }
      }
    }
  }
  return texts;
}

// A CSS string.
function quoted(text) {
  return `"${text.replace(/["\\\p{Cc}]/gu, (c) => `\\${c.codePointAt(0).toString(16)} `)}"`;
}
