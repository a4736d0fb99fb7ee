// What is shown around the screen: displays, notices, chat, figures, full screen.
import assert from 'node:assert/strict';
import { until } from '../../e2e/lib/wait.mjs';
import { inControl, pairTests, untilReceived } from './setup.mjs';

const { pairTest, sendFromHost } = pairTests();

pairTest('draws the pointer in the shape that the host names', {}, async (both) => {
  const cursor = () => both.viewer.evaluate(() => getComputedStyle(document.getElementById('stage')).cursor);
  await inControl(both);
  assert.equal(await cursor(), 'default');
  await sendFromHost(both, { type: 'cursor_shape', shape: 'nwse-resize', timestamp: 1 });
  await until(async () => (await cursor()) === 'nwse-resize', { what: 'the shape' });
  await sendFromHost(both, { type: 'cursor_shape', shape: 'url(//elsewhere/x.png), none', timestamp: 1 });
  await until(async () => (await cursor()) === 'default', { what: 'the plain shape' });
});

pairTest('offers the choice among displays', { options: { displays: 3 } }, async (both) => {
  await until(() => both.viewer.isVisible('#display'), { what: 'the chooser' });
  const shown = () => both.viewer.evaluate(() => document.getElementById('display').selectedOptions[0].textContent);
  const said = () => both.viewer.textContent('#announcer');
  assert.equal(await shown(), 'Display 1 of 3');
  await both.viewer.selectOption('#display', '2');
  assert.deepEqual(await untilReceived(both.host, 'display_index'), [{ type: 'display_index', index: 2 }]);
  assert.equal(await said(), 'Showing display 3 of 3');
  // By keys: the next one is the first; a fourth there is not.
  for (const key of ['PageDown', 'Digit4', 'Digit2', 'PageUp']) await both.viewer.keyboard.press(`Control+Alt+Shift+${key}`);
  assert.deepEqual((await untilReceived(both.host, 'display_index', 4)).map(({ index }) => index), [2, 0, 1, 0]);
  assert.equal(await shown(), 'Display 1 of 3');
  // By the names that the host's desktop has for them.
  await both.host.evaluate(() => globalThis.host.stats({ displayNames: ['HDMI-1', '<b>', 'DP-2'] }));
  await until(async () => (await shown()) === '1 of 3: HDMI-1', { what: 'the name' });
  assert.equal(await both.viewer.textContent('#display option >> nth=1'), '2 of 3: <b>');
  await both.host.evaluate(() => globalThis.host.stats({ displayNames: ['HDMI-1', 5] }));
  await until(async () => (await shown()) === 'Display 1 of 3', { what: 'no name' });
  // The menu has them as well, and what was chosen elsewhere is shown.
  await both.viewer.click('#view-button');
  await both.viewer.click('.menu-item:has-text("Display 2 of 3")');
  assert.equal((await untilReceived(both.host, 'display_index', 5)).at(-1).index, 1);
  // Statistics of the display before are late ones.
  for (const displayIndex of [0, 2]) await sendFromHost(both, { type: 'host_stats', capture: 'screen', lastCaptureNs: 1, displayIndex });
  await until(async () => (await said()) === 'Showing display 3 of 3', { what: 'the display of the host' });
  assert.equal(await shown(), 'Display 3 of 3');
});

pairTest('shows no chooser for a single display', { options: { displays: 1 } }, async (both) => {
  await until(() => both.viewer.evaluate(() => vantora.lastMessages.display_info?.count === 1), { what: 'the message' });
  assert.ok(await both.viewer.isHidden('#display-field'));
});

pairTest('a missing permission is shown once, and stays away once dismissed', {}, async (both) => {
  const count = () => both.viewer.locator('.notice').count();
  for (let i = 0; i < 3; ++i) await sendFromHost(both, { type: 'permission_required', permission: 'accessibility' });
  await sendFromHost(both, { type: 'permission_required', permission: 'screen_recording' });
  await until(async () => (await count()) === 2, { what: 'two notices' });
  await both.viewer.click('.notice-close >> nth=0');
  await sendFromHost(both, { type: 'permission_required', permission: 'accessibility' });
  // Those that the page does not know share one notice, and what is no name is none.
  for (let i = 0; i < 9; ++i) await sendFromHost(both, { type: 'permission_required', permission: `${i}`.repeat(500) });
  await sendFromHost(both, { type: 'permission_required', permission: { toString: 1 } });
  await sendFromHost(both, { type: 'pong', t0: 5 });
  // Among all of the recent ones: the answer to a ping of the page's own may follow at once.
  await until(() => both.viewer.evaluate(() => vantora.recentMessages.some(({ type, t0 }) => type === 'pong' && t0 === 5)),
    { what: 'the last message' });
  assert.equal(await count(), 2);
  assert.equal(await both.viewer.textContent('.notice p >> nth=1'), `The host lacks a permission: ${'8'.repeat(60)}`);
});

pairTest('a panel that could not be loaded is loaded at its next opening', {}, async (both) => {
  const { viewer } = both;
  await viewer.route('**/diagnostics/panel.js', (route) => route.abort());
  await viewer.click('#diagnostics-button');
  await until(() => viewer.isVisible('text=could not be loaded'), { what: 'the failure' });
  viewer.said.length = 0;
  await viewer.unroute('**/diagnostics/panel.js');
  await viewer.click('#diagnostics-button');
  await viewer.click('#diagnostics-button');
  await until(() => viewer.isVisible('#diagnostics-panel >> text=Run'), { what: 'the panel' });
  assert.ok(await viewer.isHidden('text=could not be loaded'));
});

