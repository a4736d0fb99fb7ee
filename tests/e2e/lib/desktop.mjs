// Helpers for the user interface of a session's host on its desktop.
import { readFile } from 'node:fs/promises';
import { join } from 'node:path';
import { Child } from './child.mjs';
import { nobody } from './message-bus.mjs';
import { build } from './paths.mjs';
import { until } from './wait.mjs';

/// The process id of the host's desktop process; waits until there is one that is not `old`.
export async function desktopProcess(host, old = 0) {
  return until(async () => {
    const children = (await readFile(`/proc/${host.child.pid}/task/${host.child.pid}/children`, 'utf8')).trim().split(' ');
    for (const child of children.filter(Boolean).map(Number)) {
      const command = await readFile(`/proc/${child}/cmdline`, 'utf8').catch(() => '');
      if (child !== old && command.includes('vantora-host')) return child;
    }
    return null;
  }, { what: 'the desktop process' });
}

/// Waits until a process sleeps and has used no time for a while: it has handled everything that it received.
export async function atRest(pid) {
  let last = null;
  let same = 0;
  await until(async () => {
    const [state, ...fields] = (await readFile(`/proc/${pid}/stat`, 'utf8')).replace(/^.*\) /, '').split(' ');
    const now = `${state} ${fields[10]} ${fields[11]}`;
    same = state === 'S' && now === last ? same + 1 : 0;
    last = now;
    return same === 2;
  }, { every: 100, what: `process ${pid} to rest` });
}

/// The id of a visible window of that name; undefined when there is none.
export async function window(screen, name) {
  const found = await screen.run('xdotool', ['search', '--onlyvisible', '--name', name]).catch(() => '');
  return found.trim().split('\n').filter(Boolean)[0];
}

/// Gives the chat window the keyboard after a second launch. Where there is no tray, that launch opens two windows, and the
/// other one takes the keyboard when it comes.
export async function focusChat(screen) {
  const id = await until(() => window(screen, 'Vantora Chat'), { what: 'the chat window' });
  await until(() => window(screen, 'Vantora Host'), { what: 'the window with the menu' });
  let held = 0;
  await until(async () => {
    held = (await screen.run('xdotool', ['getwindowfocus']).catch(() => '')).trim() === id ? held + 1 : 0;
    if (held === 0) await screen.run('xdotool', ['windowfocus', id]);
    return held === 3;
  }, { every: 50, what: 'the keyboard to stay with the chat' });
}

/// Launches the program again, just as the session's host was launched.
export async function launchAgain(session) {
  const { home } = session.host;
  const again = new Child(join(build, 'vantora-host'), [], {
    clearEnv: true,
    env: { PATH: process.env.PATH, HOME: home, LANG: 'C.UTF-8', XDG_RUNTIME_DIR: join(home, 'run'), ICE_URLS: ',',
      DBUS_SESSION_BUS_ADDRESS: nobody, ...session.hostEnvironment() },
  });
  session.keep(again);
  await until(() => again.exit, { what: 'the end of the second launch' });
  return again;
}

/// Starts a window manager and waits until it is one: a window that opens while it takes over may get lost.
export async function manageWindows(session) {
  session.keep(session.screen.start('openbox', ['--sm-disable', '--startup',
    'xprop -root -format _TEST_MANAGED 8s -set _TEST_MANAGED yes']));
  await until(async () => (await session.screen.run('xprop', ['-root', '_TEST_MANAGED'])).includes('yes'),
    { what: 'the window manager' });
}

/// The text of the conversation in the chat window, as its user copies it. The window must be visible.
export async function conversation(session) {
  const id = await until(() => window(session.screen, 'Vantora Chat'), { what: 'the chat window' });
  const { width, height } = Object.fromEntries((await session.screen.run('xdotool', ['getwindowgeometry', '--shell', id]))
    .trim().split('\n').map((line) => line.toLowerCase().split('=')));
  await session.screen.run('xdotool', ['windowfocus', '--sync', id]);
  return until(async () => {
    await session.screen.run('xdotool', ['mousemove', '--window', id, String(width >> 1), String(height >> 1), 'click', '1']);
    await session.screen.run('xdotool', ['key', '--clearmodifiers', 'ctrl+a', 'ctrl+c']);
    return session.screen.run('xclip', ['-selection', 'clipboard', '-o']).catch(() => '');
  }, { every: 200, what: 'the text of the conversation' });
}
