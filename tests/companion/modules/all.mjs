// All tests of modules that need no document, in one process.
import { readdir } from 'node:fs/promises';

for (const name of (await readdir(new URL('.', import.meta.url))).sort()) {
  if (name.endsWith('.test.mjs')) await import(`./${name}`);
}
