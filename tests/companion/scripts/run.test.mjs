// scripts/run: one command to a shared screen, and nothing of it left afterwards.
import assert from 'node:assert/strict';
import { readFile, readdir } from 'node:fs/promises';
import { createServer } from 'node:net';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { after, afterEach, before, test } from 'node:test';
import { Browser } from '../../e2e/lib/browser.mjs';
import { Child } from '../../e2e/lib/child.mjs';
import { root, temporaryDirectory } from '../../e2e/lib/paths.mjs';
import { until } from '../../e2e/lib/wait.mjs';
import { WaylandDesktop } from '../../e2e/lib/wayland-desktop.mjs';
import { Xvfb } from '../../e2e/lib/xvfb.mjs';
import { hasState, isConnected, takeControl } from '../page/setup.mjs';

let browser;
// The script's folder for temporary files and its home folder, private to the test.
let temporary;
let home;
let runs = [];

before(async () => {
  temporary = await temporaryDirectory('run-test');
  home = await temporaryDirectory('run-home');
  browser = await Browser.start();
});
after(async () => {
  await browser?.end();
  await temporary?.remove();
  await home?.remove();
});
afterEach(async () => {
  for (const run of runs) await run.end('SIGINT', 20000);
  runs = [];
});

const PROGRAMS = ['vantora-host', 'vantora-room-server', 'Xvfb', 'openbox', 'xterm', 'desktop.py', 'dbus-daemon', 'mutter',
  'Xwayland', 'pipewire', 'wireplumber', 'xdg-desktop-portal', 'xdg-permission-store', 'foot'];

// Processes by name; the test has a process space of its own, so all of them are its own.
async function running(...names) {
  const found = [];
  for (const entry of await readdir('/proc')) {
    if (!/^\d+$/.test(entry)) continue;
    const comm = await readFile(`/proc/${entry}/comm`, 'utf8').catch(() => '');
    // The kernel keeps the first 15 characters.
    const name = names.find((candidate) => candidate.slice(0, 15) === comm.trim());
    if (name) found.push({ name, pid: Number(entry) });
  }
  return found;
}

function start(env = {}, wrapper = []) {
  const clean = { ...process.env };
  for (const name of ['DISPLAY', 'WAYLAND_DISPLAY', 'CONTROL_TOKEN', 'ICE_URLS', 'PORT']) delete clean[name];
  const [command, ...args] = [...wrapper, join(root, 'scripts/run')];
  const run = new Child(command, args, {
    cwd: home.path,
    clearEnv: true,
    env: { ...clean, PORT: '0', HOME: home.path, TMPDIR: temporary.path, ...env },
  });
  runs.push(run);
  return run;
}

// The address and the PIN of the block that it prints.
async function announced(run) {
  const [, address] = await run.line(/^\| +(http:\S+) *\|$/);
  const [, pin] = await run.line(/^\| PIN for control: +(\d{6}) *\|$/);
  return { address, pin };
}

async function leavesNothing() {
  // Processes that a killed host leaves behind end by themselves, possibly after the script.
  await until(async () => (await running(...PROGRAMS)).length === 0, { deadline: 10000, what: 'the end of all' }).catch(async (error) =>
    assert.fail(`${error.message}: ${JSON.stringify(await running(...PROGRAMS))}`));
  assert.deepEqual(await readdir(temporary.path), []);
}

/// Expects a screen in the page, whose terminal takes what is typed, and an end with status 0.
async function sharesATerminal(run, signal) {
  const { address, pin } = await announced(run);
  assert.match(address, /^http:\/\/127\.0\.0\.1:\d+\/\?room=[a-z]+-[a-z]+-[a-z]+-\d\d$/);
  await run.line(`[control] PIN: ${pin}`);
  const page = await browser.page();
  await page.goto(address);
  await isConnected(page);
  await takeControl(page, pin);
  await hasState(page, 'control', 'on');
  // The terminal on the virtual desktop takes what is typed into the page.
  const typed = `typed-before-${signal}-${run.pid}`.toLowerCase();
  // What is typed before its window is there and has the keyboard is lost.
  await until(async () => {
    await page.keyboard.press('Enter');
    await page.keyboard.type(`touch ${typed}`);
    await page.keyboard.press('Enter');
    return until(async () => (await readdir(home.path)).includes(typed), { deadline: 2000, what: 'the typed command' });
  }, { deadline: 20000, every: 0, what: 'a terminal that takes what is typed' });
  await page.context().close();
  assert.deepEqual(await run.end(signal, 20000), { code: 0, signal: null });
  await leavesNothing();
}

