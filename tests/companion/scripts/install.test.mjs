// What a person sees of package installation and of the build: scripts/install-packages and scripts/build with fakes of
// apt-get, dpkg-query, sudo and cmake.
import assert from 'node:assert/strict';
import { execFile } from 'node:child_process';
import { chmod, cp, mkdir, readFile, symlink, writeFile } from 'node:fs/promises';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import { root, temporaryDirectory } from '../../e2e/lib/paths.mjs';

let place;
let folder;

const PACKAGES = Array.from({ length: 60 }, (_, index) => `package-${index}`);
const FETCH = PACKAGES.map((name, index) => `echo "Get:${index + 1} http://mirror stable/main ${name} [1 kB]"`);
const UNPACK = PACKAGES.flatMap((name) => [`echo "Unpacking ${name} (1.0) ..."`, 'echo chatter']);
const SET_UP = PACKAGES.map((name) => `echo "Setting up ${name} (1.0) ..."`);

before(async () => {
  place = await temporaryDirectory('install-test');
  folder = place.path;
  await mkdir(join(folder, 'scripts/packages'), { recursive: true });
  await mkdir(join(folder, 'fakes'));
  for (const file of ['install-packages', 'build', 'lib']) {
    await cp(join(root, 'scripts', file), join(folder, 'scripts', file), { recursive: true });
  }
  await writeFile(join(folder, 'scripts/packages/build.txt'), '# needed\none\ntwo\nthree node\n');
});
after(() => place?.remove());

// Programs of the test's own, each the lines of a shell script; `id` prints the user who runs them.
async function fakes(scripts) {
  for (const name of ['apt-get', 'dpkg-query', 'id', 'cmake', 'sudo']) {
    const lines = scripts[name] ?? ['exit 0'];
    const path = join(folder, 'fakes', name);
    await writeFile(path, ['#!/bin/sh', `printf '%s\\n' "${name} $*" >>${folder}/calls`, ...lines].join('\n') + '\n');
    await chmod(path, 0o755);
  }
  await writeFile(join(folder, 'calls'), '');
}

const calls = async () => (await readFile(join(folder, 'calls'), 'utf8')).split('\n').filter(Boolean);

// Runs a script of the folder; on a terminal when `terminal` says so.
function run(script, args, { terminal = false, path = `${join(folder, 'fakes')}:${process.env.PATH}` } = {}) {
  const [command, rest] = terminal
    ? ['script', ['-qec', ['scripts/' + script, ...args].join(' '), '/dev/null']]
    : [join(folder, 'scripts', script), args];
  return new Promise((resolve) => {
    execFile(command, rest, { cwd: folder, env: { ...process.env, PATH: path, TERM: 'xterm' } }, (error, stdout, stderr) =>
      resolve({ status: error?.code ?? 0, stdout, stderr, lines: stderr.split('\n').filter(Boolean) }));
  });
}

const asRoot = ['echo 0'];
const asSomebody = ['echo 1000'];
const nothingThere = ['exit 1'];
const apt = (...then) => ['case " $* " in', '*" -s "*)', ...PACKAGES.map((name) => `echo "Inst ${name} (1.0)"`), ';;',
  '*" install "*)', ...then, ';;', 'esac'];

test('does nothing when nothing is missing', async () => {
  await fakes({ 'dpkg-query': ['echo "installed one"', 'echo "installed two"'] });
  const { status, stdout, stderr } = await run('install-packages', ['build']);
  assert.deepEqual([status, stdout, stderr], [0, '', '']);
  assert.deepEqual((await calls()).map((call) => call.split(' ')[0]), ['dpkg-query']);
});

test('installs what is missing in a few lines and keeps the rest in a file', async () => {
  await fakes({ 'dpkg-query': ['echo "installed one"', 'exit 1'], id: asRoot, 'apt-get': apt(...FETCH, ...UNPACK, ...SET_UP) });
  const { status, stdout, lines } = await run('install-packages', ['build']);
  assert.equal(status, 0);
  assert.equal(stdout, '');
  assert.ok(lines.length <= 5, lines.join('\n'));
  assert.equal(lines.at(-1), 'Installed 60 Debian packages; build/install-packages.log tells which.');
  const log = (await readFile(join(folder, 'build/install-packages.log'), 'utf8')).split('\n');
  assert.ok(['Get:60 http://mirror stable/main package-59 [1 kB]', 'chatter', 'Setting up package-59 (1.0) ...']
    .every((line) => log.includes(line)));
  const installs = (await calls()).filter((call) => call.includes(' install ') && !call.includes(' -s '));
  assert.equal(installs.length, 1);
  assert.match(installs[0], / --no-install-recommends two$/);
});

