// What each state of the page has for those who see little, use no mouse or have it read to them.
import assert from 'node:assert/strict';
import { assertAccessible } from '../../e2e/lib/accessibility.mjs';
import { until } from '../../e2e/lib/wait.mjs';
import { hasState, inControl, newRoom, openViewer, pageTests, pairTests, takeControl } from './setup.mjs';

const { pageTest } = pageTests();
const { pairTest, sendFromHost } = pairTests();

pageTest('the choice of a room and the wait for a host are accessible', {}, async ({ server, browser, ...rest }) => {
  const page = await browser.page();
  await page.goto(server.address);
  await page.waitForSelector('#room-card', { state: 'visible' });
  await assertAccessible(page);
  await openViewer({ server, browser, ...rest }, newRoom(), '', page);
  await hasState(page, 'connection', 'waiting');
  await assertAccessible(page);
  // What is wrong in one of the schemes alone is found.
  await page.evaluate(() => document.body.append(Object.assign(document.createElement('p'), { textContent: 'pale', id: 'pale' })));
  await page.evaluate(() => { document.getElementById('pale').style.color = 'light-dark(#eee, #fff)'; });
  await assert.rejects(assertAccessible(page), ({ actual }) => actual.length === 1 && actual[0].id === 'color-contrast' &&
    actual[0].colorScheme === 'light' && actual[0].nodes[0].startsWith('#pale'));
  await page.context().close();
});

pairTest('statistics, a recording and the choice of a quality are accessible', {}, async ({ viewer, host }) => {
  const sys = { cpuPct: 42, netRxKbps: 900, netTxKbps: 2500, top: [{ pid: 77, name: 'busy', cpuPct: 90.5, rssBytes: 5e8 }] };
  await host.evaluate((sys) => setInterval(() => globalThis.host.stats({ sys, link: { estimateKbps: 9000 } }), 250), sys);
  await viewer.evaluate(() => delete Window.prototype.showSaveFilePicker && delete window.showSaveFilePicker);
  await viewer.click('#statistics-button');
  await viewer.click('#record-button');
  await until(() => viewer.isVisible('.recording-mark'), { what: 'the recording' });
  await until(() => viewer.isVisible('.process-name'), { what: 'the processes' });
  await assertAccessible(viewer);
  await viewer.click('#quality');
  await assertAccessible(viewer);
});

pairTest('a connected page is accessible, without control and with it', { options: { displays: 2 } }, async (both) => {
  const { viewer } = both;
  await assertAccessible(viewer);
  await takeControl(viewer, '111111');
  await hasState(viewer, 'control', 'denied');
  await sendFromHost(both, { type: 'permission_required', permission: 'accessibility' });
  await until(() => viewer.isVisible('.notice'), { what: 'the notice' });
  await assertAccessible(viewer);
  await inControl(both);
  await viewer.click('#chat-button');
  await viewer.fill('#chat-input', 'hello');
  await viewer.press('#chat-input', 'Enter');
  await until(() => viewer.isVisible('.chat-line'), { what: 'the line' });
  await assertAccessible(viewer);
});

pairTest('the ways to type and to size the picture are accessible', { options: { displays: 2 } }, async ({ viewer, ...rest }) => {
  await viewer.click('#keys-button');
  await assertAccessible(viewer, { context: '.menu:not([hidden])' });
  await viewer.keyboard.press('Escape');
  await inControl({ viewer, ...rest });
  await viewer.click('#view-button');
  await assertAccessible(viewer, { context: '.menu:not([hidden])' });
  await viewer.click('.menu-item:has-text("Larger")');
  await viewer.click('#keys-button');
  await viewer.click('.menu-item:has-text("Type a text")');
  await until(() => viewer.isVisible('#type-card'), { what: 'the card' });
  await viewer.fill('#type-text', 'abc');
  await viewer.click('text=Type it');
  await until(() => viewer.isVisible('text=Typed 3 of 3'), { what: 'the result' });
  await viewer.click('#keys-button');
  await viewer.click('.menu-item:has-text("On-screen keyboard")');
  await until(() => viewer.isVisible('#key-strip'), { what: 'the keys' });
  await viewer.click('#key-strip >> text=Ctrl');
  await assertAccessible(viewer, { context: '.viewport' });
  await viewer.click('#keys-button');
  await viewer.click('.menu-item:has-text("Touch and shortcuts")');
  await until(() => viewer.isVisible('.help-card'), { what: 'the help' });
  await assertAccessible(viewer, { context: '.help-card' });
  await viewer.keyboard.press('Escape');
  await viewer.keyboard.press('Control+Alt+Shift+Digit0');
});
