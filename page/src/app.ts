// The page around the grid.
import { Api } from "./api";
import { el } from "./dom";

export async function startApp(body: HTMLElement): Promise<void> {
  const api = new Api();
  const forms = await api.forms();
  body.append(el("h1", { textContent: forms[0] ?? "" }));
  if (forms[0] === undefined) return;
  const structure = await api.structure(forms[0]);
  for (const field of structure.fields) {
    body.append(el("h2", { textContent: field.name }));
  }
}
