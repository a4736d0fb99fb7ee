import assert from 'node:assert/strict';
import { mkdir, readFile, readdir, stat, writeFile } from 'node:fs/promises';
import { join } from 'node:path';
import { test } from 'node:test';
import { run } from './lib/child.mjs';
import { firstDifference, sendFile } from './lib/files.mjs';
import { withSession } from './lib/session.mjs';
import { BareControl } from './lib/viewer.mjs';
import { until } from './lib/wait.mjs';

async function control(session) {
  return new BareControl(await session.bare()).open();
}

const downloads = (session, name = '') => join(session.host.home, 'Downloads', name);
const base64 = (text) => Buffer.from(text).toString('base64');
const start = (id, name, size = 0) => ({ type: 'file_start', id, name, size });

/// Puts a file system of its own over the download folder while `body` runs.
async function withDisk(session, options, body) {
  await run('mount', ['-t', 'tmpfs', '-o', options, 'tmpfs', downloads(session)]);
  try {
    await body();
  } finally {
    await run('umount', ['--lazy', downloads(session)]);
  }
}

test('aLargeFileArrivesByteForByteWhileVideoIsShown', async (t) => {
  await withSession(t, {}, async (session) => {
    const viewer = await control(session);
    const size = (32 << 20) + 12345;
    const { saved } = await sendFile(viewer.page, { name: 'large.bin', size });
    assert.deepEqual(saved, { type: 'file_saved', id: '1', name: 'large.bin', size });
    assert.equal(await firstDifference(downloads(session, 'large.bin'), size), null);
    assert.ok(session.host.log.includes(`[file] start id=1 name=large.bin size=${size}`));
    assert.ok(session.host.log.includes(`[file] saved large.bin (${size}/${size})`));
  });
});

test('textPiecesOfTwoFilesAtOnceKeepApart', async (t) => {
  await withSession(t, {}, async (session) => {
    const viewer = await control(session);
    await viewer.ask(start('a', 'one.txt'), 'file_ready');
    await viewer.ask(start('b', 'zwei – 二.txt'), 'file_ready');
    for (let i = 0; i < 50; i++) {
      for (const id of ['a', 'b']) await viewer.send({ type: 'file_chunk', id, data: base64(`${id}${i};`) });
    }
    await viewer.send({ type: 'file_chunk', id: 'a', data: 'no base64!' });
    await viewer.ask({ type: 'file_end', id: 'a' }, 'file_saved');
    await viewer.ask({ type: 'file_end', id: 'b' }, 'file_saved');
    const expected = (id) => Array.from({ length: 50 }, (_, i) => `${id}${i};`).join('');
    assert.equal(await readFile(downloads(session, 'one.txt'), 'utf8'), expected('a'));
    assert.equal(await readFile(downloads(session, 'zwei – 二.txt'), 'utf8'), expected('b'));
  });
});

test('aFileIsRecognisableAsIncompleteUntilItIsComplete', async (t) => {
  await withSession(t, {}, async (session) => {
    const viewer = await control(session);
    await viewer.ask(start('1', 'report.pdf', 4), 'file_ready');
    await viewer.send({ type: 'file_chunk', id: '1', data: base64('half') });
    await until(async () => (await stat(downloads(session, 'report.pdf'))).size === 4, { what: 'the bytes' });
    assert.equal((await stat(downloads(session, 'report.pdf'))).mode & 0o444, 0);
    // A second one, left alone when the host is killed.
    await viewer.ask(start('2', 'lost.pdf', 4), 'file_ready');
    await viewer.ask({ type: 'file_end', id: '1' }, 'file_saved');
    assert.equal((await stat(downloads(session, 'report.pdf'))).mode & 0o400, 0o400);
    session.host.child.signal('SIGKILL');
    await session.host.child.done;
    assert.equal((await stat(downloads(session, 'lost.pdf'))).mode & 0o444, 0);
  });
});

test('hostileNamesStayInTheFolder', async (t) => {
  await withSession(t, {}, async (session) => {
    const viewer = await control(session);
    const before = await readdir(session.host.home);
    const names = ['../../up', '/etc/vantora', '..', '.', '', '.profile', 'a/b', 'a\\b', 'x'.repeat(500) + '.txt', 'new\nline'];
    for (const name of names) {
      await viewer.ask(start('1', name), 'file_ready');
      const saved = await viewer.ask({ type: 'file_end', id: '1' }, 'file_saved');
      assert.equal(saved.name, name);
    }
    assert.deepEqual(await readdir(session.host.home), before);
    const made = await readdir(downloads(session));
    assert.equal(made.length, names.length);
    assert.deepEqual(made.filter((name) => name.startsWith('.')), []);
  });
});

test('goesWhereTheDesktopsSettingsSay', async (t) => {
  await withSession(t, {}, async (session) => {
    const viewer = await control(session);
    await mkdir(join(session.host.home, '.config'), { recursive: true });
    await writeFile(join(session.host.home, '.config/user-dirs.dirs'), 'XDG_DOWNLOAD_DIR="$HOME/Geladen/Neu"\n');
    await viewer.ask(start('1', 'a'), 'file_ready');
    assert.deepEqual(await readdir(join(session.host.home, 'Geladen/Neu')), ['a']);
  });
});

test('aFullDiskCutsTheFileShortAndNothingElse', async (t) => {
  await withSession(t, {}, async (session) => {
    const viewer = await control(session);
    await withDisk(session, 'size=1m', async () => {
      const { saved } = await sendFile(viewer.page, { name: 'big.bin', size: 4 << 20 });
      assert.equal(saved.size, 1 << 20);
      const found = await stat(downloads(session, 'big.bin'));
      assert.equal(found.size, 1 << 20);
      assert.equal(found.mode & 0o444, 0, 'looks finished');
      await viewer.settled();
    });
    const { saved } = await sendFile(viewer.page, { id: '2', name: 'fits.bin', size: 2 << 20 });
    assert.equal(saved.size, 2 << 20);
  });
});

test('aFolderThatTakesNoFilesIsLogged', async (t) => {
  await withSession(t, {}, async (session) => {
    const viewer = await control(session);
    await withDisk(session, 'ro', async () => {
      await viewer.send(start('1', 'a.txt'));
      await session.host.line('[file] Failed to open file for writing: Read-only file system');
      await viewer.settled();
      assert.deepEqual(await viewer.received('file_ready'), []);
    });
  });
});
