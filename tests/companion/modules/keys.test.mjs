// What a key of the viewer's keyboard means to the host, and texts that the host types: functions that need no page.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { HOST_KEYS, pageShortcut } from '../../../companion/viewer/control/chords.js';
import { KNOWN_CODES, PRESS_CODES, chordKeyOf, keystrokeOf, modifiersOf } from '../../../companion/viewer/control/keys.js';
import { countText, resultText } from '../../../companion/viewer/control/type-card.js';
import { TextTyping, pieces } from '../../../companion/viewer/control/typing.js';

const none = { shift: false, ctrl: false, alt: false, meta: false };

// An event as browsers make it; `locks`: what getModifierState() says yes to.
const event = (code, key, more = {}, locks = []) => ({
  code, key, shiftKey: false, ctrlKey: false, altKey: false, metaKey: false, ...more,
  getModifierState: (name) => locks.includes(name),
});

test('knows the keys of the host and how they are sent', () => {
  assert.equal(KNOWN_CODES.size, 56);
  for (const code of ['KeyA', 'Digit0', 'NumpadEnter', 'ArrowUp', 'Semicolon']) assert.ok(KNOWN_CODES.has(code), code);
  for (const code of ['F5', 'F24', 'Delete', 'Home', 'Backquote', 'IntlBackslash', 'NumpadAdd', 'NumpadComma']) {
    assert.ok(PRESS_CODES.has(code) && !KNOWN_CODES.has(code), code);
    assert.deepEqual(keystrokeOf(event(code, '')), { press: code, mods: none });
  }
  for (const [code, key] of [['ShiftLeft', 'Shift'], ['CapsLock', 'CapsLock'], ['NumLock', 'NumLock'], ['AltRight', 'AltGraph'],
    ['AudioVolumeUp', 'AudioVolumeUp'], ['', 'Unidentified']]) {
    assert.equal(keystrokeOf(event(code, key)), null, key);
  }
});

test('names the modifiers of an event', () => {
  assert.deepEqual(modifiersOf(event('KeyA', 'A', { shiftKey: true, metaKey: true })), { ...none, shift: true, meta: true });
});

test('AltGr goes as itself, however the system reports it', () => {
  const altGr = ['AltGraph'];
  assert.deepEqual(keystrokeOf(event('KeyQ', '@', {}, altGr)), { code: 'KeyQ', mods: { ...none, altgr: true } });
  const windows = { ctrlKey: true, altKey: true };
  assert.deepEqual(keystrokeOf(event('KeyE', '€', windows, altGr)), { code: 'KeyE', mods: { ...none, altgr: true } });
  assert.deepEqual(keystrokeOf(event('BracketRight', 'Dead', {}, altGr)), { code: 'BracketRight', mods: { ...none, altgr: true } });
  assert.deepEqual(keystrokeOf(event('IntlBackslash', '|', { shiftKey: true }, altGr)),
    { press: 'IntlBackslash', mods: { ...none, shift: true, altgr: true } });
  // With Ctrl alone beside it, that is meant.
  assert.deepEqual(keystrokeOf(event('KeyQ', '@', { ctrlKey: true }, altGr)), { code: 'KeyQ', mods: { ...none, ctrl: true, altgr: true } });
  assert.deepEqual(keystrokeOf(event('KeyQ', 'q', windows)), { code: 'KeyQ', mods: { ...none, ctrl: true, alt: true } });
});

test('Option of a Mac types signs and is Alt otherwise', () => {
  const mac = { mac: true };
  const option = { altKey: true };
  assert.deepEqual(keystrokeOf(event('KeyL', '@', option), mac), { text: '@' });
  assert.deepEqual(keystrokeOf(event('Digit5', '[', option, ['AltGraph']), mac), { text: '[' });
  assert.deepEqual(keystrokeOf(event('KeyF', 'ƒ', option), mac), { code: 'KeyF', mods: { ...none, alt: true } });
  assert.deepEqual(keystrokeOf(event('ArrowLeft', 'ArrowLeft', option, ['AltGraph']), mac), { code: 'ArrowLeft', mods: { ...none, alt: true } });
  assert.deepEqual(keystrokeOf(event('Digit2', '@', option)), { code: 'Digit2', mods: { ...none, alt: true } }, 'elsewhere it is Alt');
});