test('counts on one line of a terminal', async () => {
  await fakes({ 'dpkg-query': nothingThere, id: asRoot, 'apt-get': apt(...FETCH, ...UNPACK, ...SET_UP) });
  const { status, stdout } = await run('install-packages', ['build'], { terminal: true });
  assert.equal(status, 0);
  for (const step of ['downloading 60', 'unpacking 1', 'setting up 60']) {
    assert.ok(stdout.includes(`\rInstalling 60 Debian packages: ${step} of 60\x1b[K`), step);
  }
  assert.equal(stdout.split('\n').filter(Boolean).length, 1, 'lines');
});

test('shows the end of the log when apt-get fails', async () => {
  const failures = { install: apt(...FETCH, 'echo "E: Unable to fetch some archives" >&2', 'exit 100'), update: ['echo "E: No network"', 'exit 100'] };
  for (const [what, script] of Object.entries(failures)) {
    await fakes({ 'dpkg-query': nothingThere, id: asRoot, 'apt-get': script });
    const { status, lines } = await run('install-packages', ['build']);
    assert.equal(status, 1);
    assert.ok(lines.includes(`apt-get ${what} failed:`), lines.join('\n'));
    assert.match(lines.at(-2), /^ {2}E: /);
    assert.equal(lines.at(-1), 'All of it is in build/install-packages.log.');
    assert.ok(lines.length < 30);
  }
});

test('asks sudo, or says what to install by hand', async () => {
  await fakes({ 'dpkg-query': nothingThere, id: asSomebody, 'apt-get': apt(...SET_UP), sudo: ['exec "$@"'] });
  const { status, lines } = await run('install-packages', ['build']);
  assert.equal(status, 0);
  assert.equal(lines[0], '2 Debian packages are missing; sudo may ask for your password to install them.');
  assert.equal((await calls()).filter((call) => call.startsWith('sudo env ')).length, 2);

  // Without sudo: only what the script itself needs is on the path.
  const tools = join(folder, 'tools');
  await mkdir(tools);
  for (const tool of ['bash', 'sh', 'env', 'dirname', 'sed']) {
    await symlink(`/usr/bin/${tool}`, join(tools, tool));
  }
  for (const tool of ['dpkg-query', 'id']) await cp(join(folder, 'fakes', tool), join(tools, tool));
  const bare = await run('install-packages', ['build'], { path: tools });
  assert.equal(bare.status, 1);
  assert.deepEqual(bare.lines, ['These Debian packages are missing: one two three',
    'Install them as root: apt-get install one two three']);
});

test('reports a build in a few lines, and everything that a compiler says', async () => {
  const steps = Array.from({ length: 300 }, (_, index) => `echo "[${index + 1}/300] Building CXX object ${index}.o"`);
  const said = ['FAILED: 7.o', '/usr/bin/c++ -c 7.cpp', '7.cpp:3:1: error: expected [ before x', "  3 | x  '\\t' ", 'ninja: build stopped: subcommand failed.'];
  const saying = said.map((line) => `printf '%s\\n' "${line.replaceAll('\\', '\\\\')}"`);
  await mkdir(join(folder, 'build/release'), { recursive: true });
  await writeFile(join(folder, 'build/release/build.ninja'), '');
  await fakes({ cmake: [...steps, 'echo "-- Generating done"', ...saying, 'exit 3'] });
  const { status, stdout, lines } = await run('build', ['release', 'vantora-host']);
  assert.equal(status, 3);
  assert.deepEqual(stdout.trimEnd().split('\n').map((line) => line.trimEnd()), said.map((line) => line.trimEnd()));
  assert.ok(lines.length >= 1 && lines.length < 5);
  assert.equal(lines[0], 'Building build/release: 1 of 300');
  assert.match((await calls())[0], /^cmake --build build\/release --parallel \d+ --target vantora-host$/);

  // A terminal is ninja's own.
  assert.match((await run('build', ['release'], { terminal: true })).stdout, /\[300\/300\] Building/);
});
