// Support commands: requested in a browser, executed on the desktop of the host.
import assert from 'node:assert/strict';
import { chmod, copyFile, readFile, symlink, writeFile } from 'node:fs/promises';
import { join } from 'node:path';
import { test } from 'node:test';
import { Child } from './lib/child.mjs';
import { temporaryDirectory } from './lib/paths.mjs';
import { withSession } from './lib/session.mjs';
import { BareControl } from './lib/viewer.mjs';
import { until } from './lib/wait.mjs';

/// A folder that is first in the host's path, with a shell script for each name.
async function tools(scripts) {
  const { path, remove } = await temporaryDirectory('tools');
  for (const [name, script] of Object.entries(scripts)) {
    await writeFile(join(path, name), `#!/bin/sh\n${script}\n`);
    await chmod(join(path, name), 0o755);
  }
  return { path, end: remove, file: (name) => readFile(join(path, name), 'utf8') };
}

/// A session whose host finds the scripts first; `body` gets a viewer with open channels that has given the PIN.
async function withCommands(t, scripts, env, body) {
  const folder = await tools(scripts);
  try {
    await withSession(t, { host: { env: { ...env, TOOLS: folder.path, PATH: `${folder.path}:${process.env.PATH}` } } }, async (session) => {
      const viewer = await new BareControl(await session.bare()).open();
      await viewer.ask({ type: 'auth', token: await session.host.pin() }, 'auth');
      await body({ session, viewer, folder });
    });
  } finally {
    await folder.end();
  }
}

function exec(viewer, id, more = {}) {
  return viewer.ask({ type: 'exec_command', id, ...more }, 'command_result');
}

function succeeded(id, stdout = '') {
  return { type: 'command_result', id, title: id, ok: true, code: 0, stdout, stderr: '' };
}

function alive(pid) {
  try {
    return process.kill(Number(pid), 0);
  } catch {
    return false;
  }
}

test('opensATerminalInWhichTheViewerCanType', async (t) => {
  await withCommands(t, {}, {}, async ({ session, viewer, folder }) => {
    await symlink('/usr/bin/xterm', join(folder.path, 'x-terminal-emulator'));
    assert.deepEqual(await exec(viewer, 'open-terminal'), succeeded('open-terminal'));
    const [window] = (await session.screen.run('xdotool', ['search', '--sync', '--onlyvisible', '--class', 'xterm'])).trim().split('\n');
    await session.screen.run('xdotool', ['windowfocus', '--sync', window]);
    await viewer.ask({ type: 'control', enable: true }, 'control_state');
    for (const code of ['KeyE', 'KeyX', 'KeyI', 'KeyT', 'Enter']) {
      const mods = { shift: false, ctrl: false, alt: false, meta: false };
      await viewer.send({ type: 'keyDown', code, mods });
      await viewer.send({ type: 'keyUp', code, mods });
    }
    const windows = () => session.screen.run('xdotool', ['search', '--onlyvisible', '--class', 'xterm']).catch(() => '');
    await until(async () => !(await windows()).includes(window), { what: 'the shell in the terminal to end' });
  });
});

test('namesAnEntryByItsTextAndRefusesWhatIsNotInTheTable', async (t) => {
  await withCommands(t, { pcmanfm: 'echo "$@" > "$TOOLS/shown"; exec sleep 100' }, {}, async ({ session, viewer, folder }) => {
    assert.deepEqual(await exec(viewer, 'x', { text: 'open ~/Downloads' }), succeeded('x'));
    assert.equal(await folder.file('shown'), `${session.host.home}/Downloads\n`);
    for (const request of [{ id: 'x', text: 'ls' }, { id: 'open ~/Downloads' }, { id: 'x', text: 'open ~/Downloads; ls' }]) {
      assert.deepEqual(await exec(viewer, request.id, request), {
        type: 'command_result', id: request.id, title: request.id, ok: false, code: -1, stderr: 'Command not allowed' });
    }
  });
});

test('refusesCommandsWithoutThePinAndAfterTheChannelsClosed', async (t) => {
  await withCommands(t, { pcmanfm: 'touch "$TOOLS/ran"', htop: 'touch "$TOOLS/ran"' }, {}, async ({ session, folder }) => {
    const refusal = { type: 'command_result', id: 'reveal-downloads', title: 'reveal-downloads', ok: false, code: -1,
      stderr: 'Unauthorized (control not granted)' };
    // The first viewer has given the PIN; another one has not.
    await session.pages[0].reload();
    const viewer = await new BareControl(session.pages[0]).open();
    await viewer.send({ type: 'open_activity_monitor' });
    assert.deepEqual(await exec(viewer, 'reveal-downloads'), refusal);
    await viewer.ask({ type: 'auth', token: 'wrong' }, 'auth');
    assert.deepEqual(await exec(viewer, 'reveal-downloads'), refusal);
    await viewer.settled();
    await assert.rejects(folder.file('ran'));
  });
});