test('with Caps Lock letters have the case that is seen, and shortcuts none', () => {
  const caps = ['CapsLock'];
  const shiftOf = (...of) => keystrokeOf(event(...of, caps)).mods.shift;
  assert.equal(shiftOf('KeyA', 'A', {}), true);
  assert.equal(shiftOf('KeyA', 'a', { shiftKey: true }), false);
  assert.equal(shiftOf('KeyA', 'A', { shiftKey: true }), true, 'as a Mac has it');
  assert.equal(shiftOf('Semicolon', 'Ö', {}), true);
  assert.equal(shiftOf('Period', '.', {}), false);
  assert.equal(shiftOf('Period', ':', { shiftKey: true }), true);
  assert.equal(shiftOf('Enter', 'Enter', {}), false);
  assert.equal(shiftOf('KeyC', 'C', { ctrlKey: true }), false);
  assert.equal(shiftOf('KeyC', 'c', { ctrlKey: true, shiftKey: true }), true);
  assert.deepEqual(keystrokeOf(event('Digit2', 'É', {}, caps)), { text: 'É' });
  assert.deepEqual(keystrokeOf(event('Digit2', '2', {}, caps)), { text: '2' });
});

test('the keypad does what Num Lock of the viewer makes of it', () => {
  assert.deepEqual(keystrokeOf(event('Numpad7', '7')), { text: '7' });
  assert.deepEqual(keystrokeOf(event('NumpadDecimal', ',')), { text: ',' });
  assert.deepEqual(keystrokeOf(event('Numpad7', '7', { ctrlKey: true })), { press: 'Numpad7', mods: { ...none, ctrl: true } });
  assert.deepEqual(keystrokeOf(event('NumpadAdd', '+')), { press: 'NumpadAdd', mods: none });
  assert.deepEqual(keystrokeOf(event('Numpad7', 'Home')), { press: 'Home', mods: none });
  assert.deepEqual(keystrokeOf(event('Numpad4', 'ArrowLeft')), { press: 'ArrowLeft', mods: none });
  assert.deepEqual(keystrokeOf(event('NumpadDecimal', 'Delete')), { press: 'Delete', mods: none });
  assert.deepEqual(keystrokeOf(event('Numpad5', 'Clear')), { press: 'Numpad5', mods: none });
  assert.deepEqual(keystrokeOf(event('NumpadEnter', 'Enter')), { code: 'NumpadEnter', mods: none });
});

test('a keyboard without positions types what it names', () => {
  assert.deepEqual(keystrokeOf(event('', 'ñ')), { text: 'ñ' });
  assert.deepEqual(keystrokeOf(event('', '😀')), { text: '😀' });
  assert.deepEqual(keystrokeOf(event('', 'Backspace')), { press: 'Backspace', mods: none });
  assert.deepEqual(keystrokeOf(event('Unidentified', 'Enter')), { press: 'Enter', mods: none });
  assert.equal(keystrokeOf(event('', 'ñ', { ctrlKey: true })), null);
});

test('by character, what is typed goes as text, a shortcut by its letter, and the rest by its position', () => {
  const options = { characters: true };
  assert.deepEqual(keystrokeOf(event('KeyQ', 'a'), options), { text: 'a' });
  assert.deepEqual(keystrokeOf(event('KeyQ', '@', { ctrlKey: true, altKey: true }, ['AltGraph']), options), { text: '@' });
  assert.deepEqual(keystrokeOf(event('KeyL', '@', { altKey: true }), { ...options, mac: true }), { text: '@' });
  assert.deepEqual(keystrokeOf(event('KeyC', 'c', { ctrlKey: true }), options), { code: 'KeyC', mods: { ...none, ctrl: true } });
  assert.deepEqual(keystrokeOf(event('KeyW', 'z', { ctrlKey: true }), options), { code: 'KeyZ', mods: { ...none, ctrl: true } });
  assert.deepEqual(keystrokeOf(event('KeyW', 'z', { ctrlKey: true })), { code: 'KeyW', mods: { ...none, ctrl: true } });
  assert.deepEqual(keystrokeOf(event('Enter', 'Enter'), options), { code: 'Enter', mods: none });
  assert.deepEqual(keystrokeOf(event('Space', ' '), options), { code: 'Space', mods: none });
});

