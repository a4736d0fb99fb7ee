// Where things are: the build under test comes from VANTORA_BUILD_DIR, else it is build/release.
import { mkdtemp, rm } from 'node:fs/promises';
import { tmpdir } from 'node:os';
import { dirname, join, resolve } from 'node:path';
import { fileURLToPath } from 'node:url';

export const root = resolve(dirname(fileURLToPath(import.meta.url)), '../../..');
export const build = process.env.VANTORA_BUILD_DIR ?? join(root, 'build/release');
export const here = join(root, 'tests/e2e');

/// A directory of the test's own, with what removes it.
export async function temporaryDirectory(name) {
  const path = await mkdtemp(join(tmpdir(), `vantora-${name}-`));
  return { path, remove: () => rm(path, { recursive: true, force: true, maxRetries: 5 }) };
}
