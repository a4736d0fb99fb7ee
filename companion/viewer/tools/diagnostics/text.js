// A kept report, {report, at (ms), host, room}, as plain text and as a file. Pure.

import { findings, verdict } from './findings.js';
import { sections } from './sections.js';

export const NOT_KNOWN = 'not known';
export const SEVERITY = { bad: 'Problem', warning: 'Warning', note: 'Note' };

const LABEL_WIDTH = 26;
const MAX_NAME = 40;

export function titleOf({ host, room, at }) {
  const time = new Date(at).toLocaleString([], { dateStyle: 'medium', timeStyle: 'short' });
  return `Diagnostics of ${host || room}, ${time}`;
}

export function reportText(kept) {
  const result = findings(kept.report, kept.at);
  const { findings: list, checked, unknown } = result;
  const lines = [titleOf(kept), `Room: ${kept.room}`, '', verdict(result)];
  for (const { severity, text, advice } of list) {
    lines.push(`- ${SEVERITY[severity]}: ${text}${advice ? ` ${advice}` : ''}`);
  }
  lines.push('', `Checked: ${checked.join(', ') || 'nothing'}.`);
  if (unknown.length > 0) lines.push(`Not known: ${unknown.join(', ')}.`);
  for (const { title, rows, tables } of sections(kept.report)) {
    lines.push('', title.toUpperCase());
    for (const [label, value] of rows) lines.push(`${`${label}:`.padEnd(LABEL_WIDTH)}${value ?? NOT_KNOWN}`);
    for (const table of tables) lines.push(...(table.title ? [`${table.title}:`] : []), ...tableLines(table));
  }
  return `${lines.join('\n')}\n`;
}

function tableLines({ head, rows, narrow }) {
  const cells = [head, ...rows.map((row) => row.map((cell) => cell ?? NOT_KNOWN))];
  const widths = head.map((_, column) =>
    Math.min(LABEL_WIDTH * 2, Math.max(...cells.map((row) => row[column].length))),
  );
  const padded = (cell, column) =>
    narrow.includes(column) ? cell.padStart(widths[column]) : cell.padEnd(widths[column]);
  return cells.map((row) => `  ${row.map(padded).join('  ')}`.trimEnd());
}

export function reportJson({ host, room, at, report }) {
  return `${JSON.stringify({ host, room, time: new Date(at).toISOString(), report }, null, 2)}\n`;
}

// "diagnostics-Workshop-2026-11-22-1803.json", in the viewer's time.
export function fileName({ host, room, at }) {
  const name = (host || room)
    .normalize('NFKD')
    .replace(/[^A-Za-z0-9]+/g, '-')
    .replace(/^-+|-+$/g, '')
    .slice(0, MAX_NAME);
  const time = new Date(at);
  const two = (value) => String(value).padStart(2, '0');
  const day = `${time.getFullYear()}-${two(time.getMonth() + 1)}-${two(time.getDate())}`;
  return `diagnostics-${name || 'host'}-${day}-${two(time.getHours())}${two(time.getMinutes())}.json`;
}

// How old something is, in words.
export function ageText(ms) {
  const minutes = Math.floor(ms / 60000);
  if (minutes < 1) return 'just now';
  if (minutes < 60) return minutes === 1 ? '1 minute ago' : `${minutes} minutes ago`;
  const hours = Math.floor(minutes / 60);
  return hours === 1 ? '1 hour ago' : `${hours} hours ago`;
}
