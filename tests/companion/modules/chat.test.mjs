// The chat's logic without a page.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { withLinks } from '../../../companion/viewer/tools/chat/links.js';
import { ChatLog, chatLine } from '../../../companion/viewer/tools/chat/log.js';

const linksOf = (text) => withLinks(text).filter(({ href }) => href).map(({ text, href }) => [text, href]);

test('finds web addresses in a text, and loses nothing of it', () => {
  const cases = {
    'no link here': [],
    'https://a.example/x?y=1#z': [['https://a.example/x?y=1#z', 'https://a.example/x?y=1#z']],
    'see www.a.example, please': [['www.a.example', 'https://www.a.example/']],
    '(http://a.example/b)': [['http://a.example/b', 'http://a.example/b']],
    'http://a.example/b_(c)!': [['http://a.example/b_(c)', 'http://a.example/b_(c)']],
    'two: HTTP://A.example https://b.example.': [['HTTP://A.example', 'http://a.example/'], ['https://b.example', 'https://b.example/']],
    'javascript:alert(1) ftp://a.example file:///etc/passwd data:text/html,x': [],
    'http:// https://': [],
    '<https://a.example>': [['https://a.example', 'https://a.example/']],
  };
  for (const [text, expected] of Object.entries(cases)) {
    assert.deepEqual(linksOf(text), expected, text);
    assert.equal(withLinks(text).map((piece) => piece.text).join(''), text);
  }
});

test('a long text without an end is searched quickly', () => {
  const started = performance.now();
  assert.equal(linksOf(`http://a.example/${'(['.repeat(2000)}${'])'.repeat(2000)}`).length, 1);
  assert.equal(linksOf(`www.${')'.repeat(4000)}`).length, 0);
  assert.equal(linksOf(`http://a.example/x${'.'.repeat(1990)}${')'.repeat(1990)}`).length, 1);
  assert.ok(performance.now() - started < 1000);
});

test('takes lines of the room and drops what is none', () => {
  assert.deepEqual(chatLine({ type: 'chat_broadcast', from: 'Host', text: 'hi', ts: 1000 }),
    { from: 'Host', fromHost: true, text: 'hi', at: new Date(1000), reaction: false });
  assert.equal(chatLine({ type: 'chat_broadcast', from: 5, text: 'x', ts: 'y' }, 7).at.getTime(), 7);
  assert.equal(chatLine({ type: 'chat_broadcast', text: 'x', ts: 1e300 }, 7).at.getTime(), 7);
  assert.equal(chatLine({ type: 'chat_broadcast', text: 'x' }).from, '?');
  assert.equal(chatLine({ type: 'chat_broadcast', text: 5 }), null);
  assert.equal(chatLine({ type: 'peer_state' }), null);
  assert.equal(chatLine({ type: 'reaction_broadcast', from: 'Ada', reaction: 'rocket' }).text, '\u{1F680}');
  assert.equal(chatLine({ type: 'reaction_broadcast', from: 'Ada', reaction: 'toString' }).text, '\u{1F514}');
  assert.equal(chatLine({ type: 'chat_broadcast', from: 'x'.repeat(99), text: 'y'.repeat(9999) }).text.length, 4000);
});

test('keeps the newest lines only', () => {
  let receive = null;
  const log = new ChatLog({ on: (name, listener) => (receive = listener) });
  for (let line = 0; line < 600; line++) receive({ type: 'chat_broadcast', from: 'a', text: String(line) });
  assert.equal(log.lines.length, 500);
  assert.equal(log.lines.at(-1).text, '599');
});
