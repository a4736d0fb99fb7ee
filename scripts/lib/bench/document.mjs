// Writes the tables of results.json into docs/performance.md, between its marks "<!-- NAME -->" and "<!-- /NAME -->":
// node document.mjs RESULTS DOCUMENT.
import { readFileSync, writeFileSync } from 'node:fs';
import { budgets, markdown, scrolling, standing } from './comparison.mjs';

const [results, document] = process.argv.slice(2);
const { date, machine, runs } = JSON.parse(readFileSync(results, 'utf8'));
const versions = Object.entries(machine.versions).map(([name, version]) => `${name} ${version}`).join(', ');
const parts = {
  machine: `Measured on ${date.slice(0, 10)}: ${machine.cores} cores (${machine.cpu}), ${machine.memoryGiB} GiB, Linux ${machine.kernel},
${machine.system}; ${versions}.`,
  scrolling: markdown(scrolling(runs), { padded: false }),
  standing: markdown(standing(runs), { padded: false }),
  budget: markdown(budgets(runs), { padded: false }),
};
let written = readFileSync(document, 'utf8');
for (const [name, content] of Object.entries(parts)) {
  const [from, to] = [`<!-- ${name} -->\n`, `<!-- /${name} -->`];
  const [start, end] = [written.indexOf(from), written.indexOf(to)];
  if (start < 0 || end < start) throw new Error(`${document} has no place for "${name}"`);
  written = written.slice(0, start + from.length) + content + '\n' + written.slice(end);
}
writeFileSync(document, written);