test('a chord of a keyboard on a screen has the key that types the character', () => {
  const key = (text) => {
    const found = chordKeyOf(text);
    return found && `${found.shift ? 'Shift+' : ''}${found.code}`;
  };
  assert.deepEqual([...'dD0 -+='].map(key), ['KeyD', 'KeyD', 'Digit0', 'Space', 'Minus', 'Shift+Equal', 'Equal']);
  assert.deepEqual([...'`?\\|\'"!)'].map(key),
    ['Backquote', 'Shift+Slash', 'Backslash', 'Shift+Backslash', 'Quote', 'Shift+Quote', 'Shift+Digit1', 'Shift+Digit0']);
  for (const text of ['', 'é', '--', '😀']) assert.equal(key(text), null, text);
  for (let code = 0x21; code < 0x7f; code++) {
    const { code: name } = chordKeyOf(String.fromCharCode(code));
    assert.ok(KNOWN_CODES.has(name) || PRESS_CODES.has(name), name);
  }
});

test('the menu has keys that the host knows, and the page shortcuts of its own', () => {
  for (const { text, message } of HOST_KEYS) {
    assert.ok(KNOWN_CODES.has(message.code) || PRESS_CODES.has(message.code) || message.code === 'MetaLeft', text);
    assert.equal(message.type, 'key_press');
  }
  assert.deepEqual(HOST_KEYS[0].message.mods, { ...none, alt: true });
  const chord = { ctrlKey: true, altKey: true, shiftKey: true };
  assert.deepEqual(pageShortcut(event('Digit3', '#', chord)), { display: 2 });
  assert.deepEqual(pageShortcut(event('PageUp', 'PageUp', chord)), { displayStep: -1 });
  assert.equal(pageShortcut(event('KeyA', 'A', chord)), null);
  assert.equal(pageShortcut(event('Digit3', '3', { ...chord, shiftKey: false })), null);
  assert.equal(pageShortcut(event('Digit3', '#', { ...chord, metaKey: true })), null);
  assert.equal(pageShortcut(event('Digit3', '³', chord, ['AltGraph'])), null, 'AltGr and Shift on Windows');
  assert.deepEqual(pageShortcut(event('Digit3', '‹', chord, ['AltGraph']), { mac: true }), { display: 2 }, 'Option on a Mac');
});

test('cuts a text between characters', () => {
  assert.deepEqual(pieces('', 3), []);
  assert.deepEqual(pieces('abcde', 3), ['abc', 'de']);
  assert.deepEqual(pieces('a😀b😀c', 2), ['a😀', 'b😀', 'c']);
  assert.deepEqual(pieces('ab\r\nc\r', 3), ['ab\n', 'c\r']);
  const long = 'é\n'.repeat(3000);
  assert.equal(pieces(long).join(''), long);
  assert.ok(pieces(long).every((piece) => [...piece].length <= 400));
});

function typing({ sends = () => true } = {}) {
  const sent = [];
  const told = [];
  const machine = new TextTyping((message) => sends() && Boolean(sent.push(message)), (progress) => told.push(progress));
  return { machine, sent, told, answer: (more) => machine.receive({ id: sent.at(-1).id, ...more }) };
}

test('types a long text piece by piece, each after the answer', () => {
  const { machine, sent, told, answer } = typing();
  machine.start('x'.repeat(401));
  machine.start('another');
  assert.equal(sent.length, 1);
  machine.receive({ id: 'somebody else', typed: 400 });
  assert.equal(sent.length, 1);
  answer({ typed: 400 });
  assert.deepEqual(sent.map(({ text }) => text.length), [400, 1]);
  assert.notEqual(sent[0].id, sent[1].id);
  machine.receive({ id: sent[0].id, typed: 400 });
  assert.ok(machine.busy);
  answer({ typed: 1 });
  assert.deepEqual(told.map(({ state, typed, length }) => `${state} ${typed}/${length}`), ['busy 0/401', 'busy 400/401', 'done 401/401']);
});

