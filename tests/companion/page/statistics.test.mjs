// The statistics panel: graphs with their figures in words, the host's processes.
import assert from 'node:assert/strict';
import { until } from '../../e2e/lib/wait.mjs';
import { inControl, pairTests, settled, receivedMessages, untilReceived } from './setup.mjs';

const { pairTest } = pairTests();

const sys = { cpuPct: 42, memTotalBytes: 16e9, memUsedBytes: 4e9, disk: { usedPct: 61, totalBytes: 512e9, usedBytes: 312e9 },
  netRxKbps: 900, netTxKbps: 2500, top: [{ pid: 77, name: 'busy <b>', cpuPct: 90.5, rssBytes: 5e8 }, { pid: 78, name: 'idle', cpuPct: 0, rssBytes: 1e6 }] };
const graph = (page, title) => page.evaluate((title) => {
  const element = [...document.querySelectorAll('.graph')].find((each) => each.querySelector('h4').textContent === title);
  const canvas = element.querySelector('canvas');
  const { data } = canvas.getContext('2d').getImageData(0, 0, canvas.width, canvas.height);
  const colours = new Set();
  for (let at = 0; at < data.length; at += 4) if (data[at + 3] > 200) colours.add(data.slice(at, at + 3).join());
  return { hidden: element.hidden, text: element.textContent, name: canvas.getAttribute('aria-label'), colours: colours.size };
}, title);

pairTest('graphs show the load of the host and the stream, in words too', {}, async (both) => {
  await both.host.evaluate((sys) => setInterval(() => globalThis.host.stats({ sys }), 250), sys);
  await both.viewer.click('#statistics-button');
  const cpu = await until(async () => {
    const shown = await graph(both.viewer, 'Processor');
    return shown.name?.includes('now 42 %') && shown.colours > 1 && shown;
  }, { what: 'the graph of the processor' });
  assert.equal(cpu.name, 'Processor, now 42 %; last minute: 42 %');
  assert.equal(await both.viewer.evaluate(() => document.activeElement.type), 'radio', 'the panel has the focus');
  assert.match((await graph(both.viewer, 'Memory')).text, /25 %4\.0 GB of 16\.0 GB/);
  assert.match((await graph(both.viewer, 'Network')).name, /now in 900 kbit\/s, out 2\.5 Mbit\/s/);
  await until(async () => /now \d+; last minute: \d+/.test((await graph(both.viewer, 'Frames a second')).name ?? ''), { what: 'the frame rate' });
  await until(async () => /640 × 360 · VP8/.test(await both.viewer.textContent('#stream-facts')), { what: 'facts' });
  await both.viewer.check('input[value="600"]');
  assert.match((await graph(both.viewer, 'Processor')).name, /last 10 minutes/);

  // The past remains, and the graphs say why they stand still.
  await both.host.evaluate(() => globalThis.host.leave());
  await until(() => both.viewer.isVisible('#statistics-state'), { what: 'the sentence' });
  assert.match(await both.viewer.textContent('#statistics-state'), /^Not connected\./);
  await until(async () => (await graph(both.viewer, 'Processor')).name === 'Processor, now –; last 10 minutes: 42 %', { what: 'the gap' });
});

pairTest('a process is shown in the host’s own monitor once control is permitted', {}, async (both) => {
  await both.viewer.click('#statistics-button');
  await both.host.evaluate((sys) => setInterval(() => globalThis.host.stats({ sys }), 250), sys);
  const button = both.viewer.locator('.process-open button >> nth=0');
  await until(() => both.viewer.evaluate(() => document.querySelectorAll('.processes tbody tr').length === 2), { what: 'processes' });
  assert.match(await both.viewer.textContent('.processes tbody tr >> nth=0'), /busy <b>91 %500 MB/);
  assert.ok(await button.isDisabled());
  assert.match(await both.viewer.textContent('#processes-reason'), /^Take control first/);
  await inControl(both);
  await until(() => button.isEnabled(), { what: 'the button' });
  await button.click();
  assert.deepEqual(await untilReceived(both.host, 'open_activity_monitor'), [{ type: 'open_activity_monitor', pid: 77 }]);
  await settled(both);
  assert.equal((await receivedMessages(both.host, 'open_activity_monitor')).length, 1);
  assert.match(await both.viewer.textContent('#statistics-panel'), /Asked the host to show busy <b> in its process monitor\./);
});
