// Files and the clipboard in the page.
import assert from 'node:assert/strict';
import { assertAccessible } from '../../e2e/lib/accessibility.mjs';
import { until } from '../../e2e/lib/wait.mjs';
import { inControl, pairTests, receivedMessages, settled, untilReceived } from './setup.mjs';

const { pairTest, sendFromHost } = pairTests();

const text = (page, selector) => page.locator(selector).allTextContents();

// Drops files and folders (a name that ends in "/") on an element.
const drop = (page, selector, names) => page.evaluate(([selector, names]) => {
  const data = new DataTransfer();
  for (const name of names) data.items.add(new File([name.repeat(1000)], name));
  const fire = (type) => document.querySelector(selector).dispatchEvent(
    new DragEvent(type, { dataTransfer: data, bubbles: true, cancelable: true }));
  fire('dragenter');
  const seen = document.querySelector('.drop-target').checkVisibility();
  const taken = !fire('dragover');
  fire('drop');
  return { seen, taken, left: document.querySelector('.drop-target').checkVisibility() };
}, [selector, names]);

pairTest('sends the chosen and the dropped files, and shows what became of them', {}, async (both) => {
  const { viewer, host } = both;
  await viewer.click('#files-button');
  await viewer.setInputFiles('#files-panel input[type=file]', [
    { name: 'one.txt', mimeType: 'text/plain', buffer: Buffer.alloc(200_000, 'a') },
    { name: '<b>two</b>', mimeType: 'text/plain', buffer: Buffer.alloc(0) },
  ]);
  await until(async () => (await viewer.locator('.file-row[data-state=saved]').count()) === 2, { what: 'both files' });
  assert.deepEqual(await viewer.evaluate(() => document.activeElement.className.includes('primary')), true);
  await viewer.click('#dock-close');
  assert.deepEqual(await drop(viewer, '#stage', ['three']), { seen: true, taken: true, left: false });
  await until(async () => (await viewer.locator('.file-row[data-state=saved]').count()) === 3, { what: 'the dropped file' });
  assert.deepEqual(await text(viewer, '.file-name'), ['three', '<b>two</b>', 'one.txt'], 'the newest is on top');
  assert.deepEqual(await host.evaluate(() => globalThis.host.files.map(({ name, bytes }) => [name, bytes])),
    [['one.txt', 200_000], ['<b>two</b>', 0], ['three', 5000]]);
  await host.evaluate(() => { globalThis.host.savesAs = 'three (1)'; });
  await drop(viewer, '#stage', ['three']);
  await until(async () => (await viewer.locator('.file-row[data-state=saved]').count()) === 4, { what: 'the renamed file' });
  assert.match(await viewer.textContent('.file-row >> nth=0'), /in Downloads on the host as “three \(1\)”/);
  await viewer.click('text=Clear finished');
  assert.equal(await viewer.locator('.file-row').count(), 0);
  assert.ok(await viewer.isVisible('text=No files were sent'));
});

pairTest('shows how far a file is, and ends it', {}, async (both) => {
  const { viewer, host } = both;
  // A host that answers no pings looks like a link that delivers nothing.
  await host.evaluate(() => {
    const { controlled } = globalThis.host;
    globalThis.host.controlled = function (channel, message) {
      if (message.type !== 'ping') controlled.call(this, channel, message);
    };
  });
  await viewer.click('#files-button');
  await viewer.setInputFiles('#files-panel input[type=file]', [1, 2].map((number) => (
    { name: `${number}.bin`, mimeType: '', buffer: Buffer.alloc(100_000) })));
  const bar = viewer.locator('.file-row[data-state=sending] [role=progressbar]');
  await until(async () => Number(await bar.getAttribute('aria-valuenow')) > 20, { what: 'progress' });
  assert.match(await bar.getAttribute('aria-valuetext'), /kB of 100 kB/);
  await viewer.click('[aria-label="Cancel: 1.bin"]');
  await until(async () => (await viewer.locator('.file-row[data-state=cancelled]').count()) === 1, { what: 'the end' });
  assert.match((await text(viewer, '.file-row[data-state=cancelled] .file-text'))[0], /cannot be opened there/);
  await until(async () => (await viewer.locator('.file-row[data-state=sending]').count()) === 1, { what: 'the next' });
  const started = await receivedMessages(host, 'file_start');
  assert.equal(started[0].id, started[1].id);
  assert.deepEqual(await receivedMessages(host, 'file_end'), []);
  await viewer.click('[aria-label="Cancel: 2.bin"]');
  await viewer.click('[aria-label="Send again: 1.bin"]');
  await untilReceived(host, 'file_start', 3);
});

