// The host's user interface on a real desktop: its windows and the clipboard, and what happens to the session when the
// desktop fails.
import assert from 'node:assert/strict';
import { readdir, readFile } from 'node:fs/promises';
import { test } from 'node:test';
import { conversation, desktopProcess, focusChat, launchAgain, manageWindows, window } from './lib/desktop.mjs';
import { withSession } from './lib/session.mjs';
import { BareControl, framesShown, shows } from './lib/viewer.mjs';
import { timed, until } from './lib/wait.mjs';
import { Xvfb } from './lib/xvfb.mjs';

async function withDesktop(t, body, want = {}) {
  await withSession(t, { ...want, host: { env: { CONTROL_TOKEN: '123456' } } }, async (session) => {
    await manageWindows(session);
    await desktopProcess(session.host);
    await body(session);
  });
}

test('aSecondLaunchRaisesTheChatOfTheFirst', async (t) => {
  await withDesktop(t, async (session) => {
    assert.equal(await window(session.screen, 'Vantora Chat'), undefined);
    const again = await launchAgain(session);
    assert.deepEqual(again.exit, { code: 0, signal: null });
    assert.deepEqual(again.text('err'), []);
    await until(() => window(session.screen, 'Vantora Chat'), { what: 'the chat window' });
    // There is no tray, so what the menu has comes as a window.
    await until(() => window(session.screen, 'Vantora Host'), { what: 'the window with the menu' });
  });
});

test('aSecondLaunchEndsBesideAFirstThatIsStoppedAndIsHandledWhenThatGoesOn', async (t) => {
  await withDesktop(t, async (session) => {
    const { pid } = session.host.child;
    process.kill(pid, 'SIGSTOP');
    try {
      assert.deepEqual((await launchAgain(session)).exit, { code: 0, signal: null });
    } finally {
      process.kill(pid, 'SIGCONT');
    }
    await until(() => window(session.screen, 'Vantora Chat'), { deadline: 20000, what: 'the chat window' });
    assert.equal(session.host.child.exit, null);
  }, { browserNow: false });
});

test('bothSidesChat', async (t) => {
  await withDesktop(t, async (session) => {
    const page = await session.bare();
    await new BareControl(page).open();
    await page.evaluate(() => bare.signal({ type: 'chat_send', text: 'hello from afar' }));
    await session.host.line(/^\[chat\] .*: hello from afar @\d+$/);
    await session.host.line(/^\[chat-ui\] presentChat from=\S+ len=15$/);

    await launchAgain(session);
    await focusChat(session.screen);
    await session.screen.run('xdotool', ['type', '--delay', '5', 'hello back']);
    await session.screen.run('xdotool', ['key', 'Return']);
    await until(() => page.evaluate(() => bare.signals.some(({ type, text }) => type === 'chat_broadcast' && text === 'hello back')),
      { what: 'the chat of the host' });
    // Shown when the server echoes it, as all messages are.
    await session.host.line(/^\[chat-ui\] presentChat from=host len=10$/i);
  });
});

test('theClipboardGoesBothWays', async (t) => {
  await withDesktop(t, async (session) => {
    const page = await session.bare();
    const viewer = await new BareControl(page).open();
    await viewer.send({ type: 'clipboard_set', text: 'from the viewer: äöü 🙂' });
    await until(async () => (await session.screen.run('xclip', ['-selection', 'clipboard', '-o']).catch(() => '')) === 'from the viewer: äöü 🙂',
      { what: 'the text on the clipboard' });

    await viewer.ask({ type: 'clipboard_sync_enabled', enabled: true, req: 7 }, 'ack');
    session.keep(session.screen.start('sh', ['-c', 'printf "from the host: ñ" | xclip -selection clipboard -i -quiet']));
    await until(async () => (await viewer.received('clipboard_sync')).some(({ message }) => message.text === 'from the host: ñ'),
      { what: 'the text of the host' });
    assert.equal((await viewer.ask({ type: 'clipboard_request' }, 'clipboard_sync')).text, 'from the host: ñ');
    // No echo of what the viewer set.
    const before = (await viewer.received('clipboard_sync')).length;
    await viewer.send({ type: 'clipboard_set', text: 'once more' });
    await session.host.line(/^\[sync\] Clipboard updated from client: "once more"/);
    const end = performance.now() + 2500;
    await until(() => performance.now() > end, { what: 'a poll of the watcher' });
    assert.equal((await viewer.received('clipboard_sync')).length, before);
  });
});

