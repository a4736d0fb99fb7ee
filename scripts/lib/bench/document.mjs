// Writes the tables of results.json into performance.md, between its marks "<!-- NAME -->" and "<!-- /NAME -->", and
// copies the plots to performance/ beside it: node document.mjs RESULTS DOCS (both folders).
import { copyFileSync, mkdirSync, readFileSync, readdirSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { budgets, markdown, scrolling, standing } from './comparison.mjs';

const [results, docs] = process.argv.slice(2);
const { date, machine, runs } = JSON.parse(readFileSync(join(results, 'results.json'), 'utf8'));
const versions = Object.entries(machine.versions).map(([name, version]) => `${name} ${version}`).join(', ');
const wrapped = (text) => text.replace(/(.{1,118})( |$)/g, '$1\n').trim();
const parts = {
  machine: wrapped(`Measured on ${date.slice(0, 10)}: ${machine.cores} cores (${machine.cpu}), ${machine.memoryGiB} GiB, ${machine.system}, ` +
    `Linux ${machine.kernel}; ${versions}.`),
  scrolling: markdown(scrolling(runs), { padded: false }),
  standing: markdown(standing(runs), { padded: false }),
  budget: markdown(budgets(runs), { padded: false }),
};
const document = join(docs, 'performance.md');
let written = readFileSync(document, 'utf8');
for (const [name, content] of Object.entries(parts)) {
  const [from, to] = [`<!-- ${name} -->\n`, `<!-- /${name} -->`];
  const [start, end] = [written.indexOf(from), written.indexOf(to)];
  if (start < 0 || end < start) throw new Error(`${document} has no place for "${name}"`);
  written = `${written.slice(0, start + from.length)}${content}\n${written.slice(end)}`;
}
writeFileSync(document, written);
mkdirSync(join(docs, 'performance'), { recursive: true });
for (const file of readdirSync(results)) {
  if (file.endsWith('.svg')) copyFileSync(join(results, file), join(docs, 'performance', file));
}
