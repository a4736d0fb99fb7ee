// The viewer's page in Firefox, with the real host.
import assert from 'node:assert/strict';
import { readFile } from 'node:fs/promises';
import { join } from 'node:path';
import { test } from 'node:test';
import { unknownLines } from './lib/log-lines.mjs';
import { withSession } from './lib/session.mjs';
import { connected, framesShown, placeOnPage, shows } from './lib/viewer.mjs';
import { until } from './lib/wait.mjs';

const said = (page) => page.said.filter((line) => /^(error|warning)/.test(line));

/// A session with a page that is connected in Firefox; fails when the page reports an error.
const inFirefox = (t, want, body) => withSession(t, { browser: 'firefox', ...want }, async (session) => {
  const page = await session.viewer();
  await connected(page);
  await until(() => page.evaluate(() => vantora.channels().control_reliable?.readyState === 'open'), { what: 'the channel' });
  await body(page, session);
  assert.deepEqual(said(page), []);
  assert.deepEqual(unknownLines(session.host.log), []);
});

async function takeControl(page, session) {
  await page.fill('#pin', await session.host.pin());
  await page.press('#pin', 'Enter');
  await until(() => page.evaluate(() => document.body.dataset.control === 'on'), { what: 'control' });
}

/// The codec of the received video; `undefined` before any.
const codec = (page) => page.evaluate(async () => {
  const entries = [...(await vantora.pc().getStats()).values()];
  const video = entries.find((each) => each.type === 'inbound-rtp' && each.framesDecoded > 0);
  return entries.find((each) => each.id === video?.codecId)?.mimeType;
});

test('firefoxShowsTheScreenInEachCodecItHas', async (t) => {
  await inFirefox(t, {}, async (page, session) => {
    const colours = { vp8: '#c04020', av1: '#20c040', vp9: '#4020c0' };
    for (const [name, colour] of Object.entries(colours)) {
      await page.evaluate((codec) => vantora.send({ type: 'codec', codec }), name);
      await until(async () => (await codec(page)) === `video/${name.toUpperCase()}`, { what: name });
      await session.screen.paint(colour);
      await shows(page, colour);
    }
    const frames = await framesShown(page);
    session.keep(session.screen.newText());
    await until(async () => (await framesShown(page)) > frames + 20, { what: 'further frames' });
  });
});

test('firefoxControlsTheScreen', async (t) => {
  await inFirefox(t, { screen: '1000x600' }, async (page, session) => {
    const file = join(session.host.home, 'typed');
    const { child } = await session.screen.terminal(`cat > ${file}; echo done > ${file}.done`);
    session.keep(child);
    await takeControl(page, session);
    const at = await placeOnPage(page, 0.25, 0.5);
    await page.mouse.move(at.x, at.y);
    await until(async () => {
      const { x, y } = await session.screen.pointer();
      return Math.abs(x - 250) <= 1 && Math.abs(y - 300) <= 1;
    }, { what: 'the pointer' });
    await page.keyboard.press('Shift+KeyH');
    await page.keyboard.type('ello 0123; never/ever\n');
    await page.keyboard.press('Control+D');
    await until(() => readFile(`${file}.done`), { what: 'cat to end' });
    assert.equal(await readFile(file, 'utf8'), 'Hello 0123; never/ever\n');
  });
});

test('firefoxExchangesTextsWithTheHost', async (t) => {
  await inFirefox(t, {}, async (page, session) => {
    // Longer than a message, so that it travels in pieces.
    const long = 'Zeile 表 🙂\n'.repeat(40_000);
    assert.equal(await page.evaluate((text) => vantora.clipboard.set(text), long), 'set');
    await until(async () => (await session.screen.run('xclip', ['-selection', 'clipboard', '-o'])) === long,
      { what: 'the text of the viewer' });
    await page.evaluate(() => vantora.clipboard.watch(true));
    await session.host.line(/^\[sync\] Clipboard monitoring started/);
    await session.screen.run('sh', ['-c', 'printf %s "$1" | xclip -selection clipboard -i >/dev/null 2>&1', 'sh', 'vom Rechner – 表']);
    await until(() => page.evaluate(() => vantora.hostText()?.text === 'vom Rechner – 表'), { what: 'the text of the host' });

    // Firefox announces that it takes a gigabyte; the host's library does not send as much.
    await session.screen.run('sh', ['-c', 'head -c 1000000 /dev/zero | tr "\\0" a | xclip -selection clipboard -i >/dev/null 2>&1']);
    await until(() => page.evaluate(() => vantora.hostText()?.text === 'a'.repeat(1_000_000)), { what: 'the pieces' });
    await page.evaluate(() => vantora.send({ type: 'clipboard_request' }));
    const refusal = { type: 'clipboard_too_large', length: 1_000_000, limit: 262_144 };
    assert.deepEqual(await until(() => page.evaluate(() => vantora.lastMessages.clipboard_too_large), { what: 'the refusal' }), refusal);

    await page.click('#chat-button');
    await page.fill('#chat-input', 'hello from afar');
    await page.press('#chat-input', 'Enter');
    await session.host.line(/^\[chat\] .*: hello from afar @\d+$/);
    await until(() => page.isVisible('.chat-text >> text=hello from afar'), { what: 'the line' });
  });
});

test('firefoxFindsAHostThatIsStartedAgain', async (t) => {
  await inFirefox(t, {}, async (page, session) => {
    await session.screen.paint('#a0a020');
    await shows(page, '#a0a020');
    await session.host.end();
    await until(() => page.evaluate(() => document.body.dataset.connection !== 'connected'), { what: 'the loss' });
    await session.startHost();
    await connected(page);
    await session.screen.paint('#20a0a0');
    await shows(page, '#20a0a0');
  });
});
