// The parts beside the grid, and the properties dialog.
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { eventually, scenario } from "./support.mjs";

async function aspirin(scene) {
  scene.example("aspirin.xml");
  await scene.serve();
  return scene.open();
}

const link = (panel, address) => panel.locator(`[data-cell="${address}"]`).first();

scenario("why: inputs are followed by clicks, and an error to where it arose", async (scene) => {
  const view = await aspirin(scene);
  await view.cell("Aspirin/Reactants:Moles:AA").click();
  const why = await view.openPanel("Why?");
  await eventually(() => why.locator("h2").innerText(), "52.5 mmol");
  const cells = JSON.parse(scene.ask("explain", "Aspirin/Reactants:Moles:AA", "--depth", "1", "--json"))
    .steps.map((step) => step.cell).filter(Boolean);
  assert.equal(cells.length, 3);
  for (const cell of cells) await link(why, cell).waitFor();

  await link(why, "Aspirin/Reactants:Volume:AA").click();
  await eventually(() => why.locator("h2").innerText(), "5.00 ml");
  await eventually(() => view.page.locator(".cell.active").getAttribute("data-address"), "Aspirin/Reactants:Volume:AA");

  await view.cell("Aspirin/Reactants:MW:SA").click();
  await view.type("n.d.", "Enter");
  const failed = view.cell("Aspirin/Products:Theory:ASA");
  await view.page.getByRole("tab", { name: "Products" }).click();
  await eventually(async () => /^#Error: /.test(await failed.innerText()), true, "the error");
  assert.equal(await view.kindOf("Aspirin/Products:Theory:ASA"), "error");
  await failed.click();
  await link(why, "Aspirin/Reactants:MW:SA").click();
  await eventually(() => view.focused(), "Aspirin/Reactants:MW:SA");
  await eventually(() => why.locator("h2").innerText(), "n.d.");
});

scenario("a wrong name in a formula is underlined and mended from its problem", async (scene) => {
  const view = await aspirin(scene);
  await view.cell("Aspirin/Reactants:Moles:SA").click();
  const panel = await view.openPanel("Formula");
  const editor = panel.getByRole("textbox", { name: "Formula of column Moles" });
  await editor.click();
  await view.press("Control+a");
  await view.type("[Mass]/[WM]");
  await eventually(() => panel.locator(".cm-lintRange-error").allInnerTexts(), ["[WM]"], "what is underlined");
  await panel.getByText("did you mean [MW]").waitFor();
  await view.button("Replace by [MW]", panel).click();
  await eventually(() => editor.innerText(), "[Mass]/[MW]");
  await panel.getByText("14.5 mmol").waitFor();
  assert.equal(await view.textOf("Aspirin/Reactants:Moles:SA"), "14.3 mmol");
  await view.button("Save", panel).click();
  await view.shows("Aspirin/Reactants:Moles:SA", "14.5 mmol");
  await view.shows("Aspirin/Reactants:Moles:AA", scene.texts("Aspirin")["Aspirin/Reactants:Moles:AA"]);
  assert.match(scene.ask("formula", "Aspirin/Reactants:Moles"), /\[Mass\]\/\[MW\]/);
});

scenario("the properties dialog changes a formula", async (scene) => {
  const view = await aspirin(scene);
  await view.cell("Aspirin/Reactants:Moles:SA").click();
  await view.button("Properties").click();
  const dialog = view.page.locator("[data-dialog=properties]");
  await dialog.waitFor();
  const list = view.control("mSourcePropertyComboBox");
  const moles = (await list.locator("option").allInnerTexts()).find((item) => item.includes("Moles"));
  await list.selectOption({ label: moles });
  const formula = view.control("mFormulaTextBox");
  await eventually(() => formula.inputValue(), "[Mass]*[Purity]/[MW]");
  await formula.fill("2*[Mass]/[MW]");
  await list.selectOption({ index: 0 });
  await list.selectOption({ label: moles });
  await eventually(() => formula.inputValue(), "2*[Mass]/[MW]");
  await view.control("mOKButton").click();
  await dialog.waitFor({ state: "detached" });
  await view.shows("Aspirin/Reactants:Moles:SA", "29.0 mmol");
  assert.match(scene.ask("formula", "Aspirin/Reactants:Moles"), /2\*\[Mass\]\/\[MW\]/);
});

scenario("plot: error bars, a point selects its row, the picture is saved", async (scene) => {
  scene.example("puromycin.xml");
  scene.ask("set", "Puromycin/Treated:Rate:3", "80 .. 110");
  await scene.serve();
  const view = await scene.open();
  const plot = await view.openPanel("Plot");
  await plot.getByLabel("Across", { exact: true }).selectOption("Conc");
  for (const box of await plot.locator("fieldset input").all()) {
    await box.setChecked((await box.getAttribute("value")) === "Rate");
  }
  await plot.getByRole("application", { name: /^Plot of Rate against Conc/ }).waitFor();

  const row = await pointAt(view.page, plot);
  await view.page.mouse.down();
  await view.page.mouse.up();
  await eventually(() => view.focused(), `Puromycin/Treated:Rate:${row}`);

  const [download] = await Promise.all([view.page.waitForEvent("download"), view.button("Save as SVG", plot).click()]);
  const svg = readFileSync(await download.path(), "utf8");
  const shapes = await view.page.evaluate((text) => {
    const picture = new DOMParser().parseFromString(text, "image/svg+xml");
    const count = (selector) => picture.querySelectorAll(selector).length;
    return { errors: count("parsererror"), points: count("g path[transform]"), bars: count("g path:not([transform])") };
  }, svg);
  const rows = Object.keys(scene.texts("Puromycin")).filter((address) => address.startsWith("Puromycin/Treated:Rate:"));
  assert.deepEqual(shapes, { errors: 0, points: rows.length, bars: 1 });
});

// Moves the mouse over the plot until a point is there; the row that it is said to be.
async function pointAt(page, plot) {
  const box = await plot.locator(".u-over").boundingBox();
  const readout = plot.locator(".kt-plot-readout");
  for (let y = box.y + 8; y < box.y + box.height; y += 12) {
    for (let x = box.x + 8; x < box.x + box.width; x += 12) {
      await page.mouse.move(x, y);
      const match = /^Row (\S+):/.exec(await readout.innerText());
      if (match) return match[1];
    }
  }
  return assert.fail("there is no point in the plot");
}
