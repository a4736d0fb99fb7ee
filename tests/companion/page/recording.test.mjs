// Recordings of the session: the file that they make, and who is told of them.
import assert from 'node:assert/strict';
import { until } from '../../e2e/lib/wait.mjs';
import { hasState, pairTests } from './setup.mjs';

const { pairTest } = pairTests();

// The viewer "chooses" a file in the browser's private storage: the dialog itself belongs to the browser.
const chooseFile = (page) => page.evaluate(() => {
  window.showSaveFilePicker = async ({ suggestedName }) => {
    const folder = await (await navigator.storage.getDirectory()).getDirectoryHandle(crypto.randomUUID(), { create: true });
    window.chosen = await folder.getFileHandle(suggestedName, { create: true });
    return window.chosen;
  };
});
// As in a browser that lets no page write a file; what is downloaded counts as chosen.
const catchDownload = (page) => page.evaluate(() => {
  delete Window.prototype.showSaveFilePicker;
  delete window.showSaveFilePicker;
  const { createObjectURL } = URL;
  HTMLAnchorElement.prototype.click = function () {
    window.chosen.name = this.download;
  };
  URL.createObjectURL = (file) => {
    window.chosen = { getFile: async () => new File([file], window.chosen.name) };
    return createObjectURL.call(URL, file);
  };
});
const linesAtHost = ({ host }) => host.evaluate(() =>
  globalThis.host.signals.filter(({ type }) => type === 'chat_broadcast').map(({ text }) => text));
const recordedFor = (page, seconds) => until(() => page.evaluate((seconds) => {
  const [, minutes, rest] = /^(\d+):(\d+)/.exec(document.querySelector('.mark-time')?.textContent) ?? [];
  return Number(minutes) * 60 + Number(rest) >= seconds;
}, seconds), { what: `${seconds} seconds of recording` });
const enabled = (page) => until(() => page.isEnabled('#record-button'), { what: 'the button' });
const notice = (page, pattern) => until(async () => {
  const text = await page.evaluate(() => document.getElementById('notices').textContent);
  return pattern.test(text) && text;
}, { what: `a notice like ${pattern}` });

// Plays the file that was chosen: {duration, sizes (of early and of late pictures), name}.
function played(page) {
  return page.evaluate(async () => {
    const file = await window.chosen.getFile();
    const video = document.createElement('video');
    video.muted = true;
    video.src = URL.createObjectURL(file);
    const event = (name) => new Promise((resolve, reject) => {
      video.addEventListener(name, resolve, { once: true });
      video.addEventListener('error', () => reject(new Error(video.error.message)), { once: true });
    });
    await event('loadeddata');
    const { duration } = video;
    const sizes = [];
    for (const part of [0.1, 0.95]) {
      video.currentTime = duration * part;
      await event('seeked');
      sizes.push(`${video.videoWidth}x${video.videoHeight}`);
    }
    return { duration, sizes, name: file.name };
  });
}

pairTest('a recording is one file that can be searched, across connections and sizes', { firefox: true }, async (both) => {
  const { viewer, host } = both;
  const writes = await viewer.evaluate(() => 'showSaveFilePicker' in window);
  await (writes ? chooseFile : catchDownload)(viewer);
  await enabled(viewer);
  await viewer.click('#record-button');
  await until(() => viewer.isVisible('.recording-mark'), { what: 'the mark' });
  await until(async () => (await linesAtHost(both)).includes('The recording of this session has started.'), { what: 'the line' });
  const leaves = () => viewer.evaluate(() => window.dispatchEvent(new Event('beforeunload', { cancelable: true })));
  assert.equal(await leaves(), false);
  await recordedFor(viewer, 2);
  await host.evaluate(async () => {
    globalThis.host.canvas.width = 800;
    globalThis.host.buildPeer();
    await globalThis.host.offer();
  });
  await until(() => viewer.evaluate(() => document.getElementById('screen').videoWidth === 800), { what: 'the other size' });
  await until(async () => (await linesAtHost(both)).includes('This session is still being recorded.'), { what: 'the reminder' });
  const changed = await viewer.evaluate(() => document.querySelector('.mark-time').textContent);
  await recordedFor(viewer, Number(/:(\d+)/.exec(changed)[1]) + 2);
  await viewer.click('#record-button');
  const said = await notice(viewer, writes ? /^Saved: / : /^Saved among your downloads: /);
  assert.ok(await viewer.evaluate(() => document.querySelector('.recording-mark') === null));
  assert.equal(await leaves(), true);
  await until(async () => (await linesAtHost(both)).at(-1) === 'The recording of this session has ended.', { what: 'the last line' });
  // What the page said itself is not news.
  assert.ok(await viewer.isHidden('#chat-button .badge'));

  const [, minutes, seconds] = /, (\d+):(\d+), .*B/.exec(said);
  const file = await played(viewer);
  assert.match(file.name, /^Workshop \d{4}-\d\d-\d\d \d\d\.\d\d\.webm$/);
  assert.ok(Math.abs(file.duration - (Number(minutes) * 60 + Number(seconds) + 0.5)) < 0.6, `${said}; ${file.duration} s`);
  assert.deepEqual(file.sizes, ['640x360', '800x360']);
});

pairTest('a recording ends when the host stays away, and is downloaded where no page may write a file', {}, async ({ viewer, host }) => {
  await catchDownload(viewer);
  await enabled(viewer);
  // A minute passes at once.
  await viewer.evaluate(() => {
    const { setTimeout } = window;
    window.setTimeout = (run, ms, ...values) => setTimeout(run, ms === 60000 ? 200 : ms, ...values);
  });
  await viewer.click('#record-button');
  await until(() => viewer.isVisible('.recording-mark'), { what: 'the mark' });
  await host.evaluate(() => globalThis.host.leave());
  await hasState(viewer, 'connection', 'waiting');
  const said = await notice(viewer, /^The recording ended because the host was away for a minute\. Saved among your downloads: Workshop .*\.webm, /);
  const { sizes, name } = await played(viewer);
  assert.ok(said.includes(name), `${said}; ${name}`);
  assert.deepEqual(sizes, ['640x360', '640x360']);
});

pairTest('nothing is recorded unless the host’s user can be told', {}, async (both) => {
  const { viewer } = both;
  await chooseFile(viewer);
  await enabled(viewer);
  await viewer.evaluate(() => {
    vantora.app.chat.say = () => false;
  });
  await viewer.click('#record-button');
  await notice(viewer, /^Not recording: the person at the host could not be told/);
  assert.equal(await viewer.evaluate(() => document.querySelector('.recording-mark')), null);
  // The file that was chosen is gone again.
  await assert.rejects(() => viewer.evaluate(() => window.chosen.getFile()), /could not be found/);
  assert.deepEqual(await linesAtHost(both), []);
});

pairTest('a full disk ends the recording in words', {}, async (both) => {
  const { viewer } = both;
  await viewer.evaluate(() => {
    window.showSaveFilePicker = async () => ({
      name: 'full.webm',
      createWritable: async () => ({
        write: async () => { throw new DOMException('no room', 'QuotaExceededError'); },
        close: async () => {},
        abort: async () => {},
      }),
      getFile: async () => new File([], 'full.webm'),
    });
  });
  await enabled(viewer);
  await viewer.click('#record-button');
  await notice(viewer, /^The recording is lost\. The disk is full\./);
  await until(async () => (await linesAtHost(both)).at(-1) === 'The recording of this session has ended.', { what: 'the last line' });
  await enabled(viewer);
});