pairTest('says why a file was not taken', {}, async (both) => {
  const { viewer, host } = both;
  await host.evaluate(() => {
    globalThis.host.fileAnswer = ({ id, name }) => {
      globalThis.host.send({ type: 'file_rejected', id, name, reason: 'disabled' });
      return true;
    };
  });
  await viewer.click('#files-button');
  await drop(viewer, '#files-panel', ['a', 'b']);
  await until(async () => (await viewer.locator('.file-row[data-state=failed]').count()) === 2, { what: 'the refusal' });
  assert.match((await text(viewer, '.file-text'))[0], /does not accept files.*Allow Incoming Files/);
  assert.equal((await receivedMessages(host, 'file_start')).length, 1);
  await viewer.evaluate(() => vantora.app.emit('files-refused', { folders: 1, refused: 0 }));
  assert.ok(await viewer.isVisible('text=Folders cannot be sent'));
  await host.evaluate(() => (globalThis.host.fileAnswer = ({ type }) => type === 'file_end'));
  await viewer.click('[aria-label="Send again: a"]');
  await until(async () => (await viewer.locator('.file-row[data-state=finishing]').count()) === 1, { what: 'a file under way' });
  await assertAccessible(viewer, { context: '#dock' });
  assert.equal(await viewer.getAttribute('#files-button', 'aria-label'), 'Files, 1 to send');
  await viewer.click('[aria-label="Cancel: a"]');
  await until(async () => (await viewer.getAttribute('#files-button', 'aria-label')) === 'Files', { what: 'the end' });
  assert.ok(await viewer.evaluate(() => document.activeElement.ariaLabel === 'Send again: a'), 'the focus is lost');
});

pairTest('what is dropped beside a text field does not lead away from the session', { firefox: true }, async ({ viewer, host }) => {
  // What the browser would do by itself with a link that is dragged over `selector`.
  const dragLink = (selector) => viewer.evaluate((selector) => {
    const dataTransfer = new DataTransfer();
    dataTransfer.setData('text/uri-list', 'http://127.0.0.1:9/');
    const fire = (type) => document.querySelector(selector).dispatchEvent(
      new DragEvent(type, { dataTransfer, bubbles: true, cancelable: true }));
    return ['dragenter', 'dragover', 'drop'].map((type) => (fire(type) ? 'left to the browser' : 'taken'));
  }, selector);
  await viewer.click('#chat-button');
  await viewer.waitForSelector('#chat-input');
  for (const place of ['#stage', '#bar', '#dock-title', '#rail']) assert.deepEqual(await dragLink(place), ['taken', 'taken', 'taken'], place);
  assert.ok(!(await dragLink('#chat-input')).includes('taken'), 'a text field takes texts');
  assert.ok(await viewer.isHidden('.drop-target'));

  // With the mouse: an address from the chat, and the image of the tool bar, which is a file to the browser.
  await host.evaluate(() => globalThis.host.signal({ type: 'chat_send', text: 'see http://127.0.0.1:9/elsewhere' }));
  await viewer.waitForSelector('.chat-text a');
  const here = viewer.url();
  for (const source of ['.chat-text a', '#host-button img']) {
    await viewer.dragAndDrop(source, '#stage');
    assert.ok(await viewer.isHidden('.drop-target'));
  }
  assert.equal(await viewer.evaluate(() => vantora.app.connection.state), 'connected');
  assert.equal(viewer.url(), here);
  assert.equal(viewer.context().pages().length, 1);
  assert.equal(await viewer.locator('.file-row').count(), 0);
});

