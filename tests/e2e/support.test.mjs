// The console's panels of commands, diagnostics and statistics, with the real host, in both browsers.
import assert from 'node:assert/strict';
import { chmod, readFile, statfs, writeFile } from 'node:fs/promises';
import { join } from 'node:path';
import { test } from 'node:test';
import { temporaryDirectory } from './lib/paths.mjs';
import { withSession } from './lib/session.mjs';
import { connected } from './lib/viewer.mjs';
import { until } from './lib/wait.mjs';

// A desktop whose dark mode is switched by programs that print what they do.
const PROGRAMS = {
  kreadconfig5: 'echo BreezeLight',
  kreadconfig6: 'echo BreezeLight',
  'plasma-apply-colorscheme': 'echo "Chosen: $1"; echo "a remark" >&2',
};

async function programs() {
  const { path, remove } = await temporaryDirectory('programs');
  for (const [name, script] of Object.entries(PROGRAMS)) {
    await writeFile(join(path, name), `#!/bin/sh\n${script}\n`);
    await chmod(join(path, name), 0o755);
  }
  return { path, remove };
}

// As the report writes sizes, from the kernel's count.
const sizeText = (bytes) => {
  const step = Math.min(4, Math.floor(Math.log2(bytes) / 10));
  return `${(bytes / 1024 ** step).toFixed(1)} ${['', 'KB', 'MB', 'GB', 'TB'][step]}`;
};

for (const browser of ['chromium', 'firefox']) {
  test(`runsCommandsAndReportsOnTheHostIn${browser}`, async (t) => {
    const folder = await programs();
    const env = { XDG_CURRENT_DESKTOP: 'KDE', PATH: `${folder.path}:${process.env.PATH}` };
    await withSession(t, { browser, host: { env } }, async (session) => {
      const page = await session.viewer();
      await connected(page);
      await page.click('#diagnostics-button');
      await page.click('#diagnostics-panel .primary:enabled');
      await page.click('#commands-button');
      await page.click('.command-access .button');
      await page.fill('#pin', await session.host.pin());
      await page.press('#pin', 'Enter');

      const row = (id) => `[data-command="${id}"]`;
      await page.click(`${row('toggle-dark-mode')} > .button:enabled`);
      await page.click(`${row('dns-flush')} > .button:enabled`);
      await page.click(`${row('toggle-dark-mode')} .command-state .button`);
      assert.deepEqual(await page.locator('.run[open] .run-output').allTextContents(), [
        'Chosen: BreezeDark',
        'a remark',
      ]);
      // Nothing here caches host names.
      await until(
        async () =>
          /^Not possible on this host: No cache of host names runs here/.test(
            await page.textContent(`${row('dns-flush')} .command-state`),
          ),
        { what: 'the refusal' },
      );

      await page.click('#diagnostics-button');
      await page.waitForSelector('.report', { timeout: 60000 });
      const shown = Object.fromEntries(
        await page
          .locator('.report-rows > div')
          .evaluateAll((rows) => rows.map((each) => [...each.children].map(({ textContent }) => textContent))),
      );
      const { blocks, bsize } = await statfs('/');
      assert.equal(shown.Size, sizeText(blocks * bsize));
      assert.equal(
        shown['Operating system'],
        /^PRETTY_NAME="?([^"\n]*)/m.exec(await readFile('/etc/os-release', 'utf8'))[1],
      );
      // The network of the test leads nowhere.
      assert.ok(
        (await page.locator('.finding.bad').allTextContents()).some((text) =>
          text.includes('The internet does not answer.'),
        ),
      );

      await page.click('#statistics-button');
      const kibibytes = Number(/^MemTotal: +(\d+) kB/.exec(await readFile('/proc/meminfo', 'utf8'))[1]);
      const memory = ` of ${((kibibytes * 1024) / 1e9).toFixed(1)} GB`;
      const graph = page.locator('.graph').filter({ has: page.locator('h4', { hasText: /^Memory$/ }) });
      await until(async () => (await graph.textContent()).includes(memory), { what: `the memory,${memory}` });
      await until(async () => (await page.textContent('#stream-facts')).includes('1280 × 720'), {
        what: 'the size of the picture',
      });
      assert.ok((await page.locator('.processes tbody tr').count()) > 5);
      assert.deepEqual(
        page.said.filter((line) => line.startsWith('error: ')),
        [],
      );
    }).finally(folder.remove);
  });
}
