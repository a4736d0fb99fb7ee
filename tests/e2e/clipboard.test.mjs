import assert from 'node:assert/strict';
import { test } from 'node:test';
import { withSession } from './lib/session.mjs';
import { BareControl } from './lib/viewer.mjs';
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
    const before = (await viewer.heard('clipboard_sync')).length;
    await copy('zweite Kopie');
    await until(async () => (await viewer.heard('clipboard_sync')).length > before, { what: 'the copy' });
    const texts = (await viewer.heard('clipboard_sync')).slice(before).map(({ message }) => message.text);
    assert.deepEqual(texts, ['zweite Kopie']);
  });
});
