// What the viewer's page records of the real host's screen, in both browsers.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { withSession } from './lib/session.mjs';
import { connected, near, rgb, shows } from './lib/viewer.mjs';
import { until } from './lib/wait.mjs';

/// Plays a file in the page: its duration, the size of its picture, and its colour in the middle at these fractions.
function played(page, content, parts) {
  return page.evaluate(async ([content, parts]) => {
    const bytes = Uint8Array.from(atob(content), (each) => each.charCodeAt(0));
    const video = document.createElement('video');
    video.muted = true;
    video.src = URL.createObjectURL(new Blob([bytes], { type: 'video/webm' }));
    const event = (name) => new Promise((resolve, reject) => {
      video.addEventListener(name, resolve, { once: true });
      video.addEventListener('error', () => reject(new Error(video.error.message)), { once: true });
    });
    await event('loadeddata');
    const context = new OffscreenCanvas(1, 1).getContext('2d', { willReadFrequently: true });
    const colours = [];
    for (const part of parts) {
      video.currentTime = video.duration * part;
      await event('seeked');
      context.drawImage(video, video.videoWidth / 2, video.videoHeight / 2, 1, 1, 0, 0, 1, 1);
      colours.push([...context.getImageData(0, 0, 1, 1).data.slice(0, 3)]);
    }
    return { duration: video.duration, size: `${video.videoWidth}x${video.videoHeight}`, colours };
  }, [content.toString('base64'), parts]);
}

const seconds = (page) => page.evaluate(() => {
  const [, minutes, rest] = /^(\d+):(\d+)/.exec(document.querySelector('.mark-time')?.textContent ?? '') ?? [];
  return Number(minutes) * 60 + Number(rest);
});

for (const browser of ['chromium', 'firefox']) {
  test(`${browser}RecordsAScreenThatHardlyMoves`, async (t) => {
    await withSession(t, { browser }, async (session) => {
      await session.screen.paint('#a03020');
      const page = await session.viewer();
      await connected(page);
      await shows(page, '#a03020');
      // A dialog of the browser cannot be used here.
      await page.evaluate(() => delete Window.prototype.showSaveFilePicker && delete window.showSaveFilePicker);
      await until(() => page.isEnabled('#record-button'), { what: 'the button' });
      await page.click('#record-button');
      await until(async () => (await seconds(page)) >= 2, { what: 'two seconds' });
      await session.screen.paint('#2030a0');
      await shows(page, '#2030a0');
      const changed = await seconds(page);
      await until(async () => (await seconds(page)) >= changed + 2, { what: 'two further seconds' });
      const { name, content } = await session.browser.saved(page, () => page.click('#record-button'));
      assert.match(name, /\.webm$/);
      const { duration, size, colours } = await played(page, content, [0.1, 0.95]);
      const said = /, (\d+):(\d+), /.exec(await page.textContent('#notices'));
      t.diagnostic(`${duration} s, ${content.length} bytes, ${said[0]}`);
      assert.ok(Math.abs(duration - (Number(said[1]) * 60 + Number(said[2]) + 0.5)) < 0.8, `${duration} s, ${said[0]}`);
      assert.equal(size, '1280x720');
      for (const [at, hex] of ['#a03020', '#2030a0'].entries()) assert.ok(near(colours[at], rgb(hex), 24), `${colours[at]}`);
    });
  });
}
