// The main views, light and dark and at twice the size: what a screen reader and weak eyes need, and
// pictures of them.
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { createRequire } from "node:module";
import { eventually, scenario } from "./support.mjs";

const axe = readFileSync(createRequire(import.meta.url).resolve("axe-core/axe.min.js"), "utf8");

const looks = {
  light: { colorScheme: "light", viewport: { width: 1280, height: 800 } },
  dark: { colorScheme: "dark", viewport: { width: 1280, height: 800 } },
  // A window of 1280 by 800 at 200 %.
  "light at 200 %": { colorScheme: "light", viewport: { width: 640, height: 400 }, deviceScaleFactor: 2 },
};

const moles = "Aspirin/Reactants:Moles:AA";

const views = {
  async grid(view) {
    const close = view.button("Close the panel");
    if (await close.isVisible()) await close.click();
  },
  async why(view) {
    const panel = await view.openPanel("Why?");
    await eventually(() => panel.locator("h2").innerText(), "52.5 mmol");
  },
  async formula(view) {
    await view.openPanel("Formula");
    await view.page.getByRole("textbox", { name: "Formula of column Moles" }).click();
    await view.press("Control+a");
    await view.type("[Mass]*[Purty]/[MW]");
    await view.panel("formula").getByText("did you mean").waitFor();
  },
  async plot(view) {
    const panel = await view.openPanel("Plot");
    await panel.getByRole("application", { name: /^Plot of/ }).waitFor();
  },
  async properties(view) {
    await view.button("Properties").click();
    await view.page.locator("[data-dialog=properties]").waitFor();
  },
  async "new column"(view) {
    await view.button("Column").click();
    await view.page.getByRole("dialog", { name: "New column" }).waitFor();
  },
  async menu(view) {
    await view.cell(moles).click({ button: "right" });
    await view.page.getByRole("menu").waitFor();
  },
  async alert(view) {
    await view.cell("Aspirin/Reactants:Mass:SA").click();
    await view.type("2,5 g", "Enter");
    await view.page.getByRole("alert").first().waitFor();
  },
};

async function seriousFindings(page) {
  await page.evaluate(axe);
  const { violations } = await page.evaluate(() => window.axe.run(document, { resultTypes: ["violations"] }));
  return violations
    .filter(({ impact }) => impact === "serious" || impact === "critical")
    .flatMap(({ id, nodes }) => nodes.map((node) => `${id}: ${node.target} ${node.failureSummary}`));
}

for (const [look, options] of Object.entries(looks)) {
  scenario(`views, ${look}: nothing serious is found by axe`, async (scene) => {
    scene.example("aspirin.xml");
    await scene.serve();
    const findings = {};
    for (const [name, show] of Object.entries(views)) {
      const view = await scene.open(options);
      await view.cell(moles).click();
      await show(view);
      await scene.picture(`${name} ${look}`);
      findings[name] = await seriousFindings(view.page);
      await view.page.context().close();
    }
    assert.deepEqual(findings, Object.fromEntries(Object.keys(views).map((name) => [name, []])));
  });
}
