// The panels of commands and diagnostics.
import assert from 'node:assert/strict';
import { assertAccessible } from '../../e2e/lib/accessibility.mjs';
import { until } from '../../e2e/lib/wait.mjs';
import { hasState, inControl, pageTests, pairTests, receivedMessages, takeControl, untilReceived } from './setup.mjs';

const { context } = pageTests();
const { pairTest, sendFromHost } = pairTests();

const row = (id) => `[data-command="${id}"]`;
const runButton = (id) => `${row(id)} > .button`;
const stateOf = async ({ viewer }, id) => (await viewer.textContent(`${row(id)} .command-state`)).trim();
const run = (both, id) => both.viewer.click(runButton(id));
const answer = (both, id, more = {}) =>
  sendFromHost(both, { type: 'command_result', id, title: id, ok: true, code: 0, stdout: '', stderr: '', ...more });

async function openPanel({ viewer }, id) {
  await viewer.click(`#${id}-button`);
  await viewer.waitForSelector(`#${id}-panel .button:visible`);
}

// Firefox knows no such permission; the profile of the tests allows it there.
const allowClipboard = (page) =>
  page
    .context()
    .grantPermissions(['clipboard-read', 'clipboard-write'])
    .catch(() => {});

async function says(both, id, pattern) {
  await until(async () => pattern.test(await stateOf(both, id)), { what: `${pattern} of ${id}` });
}

pairTest('commands need the PIN, for which the panel opens the card', {}, async (both) => {
  const { viewer } = both;
  await viewer.click('#pin-dismiss');
  await openPanel(both, 'commands');
  assert.equal(await viewer.locator('.command').count(), 9);
  assert.equal(await viewer.locator('.command > .button:enabled').count(), 0);
  await viewer.click('.command-access .button');
  assert.equal(await viewer.evaluate(() => document.activeElement.id), 'pin');
  await takeControl(viewer);
  await hasState(viewer, 'control', 'on');
  assert.ok(await viewer.isHidden('.command-access'));
  assert.equal(await viewer.locator('.command > .button:enabled').count(), 9);
  await viewer.evaluate(() => document.querySelectorAll('.command > .button')[1].click());
  assert.deepEqual(await untilReceived(both.host, 'exec_command'), [{ type: 'exec_command', id: 'open-terminal' }]);
  await sendFromHost(both, {
    type: 'command_result',
    id: 'open-terminal',
    title: 'open-terminal',
    ok: false,
    code: -1,
    stderr: 'Unauthorized (control not granted)',
  });
  await says(both, 'open-terminal', /^Not allowed: the host has not granted control.*Ask the person at the host/);

  // A list in all of its states.
  await run(both, 'reveal-downloads');
  await answer(both, 'reveal-downloads', { stdout: 'opened', stderr: 'a warning' });
  await run(both, 'dns-flush');
  await run(both, 'clear-chrome-cache');
  await viewer.click(`${row('reveal-downloads')} .command-state .button`);
  await viewer.waitForSelector('.run[open] .run-output');
  await assertAccessible(viewer, { context: '#dock' });
});

pairTest('a demonstration room needs no PIN for commands', {}, async (both) => {
  await openPanel(both, 'commands');
  await both.host.evaluate(() => globalThis.host.stats({ demo: true }));
  await until(() => both.viewer.isEnabled(runButton('dns-flush')), { what: 'the command' });
});

pairTest('several commands run at once and show their output as text', { firefox: true }, async (both) => {
  const { viewer } = both;
  await inControl(both);
  await openPanel(both, 'commands');
  for (const id of ['dns-flush', 'reveal-downloads']) await run(both, id);
  await says(both, 'dns-flush', /^Running/);
  await viewer.focus(runButton('dns-flush'));
  await viewer.keyboard.press('Enter');
  const markup = '<img src=x onerror="document.body.dataset.hacked=1"><b>bold</b>';
  await answer(both, 'reveal-downloads', { stdout: `${markup}\nsecond line\n`, stderr: 'a warning' });
  await answer(both, 'never-asked', { stdout: 'x' });
  await answer(both, 'open-terminal', { stdout: 'x' });
  await says(both, 'reveal-downloads', /^Done\./);
  await says(both, 'dns-flush', /^Running/);
  assert.ok(await viewer.isHidden(`${row('open-terminal')} .command-state`));
  assert.equal((await receivedMessages(both.host, 'exec_command')).length, 2);

  await viewer.click(`${row('reveal-downloads')} .command-state .button`);
  assert.deepEqual(await viewer.locator('.run[open] .run-output').allTextContents(), [
    `${markup}\nsecond line`,
    'a warning',
  ]);
  assert.equal(await viewer.locator('.run img, .run b').count(), 0);
  assert.equal(await viewer.evaluate(() => document.body.dataset.hacked), undefined);
  await allowClipboard(viewer);
  await viewer.click('.run[open] .button');
  await until(async () => (await viewer.textContent('.run[open] .button')) === 'Copied', { what: 'the copy' });
  assert.equal(await viewer.evaluate(() => navigator.clipboard.readText()), `${markup}\nsecond line\na warning`);

  // The answer to a command of a closed panel is announced on its button.
  await viewer.click('#dock-close');
  await answer(both, 'dns-flush', { ok: false, code: 127, stderr: 'No cache of host names runs here' });
  await until(async () => (await viewer.getAttribute('#commands-button', 'aria-label')) === 'Commands, 1 result', {
    what: 'the badge',
  });
  await viewer.click('#commands-button');
  await until(async () => (await viewer.getAttribute('#commands-button', 'aria-label')) === 'Commands', {
    what: 'the badge to go',
  });
  await says(both, 'dns-flush', /^Not possible on this host: No cache of host names runs here/);
  assert.deepEqual(await viewer.locator('.run-title').allTextContents(), ['Show the downloads', 'Clear the DNS cache']);
});