test('goes on after characters that the host has no means for, and ends with a reason, which is bounded', () => {
  const skipped = typing();
  skipped.machine.start('😀'.repeat(500));
  skipped.answer({ typed: 390, length: 400 });
  skipped.answer({ typed: 100, length: 100 });
  assert.deepEqual(skipped.told.at(-1), { state: 'done', typed: 490, length: 500, reason: '' });
  for (const [answered, state, typed, reason] of [[{ typed: 3, reason: 'too many' }, 'refused', 3, 'too many'],
    [{ typed: 7, reason: 'control ended' }, 'lost', 7, ''], [{ typed: '5', reason: 'x'.repeat(900) }, 'refused', 0, 'x'.repeat(200)]]) {
    const { machine, told, sent, answer } = typing();
    machine.start('x'.repeat(500));
    answer(answered);
    assert.deepEqual(told.at(-1), { state, typed, length: 500, reason });
    assert.equal(sent.length, 1);
    assert.ok(!machine.busy);
  }
  for (const [typed, counted] of [[1e9, 3], [-4, 0], [2.5, 0], [undefined, 0]]) {
    const { machine, told, answer } = typing();
    machine.start('abc');
    answer({ typed, reason: { evil: true } });
    assert.deepEqual([told.at(-1).state, told.at(-1).typed], ['done', counted]);
  }
});

test('a text ends with control, when the viewer stops it, and when nobody answers', (t) => {
  t.mock.timers.enable({ apis: ['setTimeout'] });
  const stopped = typing();
  stopped.machine.start('x'.repeat(900));
  stopped.machine.stop();
  stopped.machine.stop();
  stopped.answer({ typed: 390 });
  assert.deepEqual(stopped.told.map(({ state, typed }) => `${state} ${typed}`), ['busy 0', 'stopping 0', 'stopped 390'],
    'the piece under way is typed');
  assert.equal(stopped.sent.length, 1);
  stopped.machine.start('abc');
  stopped.machine.stop();
  stopped.answer({ typed: 3 });
  assert.deepEqual([stopped.told.at(-1).state, stopped.told.at(-1).typed], ['done', 3], 'too late');
  stopped.machine.start('abc');
  stopped.machine.stop();
  t.mock.timers.tick(60000);
  assert.equal(stopped.told.at(-1).state, 'silent');
  let open = true;
  const lost = typing({ sends: () => open });
  lost.machine.start('x'.repeat(900));
  open = false;
  lost.answer({ typed: 400 });
  assert.deepEqual([lost.told.at(-1).state, lost.told.at(-1).typed], ['lost', 400]);
  // What the host says after the end of control still counts, once, and not to the next text.
  const ended = typing();
  ended.machine.start('x'.repeat(900));
  ended.answer({ typed: 400 });
  ended.machine.lose();
  assert.deepEqual([ended.told.at(-1).state, ended.told.at(-1).typed, ended.machine.busy], ['lost', 400, false]);
  ended.answer({ id: '', typed: 5 });
  for (let times = 0; times < 2; times++) ended.answer({ typed: 30, reason: 'control ended' });
  assert.deepEqual([ended.told.at(-1).state, ended.told.at(-1).typed], ['lost', 430]);
  ended.machine.start('abc');
  const { id } = ended.sent.at(-1);
  ended.machine.lose();
  ended.machine.start('def');
  ended.machine.receive({ id, typed: 3 });
  assert.deepEqual([ended.told.at(-1).state, ended.told.at(-1).typed], ['busy', 0]);
  const silent = typing();
  silent.machine.start('abc');
  t.mock.timers.tick(60000);
  assert.equal(silent.told.at(-1).state, 'silent');
});

test('says in words how a text ended', () => {
  const said = (state, more = {}) => resultText({ state, typed: 3, length: 1500, reason: '', ...more });
  assert.equal(said('stopping'), 'Stopping… 3 of 1,500 characters');
  assert.equal(said('busy'), 'Typing… 3 of 1,500 characters');
  assert.equal(said('done'), 'Typed 3 of 1,500 characters; the host could not type the others.');
  assert.equal(said('refused', { reason: 'too many' }), 'Typed 3 of 1,500 characters; then the host still types other texts. Try again in a moment.');
  assert.equal(said('refused', { reason: 'odd' }), 'Typed 3 of 1,500 characters; then the host said: odd.');
});

test('says how much there is to type, and that it is too much', () => {
  assert.equal(countText(0, true), 'Typed where the host has its cursor.');
  assert.equal(countText(1, true), '1 character');
  assert.equal(countText(100_000, true), '100,000 characters');
  assert.equal(countText(5, false), 'Take control to type.');
  assert.match(countText(100_001, false), /^100,001 characters: at most 100,000 can be typed\./);
});
