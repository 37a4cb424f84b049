// Times a JavaScript library on the texts of the corpus of human dates: `node human-peer.mjs CORPUS`, run in a folder
// where chrono-node is installed. Prints the median of five runs in nanoseconds a text.
import { readFileSync } from "node:fs";
import { createRequire } from "node:module";

const chrono = createRequire(process.cwd() + "/")("chrono-node");
const texts = readFileSync(process.argv[2], "utf8")
  .split("\n")
  .filter((line) => line && !line.startsWith("#") && !line.startsWith("@"))
  .map((line) => line.split("\t")[0]);

function run() {
  const begin = process.hrtime.bigint();
  for (const text of texts) chrono.parseDate(text);
  return Number(process.hrtime.bigint() - begin) / texts.length;
}

for (let i = 0; i < 5; ++i) run(); // the compiler of the engine warms up
const runs = Array.from({ length: 5 }, run).sort((a, b) => a - b);
console.log(runs[2].toFixed(1));
