// A table of many rows: what is measured is printed, the bounds are generous.
import assert from "node:assert/strict";
import { writeFileSync } from "node:fs";
import path from "node:path";
import { eventually, scenario } from "./support.mjs";

const count = process.env.KT_PAGE_TEST_SLOW ? 10_000 : 100_000;
const longest = process.env.KT_PAGE_TEST_SLOW ? 60_000 : 2000;
const formulas = { Moles: "[Mass]/[MW]", Twice: "2*[Moles]", Rest: "[Mass]-[Loss]" };

function makeTable(scene) {
  const rows = Array.from({ length: count }, (_, i) => `${(1 + (i % 900) / 100).toFixed(2)},180.2,0.${10 + (i % 90)}`);
  const csv = path.join(scene.folder, "big.csv");
  const notebook = path.join(scene.folder, "big.xml");
  writeFileSync(csv, `Mass,MW,Loss\n${rows.join("\n")}\n`);
  const named = Object.entries(formulas).flatMap(([name, formula]) => ["--formula", `${name}=${formula}`]);
  scene.run("recalculate", csv, ...named, "-o", notebook);
  scene.ask("import", notebook);
}

// Milliseconds from Enter until the cell shows another text and is painted.
async function timeOfEdit(view, address, text, computed) {
  await view.cell(address).click();
  await view.type(text);
  await view.page.evaluate((changed) => {
    const cell = [...document.querySelectorAll(".cell")].find((each) => each.dataset.address === changed);
    const before = cell.textContent;
    let start = 0;
    addEventListener("keydown", () => (start = performance.now()), { capture: true, once: true });
    window.editTime = new Promise((resolve) => {
      const watch = () => {
        if (cell.textContent === before) return requestAnimationFrame(watch);
        requestAnimationFrame(() => resolve(performance.now() - start));
      };
      watch();
    });
  }, computed);
  await view.press("Enter");
  return view.page.evaluate(() => window.editTime);
}

scenario(`a table of ${count} rows opens, scrolls and is edited`, async (scene) => {
  makeTable(scene);
  const [form] = JSON.parse(scene.ask("list", "--json"));
  const texts = scene.texts(form);
  await scene.serve();
  const begin = performance.now();
  const view = await scene.open();
  console.log(`opened in ${Math.round(performance.now() - begin)} ms`);
  const table = Object.keys(texts)[0].split(":")[0];
  const showsTruth = async (row) => {
    await view.cell(`${table}:Rest:${row}`).waitFor();
    await eventually(async () => {
      const shown = Object.entries(await view.texts());
      return shown.length > 0 && shown.every(([address, text]) => text === texts[address]);
    }, true, "the rows on the screen");
  };
  await showsTruth(1);
  await view.page.locator(".grid").evaluate((grid) => grid.scrollTo(0, (grid.scrollHeight - grid.clientHeight) / 2));
  await view.cell(`${table}:Rest:${count / 2}`).waitFor();
  await view.press("Control+End");
  await showsTruth(count);

  const times = [];
  for (const text of ["7.77", "3.21", "5.55", "1.11", "9.99"]) {
    times.push(await timeOfEdit(view, `${table}:Mass:${count}`, text, `${table}:Moles:${count}`));
  }
  await view.saved();
  const after = scene.texts(form);
  for (const column of Object.keys(formulas)) await view.shows(`${table}:${column}:${count}`, after[`${table}:${column}:${count}`]);
  const memory = await scene.memory();
  console.log(`Enter to the computed cell: ${times.map(Math.round).join(", ")} ms; the page takes ${Math.round(memory)} MB`);
  assert.ok(Math.max(...times) < longest, String(times));
  assert.ok(memory < 300, String(memory));
}, 900_000);