// What the browser lets the tests read; Firefox has no such permission, and its profile for tests asks nobody.
const permit = (viewer) => viewer.context().grantPermissions(['clipboard-read', 'clipboard-write']).catch(() => {});
const own = (viewer) => viewer.evaluate(() => navigator.clipboard.readText());
const copyHere = (viewer, text) => viewer.evaluate((text) => navigator.clipboard.writeText(text), text);
const types = (host) => host.evaluate(() => globalThis.host.messages.map(({ message }) => message)
  .filter(({ type, code }) => type.startsWith('clipboard_') || code === 'KeyV').map(({ type, text }) => (text ? `${type} ${text}` : type)));

const inStep = '.clipboard-check:has-text("Keep both")';

async function keepInStep(both) {
  await both.viewer.evaluate(() => vantora.app.dock.open('clipboard'));
  await both.viewer.click(inStep);
  await untilReceived(both.host, 'clipboard_sync_enabled');
  await both.viewer.focus('#stage');
  await settled(both);
  await both.host.evaluate(() => globalThis.host.messages.splice(0));
}

pairTest('texts are sent and fetched by hand', {}, async (both) => {
  const { viewer, host } = both;
  await permit(viewer);
  await viewer.click('#clipboard-button');
  await until(() => viewer.evaluate(() => document.activeElement.ariaLabel === 'Text for the host'), { what: 'the focus' });
  assert.ok(await viewer.isDisabled('text=Send text'));
  await viewer.fill('[aria-label="Text for the host"]', 'a <b>ticket</b>');
  await viewer.click('text=Send text');
  await until(() => viewer.isVisible('text=It is on the host’s clipboard now.'), { what: 'the result' });
  assert.equal((await receivedMessages(host, 'clipboard_set'))[0].text, 'a <b>ticket</b>');
  await viewer.evaluate(() => {
    [...document.querySelectorAll('#clipboard-panel button')].find((button) => button.textContent === 'Send text').click();
    vantora.clipboard.set('pasted meanwhile');
  });
  await until(() => viewer.isVisible('text=took its place'), { what: 'the end of the older text' });
  await host.evaluate(() => (globalThis.host.clipboard = '表 <i>of the host</i>'));
  await viewer.click('text=Get the host’s text');
  await until(async () => (await viewer.inputValue('[aria-label="Text of the host"]')) === '表 <i>of the host</i>', { what: 'the text' });
  await viewer.click('text=Copy');
  await until(() => viewer.isVisible('text=It is on your clipboard now.'), { what: 'the result' });
  assert.equal(await own(viewer), '表 <i>of the host</i>');
  await copyHere(viewer, 'mine');
  await viewer.click('text=Send my clipboard');
  await until(async () => (await receivedMessages(host, 'clipboard_set')).at(-1).text === 'mine', { what: 'the own text' });
  await sendFromHost(both, { type: 'clipboard_too_large', length: 20_000_000, limit: 10_485_760 });
  await until(() => viewer.isVisible('text=20.0 MB, at most 10.5 MB'), { what: 'the refusal' });
  const piece = { type: 'clipboard_sync', id: 1, parts: 3, length: 12, text: 'half' };
  await sendFromHost(both, { ...piece, part: 0 });
  await until(() => viewer.isVisible('text=Receiving… 33 %'), { what: 'the progress' });
  await sendFromHost(both, { ...piece, part: 2 });
  await until(() => viewer.isVisible('text=The host did not send all of its text.'), { what: 'the end' });
  await viewer.click(inStep);
  await assertAccessible(viewer, { context: '#dock' });
  await viewer.click(inStep);
  await sendFromHost(both, { type: 'clipboard_sync', text: '' });
  await until(() => viewer.isVisible('text=empty, or holds something that is no text'), { what: 'the empty clipboard' });
  // Without the host, and with it again.
  const offline = 'text=Not connected. It works again';
  await viewer.focus('#pin');
  await host.evaluate(() => globalThis.host.leave());
  await until(() => viewer.isVisible(offline), { what: 'the note' });
  assert.equal(await viewer.evaluate(() => document.activeElement.id), 'stage', 'the card is gone, and with it the focus');
  await host.evaluate(() => globalThis.host.join());
  await until(() => viewer.isHidden(offline), { what: 'the end of the note' });
  assert.ok(await viewer.isEnabled('text=Get the host’s text'));
});

