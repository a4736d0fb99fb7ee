// Keys and texts from the viewer's page.
import assert from 'node:assert/strict';
import { until } from '../../e2e/lib/wait.mjs';
import { forget, hasState, inControl, pairTests, receivedMessages, settled, untilReceived } from './setup.mjs';

const { pairTest, sendFromHost } = pairTests();

const none = { shift: false, ctrl: false, alt: false, meta: false };
const focused = (page) => page.evaluate(() => document.activeElement.id);

// What the fake host was sent of keys and texts, in order.
const strokes = ({ host }) => host.evaluate(() => globalThis.host.messages.map(({ message }) => message)
  .filter(({ type }) => ['keyDown', 'keyUp', 'key_press', 'type_text'].includes(type)));

// Presses a key of a keyboard that the test's browser does not have; whether the browser was kept from it.
const press = ({ viewer }, code, key, more = {}) => viewer.evaluate(([code, key, more]) => {
  const event = { code, key, bubbles: true, cancelable: true, ...more };
  const prevented = !document.activeElement.dispatchEvent(new KeyboardEvent('keydown', event));
  document.activeElement.dispatchEvent(new KeyboardEvent('keyup', event));
  return prevented;
}, [code, key, more]);

async function choose({ viewer }, text) {
  await viewer.click('#keys-button');
  await viewer.click(`.menu-item:has-text("${text}")`);
}

pairTest('keys go by their position, with modifiers and repeats', { firefox: true }, async (both) => {
  await inControl(both);
  await forget(both);
  await both.viewer.keyboard.down('Shift');
  await both.viewer.keyboard.press('KeyB');
  await both.viewer.keyboard.up('Shift');
  await both.viewer.keyboard.down('ArrowLeft');
  await both.viewer.keyboard.down('ArrowLeft');
  await both.viewer.keyboard.up('ArrowLeft');
  // AltGr, as browsers on Windows report it.
  const altGr = { modifierAltGraph: true, ctrlKey: true, altKey: true };
  await press(both, 'AltRight', 'AltGraph', altGr);
  assert.ok(await press(both, 'KeyQ', '@', altGr));
  await untilReceived(both.host, 'keyUp', 3);
  assert.deepEqual(await receivedMessages(both.host, 'keyDown'), [
    { type: 'keyDown', code: 'KeyB', mods: { ...none, shift: true } },
    { type: 'keyDown', code: 'ArrowLeft', mods: none },
    { type: 'keyDown', code: 'ArrowLeft', mods: none },
    { type: 'keyDown', code: 'KeyQ', mods: { ...none, altgr: true } },
  ]);
  assert.deepEqual((await receivedMessages(both.host, 'keyUp')).map(({ code }) => code), ['KeyB', 'ArrowLeft', 'KeyQ']);
});

pairTest('keys that are never held are pressed at each repeat, and those of the viewer\'s system left alone', { firefox: true }, async (both) => {
  await inControl(both);
  await forget(both);
  await both.viewer.keyboard.down('Delete');
  await both.viewer.keyboard.down('Delete');
  await both.viewer.keyboard.up('Delete');
  await both.viewer.keyboard.press('Control+F5');
  // Super and Alt alone, and as the modifier of another key.
  await both.viewer.keyboard.press('MetaLeft');
  await both.viewer.keyboard.press('Meta+KeyE');
  await both.viewer.keyboard.press('AltLeft');
  await both.viewer.keyboard.press('AltLeft+KeyE');
  // Neither shortcuts of the page nor a click with Alt are of the host's keyboard.
  await both.viewer.keyboard.press('Control+Shift+AltLeft+Digit0');
  await both.viewer.keyboard.down('AltLeft');
  await both.viewer.click('#stage');
  await both.viewer.keyboard.up('AltLeft');
  assert.equal(await press(both, 'AudioVolumeUp', 'AudioVolumeUp'), false);
  assert.equal(await press(both, 'CapsLock', 'CapsLock'), false);
  await press(both, '', 'ñ');
  await settled(both);
  assert.deepEqual(await strokes(both), [
    { type: 'key_press', code: 'Delete', mods: none },
    { type: 'key_press', code: 'Delete', mods: none },
    { type: 'key_press', code: 'F5', mods: { ...none, ctrl: true } },
    { type: 'key_press', code: 'MetaLeft', mods: none },
    { type: 'keyDown', code: 'KeyE', mods: { ...none, meta: true } },
    { type: 'keyUp', code: 'KeyE', mods: { ...none, meta: true } },
    { type: 'key_press', code: 'AltLeft', mods: none },
    { type: 'keyDown', code: 'KeyE', mods: { ...none, alt: true } },
    { type: 'keyUp', code: 'KeyE', mods: { ...none, alt: true } },
    { type: 'type_text', text: 'ñ' },
  ]);
});

pairTest('held keys are released when a panel takes the focus', {}, async (both) => {
  await inControl(both);
  await forget(both);
  await both.viewer.keyboard.down('KeyW');
  await both.viewer.evaluate(() => vantora.app.dock.open('chat'));
  assert.deepEqual((await untilReceived(both.host, 'keyUp')).map(({ code }) => code), ['KeyW']);
  await both.viewer.keyboard.up('KeyW');
});

