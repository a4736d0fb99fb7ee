// The cases of smoke.txt, in one process and so in one browser (scripts/node-test runs those alone).
import { readFile } from 'node:fs/promises';

const list = await readFile(new URL('smoke.txt', import.meta.url), 'utf8');
const cases = list.split('\n').filter((line) => line && !line.startsWith('#')).map((line) => line.split(' '));
for (const file of new Set(cases.map(([file]) => file))) {
  const address = new URL(`${file}.test.mjs`, import.meta.url);
  const text = await readFile(address, 'utf8');
  for (const [, name] of cases.filter(([of]) => of === file)) {
    if (!text.includes(`test('${name}'`)) throw new Error(`${file}.test.mjs has no case "${name}"`);
  }
  await import(address);
}
