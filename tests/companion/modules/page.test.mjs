// The page's files among themselves, without a browser.
import assert from 'node:assert/strict';
import { readFile, readdir } from 'node:fs/promises';
import { dirname, join, normalize } from 'node:path';
import { test } from 'node:test';
import { root } from '../../e2e/lib/paths.mjs';

const viewer = join(root, 'companion/viewer');
const read = (file) => readFile(join(viewer, file), 'utf8');

// What a module imports before it runs, and what it imports when that is needed.
async function importsOf(file) {
  const text = await read(file);
  const paths = (pattern) => [...text.matchAll(pattern)].map(([, path]) => normalize(join(dirname(file), path)));
  return {
    first: paths(/^(?:import|export) (?:[^;']*? from )?'([^']+)';/gm),
    later: paths(/import\('([^']+)'\)/g),
  };
}

// The modules that `start` needs before it runs, the nearest first.
async function needed(start) {
  const found = [start];
  for (const file of found) {
    for (const path of (await importsOf(file)).first) if (!found.includes(path)) found.push(path);
  }
  return found.slice(1);
}

test('a browser can fetch all modules of the start at once', async () => {
  const page = await read('index.html');
  const preloaded = [...page.matchAll(/<link rel="modulepreload" href="([^"]+)">/g)].map(([, path]) => path);
  const expected = await needed('main.js');
  assert.ok(expected.length > 20);
  assert.deepEqual(preloaded.toSorted(), expected.toSorted(), 'index.html needs a modulepreload link for each of these');
});

test('every file of the page is used by it', async () => {
  const files = (await readdir(viewer, { recursive: true, withFileTypes: true }))
    .filter((entry) => entry.isFile()).map((entry) => join(entry.parentPath, entry.name).slice(viewer.length + 1));
  const page = await read('index.html');
  const used = new Set(['index.html', ...[...page.matchAll(/(?:href|src)="([^"]+)"/g)].map(([, path]) => path)]);
  for (const file of used) {
    if (!file.endsWith('.js')) continue;
    const { first, later } = await importsOf(file);
    for (const path of [...first, ...later]) used.add(path);
  }
  assert.deepEqual(files.filter((file) => !used.has(file)), []);
});

test('the page asks no other server for anything', async () => {
  for (const file of await readdir(viewer, { recursive: true })) {
    if (!/\.(js|css|html|svg)$/.test(file)) continue;
    const foreign = [...(await read(file)).matchAll(/(?:https?:)?\/\/[\w.-]+\.\w+[^\s'"`)]*/g)].map(([address]) => address)
      .filter((address) => !address.startsWith('http://www.w3.org/'));
    assert.deepEqual(foreign, [], file);
  }
});
