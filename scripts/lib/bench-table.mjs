// Joins the figures of all measuring programs into results.json and prints them beside their aims: node bench-table.mjs
// DIRECTORY. A figure that misses its aim is marked; it depends on the machine, so that is no failure.
import { readFileSync, readdirSync, writeFileSync } from 'node:fs';
import { cpus } from 'node:os';
import { join } from 'node:path';

const directory = process.argv[2];
const programs = {};
for (const file of readdirSync(directory).sort()) {
  if (!/^bench_.*\.json$/.test(file)) continue;
  programs[file.replace('.json', '')] = JSON.parse(readFileSync(join(directory, file), 'utf8')).figures ?? [];
}
const shown = (value) => (Math.abs(value) >= 100 ? value.toFixed(0) : Number(value.toPrecision(3)).toString());
const rows = [];
for (const [program, figures] of Object.entries(programs)) {
  for (const { name, value, unit = '', aim, better = 'lower' } of figures) {
    const meets = aim === undefined ? '' : (better === 'lower' ? value <= aim : value >= aim) ? 'ok' : 'MISSED';
    const goal = aim === undefined ? '' : `${better === 'lower' ? '<=' : '>='} ${shown(aim)}`;
    rows.push([program.replace('bench_', ''), name, `${shown(value)} ${unit}`.trim(), goal, meets]);
  }
}
writeFileSync(join(directory, 'results.json'),
  `${JSON.stringify({ date: new Date().toISOString(), cpu: cpus()[0]?.model, cores: cpus().length, programs }, null, 2)}\n`);
const head = ['program', 'figure', 'measured', 'aim', ''];
const widths = head.map((title, index) => Math.max(title.length, ...rows.map((row) => row[index].length)));
for (const row of [head, ...rows]) console.log(row.map((cell, index) => cell.padEnd(widths[index])).join('  ').trimEnd());