for (const signal of ['SIGINT', 'SIGTERM']) {
  test(`shows a screen, takes what is typed, and ${signal} ends everything with status 0`, () => sharesATerminal(start(), signal));
}

test('WAYLAND=1 does the same with a Wayland desktop', async () => {
  const run = start({ WAYLAND: '1' });
  await run.line(/ Wayland desktop /);
  assert.deepEqual(await running('Xvfb'), []);
  await sharesATerminal(run, 'SIGINT');
});

test('a Wayland desktop without X11 is shared as it is', async () => {
  const desktop = await WaylandDesktop.start({ options: ['--no-x11'] });
  try {
    const run = start(desktop.env);
    await announced(run);
    assert.deepEqual(await running('Xvfb'), []);
    await run.line('[share] started screen capture');
    assert.deepEqual(await run.end('SIGINT', 20000), { code: 0, signal: null });
    assert.equal((await desktop.tell('questions')).asked, 1);
  } finally {
    await desktop.end();
  }
  await leavesNothing();
});

// 1280x720, the host's own default, is not among them.
for (const size of ['1280x800', '1920x1080', '2560x1080']) {
  test(`a desktop of ${size} is shown in its own size`, async () => {
    const screen = await Xvfb.start({ size });
    try {
      const run = start({ DISPLAY: screen.display });
      const { address } = await announced(run);
      const page = await browser.page();
      await page.goto(address);
      await isConnected(page);
      const shown = () => page.evaluate(() => {
        const { videoWidth, videoHeight } = document.getElementById('screen');
        return `${videoWidth}x${videoHeight}`;
      });
      await until(async () => (await shown()) === size, { what: `video of ${size}` }).catch(async (error) => {
        throw new Error(`${error.message}; it has ${await shown()}`);
      });
      await page.context().close();
      await run.end('SIGINT', 20000);
    } finally {
      await screen.end();
    }
  });
}

test('each run has a room of its own', async () => {
  const rooms = new Set();
  for (let i = 0; i < 2; ++i) {
    const run = start();
    rooms.add(new URL((await announced(run)).address).searchParams.get('room'));
    await run.end('SIGINT', 20000);
  }
  assert.equal(rooms.size, 2);
  assert.ok(!rooms.has('demo'));
});

test('a CONTROL_TOKEN of the shell does not become the PIN', async () => {
  const run = start({ CONTROL_TOKEN: 'of-the-shell' });
  assert.match((await announced(run)).pin, /^\d{6}$/);
  await run.end('SIGINT', 20000);
});

test('a taken port is named, with the way to another, and nothing is left', async () => {
  const holder = createServer().listen(0, '127.0.0.1');
  await new Promise((resolve) => holder.once('listening', resolve));
  const { port } = holder.address();
  const run = start({ PORT: String(port) });
  await run.done;
  holder.close();
  assert.equal(run.exit.code, 1);
  assert.match(run.text('err').join('\n'), new RegExp(`port ${port} is already in use\\. Choose another one, e\\.g\\. PORT=`));
  await leavesNothing();
});

for (const name of ['vantora-host', 'vantora-room-server', 'Xvfb']) {
  test(`the end of ${name} ends the rest and is named`, async () => {
    const run = start();
    await announced(run);
    const [{ pid }] = await running(name);
    process.kill(pid, 'SIGKILL');
    await run.done;
    assert.equal(run.exit.code, 1);
    assert.ok(run.text('err').some((line) => line.startsWith('make run: ') && line.includes(` ended unexpectedly`)));
    // A host may detect the end of its display before the script does.
    const named = name === 'Xvfb' ? /make run: (Xvfb|vantora-host) ended/ : new RegExp(`make run: ${name} ended`);
    assert.match(run.text('err').join('\n'), named);
    await leavesNothing();
  });
}

test('says why nothing will connect on a machine with only the loopback', async () => {
  const run = start({}, ['unshare', '--net', 'bash', '-c', 'ip link set lo up && exec "$0"']);
  await announced(run);
  assert.match(run.text('err').join('\n'), /no network address besides loopback, and WebRTC does not use loopback/);
  assert.deepEqual(await run.end('SIGINT', 20000), { code: 0, signal: null });
});

test('says so when the programs are not built', async () => {
  const run = start({ VANTORA_BUILD_DIR: join(tmpdir(), 'no-such-build') });
  await run.done;
  assert.equal(run.exit.code, 1);
  assert.match(run.text('err').join('\n'), /vantora-room-server is not built; run make build first/);
});

test('nothing survives the script itself', async () => {
  const run = start();
  await announced(run);
  run.signal('SIGKILL');
  await until(async () => (await running(...PROGRAMS)).length === 0, { what: 'the end of all' });
});