pairTest('asks before it closes a browser on the host', { firefox: true }, async (both) => {
  const { viewer } = both;
  await inControl(both);
  await openPanel(both, 'commands');
  const focused = () => viewer.evaluate(() => document.activeElement.textContent);
  await viewer.focus(runButton('clear-chrome-cache'));
  await viewer.keyboard.press('Enter');
  assert.match(await viewer.textContent('.command-confirm'), /closes Chrome and Chromium/);
  assert.equal(await focused(), 'Close and clear');
  await viewer.keyboard.press('Escape');
  assert.equal(await viewer.locator('.command-confirm').count(), 0);
  assert.ok(await viewer.isVisible('#commands-panel'));
  assert.equal(await focused(), 'Run');
  await viewer.keyboard.press('Enter');
  await viewer.keyboard.press('Enter');
  assert.deepEqual(await untilReceived(both.host, 'exec_command'), [
    { type: 'exec_command', id: 'clear-chrome-cache' },
  ]);
  assert.equal(await focused(), 'Run');
});

pairTest('a lost connection ends what waits for an answer', {}, async (both) => {
  const { viewer } = both;
  await inControl(both);
  await openPanel(both, 'commands');
  await run(both, 'open-terminal');
  await says(both, 'open-terminal', /^Running/);
  await openPanel(both, 'diagnostics');
  await viewer.click('#diagnostics-panel .primary');
  await untilReceived(both.host, 'diagnostics_run');
  await both.host.evaluate(() => globalThis.host.reliable.close());
  await until(() => viewer.isVisible('#diagnostics-panel .bad'), { what: 'the message' });
  assert.match(await viewer.textContent('#diagnostics-panel .bad'), /connection ended before the report came/);
  assert.ok(await viewer.isDisabled('#diagnostics-panel .primary'));
  await viewer.click('#commands-button');
  await says(both, 'open-terminal', /not known whether the command ran/);
  assert.match(await viewer.textContent('.command-access'), /^Not connected to the host/);
  assert.ok(await viewer.isDisabled(runButton('open-terminal')));
});

const report = {
  network: { ip: '10.0.0.2', gateway: '10.0.0.1', portal: { status: 'open' }, proxy: { enabled: false }, vpn: [] },
  ping: { gateway_ok: true, gateway_ms: 1.25, internet_ok: true },
  storage: { totalKB: 1000000, usedKB: 960000, availKB: 40000, freePct: 4, smartStatus: 'Verified' },
  processes: { topCPU: [{ pid: 7, cpuPct: 1.5, name: '<i>busy</i>' }], topMem: 'none' },
  updates: { current: 'Debian GNU/Linux 12', available: ['bash/stable-security 5.2 amd64 [upgradable from: 5.1]'] },
  security: { firewall: 'Off' },
};
const sendReport = (both, payload) => sendFromHost(both, { type: 'diagnostics_result', payload });
const findings = ({ viewer }) => viewer.locator('#diagnostics-panel .finding p:first-of-type').allTextContents();

async function requestReport(both, payload) {
  const asked = (await receivedMessages(both.host, 'diagnostics_run')).length;
  await both.viewer.click('#diagnostics-panel .primary');
  await untilReceived(both.host, 'diagnostics_run', asked + 1);
  await sendReport(both, payload);
}