test('aDesktopProcessThatHangsDoesNotStopTheSession', async (t) => {
  await withDesktop(t, async (session) => {
    const page = await session.bare();
    const viewer = await new BareControl(page).open();
    await viewer.takeControl('123456');
    session.keep(session.screen.scrollingText({ pause: 0.05 }));
    const stuck = await desktopProcess(session.host);
    process.kill(stuck, 'SIGSTOP');
    const { ms } = await timed(async () => {
      const [frames, statistics] = [await framesShown(page), (await viewer.received('host_stats')).length];
      await viewer.ask({ type: 'mouseMove', x: 0.25, y: 0.25 }, 'ptr');
      assert.deepEqual(await session.screen.pointer(), { x: 320, y: 180 });
      await until(async () => (await framesShown(page)) > frames + 20 && (await viewer.received('host_stats')).length > statistics + 3,
        { what: 'frames and statistics' });
    });
    process.kill(stuck, 'SIGCONT');
    // A call that waited for the other process would take 25 seconds.
    assert.ok(ms < 15000, `${ms} ms`);
  });
});

test('aDesktopProcessThatEndsIsStartedAgain', async (t) => {
  await withDesktop(t, async (session) => {
    const first = await desktopProcess(session.host);
    process.kill(first, 'SIGKILL');
    await desktopProcess(session.host, first);
    const page = await session.bare();
    const viewer = await new BareControl(page).open();
    await until(async () => {
      await viewer.send({ type: 'clipboard_set', text: 'after the fall' });
      return (await session.screen.run('xclip', ['-selection', 'clipboard', '-o']).catch(() => '')) === 'after the fall';
    }, { every: 200, what: 'the text on the clipboard' });
  });
});

test('theConversationOutlivesTheDesktopProcess', async (t) => {
  await withDesktop(t, async (session) => {
    const page = await session.bare();
    const viewer = await new BareControl(page).open();
    const say = (text) => page.evaluate((text) => bare.signal({ type: 'chat_send', text }), text);
    const first = await desktopProcess(session.host);
    await say('before the fall');
    await session.host.line(/^\[chat-ui\] presentChat from=\S+ len=15$/);
    // It has reported that line before it replies to the next request.
    await viewer.ask({ type: 'clipboard_request' }, 'clipboard_sync');
    // A message to a process that hangs is not lost either.
    process.kill(first, 'SIGSTOP');
    await say('into the void');
    await session.host.line(/^\[chat\] .*: into the void @\d+$/);
    process.kill(first, 'SIGKILL');
    await desktopProcess(session.host, first);
    await session.host.line(/^\[chat-ui\] presentChat from=\S+ len=13$/);
    await launchAgain(session);
    const text = await conversation(session);
    assert.match(text, /: before the fall .*\n.*: into the void /);
    assert.equal(session.host.log.filter((line) => line.startsWith('[chat-ui]')).length, 2);
  });
});

test('theSessionOutlivesItsDisplay', async (t) => {
  await withDesktop(t, async (session) => {
    const page = await session.bare();
    await session.screen.paint('#306030');
    await shows(page, '#306030');
    const viewer = await new BareControl(page).open();
    const first = await desktopProcess(session.host);
    await session.screen.end();
    await desktopProcess(session.host, first);
    await viewer.settled();
    assert.equal(session.host.child.exit, null);
    assert.equal((await session.host.end()).code, 0);
  });
});

test('theConversationAndASecondLaunchWaitForTheDisplay', async (t) => {
  await withDesktop(t, async (session) => {
    const page = await session.bare();
    await new BareControl(page).open();
    const first = await desktopProcess(session.host);
    const { display } = session.screen;
    await session.screen.end();
    const blind = await desktopProcess(session.host, first);
    await page.evaluate(() => bare.signal({ type: 'chat_send', text: 'in the dark' }));
    await session.host.line(/^\[chat-ui\] presentChat from=\S+ len=11$/);
    assert.deepEqual((await launchAgain(session)).exit, { code: 0, signal: null });

    session.screen = await Xvfb.start({ display });
    await manageWindows(session);
    await desktopProcess(session.host, blind);
    assert.match(await conversation(session), /: in the dark /);
    assert.equal(session.host.log.filter((line) => line.startsWith('[chat-ui]')).length, 1);
  });
});

test('theDesktopProcessGoesWithTheHost', async (t) => {
  for (const signal of ['SIGTERM', 'SIGKILL']) {
    await withDesktop(t, async (session) => {
      const desktop = await desktopProcess(session.host);
      await session.host.end(signal);
      await until(async () => !(await readdir('/proc')).includes(String(desktop)) ||
        /^State:\tZ/m.test(await readFile(`/proc/${desktop}/status`, 'utf8').catch(() => '')), { what: 'its end' });
    }, { browserNow: false });
  }
});
