// The tests of the page that are marked with `firefox`, in Firefox: one start of it for all of them.
import { readFile, readdir } from 'node:fs/promises';
import { onlyFirefoxTests } from './setup.mjs';

onlyFirefoxTests();
for (const name of (await readdir(new URL('.', import.meta.url))).filter((each) => each.endsWith('.test.mjs')).sort()) {
  const text = await readFile(new URL(name, import.meta.url), 'utf8');
  if (text.includes('firefox: true')) await import(`./${name}`);
}
