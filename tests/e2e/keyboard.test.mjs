// What a viewer types on keyboards of several countries, on a host with the same layout, in a real terminal there.
import assert from 'node:assert/strict';
import { readFile } from 'node:fs/promises';
import { join } from 'node:path';
import { test } from 'node:test';
import { withSession } from './lib/session.mjs';
import { connected } from './lib/viewer.mjs';
import { until } from './lib/wait.mjs';

// [code, what the key types with these modifiers held]
const LAYOUTS = {
  de: [['KeyQ', '@', 'altgr'], ['Digit7', '{', 'altgr'], ['Digit0', '}', 'altgr'], ['Digit8', '[', 'altgr'], ['Digit9', ']', 'altgr'],
    ['Minus', '\\', 'altgr'], ['IntlBackslash', '|', 'altgr'], ['BracketRight', '~', 'altgr'], ['KeyE', '€', 'altgr'],
    ['KeyZ', 'y'], ['Semicolon', 'ö'], ['Semicolon', 'Ö', 'shift'], ['Minus', 'ß'], ['IntlBackslash', '<'], ['Digit7', '/', 'shift']],
  fr: [['Digit0', '@', 'altgr'], ['Digit4', '{', 'altgr'], ['Equal', '}', 'altgr'], ['Digit5', '[', 'altgr'], ['Minus', ']', 'altgr'],
    ['Digit8', '\\', 'altgr'], ['Digit6', '|', 'altgr'], ['KeyE', '€', 'altgr'], ['KeyQ', 'a'], ['Digit2', 'é'], ['Digit2', '2', 'shift'],
    ['Semicolon', 'm'], ['KeyM', ',']],
  es: [['Digit2', '@', 'altgr'], ['Quote', '{', 'altgr'], ['Backslash', '}', 'altgr'], ['BracketLeft', '[', 'altgr'],
    ['BracketRight', ']', 'altgr'], ['Backquote', '\\', 'altgr'], ['Digit1', '|', 'altgr'], ['KeyE', '€', 'altgr'], ['Semicolon', 'ñ']],
  pl: [['KeyA', 'ą', 'altgr'], ['KeyZ', 'ż', 'altgr'], ['KeyX', 'ź', 'altgr'], ['KeyL', 'Ł', 'altgr', 'shift'], ['Digit2', '@', 'shift'],
    ['Backquote', '~', 'shift'], ['BracketLeft', '{', 'shift'], ['Backslash', '|', 'shift']],
};

/// A page in control of a host with an xterm that writes what is typed there to a file; typed(text) waits for exactly
/// that.
const withTerminal = (t, want, body) => withSession(t, want, async (session) => {
  const page = await session.viewer();
  await connected(page);
  const file = join(session.host.home, 'typed');
  const { child } = await session.screen.terminal(`cat > ${file}`, { options: ['-u8'], env: { LC_ALL: 'C.UTF-8' } });
  session.keep(child);
  await page.fill('#pin', await session.host.pin());
  await page.press('#pin', 'Enter');
  await until(() => page.evaluate(() => document.body.dataset.control === 'on'), { what: 'control' });
  let seen = '';
  const typed = async (text) => {
    const wanted = `${seen}${text}`;
    let now = '';
    // A line reaches the file when it is complete.
    await until(async () => (now = await readFile(file, 'utf8')).length >= wanted.length, { what: text, deadline: 20000 })
      .catch((error) => { throw new Error(`${error.message}; the file has ${JSON.stringify(now.slice(seen.length))}`); });
    assert.equal(now.slice(seen.length), text);
    seen = now;
  };
  await body(page, session, typed);
});

/// Keys of a keyboard that the test's browser does not have, as browsers report them: [code, key, ...modifiers].
const strike = (page, keys) => page.evaluate((keys) => {
  for (const [code, key, ...held] of keys) {
    const event = { code, key, bubbles: true, cancelable: true, shiftKey: held.includes('shift'),
      modifierAltGraph: held.includes('altgr'), modifierCapsLock: held.includes('caps') };
    for (const type of ['keydown', 'keyup']) document.activeElement.dispatchEvent(new KeyboardEvent(type, event));
  }
}, keys);
const ENTER = ['Enter', 'Enter'];

async function typeOnLayouts(page, session, typed) {
  for (const [layout, keys] of Object.entries(LAYOUTS)) {
    await session.screen.run('setxkbmap', [layout]);
    await strike(page, [...keys, ENTER]);
    await typed(`${keys.map(([, key]) => key).join('')}\n`);
  }
}

const TEXT = 'Zażółć gęślą jaźń, 5 € – naïve Straße;\n\tпривет 日本語 😀 {[|~\\@]}\n';

async function typeText(page, text) {
  await page.click('#keys-button');
  await page.click('.menu-item:has-text("Type a text")');
  await page.fill('#type-text', text);
  await page.click('text=Type it');
  const { length } = [...text];
  await until(async () => (await page.textContent('#type-result')) === `Typed ${length.toLocaleString('en')} of ${length.toLocaleString('en')} characters.`,
    { what: 'the result', deadline: 60000 });
}

test('keysOfSeveralLayoutsAndTextsOfAnyCharactersArriveInATerminal', async (t) => {
  await withTerminal(t, {}, async (page, session, typed) => {
    await typeOnLayouts(page, session, typed);
    // Caps Lock of either side: what the viewer sees is what is typed.
    await session.screen.run('setxkbmap', ['de']);
    await strike(page, [['KeyA', 'A', 'caps'], ['KeyA', 'a', 'caps', 'shift'], ['Semicolon', 'Ö', 'caps'], ['Digit1', '1', 'caps']]);
    await session.screen.run('xdotool', ['key', 'Caps_Lock']);
    await strike(page, [['KeyB', 'B', 'caps'], ['KeyB', 'b'], ENTER]);
    await typed('AaÖ1Bb\n');
    await session.screen.run('xdotool', ['key', 'Caps_Lock']);
    // A dead key and the letter after it become one on the host.
    await strike(page, [['Backquote', 'Dead'], ['KeyE', 'e'], ['Equal', 'Dead'], ['KeyA', 'a'], ENTER]);
    await typed('êá\n');
    // A viewer with another layout: characters go as they are.
    await page.click('#keys-button');
    await page.click('.menu-item:has-text("send characters")');
    await page.keyboard.insertText('ñ@жł');
    await page.keyboard.press('Enter');
    await typed('ñ@жł\n');
    await typeText(page, TEXT);
    await typed(TEXT);
    const long = 'One of many lines, äöü.\n'.repeat(80);
    await typeText(page, long);
    await typed(long);
  });
});

test('firefoxTypesOnSeveralLayoutsAndTexts', async (t) => {
  await withTerminal(t, { browser: 'firefox' }, async (page, session, typed) => {
    await typeOnLayouts(page, session, typed);
    await page.keyboard.press('Shift+KeyH');
    await page.keyboard.press('KeyI');
    await strike(page, [ENTER]);
    await typed('Hi\n');
    await typeText(page, TEXT);
    await typed(TEXT);
  });
});
