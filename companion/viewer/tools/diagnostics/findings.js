// What is wrong on the host, from its report.

import { CHECKS } from './checks.js';

const ORDER = ['bad', 'warning', 'note'];

// {findings: the worst first, checked: names of what the report tells about, unknown: names of the rest}.
// `at`: when the report was made, in ms. Pure.
export function findings(report, at = Date.now()) {
  const result = { findings: [], checked: [], unknown: [] };
  for (const { name, look } of CHECKS) {
    const found = look(report, at);
    (found === null ? result.unknown : result.checked).push(name);
    result.findings.push(...(found ?? []).map((each) => ({ ...each, check: name })));
  }
  result.findings.sort((a, b) => ORDER.indexOf(a.severity) - ORDER.indexOf(b.severity));
  return result;
}

// How many of them are more than a note.
export function problemCount(list) {
  return list.filter(({ severity }) => severity !== 'note').length;
}

// What has changed from one result to the next: {added: ids, gone: findings}. A finding that has become worse counts as
// added; one that cannot be checked any more is not gone.
export function changesSince(before, now) {
  const rank = new Map(before.findings.map(({ id, severity }) => [id, ORDER.indexOf(severity)]));
  const ids = new Set(now.findings.map(({ id }) => id));
  const isWorse = ({ id, severity }) => !rank.has(id) || ORDER.indexOf(severity) < rank.get(id);
  return {
    added: new Set(now.findings.filter(isWorse).map(({ id }) => id)),
    gone: before.findings.filter(({ id, check }) => !ids.has(id) && !now.unknown.includes(check)),
  };
}

// The heading above the findings.
export function verdict({ findings: list, checked, unknown }) {
  const count = problemCount(list);
  if (count > 0) return count === 1 ? '1 thing needs attention.' : `${count} things need attention.`;
  if (checked.length === 0) return 'The report says nothing that can be checked.';
  return unknown.length === 0 ? 'Nothing is wrong.' : 'Nothing wrong was found.';
}
