// A report on the page: what is wrong, then all values.

import { make } from '../../shell/dom.js';
import { icon } from '../../shell/icons.js';
import { changesSince, findings, problemCount, verdict } from './findings.js';
import { sections } from './sections.js';
import { NOT_KNOWN, SEVERITY } from './text.js';

// Longer ones continue in the next column.
const LONG_TABLE = 15;

const ICONS = { bad: 'warning', warning: 'warning', note: 'diagnostics' };

// A new element; `before`: the report before this one, or null, whose findings are compared.
export function reportView(kept, before) {
  const view = make('div', 'report');
  const result = findings(kept.report, kept.at);
  const changes = before && changesSince(findings(before.report, before.at), result);
  view.append(overview(result, changes, before), body(kept.report));
  return view;
}

function overview(result, changes, before) {
  const { findings: list, checked, unknown } = result;
  const section = make('section', 'report-overview');
  const fine = problemCount(list) === 0 && checked.length > 0;
  const heading = make('h3', fine ? 'verdict fine' : 'verdict', verdict(result));
  if (fine) heading.prepend(icon('check'));
  section.append(heading);
  if (list.length > 0) {
    const items = make('ul', 'finding-list');
    items.append(...list.map((each) => findingElement(each, changes?.added.has(each.id) ?? false)));
    section.append(items);
  }
  if (changes?.gone.length > 0) {
    const gone = make('ul', 'gone-list');
    gone.append(...changes.gone.map(({ text }) => make('li', '', text)));
    section.append(make('h4', '', `Gone since ${clock(before.at)}`), gone);
  }
  section.append(make('p', 'panel-note', `Checked: ${checked.join(', ') || 'nothing'}.`));
  if (unknown.length > 0) section.append(make('p', 'panel-note', `Not known: ${unknown.join(', ')}.`));
  return section;
}

function findingElement({ severity, text, advice }, added) {
  const item = make('li', `finding ${severity}`);
  const words = make('div', '');
  const head = make('span', 'finding-severity', SEVERITY[severity]);
  if (added) head.append(make('span', 'finding-new', 'new'));
  words.append(head, make('p', '', text));
  if (advice) words.append(make('p', 'panel-note', advice));
  item.append(icon(ICONS[severity]), words);
  return item;
}

export function clock(ms) {
  return new Date(ms).toLocaleTimeString([], { hour: '2-digit', minute: '2-digit', second: '2-digit' });
}

function body(report) {
  const box = make('div', 'report-sections');
  for (const { title, rows, tables } of sections(report)) {
    const long = tables.some((table) => table.rows.length > LONG_TABLE);
    const section = make('section', long ? 'report-section long' : 'report-section');
    section.append(make('h3', '', title));
    if (rows.length > 0) section.append(rowsElement(rows));
    for (const table of tables) section.append(tableElement(table, title));
    box.append(section);
  }
  return box;
}

function rowsElement(rows) {
  const list = make('dl', 'report-rows');
  for (const [label, value] of rows) {
    const row = make('div', '');
    row.append(make('dt', '', label), make('dd', value === null ? 'unknown' : '', value ?? NOT_KNOWN));
    list.append(row);
  }
  return list;
}

function tableElement({ title, head, rows, narrow }, section) {
  const box = make('div', 'report-table');
  const table = make('table', '');
  table.append(make('caption', title ? '' : 'visually-hidden', title ?? section));
  const headRow = make('tr', '');
  head.forEach((text, column) => {
    const cell = make('th', narrow.includes(column) ? 'narrow' : '', text);
    cell.scope = 'col';
    headRow.append(cell);
  });
  const top = make('thead', '');
  top.append(headRow);
  const bottom = make('tbody', '');
  for (const row of rows) {
    const line = make('tr', '');
    row.forEach((text, column) => {
      const names = [narrow.includes(column) ? 'narrow' : '', text === null ? 'unknown' : ''];
      line.append(make('td', names.join(' ').trim(), text ?? NOT_KNOWN));
    });
    bottom.append(line);
  }
  table.append(top, bottom);
  box.append(table);
  return box;
}
