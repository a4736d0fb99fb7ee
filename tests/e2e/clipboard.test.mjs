import assert from 'node:assert/strict';
import { mkdtemp, readFile, rm, writeFile } from 'node:fs/promises';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { test } from 'node:test';
import { withSession } from './lib/session.mjs';
import { BareControl, connected } from './lib/viewer.mjs';
import { until } from './lib/wait.mjs';

test('textsTravelBothWaysBeforeAuthenticationAndNoneComesBack', async (t) => {
  await withSession(t, {}, async (session) => {
    const viewer = await new BareControl(await session.bare()).open();
    const pasted = () => session.screen.run('xclip', ['-selection', 'clipboard', '-o']).catch(() => '');
    // It stays behind as the owner until somebody else copies.
    const copy = (text) => session.screen.run('sh', ['-c', 'printf %s "$1" | xclip -selection clipboard -i >/dev/null 2>&1', 'sh', text]);
    const asked = async () => (await viewer.ask({ type: 'clipboard_request' }, 'clipboard_sync')).text;

    await copy('vom Rechner – 表');
    await until(async () => (await asked()) === 'vom Rechner – 表', { what: 'the copied text' });

    await viewer.ask({ type: 'clipboard_sync_enabled', enabled: true, req: 1 }, 'ack');
    await viewer.ask({ type: 'clipboard_set', text: 'vom Betrachter – 表', req: 2 }, 'ack');
    await until(async () => (await pasted()) === 'vom Betrachter – 表', { what: 'the text of the viewer' });
    const before = (await viewer.received('clipboard_sync')).length;
    await copy('zweite Kopie');
    await until(async () => (await viewer.received('clipboard_sync')).length > before, { what: 'the copy' });
    const texts = (await viewer.received('clipboard_sync')).slice(before).map(({ message }) => message.text);
    assert.deepEqual(texts, ['zweite Kopie']);
  });
});

test('longTextsTravelInPiecesBothWaysWhileTheSessionGoesOn', async (t) => {
  await withSession(t, {}, async (session) => {
    const page = await session.viewer();
    await connected(page);
    await until(() => page.evaluate(() => vantora.channels().control_reliable?.readyState === 'open'), { what: 'the channel' });
    const directory = await mkdtemp(join(tmpdir(), 'clipboard-'));
    try {
      const awkward = 'Zeile "eins"\n\\🙂 表 \u0001 ü\t';
      const copied = `vom Rechner ${awkward.repeat(180_000)}`;
      const set = `vom Betrachter ${awkward.repeat(180_000)}`;
      assert.ok(Buffer.byteLength(copied) > 5e6);
      const file = join(directory, 'copied');
      const copy = async (text) => {
        await writeFile(file, text);
        await session.screen.run('sh', ['-c', 'xclip -selection clipboard -i "$1" >/dev/null 2>&1', 'sh', file]);
      };
      const differsFrom = (text) => page.evaluate((text) => vantora.hostText()?.text !== text, text);
      const pongs = () => page.evaluate(() => vantora.recentMessages.filter(({ type }) => type === 'pong').length);

      await copy(copied);
      await until(async () => {
        // A further request would restart the reply: the one before has to arrive first.
        await page.evaluate(() => { globalThis.textBefore = vantora.hostText(); vantora.clipboard.request(); });
        await until(() => page.evaluate(() => vantora.hostText() !== globalThis.textBefore), { what: 'an answer' });
        return !(await differsFrom(copied));
      }, { every: 500, what: 'the text of the host' });

      const outcome = page.evaluate((text) => vantora.clipboard.set(text), set);
      assert.equal(await outcome, 'set');
      await until(() => session.screen.run('sh', ['-c', 'xclip -selection clipboard -o > "$1"', 'sh', file])
        .then(() => readFile(file, 'utf8')).then((text) => text === set, () => false), { what: 'the text of the viewer' });

      // A change is reported without a request, in pieces as well.
      await page.evaluate(() => vantora.clipboard.watch(true));
      await session.host.line(/^\[sync\] Clipboard monitoring started/);
      const before = await pongs();
      await copy(copied.replace('vom', 'wieder vom'));
      await until(async () => !(await differsFrom(copied.replace('vom', 'wieder vom'))), { what: 'the change' });
      await page.evaluate(() => vantora.send({ type: 'ping' }));
      await until(async () => (await pongs()) > before, { what: 'an answer' });

      await copy('x'.repeat(11_000_000));
      await until(() => page.evaluate(() => vantora.hostText()?.length === 11_000_000), { what: 'the refusal' });
      assert.equal(await page.evaluate(() => vantora.hostText().limit), 10 * 1024 * 1024);

      // A viewer that does not support pieces is notified, too.
      await page.evaluate(() => vantora.send({ type: 'clipboard_sync_enabled', enabled: false }));
      await copy('y'.repeat(300_000));
      await until(async () => {
        await page.evaluate(() => vantora.send({ type: 'clipboard_request' }));
        return page.evaluate(() => vantora.lastMessages.clipboard_too_large?.length === 300_000);
      }, { every: 200, what: 'the refusal' });
      assert.deepEqual(await page.evaluate(() => vantora.lastMessages.clipboard_too_large),
        { type: 'clipboard_too_large', length: 300_000, limit: 262_144 });
    } finally {
      await rm(directory, { recursive: true });
    }
  });
});
