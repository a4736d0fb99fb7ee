// Figures of one measuring program, printed at once and stored for the table.
import { writeFile } from 'node:fs/promises';

const kept = [];

export function figure(name, value, unit, aim, better = 'lower') {
  kept.push({ name, value, unit, aim, better });
  console.log(`${name}: ${value.toFixed(2)} ${unit}`);
}

/// The value below which `part` (0 to 1) of `values` lie.
export function share(values, part = 0.5) {
  const sorted = [...values].sort((a, b) => a - b);
  return sorted[Math.min(sorted.length - 1, Math.floor(sorted.length * part))];
}

export function writeFigures(file) {
  return writeFile(file, JSON.stringify({ figures: kept }, null, 2));
}