pairTest('chat shows text as text and counts what is unread', { firefox: true, query: '&name=Ada' }, async (both) => {
  const markup = '<img src=x onerror="document.body.dataset.hacked=1"> <b>hi</b>';
  await both.host.evaluate((text) => globalThis.host.signal({ type: 'chat_send', text }), markup);
  await until(() => both.viewer.isVisible('#chat-button .badge'), { what: 'the count' });
  assert.equal(await both.viewer.textContent('#chat-button .badge'), '1');
  await both.viewer.click('#chat-button');
  await until(() => both.viewer.isHidden('#chat-button .badge'), { what: 'the end of the count' });
  assert.equal(await both.viewer.textContent('.chat-text'), markup);
  assert.equal(await both.viewer.locator('#chat-log img, #chat-log b').count(), 0);
  await both.viewer.fill('#chat-input', '  see you  ');
  await both.viewer.press('#chat-input', 'Enter');
  await until(async () => (await both.viewer.locator('.chat-line').count()) === 2, { what: 'the echo' });
  assert.equal(await both.viewer.textContent('.chat-line >> nth=1 >> .chat-from'), 'Ada');
  assert.equal(await both.viewer.textContent('.chat-line >> nth=1 >> .chat-text'), 'see you');
  assert.equal(await both.viewer.evaluate(() => document.body.dataset.hacked), undefined);
  await until(() => both.host.evaluate(() => globalThis.host.signals.some((s) => s.type === 'chat_broadcast' && s.text === 'see you')),
    { what: 'the line at the host' });
});

pairTest('reactions reach the room', {}, async (both) => {
  await both.viewer.click('#chat-button');
  await both.viewer.click('button[aria-label="Send reaction: Rocket"]');
  await until(async () => (await both.viewer.locator('.reaction-line').count()) === 1, { what: 'the line' });
  const sent = await until(() => both.host.evaluate(() => globalThis.host.signals.find((s) => s.type === 'reaction_broadcast')),
    { what: 'the reaction at the host' });
  assert.deepEqual(sent, { type: 'reaction_broadcast', from: 'viewer', reaction: 'rocket' });
});

pairTest('shows figures of the stream and the round trip', { firefox: true }, async (both) => {
  await until(async () => / ms round trip .* fps .* bit\/s .* 640 × 360/.test(
    (await both.viewer.textContent('#figures')).replace('kbit', ' bit').replace('Mbit', ' bit')), { what: 'the figures' });
});

pairTest('full screen shows the screen alone and comes back', { firefox: true }, async (both) => {
  await both.viewer.click('#fullscreen-button');
  await until(() => both.viewer.evaluate(() => document.body.classList.contains('fullscreen')), { what: 'full screen' });
  assert.ok(await both.viewer.isHidden('#figures'));
  await both.viewer.evaluate(() => document.exitFullscreen());
  await until(() => both.viewer.isVisible('#figures'), { what: 'the page' });
});

pairTest('fits a narrow window', { firefox: true, options: { displays: 2 } }, async (both) => {
  await inControl(both);
  await both.viewer.click('#chat-button');
  for (const width of [360, 480, 800, 1080, 1081, 1280]) {
    await both.viewer.setViewportSize({ width, height: 640 });
    const widths = await both.viewer.evaluate(() => [document.documentElement.scrollWidth, innerWidth]);
    assert.equal(widths[0], widths[1], `at ${width}`);
    const overlap = await both.viewer.evaluate(() => {
      const boxes = [...document.querySelectorAll('.identity img, .pill, .tools > *')].filter((each) => each.checkVisibility())
        .map((each) => [each.id || each.className, each.getBoundingClientRect()]);
      return boxes.flatMap(([a, one], at) => boxes.slice(at + 1).filter(([, other]) =>
        one.left < other.right && other.left < one.right && one.top < other.bottom && other.top < one.bottom).map(([b]) => `${a} ${b}`));
    });
    assert.deepEqual(overlap, [], `at ${width}`);
  }
});

pairTest('a choice in the tool bar gives the keys back to the screen', { options: { displays: 2 } }, async (both) => {
  await inControl(both);
  const focused = () => both.viewer.evaluate(() => document.activeElement.id);
  await both.viewer.focus('#display');
  await both.viewer.selectOption('#display', '1');
  assert.equal(await focused(), 'stage');
  await both.viewer.click('#quality');
  await both.viewer.click('text=540p');
  assert.equal(await focused(), 'stage');
});

pairTest('every control has a name', { options: { displays: 2 } }, async (both) => {
  await both.viewer.click('#chat-button');
  const nameless = await both.viewer.evaluate(() => [...document.querySelectorAll('button, input, select, textarea, [tabindex="0"]')]
    .filter((element) => !element.hidden && !(element.getAttribute('aria-label') || element.labels?.length || element.textContent.trim()))
    .map((element) => element.id || element.outerHTML));
  assert.deepEqual(nameless, []);
});