test('asksThePersonAtTheHostForAdministratorRights', async (t) => {
  const scripts = {
    // The dialog: refused the first time, granted the second.
    pkexec: `echo "$1 $2 $3" >> "$TOOLS/asked"
if [ ! -e "$TOOLS/refused" ]; then
  touch "$TOOLS/refused"
  echo 'Error executing command as another user: Request dismissed' >&2
  exit 126
fi
shift
exec "$@"`,
  };
  await withCommands(t, scripts, {}, async ({ session, viewer, folder }) => {
    // A process that looks like a DNS cache is running, and one for a private network.
    await copyFile('/bin/sh', join(folder.path, 'dnsmasq'));
    const [cache, other] = ['/run/dnsmasq/dnsmasq.pid', '/run/lxc/dnsmasq.pid'].map((file) => session.keep(new Child(
      join(folder.path, 'dnsmasq'), ['-c', "trap 'echo flushed' HUP; echo up; while :; do sleep 0.1; done", '-x', file])));
    await Promise.all([cache.line('up'), other.line('up')]);
    assert.deepEqual(await exec(viewer, 'dns-flush'), { type: 'command_result', id: 'dns-flush', title: 'dns-flush', ok: false,
      code: 126, stdout: '', stderr: 'Error executing command as another user: Request dismissed\n' });
    assert.deepEqual(await exec(viewer, 'dns-flush'), succeeded('dns-flush'));
    await cache.line('flushed');
    assert.deepEqual([cache.text(), other.text()], [['up', 'flushed'], ['up']]);
    assert.equal(await folder.file('asked'), '--disable-internal-agent /bin/sh -c\n'.repeat(2));
  });
});

test('saysWhatTheDesktopLacks', async (t) => {
  await withCommands(t, {}, {}, async ({ viewer }) => {
    assert.deepEqual(await exec(viewer, 'toggle-dark-mode'), { type: 'command_result', id: 'toggle-dark-mode', title: 'toggle-dark-mode',
      ok: false, code: 127, stdout: '', stderr: 'This desktop has no dark mode that can be switched' });
  });
});

test('keepsTheSessionGoingWhileACommandTakesItsTimeAndCutsItsOutput', async (t) => {
  const scripts = {
    kreadconfig5: 'touch "$TOOLS/begun"; until [ -e "$TOOLS/go" ]; do sleep 0.01; done',
    'plasma-apply-colorscheme': `head -c 10000 /dev/zero | tr '\\0' x; printf 'not UTF-8 \\377' >&2; exit 3`,
  };
  await withCommands(t, scripts, { XDG_CURRENT_DESKTOP: 'KDE' }, async ({ session, viewer, folder }) => {
    await viewer.send({ type: 'exec_command', id: 'toggle-dark-mode' });
    await until(() => folder.file('begun').then(() => true), { what: 'the command to begin' });
    await viewer.ask({ type: 'control', enable: true }, 'control_state');
    await viewer.ask({ type: 'mouseMove', x: 0.25, y: 0.5 }, 'ptr');
    assert.deepEqual(await session.screen.pointer(), { x: 320, y: 360 });
    assert.deepEqual(await viewer.received('command_result'), []);
    await writeFile(join(folder.path, 'go'), '');
    const result = await until(async () => (await viewer.received('command_result'))[0], { what: 'the result' });
    assert.deepEqual(result, { ...result, label: 'control_reliable', message: { type: 'command_result', id: 'toggle-dark-mode',
      title: 'toggle-dark-mode', ok: false, code: 3, stdout: `${'x'.repeat(8192)}\n…(truncated)…`, stderr: '' } });
  });
});

test('bringsUpTheSystemMonitorOnTheProcessThatWasNamed', async (t) => {
  const scripts = { htop: 'echo "$@" > "$TOOLS/shown"; exec sleep 100' };
  await withCommands(t, scripts, {}, async ({ session, viewer, folder }) => {
    await symlink('/usr/bin/xterm', join(folder.path, 'x-terminal-emulator'));
    await viewer.send({ type: 'open_activity_monitor', pid: session.host.child.pid, req: 1 });
    await viewer.settled();
    await session.screen.run('xdotool', ['search', '--sync', '--onlyvisible', '--class', 'xterm']);
    await until(async () => (await folder.file('shown')) === `-p ${session.host.child.pid}\n`, { what: 'the monitor' });
    assert.ok(!(await viewer.received('ack')).some(({ message }) => 'req' in message));
    assert.deepEqual(await viewer.received('command_result'), []);
  });
});

test('endsRunningCommandsWithTheHostAndLeavesWhatWasOpened', async (t) => {
  const scripts = {
    kreadconfig5: 'trap "" TERM; echo $$ > "$TOOLS/pid"; while :; do sleep 0.01; done',
    'plasma-apply-colorscheme': 'true',
    konsole: 'echo $$ > "$TOOLS/opened"; exec sleep 1000',
  };
  await withCommands(t, scripts, { XDG_CURRENT_DESKTOP: 'KDE' }, async ({ session, viewer, folder }) => {
    await exec(viewer, 'open-terminal');
    await viewer.send({ type: 'exec_command', id: 'toggle-dark-mode' });
    const pid = await until(() => folder.file('pid').then((text) => text.trim()), { what: 'the command to begin' });
    assert.ok(alive(pid));
    assert.deepEqual(await session.host.end('SIGTERM', 8000), { code: 0, signal: null });
    await until(() => !alive(pid), { what: 'the command to end' });
    const opened = Number(await folder.file('opened'));
    assert.ok(alive(opened));
    process.kill(opened, 'SIGKILL');
  });
});