pairTest('the menu sends keys that a browser keeps, while in control', {}, async (both) => {
  await both.viewer.click('#keys-button');
  assert.ok(await both.viewer.isVisible('text=Take control to send keys'));
  assert.ok(await both.viewer.isDisabled('.menu-item:has-text("Alt + Tab")'));
  assert.ok(await both.viewer.isDisabled('.menu-item:has-text("Type a text")'));
  await both.viewer.keyboard.press('Escape');
  await inControl(both);
  await forget(both);
  await choose(both, 'Alt + Tab');
  await choose(both, 'Super');
  await choose(both, 'F11');
  await settled(both);
  assert.deepEqual(await strokes(both), [
    { type: 'key_press', code: 'Tab', mods: { ...none, alt: true } },
    { type: 'key_press', code: 'MetaLeft', mods: none },
    { type: 'key_press', code: 'F11', mods: none },
  ]);
  assert.equal(await focused(both.viewer), 'stage', 'keys go to the host again');
});

pairTest('by character, texts go as they are typed and shortcuts by their letter', { firefox: true }, async (both) => {
  await inControl(both);
  await choose(both, 'send characters');
  assert.equal(await focused(both.viewer), 'typing-field');
  await forget(both);
  await both.viewer.keyboard.press('KeyA');
  await both.viewer.keyboard.insertText('é日本');
  await both.viewer.keyboard.press('Shift+KeyB');
  await both.viewer.keyboard.press('Tab');
  await both.viewer.keyboard.press('Control+KeyC');
  // On a French keyboard, Ctrl+Z.
  await press(both, 'KeyW', 'z', { ctrlKey: true });
  await settled(both);
  const sent = await strokes(both);
  assert.equal(sent.map(({ text = '' }) => text).join(''), 'aé日本B');
  assert.deepEqual(sent.slice(-6).map(({ type, code, mods }) => [type, code, mods.ctrl]),
    [['keyDown', 'Tab', false], ['keyUp', 'Tab', false], ['keyDown', 'KeyC', true], ['keyUp', 'KeyC', true],
      ['keyDown', 'KeyZ', true], ['keyUp', 'KeyZ', true]]);
  assert.ok(sent.slice(0, -6).every(({ type }) => type === 'type_text'));
  // A click on the picture does not end that.
  await both.viewer.click('#stage');
  assert.equal(await focused(both.viewer), 'typing-field');
  assert.equal(await both.viewer.evaluate(() => localStorage.getItem('vantora.keys.characters')), 'true');
  await choose(both, 'Same layout');
  assert.equal(await focused(both.viewer), 'stage');
});

pairTest('an input method types what it has composed', {}, async (both) => {
  await inControl(both);
  await choose(both, 'On-screen keyboard');
  assert.equal(await both.viewer.getAttribute('#typing-field', 'inputmode'), 'text');
  await forget(both);
  const cdp = await both.viewer.context().newCDPSession(both.viewer);
  for (const text of ['n', 'ni']) await cdp.send('Input.imeSetComposition', { text, selectionStart: text.length, selectionEnd: text.length });
  await cdp.send('Input.insertText', { text: '你' });
  // What keyboards of phones do: no keys, only changes of the text.
  for (const inputType of ['deleteContentBackward', 'deleteWordBackward']) {
    await both.viewer.evaluate((inputType) => document.activeElement.dispatchEvent(new InputEvent('input', { inputType, bubbles: true })), inputType);
  }
  await both.viewer.evaluate(() => {
    document.execCommand('insertText', false, 'two words');
    document.execCommand('insertText', false, '\n');
  });
  // Keys of a real keyboard work beside it, and so do those that such keyboards do not have.
  await both.viewer.keyboard.press('KeyX');
  for (const name of ['Esc', 'Ctrl', 'Left', 'Alt', 'Shift']) await both.viewer.click(`#key-strip >> role=button[name="${name}"]`);
  await both.viewer.evaluate(() => document.execCommand('insertText', false, 'd'));
  await both.viewer.click('#key-strip >> role=button[name="Ctrl"]');
  await both.viewer.evaluate(() => document.execCommand('insertText', false, '+'));
  await both.viewer.click('#key-strip >> role=button[name="Shift"]');
  await both.viewer.evaluate(() => document.execCommand('insertText', false, '?'));
  // Also for what changes lines and deletes, and for real keys.
  const choices = [['Shift', () => both.viewer.evaluate(() => document.execCommand('insertText', false, '\n'))],
    ['Ctrl', () => both.viewer.evaluate(() => document.activeElement.dispatchEvent(
      new InputEvent('input', { inputType: 'deleteContentBackward', bubbles: true })))],
    ['Alt', () => both.viewer.keyboard.press('Enter')]];
  for (const [name, act] of choices) {
    await both.viewer.click(`#key-strip >> role=button[name="${name}"]`);
    await act();
  }
  assert.equal(await focused(both.viewer), 'typing-field');
  await both.viewer.click('#key-strip >> role=button[name="Close the keyboard"]');
  assert.equal(await focused(both.viewer), 'stage');
  assert.ok(await both.viewer.isHidden('#key-strip'));
  await settled(both);
  const shortcuts = (await strokes(both)).slice(7);
  assert.deepEqual(shortcuts, [
    { type: 'key_press', code: 'Escape', mods: none },
    { type: 'key_press', code: 'ArrowLeft', mods: { ...none, ctrl: true } },
    { type: 'key_press', code: 'KeyD', mods: { ...none, alt: true, shift: true } },
    { type: 'key_press', code: 'Equal', mods: { ...none, ctrl: true, shift: true } },
    { type: 'type_text', text: '?' },
    { type: 'key_press', code: 'Enter', mods: { ...none, shift: true } },
    { type: 'key_press', code: 'Backspace', mods: { ...none, ctrl: true } },
    { type: 'keyDown', code: 'Enter', mods: { ...none, alt: true } },
    { type: 'keyUp', code: 'Enter', mods: none },
  ]);
  assert.deepEqual((await strokes(both)).slice(0, 7).map(({ type, text, code, mods }) => [type, text ?? code, mods?.ctrl]), [
    ['type_text', '你', undefined], ['key_press', 'Backspace', false], ['key_press', 'Backspace', true],
    ['type_text', 'two words', undefined], ['key_press', 'Enter', false], ['keyDown', 'KeyX', false], ['keyUp', 'KeyX', false],
  ]);
  await cdp.detach();
});

