// Figures of one measuring program, printed at once and stored for the table.
import { writeFile } from 'node:fs/promises';

export { share } from './distribution.mjs';

const kept = [];
const runs = [];

export function figure(name, value, unit, aim, better = 'lower') {
  kept.push({ name, value, unit, aim, better });
  console.log(`${name}: ${value.toFixed(2)} ${unit}`);
}

/// Keeps everything that was measured in one run of a scenario, for the tables and plots that compare them.
export function keepRun(run) {
  runs.push(run);
}

export function writeFigures(file) {
  return writeFile(file, JSON.stringify({ figures: kept, ...(runs.length > 0 && { runs }) }, null, 2));
}