pairTest('what is pasted on the picture is on the host before the keys', { firefox: true }, async (both) => {
  const { viewer, host } = both;
  await permit(viewer);
  await viewer.evaluate(() => vantora.app.settings.set('clipboard.hint', false));
  await inControl(both);
  await copyHere(viewer, 'secret');
  await viewer.keyboard.press('Control+KeyV');
  await settled(both);
  assert.deepEqual(await types(host), ['keyDown', 'keyUp'], 'nothing is sent unless the viewer wants it');
  assert.ok(await viewer.isVisible('text=To paste your own text there'));

  // Known from here on only by pasting: the browser would let a page that is in front read it.
  await viewer.context().clearPermissions().catch(() => {});
  await keepInStep(both);
  await viewer.keyboard.press('Control+KeyV');
  await untilReceived(host, 'keyUp');
  assert.deepEqual(await types(host), ['clipboard_set secret', 'clipboard_request', 'keyDown', 'keyUp']);
  await host.evaluate(() => globalThis.host.messages.splice(0));
  await viewer.keyboard.press('Control+KeyV');
  await untilReceived(host, 'keyUp');
  assert.deepEqual(await types(host), ['keyDown', 'keyUp'], 'the host has it already');
  assert.ok(await viewer.isHidden('text=To paste your own text there'));
});

pairTest('a page that may read the clipboard sends it when it is looked at again', {}, async (both) => {
  const { viewer, host } = both;
  await permit(viewer);
  await inControl(both);
  await keepInStep(both);
  await copyHere(viewer, 'copied elsewhere');
  await viewer.evaluate(() => window.dispatchEvent(new Event('focus')));
  assert.equal((await untilReceived(host, 'clipboard_set')).at(-1).text, 'copied elsewhere');
  assert.equal(await viewer.evaluate(() => vantora.app.settings.get('clipboard.sync', false)), false);
  await viewer.click('text=Also at my next visits');
  assert.equal(await viewer.evaluate(() => vantora.app.settings.get('clipboard.sync', false)), true);
  await viewer.evaluate(() => vantora.app.clipboardSync.set(false));
  assert.equal(await viewer.evaluate(() => vantora.app.settings.get('clipboard.sync', true)), false);
});

pairTest('without the clipboard of the browser the field and Ctrl+V remain', {}, async (both) => {
  const { viewer, host } = both;
  await permit(viewer);
  await inControl(both);
  await copyHere(viewer, 'mine');
  await viewer.evaluate(() => Object.defineProperty(navigator, 'clipboard', { value: undefined }));
  await viewer.click('#clipboard-button');
  await viewer.click('text=Send my clipboard');
  await until(() => viewer.isVisible('text=Paste the text into the field instead'), { what: 'the way on' });
  await keepInStep(both);
  await until(() => viewer.isVisible('text=Ctrl+V on the picture works'), { what: 'what works' });
  await viewer.keyboard.press('Control+KeyV');
  await untilReceived(host, 'keyUp');
  assert.equal((await types(host))[0], 'clipboard_set mine');
  await sendFromHost(both, { type: 'clipboard_sync', text: 'theirs' });
  await until(() => viewer.isVisible('text=6 bytes.'), { what: 'the text' });
  await viewer.click('text=Copy');
  await until(() => viewer.isVisible('text=The text is selected: press Ctrl+C.'), { what: 'the way on' });
});

pairTest('a copy on the host comes to the viewer', {}, async (both) => {
  const { viewer, host } = both;
  await permit(viewer);
  await inControl(both);
  await keepInStep(both);
  await viewer.keyboard.press('Control+KeyC');
  await sendFromHost(both, { type: 'clipboard_sync', text: 'from the host' });
  await until(async () => (await own(viewer)) === 'from the host', { what: 'the text' });
  await viewer.keyboard.press('Control+KeyV');
  await untilReceived(host, 'keyUp', 2);
  await settled(both);
  assert.deepEqual(await receivedMessages(host, 'clipboard_set'), [], 'it is not sent back');
  await sendFromHost(both, { type: 'clipboard_sync', text: '' });
  await viewer.click(inStep);
  await sendFromHost(both, { type: 'clipboard_sync', text: 'after the end' });
  await until(async () => (await viewer.inputValue('[aria-label="Text of the host"]')) === 'after the end', { what: 'the text' });
  assert.equal(await own(viewer), 'from the host');
});
