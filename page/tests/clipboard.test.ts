import assert from "node:assert/strict";
import test from "node:test";
import { readBlock, writeBlock } from "../src/grid/clipboard";

// Texts of the clipboard, the block that they mean, and the text that is written for it where that
// is another.
const cases: [string, string[][], string?][] = [
  ["", [[""]]],
  ["a", [["a"]]],
  ["a\tb\nc\td", [["a", "b"], ["c", "d"]]],
  ["a\tb\r\nc\td\r\n", [["a", "b"], ["c", "d"]], "a\tb\nc\td"],
  ["a\rb", [["a"], ["b"]], "a\nb"],
  ["a\n\nb", [["a"], [""], ["b"]]],
  ["\n\n", [[""], [""]]],
  ["a\t\n", [["a", ""]], "a\t"],
  ["a\tb\nc", [["a", "b"], ["c", ""]], "a\tb\nc\t"],
  ['"x\ty"\tz', [["x\ty", "z"]]],
  ['"two\r\nlines"\t"say ""hi"""', [["two\r\nlines", 'say "hi"']], '"two\r\nlines"\tsay "hi"'],
  ['5" pipe\t2"', [['5" pipe', '2"']]],
  ['"open\tb\nc', [['"open', "b"], ["c", ""]], '"""open"\tb\nc\t'],
  ['"a"b\tc', [['"a"b', "c"]], '"""a""b"\tc'],
  ['""', [[""]], ""],
];

test("clipboard texts are blocks", () => {
  for (const [text, block, written = text] of cases) {
    assert.deepEqual(readBlock(text), block, JSON.stringify(text));
    assert.equal(writeBlock(block), written);
    assert.deepEqual(readBlock(written), block, `again: ${JSON.stringify(written)}`);
  }
});
