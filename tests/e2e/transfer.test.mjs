// Files and clipboards between the viewer's page and the real host, in both browsers.
import assert from 'node:assert/strict';
import { createHash, randomBytes } from 'node:crypto';
import { readFile, readdir, stat, writeFile } from 'node:fs/promises';
import { join } from 'node:path';
import { test } from 'node:test';
import { DesktopBus } from './lib/desktop-bus.mjs';
import { unknownLines } from './lib/log-lines.mjs';
import { temporaryDirectory } from './lib/paths.mjs';
import { withSession } from './lib/session.mjs';
import { connected } from './lib/viewer.mjs';
import { until } from './lib/wait.mjs';

const sha256 = (data) => createHash('sha256').update(data).digest('hex');
const rows = (page, state) => page.locator(`.file-row[data-state=${state}]`).count();

/// A session whose page is connected; fails when the host logs an unknown line.
const withPage = (t, browser, want, body) => withSession(t, { browser, ...want }, async (session) => {
  const page = await session.viewer();
  await connected(page);
  await until(() => page.evaluate(() => vantora.app.ready), { what: 'the channel' });
  await body(page, session);
  assert.deepEqual(page.said.filter((line) => line.startsWith('error: ')), []);
  assert.deepEqual(unknownLines(session.host.log), []);
});

async function takeControl(page, session) {
  await page.fill('#pin', await session.host.pin());
  await page.press('#pin', 'Enter');
  await until(() => page.evaluate(() => document.body.dataset.control === 'on'), { what: 'control' });
}

/// Files of random bytes on the viewer's disk: [{path, name, sum}].
async function randomFiles(directory, sizes) {
  return Promise.all(Object.entries(sizes).map(async ([name, size]) => {
    const data = randomBytes(size);
    const path = join(directory, name);
    await writeFile(path, data);
    return { path, name, sum: sha256(data) };
  }));
}

test('beginsAFileAgainOnAHostThatIsStartedAgain', async (t) => {
  const directory = await temporaryDirectory('files');
  try {
    await withPage(t, 'chromium', {}, async (page, session) => {
      const [large] = await randomFiles(directory.path, { 'large.bin': 40_000_000 });
      await page.click('#files-button');
      await page.setInputFiles('#files-panel input[type=file]', large.path);
      await until(async () => Number(await page.getAttribute('.file-row [role=progressbar]', 'aria-valuenow')) > 0, { what: 'progress' });
      session.host.child.signal('SIGKILL');
      await session.host.child.done;
      // The page does not know at once that the host is gone.
      await page.locator('text=waiting for the connection').waitFor();
      await session.startHost();
      await until(async () => (await rows(page, 'saved')) === 1, { what: 'the file' });
      assert.equal(sha256(await readFile(join(session.host.home, 'Downloads/large.bin'))), large.sum);
    });
  } finally {
    await directory.remove();
  }
});

