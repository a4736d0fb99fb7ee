// The quality of the picture: what the page asks for by itself, and the viewer's choices.
import assert from 'node:assert/strict';
import { until } from '../../e2e/lib/wait.mjs';
import { pairTests, receivedMessages, untilReceived } from './setup.mjs';

const { pairTest } = pairTests();

const label = (page) => page.textContent('#quality-label');
const title = (page) => page.getAttribute('#quality', 'title');
const choose = async (page, text) => {
  await page.click('#quality');
  await page.click(`.menu-item:has-text("${text}")`);
};
const saysIn = (page, pattern) => until(async () => pattern.test(await title(page)), { what: `${pattern}` });
// As the host does, four times a second.
const tell = ({ host }, stats) => host.evaluate((stats) => {
  clearInterval(globalThis.teller);
  globalThis.teller = setInterval(() => globalThis.host.stats(stats), 250);
}, stats);

pairTest('takes the denser codec over a thin link, and says why', {}, async (both) => {
  const { viewer, host } = both;
  await tell(both, { link: { estimateKbps: 9000 }, sys: { cpuPct: 20 } });
  await saysIn(viewer, /^Quality: VP8 · original size — the link carries 9\.0 Mbit\/s$/);
  assert.equal(await label(viewer), 'Automatic');
  assert.deepEqual(await receivedMessages(host, 'codec'), []);
  await tell(both, { link: { estimateKbps: 70 }, sys: { cpuPct: 20 } });
  assert.deepEqual(await untilReceived(host, 'codec'), [{ type: 'codec', codec: 'av1' }]);
  await saysIn(viewer, /^Quality: AV1 · original size — the link carries 70 kbit\/s$/);
  assert.equal((await receivedMessages(host, 'codec')).length, 1);
});

pairTest('what the viewer chose stays until Automatic is chosen again', {}, async (both) => {
  const { viewer, host } = both;
  await tell(both, {});
  await saysIn(viewer, /VP8 · original size — the host does not tell what the link carries$/);
  await choose(viewer, 'VP9');
  assert.deepEqual(await untilReceived(host, 'codec'), [{ type: 'codec', codec: 'vp9' }]);
  await saysIn(viewer, /^Quality: VP9 · /);
  await choose(viewer, '720p · 3 Mbit/s');
  assert.equal(await label(viewer), '720p · 3 Mbit/s · VP9');
  await saysIn(viewer, /^Quality: VP9 · 720p · 3 Mbit\/s — as you chose$/);
  assert.equal((await receivedMessages(host, 'quality')).at(-1).preset, 'medium');
  await viewer.click('#quality');
  const checked = await viewer.evaluate(() => [...document.querySelectorAll('.menu-item[aria-checked=true]')].map((each) => each.textContent));
  assert.deepEqual(checked, ['720p · 3 Mbit/s', 'VP9']);
  await viewer.click('.menu-item:has-text("Automatic")');
  assert.equal(await label(viewer), 'Automatic');
  assert.deepEqual((await untilReceived(host, 'codec', 2)).at(-1), { type: 'codec', codec: 'auto' });
  await until(async () => (await receivedMessages(host, 'quality')).at(-1).preset === 'native', { what: 'the original size' });
});
