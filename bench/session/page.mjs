// The viewer's page: how soon it shows the host's screen, and what it loads for that. node page.mjs OUT; runs inside
// scripts/lab.
import { openViewer, shows } from '../../tests/e2e/lib/viewer.mjs';
import { until } from '../../tests/e2e/lib/wait.mjs';
import { figure, share, writeFigures } from './lib/figures.mjs';
import { session } from './lib/session.mjs';

const ROUNDS = 5;

await session({ screen: '1920x1080' }, async (each) => {
  await each.screen.paint('#406080');
  const pictures = [];
  let loaded = null;
  // Each page has a profile of its own, so nothing is cached.
  for (let round = 0; round < ROUNDS; round++) {
    const page = await openViewer(each.browser, each.server, each.room, (page) => page.addInitScript(() => {
      document.addEventListener('DOMContentLoaded', () => {
        document.getElementById('screen').requestVideoFrameCallback((now) => { window.firstPicture = now; });
      });
    }));
    pictures.push(await until(() => page.evaluate(() => window.firstPicture), { deadline: 20000, what: 'a picture' }));
    await shows(page, '#406080');
    loaded ??= await page.evaluate(() => {
      const all = [...performance.getEntriesByType('resource'), ...performance.getEntriesByType('navigation')];
      return { files: all.length, bytes: all.reduce((sum, entry) => sum + entry.transferSize, 0) };
    });
    await page.context().close();
  }
  figure('first picture after the page was opened, median', share(pictures), 'ms', 1500);
  figure(`first picture after the page was opened, longest of ${ROUNDS}`, Math.max(...pictures), 'ms', 1500);
  figure('page weight before any panel is opened', loaded.bytes / 1024, 'KiB', 150);
  figure('files before any panel is opened', loaded.files, 'files');
});

await writeFigures(process.argv[2]);