pairTest('types a long text in pieces and says how far it came', { firefox: true }, async (both) => {
  await inControl(both);
  await choose(both, 'Type a text');
  await until(async () => (await focused(both.viewer)) === 'type-text', { what: 'the card' });
  assert.ok(await both.viewer.isDisabled('text=Type it'));
  const text = `żółw 😀\n${'x'.repeat(500)}`;
  await both.viewer.fill('#type-text', text);
  assert.equal(await both.viewer.textContent('#type-count'), '507 characters');
  await both.viewer.click('text=Type it');
  const result = (wanted) => until(async () => (await both.viewer.textContent('#type-result')) === wanted, { what: wanted });
  await result('Typed 507 of 507 characters.');
  assert.equal((await receivedMessages(both.host, 'type_text')).map((message) => message.text).join(''), text);
  assert.equal((await receivedMessages(both.host, 'type_text')).length, 2);

  // Of a longer text nothing is cut off.
  // Inserted as one piece: a driver that types it needs minutes.
  await both.viewer.fill('#type-text', '');
  await both.viewer.evaluate(() => document.execCommand('insertText', false, 'y'.repeat(100_001)));
  assert.match(await both.viewer.textContent('#type-count'), /^100,001 characters: at most 100,000/);
  await both.viewer.press('#type-text', 'Control+Enter');
  assert.ok(await both.viewer.isDisabled('text=Type it'));
  assert.equal((await receivedMessages(both.host, 'type_text')).length, 2);

  await both.host.evaluate(() => Object.assign(globalThis.host, { typesAtMost: 3, typingReason: 'desktop unavailable' }));
  await both.viewer.fill('#type-text', 'hello');
  await both.viewer.press('#type-text', 'Control+Enter');
  await result('Typed 3 of 5 characters; then the desktop of the host is not available at the moment.');

  // The piece under way when the viewer stops counts; the keyboard focus stays on the card.
  await both.host.evaluate(() => {
    const { typed } = globalThis.host;
    globalThis.host.typed = (message) => (globalThis.host.answer = () => typed.call(globalThis.host, message));
  });
  await both.viewer.fill('#type-text', 'z'.repeat(900));
  await both.viewer.press('text=Type it', 'Enter');
  await both.viewer.keyboard.press('Enter');
  await result('Stopping… 0 of 900 characters');
  await untilReceived(both.host, 'type_text', 4);
  await both.host.evaluate(() => {
    Object.assign(globalThis.host, { typesAtMost: undefined });
    globalThis.host.answer();
  });
  await result('Stopped after 400 of 900 characters.');
  assert.equal(await focused(both.viewer), 'type-text');
  await both.viewer.fill('#type-text', 'hello');

  // Without control it says so, keeps the text, and goes on after it.
  await both.host.evaluate(() => { globalThis.host.typed = () => {}; });
  await both.viewer.press('#type-text', 'Control+Enter');
  await result('Typing… 0 of 5 characters');
  await sendFromHost(both, { type: 'control_state', enabled: false });
  await result('Typed 0 of 5 characters; then control ended. Take control and type the rest.');
  assert.ok(await both.viewer.isDisabled('text=Type it'));
  assert.equal(await both.viewer.inputValue('#type-text'), 'hello');
  await both.viewer.click('#control-button');
  await hasState(both.viewer, 'control', 'on');
  assert.ok(await both.viewer.isEnabled('text=Type it'));
  await both.viewer.focus('#type-text');
  await both.viewer.keyboard.press('Escape');
  assert.ok(await both.viewer.isHidden('#type-card'));
  assert.equal(await both.viewer.inputValue('#type-text'), '', 'it may have been a password');
  assert.equal(await focused(both.viewer), 'stage');
});