for (const browser of ['chromium', 'firefox']) {
  test(`${browser}SendsFilesAndTellsWhatBecameOfThem`, async (t) => {
    const bus = await DesktopBus.start();
    const directory = await temporaryDirectory('files');
    try {
      await withPage(t, browser, { host: { env: bus.env } }, async (page, session) => {
        const downloads = join(session.host.home, 'Downloads');
        const files = await randomFiles(directory.path, { 'one.bin': 5_000_001, empty: 0, 'zwei – 二.bin': 70_000, 'large.bin': 40_000_000 });
        const sent = files.slice(0, 3);
        const large = files[3];
        const choose = (chosen) => page.setInputFiles('#files-panel input[type=file]', chosen.map(({ path }) => path));
        await page.click('#files-button');
        await choose(sent);
        await until(async () => (await rows(page, 'saved')) === 3, { what: 'three files' });
        for (const { name, sum } of sent) assert.equal(sha256(await readFile(join(downloads, name))), sum, name);

        // The next file must not end up in the unfinished one.
        await choose([large, sent[0]]);
        await until(async () => (await stat(join(downloads, 'large.bin')).catch(() => null))?.size > 0, { what: 'its beginning' });
        await page.click('[aria-label="Cancel: large.bin"]');
        await until(async () => (await rows(page, 'saved')) === 4, { what: 'the file behind it' });
        assert.equal(await rows(page, 'cancelled'), 1);
        assert.equal(sha256(await readFile(join(downloads, 'one (1).bin'))), sent[0].sum);
        assert.equal((await stat(join(downloads, 'large.bin'))).mode & 0o444, 0, 'it looks finished');
        await page.click('[aria-label="Send again: large.bin"]');
        await until(async () => (await rows(page, 'saved')) === 5, { what: 'the file at the second time' });
        assert.equal(sha256(await readFile(join(downloads, 'large (1).bin'))), large.sum);

        await bus.click('Allow Incoming Files');
        await bus.row(({ label, checked }) => label === 'Allow Incoming Files' && !checked, 'the missing mark');
        const before = await readdir(downloads);
        await choose(sent);
        await until(async () => (await rows(page, 'failed')) === 3, { what: 'the refusal' });
        assert.match(await page.textContent('.file-row[data-state=failed] .file-text'), /does not accept files/);
        assert.deepEqual(await readdir(downloads), before);
      });
    } finally {
      await directory.remove();
      await bus.end();
    }
  });

  test(`${browser}PastesItsClipboardOnTheHostAndGetsItsCopies`, async (t) => {
    await withPage(t, browser, {}, async (page, session) => {
      const { screen, host } = session;
      await page.context().grantPermissions(['clipboard-read', 'clipboard-write']).catch(() => {});
      const file = join(host.home, 'typed');
      const paste = ['-xrm', 'XTerm.VT100.translations: #override Ctrl<Key>V: insert-selection(CLIPBOARD)'];
      await screen.run('sh', ['-c', 'printf %s old | xclip -selection clipboard -i >/dev/null 2>&1']);
      session.keep((await screen.terminal(`stty raw -echo; cat > ${file}`, { options: paste })).child);
      await takeControl(page, session);
      await page.click('#clipboard-button');
      await page.click('text=Keep both clipboards in step');
      await host.line(/^\[sync\] Clipboard monitoring started/);
      await page.focus('#stage');
      let expected = '';
      for (const text of ['first 表', 'second', 'third 🙂']) {
        await page.evaluate((text) => navigator.clipboard.writeText(text), text);
        await page.keyboard.press('Control+KeyV');
        expected += text;
        await until(async () => (await readFile(file, 'utf8')).length >= expected.length, { what: text });
        assert.equal(await readFile(file, 'utf8'), expected);
      }

      await page.keyboard.press('Control+KeyC');
      await screen.run('sh', ['-c', 'printf %s "copied there" | xclip -selection clipboard -i >/dev/null 2>&1']);
      await until(() => page.evaluate(async () => (await navigator.clipboard.readText()) === 'copied there'), { what: 'the copy' });
    });
  });

  test(`${browser}ExchangesLongTextsInThePanel`, async (t) => {
    await withPage(t, browser, {}, async (page, session) => {
      const { screen, host } = session;
      const long = 'Zeile "eins" 表 🙂\n'.repeat(60_000);
      assert.ok(Buffer.byteLength(long) > 1 << 20);
      await page.context().grantPermissions(['clipboard-read', 'clipboard-write']).catch(() => {});
      await page.click('#clipboard-button');
      await page.evaluate((text) => navigator.clipboard.writeText(text), long);
      await page.click('text=Send my clipboard');
      await page.locator('text=It is on the host’s clipboard now.').waitFor();
      const copied = join(host.home, 'copied');
      await until(() => screen.run('sh', ['-c', 'xclip -selection clipboard -o > "$1"', 'sh', copied])
        .then(() => readFile(copied, 'utf8')).then((text) => text === long, () => false), { what: 'the text of the viewer' });

      const theirs = `vom Rechner ${long}`;
      await writeFile(copied, theirs);
      await screen.run('sh', ['-c', 'xclip -selection clipboard -i "$1" >/dev/null 2>&1', 'sh', copied]);
      await page.click('text=Get the host’s text');
      await page.locator('text=Only its beginning is shown here').waitFor();
      assert.equal(await page.inputValue('[aria-label="Text of the host"]'), theirs.slice(0, 20_000));
      await page.click('text=Copy');
      await page.locator('text=It is on your clipboard now.').waitFor();
      assert.equal(await page.evaluate(() => navigator.clipboard.readText()), theirs);
    });
  });
}
