// Files that go out and come back, and texts that try to be more than texts.
import assert from "node:assert/strict";
import { readFileSync, writeFileSync } from "node:fs";
import path from "node:path";
import { eventually, scenario, source } from "./support.mjs";

async function download(view, item) {
  const [file] = await Promise.all([view.page.waitForEvent("download"), view.menu("File", item)]);
  return { name: file.suggestedFilename(), text: readFileSync(await file.path(), "utf8") };
}

async function openFile(view, file) {
  const [chooser] = await Promise.all([view.page.waitForEvent("filechooser"), view.menu("File", /^Open file/)]);
  await chooser.setFiles(file);
}

scenario("a form is saved as a file and opened again, a table saved as CSV", async (scene) => {
  scene.example("aspirin.xml");
  await scene.serve();
  const view = await scene.open();
  const notebook = await download(view, /^Save form/);
  const file = path.join(scene.folder, notebook.name);
  writeFileSync(file, notebook.text);
  await openFile(view, file);
  await view.shows("Aspirin 2/Reactants:Moles:AA", "52.5 mmol");
  const again = Object.entries(scene.texts("Aspirin 2")).map(([cell, text]) => [cell.replace("Aspirin 2/", "Aspirin/"), text]);
  assert.deepEqual(Object.fromEntries(again), scene.texts("Aspirin"));

  const csv = path.join(scene.folder, "table.csv");
  const example = path.join(source, "examples/serial-dilution.xml");
  scene.run("recalculate", example, "-o", csv);
  await openFile(view, example);
  await view.page.getByRole("columnheader", { name: "Fill to" }).waitFor();
  assert.equal((await download(view, /^Save table as CSV/)).text, readFileSync(csv, "utf8"));
});

const hostile = {
  form: `<img src=x onerror="hit()">`,
  table: `"><script>hit()</script>`,
  column: `a'b\\"c]d\u202eevil/:`,
  row: `javascript:hit()/<b>`,
};
const texts = [
  `<img src=x onerror=hit()>`,
  `"><svg onload='hit()'>`,
  `{{7*7}} \${hit()} <!-- -->`,
  `\u202eright to left\u202c \u200f`,
  `two\nlines\tand a tab`,
  `bell \u0007 escape \u001b[31m delete \u007f`,
  `long ${"<b>x</b>".repeat(2000)}`,
];

scenario("hostile names and texts are shown as they are, and run nothing", async (scene) => {
  const { form, table, column, row } = hostile;
  const place = `${form}/${table}`;
  scene.ask("new", form);
  scene.ask("add", place);
  scene.ask("add", `${place}:${column}`);
  scene.ask("add", `${place}:Number`, "--unit", "g");
  scene.ask("add", `${place}::${row}`);
  texts.slice(1).forEach((_, i) => scene.ask("add", `${place}::${i + 2}`));
  texts.forEach((text, i) => scene.ask("set", `${place}:${column}:${i === 0 ? row : i + 1}`, text));
  const wanted = scene.texts(form);
  await scene.serve();
  const view = await scene.open();
  await view.page.evaluate(() => (window.hit = () => (window.wasHit = true)));
  await eventually(() => view.texts(), wanted);
  const first = `${place}:${column}:${row}`;
  await view.cell(first).click();
  for (const tool of ["Why?", "Formula", "Plot"]) await view.openPanel(tool);
  await view.cell(first).click();
  await view.type(texts[1], "Enter");
  await view.shows(first, texts[1]);
  await view.press("ArrowUp", "Shift+F10", "Escape", "F2", "Escape");
  await view.cell(`${place}:Number:${row}`).click();
  await view.type(texts[0], "Enter");
  await view.saved();
  await view.menu("Table", /^Remove table/);
  await view.page.getByRole("dialog").getByText(table).waitFor();
  await view.press("Escape");
  await view.menu("File", /^Rename form/);
  await view.press("End");
  await view.type("!", "Enter");
  await view.cell(first.replace(form, `${form}!`)).waitFor();
  assert.equal(await view.page.title(), `${form}! – Notebook`);
  assert.equal(await view.page.evaluate(() => window.wasHit), undefined);
  assert.equal(await view.page.locator("main img, main script, main b, header img").count(), 0);
  assert.equal(scene.texts(`${form}!`)[first.replace(form, `${form}!`)], texts[1]);
});
