// How the program handles its command line.
import assert from 'node:assert/strict';
import { readFile } from 'node:fs/promises';
import { test } from 'node:test';
import { Host } from './lib/host.mjs';
import { withSession } from './lib/session.mjs';
import { connected } from './lib/viewer.mjs';

/// The output and the exit status of the program with these arguments.
async function said(...args) {
  const host = await Host.start({ args });
  try {
    return { exit: await host.child.done, out: host.child.text('out'), err: host.child.text('err') };
  } finally {
    await host.end('SIGKILL');
  }
}

test('helpListsEveryNameOfTheConfiguration', async () => {
  const documentation = await readFile(new URL('../../docs/configuration.md', import.meta.url), 'utf8');
  const names = [...documentation.matchAll(/^\| `(\w+)` \|/gm)].map(([, name]) => name);
  assert.ok(names.length > 35, `${names.length} names`);
  for (const option of ['--help', '-h']) {
    const { exit, out, err } = await said(option);
    assert.deepEqual(exit, { code: 0, signal: null });
    assert.deepEqual(err, []);
    for (const name of names) assert.match(out.join('\n'), new RegExp(`\\b${name}\\b`));
  }
});

test('versionIsOneLine', async () => {
  const { exit, out, err } = await said('--version');
  assert.deepEqual(exit, { code: 0, signal: null });
  assert.equal(out.length, 1);
  assert.match(out[0], /\d+\.\d+/);
  assert.deepEqual(err, []);
});

test('twoArgumentsNameTheRoomAndTheServer', async (t) => {
  await withSession(t, { hostNow: false }, async (session) => {
    session.room = 'room-of-the-argument';
    const url = session.server.signalUrl;
    await session.startHost({ args: ['Room-Of-The-ARGUMENT', url], env: { ROOM: undefined, SIGNAL_URL: undefined } });
    await session.host.line(`[ws] signaling url: ${url}`);
    const page = await session.bare();
    await connected(page);
  });
});

test('theEnvironmentGoesBeforeTheArguments', async (t) => {
  await withSession(t, { hostNow: false }, async (session) => {
    await session.startHost({ args: ['another-room', 'ws://127.0.0.1:9'] });
    await session.host.line(`[ws] signaling url: ${session.server.signalUrl}`);
    const page = await session.bare();
    await connected(page);
  });
});
