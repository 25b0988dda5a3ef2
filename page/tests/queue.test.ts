import assert from "node:assert/strict";
import test from "node:test";
import { ApiError, type Change } from "../src/api";
import { EditQueue, type Conflict, type Edit } from "../src/sync/queue";

// A server that holds cells "COLUMN:ROW" of one table, and answers as it is told to once.
class Server {
  cells: Record<string, string> = { "A:1": "a", "B:1": "b", "A:2": "c" };
  // What becomes of the next requests: they are lost, or their answers are.
  faults: ("lost" | "answer lost")[] = [];
  // Another cell that follows from each change.
  computed: string | null = null;
  sent = 0;

  async send(edit: Edit): Promise<Change> {
    const fault = this.faults.shift();
    if (fault === "lost") throw new ApiError(0, "lost");
    const places = edit.texts.flatMap((row, i) => row.map((text, j) => ({ text, was: edit.was[i]![j]!, cell: `${edit.columns[j]}:${edit.rows[i]}` })));
    const typed = places.filter((place) => place.text !== null);
    const conflicts = typed.filter((place) => place.was !== null && place.was !== this.cells[place.cell]);
    if (conflicts.length > 0) {
      throw new ApiError(409, "changed", { conflicts: conflicts.map(({ cell }) => ({ cell: `F/T:${cell}`, present: this.cells[cell] })) });
    }
    for (const { cell, text } of typed) this.cells[cell] = text!;
    if (this.computed) this.cells[this.computed] = `computed ${++this.sent}`;
    if (fault === "answer lost") throw new ApiError(0, "lost");
    return { version: 1, changed: null, answer: { forms: [{ name: "F", tables: [{ name: "T", columns: [], rows: this.rows() }] }] } };
  }

  private rows() {
    return this.computed === null ? [] : [{ id: "1", cells: { [this.computed.split(":")[0]!]: { text: this.cells[this.computed]!, state: "" as const, min: 0, max: 0, unit: "" } } }];
  }
}

class Memory {
  kept: Record<string, string> = {};
  getItem = (key: string) => this.kept[key] ?? null;
  setItem = (key: string, value: string) => void (this.kept[key] = value);
  removeItem = (key: string) => void delete this.kept[key];
}

const edit = (columns: string[], row: string, texts: string[], was: string[]): Edit => ({
  form: "F", table: "T", columns, index: 0, rows: [row], texts: [texts], was: [was], placed: true,
});

function makeQueue(server: Server, memory = new Memory()) {
  const conflicts: Conflict[] = [];
  const refused: string[] = [];
  const queue = new EditQueue({
    send: (each) => server.send(each),
    locate: () => Promise.resolve(0),
    ids: () => Promise.resolve([]),
    answered: () => undefined,
    refused: (_, error) => refused.push(error.message),
    conflict: (conflict) => conflicts.push(conflict),
    changed: () => undefined,
  }, memory as unknown as Storage);
  return { queue, conflicts, refused, memory };
}

async function settled(queue: EditQueue): Promise<void> {
  for (let i = 0; i < 200 && queue.unsent > 0; ++i) await new Promise((resolve) => setTimeout(resolve, 20));
  assert.equal(queue.unsent, 0);
}

// Edits, what happens meanwhile, the cells at last, and the conflicts as [mine, theirs].
const cases: { name: string; edits: Edit[]; arrange?: (server: Server) => void; cells: Record<string, string>; conflicts?: [string, string][] }[] = [
  { name: "two edits of one cell", edits: [edit(["A"], "1", ["x"], ["a"]), edit(["A"], "1", ["y"], ["x"])], cells: { "A:1": "y" } },
  { name: "a request is lost", edits: [edit(["A"], "1", ["x"], ["a"])], arrange: (s) => s.faults.push("lost"), cells: { "A:1": "x" } },
  { name: "an answer is lost", edits: [edit(["A"], "1", ["x"], ["a"])], arrange: (s) => s.faults.push("answer lost"), cells: { "A:1": "x" } },
  {
    name: "somebody else was faster",
    edits: [edit(["A"], "1", ["x"], ["a"])],
    arrange: (s) => void (s.cells["A:1"] = "other"),
    cells: { "A:1": "other" },
    conflicts: [["x", "other"]],
  },
  {
    name: "the newest of several texts is the one in conflict",
    edits: [edit(["A"], "1", ["x"], ["a"]), edit(["A"], "1", ["y"], ["x"])],
    arrange: (s) => void (s.cells["A:1"] = "other"),
    cells: { "A:1": "other" },
    conflicts: [["y", "other"]],
  },
  {
    name: "the rest of a block is typed",
    edits: [edit(["A", "B"], "1", ["x", "y"], ["a", "b"])],
    arrange: (s) => void (s.cells["B:1"] = "other"),
    cells: { "A:1": "x", "B:1": "other" },
    conflicts: [["y", "other"]],
  },
  {
    name: "what the first edit computed is no conflict for the next",
    edits: [edit(["A"], "1", ["x"], ["a"]), edit(["B"], "1", ["y"], ["b"])],
    arrange: (s) => void (s.computed = "B:1"),
    cells: { "A:1": "x" },
  },
];

test("edits reach the server once, or are told of", async () => {
  for (const { name, edits, arrange, cells, conflicts = [] } of cases) {
    const server = new Server();
    arrange?.(server);
    const made = makeQueue(server);
    for (const each of edits) made.queue.add(structuredClone(each));
    await settled(made.queue);
    for (const [cell, text] of Object.entries(cells)) assert.equal(server.cells[cell], text, `${name}: ${cell}`);
    assert.deepEqual(made.conflicts.map(({ mine, theirs }) => [mine, theirs]), conflicts, name);
    assert.deepEqual(made.refused, [], name);
  }
});

test("a page that is loaded anew sends what was left, and knows conflicts and texts put aside", async () => {
  const server = new Server();
  const before = makeQueue(server);
  before.queue.add(edit(["A"], "1", ["x"], ["not a"]));
  await settled(before.queue);
  server.faults.push("lost");
  before.queue.add(edit(["A"], "2", ["y"], ["c"]));
  const after = makeQueue(server, Object.assign(new Memory(), { kept: { ...before.memory.kept } }));
  after.queue.restore();
  await settled(after.queue);
  assert.equal(server.cells["A:2"], "y");
  const [conflict] = after.queue.conflicts;
  after.queue.settle(conflict!, "theirs");
  assert.deepEqual(after.queue.aside.map(({ text }) => text), ["x"]);
});
