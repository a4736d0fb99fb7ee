// Joins the figures of all measuring programs into results.json and prints them beside their aims: node table.mjs
// DIRECTORY. A figure that misses its aim is marked; it depends on the machine, so that is no failure.
import { readFileSync, readdirSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { budgets, markdown, scrolling, standing } from './comparison.mjs';
import { machine } from './machine.mjs';

const directory = process.argv[2];
const programs = {};
const runs = [];
for (const file of readdirSync(directory).sort()) {
  if (!/^bench_.*\.json$/.test(file)) continue;
  const measured = JSON.parse(readFileSync(join(directory, file), 'utf8'));
  programs[file.replace('.json', '')] = measured.figures ?? [];
  runs.push(...(measured.runs ?? []));
}
function shown(value) {
  if (value === null) return 'never';  // Infinity has become that in JSON.
  return Math.abs(value) >= 100 ? value.toFixed(0) : Number(value.toPrecision(3)).toString();
}
const rows = [];
for (const [program, figures] of Object.entries(programs)) {
  for (const { name, value, unit = '', aim, better = 'lower' } of figures) {
    const met = better === 'lower' ? value !== null && value <= aim : value !== null && value >= aim;
    const verdict = met ? 'ok' : 'MISSED';
    const goal = aim === undefined ? '' : `${better === 'lower' ? '<=' : '>='} ${shown(aim)}`;
    rows.push([program.replace('bench_', ''), name, `${shown(value)} ${unit}`.trim(), goal, aim === undefined ? '' : verdict]);
  }
}
writeFileSync(join(directory, 'results.json'),
  `${JSON.stringify({ date: new Date().toISOString(), machine: machine(), programs, runs }, null, 1)}\n`);
const head = ['program', 'figure', 'measured', 'aim', ''];
const widths = head.map((title, index) => Math.max(title.length, ...rows.map((row) => row[index].length)));
for (const row of [head, ...rows]) console.log(row.map((cell, index) => cell.padEnd(widths[index])).join('  ').trimEnd());
if (runs.length > 0) {
  console.log(`\nWhile the page scrolls\n${markdown(scrolling(runs))}\n\nBefore and after\n${markdown(standing(runs))}`);
  const stages = budgets(runs);
  if (stages.length > 1) console.log(`\nWhere the time of a change goes: p50 / p95 of each stage in ms\n${markdown(stages)}`);
}