pairTest('shows what is wrong first, then the values, and keeps the reports', {}, async (both) => {
  const { viewer } = both;
  await openPanel(both, 'diagnostics');
  // Nobody asked for it.
  await sendReport(both, report);
  await requestReport(both, { ...report, security: { firewall: 'On' }, battery: { healthPct: 60 } });
  await viewer.waitForSelector('.report');
  await requestReport(both, report);
  await until(
    async () => (await findings(both)).length === 3 && (await viewer.locator('.gone-list li').count()) === 0,
    { what: 'the second report' },
  );
  assert.deepEqual(await findings(both), [
    'The disk is 96 % full: 39.1 MB of 976.6 MB are free.',
    '1 update waits to be installed, 1 of them for security.',
    'No active firewall was found.',
  ]);
  assert.equal(await viewer.textContent('.verdict'), '3 things need attention.');
  assert.deepEqual(await viewer.locator('.finding:has(.finding-new) p:first-of-type').allTextContents(), [
    'No active firewall was found.',
  ]);
  assert.match(
    await viewer.textContent('.report-sections'),
    /Free39\.1 MB \(4\.0 %\).*Gatewayyes1\.3 ms.*<i>busy<\/i>71\.5 %/,
  );
  assert.equal(await viewer.locator('.report i').count(), 0);
  assert.match(await viewer.textContent('.report-meta'), /^Workshop, .*\(just now\)/);
  await assertAccessible(viewer, { context: '#dock' });

  assert.equal(await viewer.locator('.report-choice option').count(), 2);
  await viewer.selectOption('.report-choice', { index: 1 });
  assert.equal((await findings(both)).at(-1), 'The battery holds only 60 % of what it was made for.');

  await viewer.click('#dock-close');
  await viewer.evaluate(() => document.querySelector('#diagnostics-panel .primary').click());
  await untilReceived(both.host, 'diagnostics_run', 3);
  await sendReport(both, 'nonsense');
  await viewer.click('#diagnostics-button');
  await until(() => viewer.isVisible('#diagnostics-panel .bad'), { what: 'the message' });
  assert.match(await viewer.textContent('#diagnostics-panel .bad'), /cannot be read/);
});

const press = ({ viewer }, name) => viewer.click(`#diagnostics-panel .button:has-text("${name}")`);

async function openReport(both) {
  await openPanel(both, 'diagnostics');
  await requestReport(both, report);
  await both.viewer.waitForSelector('.report');
}

pairTest('a report leaves the page as text, as a file and in a window', { firefox: true }, async (both) => {
  const { viewer } = both;
  await openReport(both);
  const said = (words) =>
    until(async () => (await viewer.textContent('.report-top > p:last-child')).startsWith(words), { what: words });

  await allowClipboard(viewer);
  await press(both, 'Copy');
  await said('Copied.');
  assert.match(
    await viewer.evaluate(() => navigator.clipboard.readText()),
    /^Diagnostics of Workshop, .*\n[^]*- Problem: The disk is 96 % full/,
  );
  // Over plain HTTP there is no such interface.
  await viewer.evaluate(() => {
    Object.defineProperty(navigator, 'clipboard', { value: undefined, configurable: true });
    document.addEventListener('copy', () => {
      document.body.dataset.copied = document.getSelection().toString() || document.activeElement.value;
    });
  });
  await press(both, 'Copy');
  await until(() => viewer.evaluate(() => document.body.dataset.copied?.startsWith('Diagnostics of Workshop')), {
    what: 'the selection',
  });

  const file = await context.browser.saved(viewer, () => press(both, 'Save'));
  if (context.browser.name === 'chromium')
    assert.match(file.name, /^diagnostics-Workshop-\d{4}-\d\d-\d\d-\d{4}\.json$/);
  const saved = JSON.parse(file.content);
  assert.deepEqual(Object.keys(saved), ['host', 'room', 'time', 'report']);
  assert.deepEqual(saved.report, report);

  await press(both, 'Enlarge');
  assert.equal(await viewer.locator('.report-dialog .finding').count(), 3);
  if (context.browser.name === 'chromium') await assertAccessible(viewer, { context: '.report-dialog' });
  await viewer.keyboard.press('Escape');
  // A dialog reports its end a moment later.
  await until(async () => (await viewer.locator('.report-dialog').count()) === 0, { what: 'the end of the window' });
  assert.equal(await viewer.evaluate(() => document.activeElement.textContent), 'Enlarge');
});

pairTest('only the report is printed', {}, async (both) => {
  const { viewer } = both;
  await openReport(both);
  await viewer.evaluate(() => {
    window.print = () => {
      document.body.dataset.printed = 'yes';
    };
  });
  await press(both, 'Print');
  assert.equal(await viewer.evaluate(() => document.body.dataset.printed), 'yes');
  await viewer.emulateMedia({ media: 'print' });
  const shown = () =>
    viewer.evaluate(() =>
      [...document.body.children].filter((each) => each.checkVisibility()).map((each) => each.className),
    );
  assert.deepEqual(await shown(), ['print-report']);
  await viewer.emulateMedia({ media: null });
  await viewer.evaluate(() => window.dispatchEvent(new Event('afterprint')));
  assert.ok((await shown()).length > 1);
  assert.equal(await viewer.locator('.print-report').count(), 0);
});
