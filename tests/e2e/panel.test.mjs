// The way from the menu in a panel to the session and back, and notifications, on a session bus.
import assert from 'node:assert/strict';
import { copyFile, mkdir, writeFile } from 'node:fs/promises';
import { join } from 'node:path';
import { test } from 'node:test';
import { DesktopBus } from './lib/desktop-bus.mjs';
import { atRest, desktopProcess, manageWindows, window } from './lib/desktop.mjs';
import { build, temporaryDirectory } from './lib/paths.mjs';
import { withSession } from './lib/session.mjs';
import { BareControl, colours, near, rgb, shows } from './lib/viewer.mjs';
import { until } from './lib/wait.mjs';

const skipped = '[notify] skipping UNUserNotifications (no bundle identifier)';

/// Installs the program with an Info.ini of that text in a directory of its own.
async function installed(information) {
  const directory = await temporaryDirectory('installed');
  const program = join(directory.path, 'bin/vantora-host');
  await mkdir(join(directory.path, 'bin'));
  await mkdir(join(directory.path, 'share/vantora-host'), { recursive: true });
  await copyFile(join(build, 'vantora-host'), program);
  await writeFile(join(directory.path, 'share/vantora-host/Info.ini'), information);
  return { program, remove: directory.remove };
}

/// A session of a program installed that way, on a bus with a panel.
async function withPanel(t, information, body, env = {}) {
  const bus = await DesktopBus.start();
  const { program, remove } = await installed(information);
  try {
    await withSession(t, { host: { program, env: { ...bus.env, ...env } } }, (session) => body(session, bus));
  } finally {
    await remove();
    await bus.end();
  }
}

test('theMenusWindowComesUpByItselfOnceWhereThereIsNoTray', async (t) => {
  const shown = 'Vantora Host';
  // Longer than it takes to come up.
  const staysAway = async (session) => {
    const end = performance.now() + 7000;
    await until(async () => {
      assert.equal(await window(session.screen, shown), undefined);
      return performance.now() > end;
    }, { every: 200, what: 'the time in which it would come up' });
  };
  const withoutTray = async (information, body) => {
    const { program, remove } = await installed(information);
    try {
      await withSession(t, { host: { program }, browserNow: false }, async (session) => {
        await manageWindows(session);
        await body(session);
      });
    } finally {
      await remove();
    }
  };
  const comesUpOnce = withoutTray('', async (session) => {
    const first = await desktopProcess(session.host);
    const id = await until(() => window(session.screen, shown), { what: 'the window with the menu' });
    // A key that arrives before the window has detected that it is active is lost.
    await until(async () => {
      await session.screen.run('xdotool', ['windowactivate', id, 'key', 'Escape']).catch(() => '');
      return !await window(session.screen, shown);
    }, { every: 100, what: 'the window to go' });
    process.kill(first, 'SIGKILL');
    await desktopProcess(session.host, first);
    await staysAway(session);
  });
  const isTurnedOff = withoutTray('[General]\nVANTORA_PANEL_AUTO=0\n', async (session) => {
    await desktopProcess(session.host);
    await staysAway(session);
  });
  for (const { reason } of await Promise.allSettled([comesUpOnce, isTurnedOff])) assert.ifError(reason);
});

test('theMenuActsOnTheSessionAndShowsWhatBecameOfIt', async (t) => {
  await withPanel(t, '', async (session, bus) => {
    await session.screen.paint('#306030');
    const page = await session.bare();
    const viewer = await new BareControl(page).open();
    const pin = await session.host.pin();
    await bus.row(({ label }) => label === 'Stop Sharing', 'the menu of a shared screen');
    assert.deepEqual((await bus.rows()).map(({ label }) => label).filter((label) => !/^(Connection|Preset): /.test(label)), [
      'Vantora Host', `Room: ${session.room}`, `Control PIN: ${pin}`, '', 'Stop Sharing', 'Copy Room ID', 'Copy PIN',
      'Regenerate PIN', '', 'Allow Remote Control', 'Allow Incoming Files', '', 'Chat…', '', 'Quit Vantora']);
    await bus.row(({ label }) => label === 'Connection: connected' || label === 'Connection: completed', 'the connection');

    for (const [label, text] of [['Copy Room ID', session.room], ['Copy PIN', pin]]) {
      await bus.click(label);
      await until(async () => (await session.screen.run('xclip', ['-selection', 'clipboard', '-o']).catch(() => '')) === text,
        { what: `"${text}" on the clipboard` });
    }

    await viewer.takeControl(pin);
    const states = async () => (await viewer.received('control_state')).map(({ message }) => message.enabled);
    const before = await states();
    await bus.click('Allow Remote Control');
    await until(async () => (await states()).length > before.length, { what: 'the end of control' });
    assert.deepEqual(await states(), [...before, false]);
    await bus.row(({ label, checked }) => label === 'Allow Remote Control' && !checked, 'the missing mark');
    await bus.click('Allow Remote Control');
    await bus.row(({ label, checked }) => label === 'Allow Remote Control' && checked, 'the mark');
    await viewer.settled();
    assert.deepEqual(await states(), [...before, false]);

    await bus.click('Allow Incoming Files');
    await bus.row(({ label, checked }) => label === 'Allow Incoming Files' && !checked, 'the missing mark');
    const refused = await viewer.ask({ type: 'file_start', id: '1', name: 'a.txt', size: 1 }, 'file_rejected');
    assert.equal(refused.reason, 'disabled');

    await bus.click('Regenerate PIN');
    const [, renewed] = await session.host.line(/^\[control\] new PIN: (\d{6})$/);
    await bus.row(({ label }) => label === `Control PIN: ${renewed}`, 'the new PIN');
    assert.equal((await viewer.ask({ type: 'auth', token: renewed }, 'auth')).ok, true);

    await shows(page, '#306030');
    await bus.click('Stop Sharing');
    await bus.row(({ label }) => label === 'Start Sharing', 'the offer to share');
    await until(async () => !near((await colours(page, [[0.5, 0.5]]))[0], rgb('#306030'), 40),
      { what: 'another frame' });
    await bus.click('Start Sharing');
    await shows(page, '#306030');

    await bus.click('Quit Vantora');
    await until(() => session.host.child.exit, { what: 'the end of the program' });
    assert.deepEqual(session.host.child.exit, { code: 0, signal: null });
  }, { SHARE_IDLE_VIDEO: '1' });
});

test('aBareProgramSaysSoOnceAndStillShowsChatAndReactions', async (t) => {
  await withPanel(t, 'DisplayName=Desk Helper\n', async (session, bus) => {
    const page = await session.bare();
    await new BareControl(page).open();
    await page.evaluate(() => bare.signal({ type: 'chat_send', text: 'hello <b>there</b>' }));
    await until(() => bus.notifications().length === 1, { what: 'the notification of the chat' });
    await page.evaluate(() => bare.signal({ type: 'reaction_send', reaction: 'thumbs_up' }));
    await until(() => bus.notifications().length === 2, { what: 'the notification of the reaction' });
    const [chat, reaction] = bus.notifications();
    assert.deepEqual([chat.application, chat.title, chat.body], ['Desk Helper', 'Chat from VIEWER', 'hello <b>there</b>']);
    assert.deepEqual([reaction.title, reaction.body], ['Reaction from VIEWER', '👍']);
    for (const { hints } of [chat, reaction]) {
      assert.equal(hints['desktop-entry'], 'vantora-host');
      assert.equal(hints['x-vantora-identifier'], undefined);
      assert.equal(hints['x-vantora-application'], undefined);
    }
    assert.equal(session.host.log.filter((line) => line === skipped).length, 1);
  });
});

test('anInstalledProgramMarksItsNotifications', async (t) => {
  await withPanel(t, 'BundleIdentifier=com.example.helper\n', async (session, bus) => {
    const page = await session.bare();
    await new BareControl(page).open();
    for (const text of ['one', 'two']) await page.evaluate((text) => bare.signal({ type: 'chat_send', text }), text);
    await until(() => bus.notifications().length === 2, { what: 'the notifications' });
    const marks = bus.notifications().map(({ hints }) => hints['x-vantora-identifier']);
    for (const mark of marks) assert.match(mark, /^vantora\.chat\.[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}$/);
    assert.notEqual(marks[0], marks[1]);
    assert.equal(bus.notifications()[0].hints['x-vantora-application'], 'com.example.helper');
    assert.ok(!session.host.log.includes(skipped));
  });
});

test('unreadChatStaysUnreadWhenTheDesktopProcessIsReplaced', async (t) => {
  await withPanel(t, '', async (session, bus) => {
    const page = await session.bare();
    await new BareControl(page).open();
    const say = (text) => page.evaluate((text) => bare.signal({ type: 'chat_send', text }), text);
    const first = await desktopProcess(session.host);
    for (const text of ['one', 'two']) await say(text);
    await until(() => bus.badge() === 2 && bus.notifications().length === 2, { what: 'two unread lines' });
    await atRest(first);
    process.kill(first, 'SIGSTOP');
    await say('three');
    await session.host.line(/^\[chat\] .*: three @\d+$/);
    process.kill(first, 'SIGKILL');
    await until(() => bus.badge() === 3 && bus.notifications().length >= 3, { what: 'three unread lines' });
    // Nothing is announced twice.
    await bus.rows();
    assert.deepEqual(bus.notifications().map(({ body }) => body), ['one', 'two', 'three']);

    await bus.click('Chat…');
    await until(() => bus.badge() === null, { what: 'the end of the badge' });
    const second = await desktopProcess(session.host, first);
    process.kill(second, 'SIGKILL');
    await desktopProcess(session.host, second);
    await say('four');
    await until(() => bus.badge() === 1, { what: 'one unread line' });
  });
});
