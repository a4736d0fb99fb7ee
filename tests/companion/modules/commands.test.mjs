// What the panel of commands makes of a host's answers, without a page.
import assert from 'node:assert/strict';
import { readFile } from 'node:fs/promises';
import { test } from 'node:test';
import { COMMANDS } from '../../../companion/viewer/tools/commands/list.js';
import { outcomeOf } from '../../../companion/viewer/tools/commands/outcome.js';
import { CommandRuns } from '../../../companion/viewer/tools/commands/runs.js';
import { HOSTILE } from '../page/hostile.mjs';

const at = Date.parse('2026-11-22T18:00:00');

const command = (id) => COMMANDS.find((each) => each.id === id);
const outcome = (message, seconds = 1, id = 'reveal-downloads') =>
  outcomeOf({ type: 'command_result', id, ...message }, command(id), seconds);

test('names the commands of the host, and asks before what closes something', async () => {
  const rows = (await readFile(new URL('../../../docs/support-commands.md', import.meta.url), 'utf8')).matchAll(
    /^\| `([a-z-]+)` \|/gm,
  );
  assert.deepEqual(COMMANDS.map(({ id }) => id).sort(), [...rows].map(([, id]) => id).sort());
  assert.equal(COMMANDS.length, 9);
  assert.deepEqual(
    COMMANDS.filter(({ confirm }) => confirm).map(({ id }) => id),
    ['clear-chrome-cache', 'clear-safari-cache'],
  );
});

test('says in words what became of a command', () => {
  const words = (message, seconds, id) => outcome({ ok: false, stdout: '', ...message }, seconds, id).words;
  assert.equal(words({ ok: true, code: 0 }), 'Done.');
  assert.equal(words({ code: 3, stderr: 'x' }), 'Failed with status 3.');
  assert.equal(
    words({ code: 127, stderr: 'No file manager is installed\n' }),
    'Not possible on this host: No file manager is installed',
  );
  assert.equal(words({ code: 127, stderr: '' }), 'Not possible on this host.');
  assert.equal(
    words({ code: 127, stderr: 'Failed to start: too many commands are running' }),
    'Not started: too many commands are running',
  );
  assert.equal(
    words({ code: 126, stderr: '' }, 5, 'dns-flush'),
    'Not confirmed: the dialog on the host was dismissed.',
  );
  assert.equal(words({ code: 126, stderr: '' }), 'Failed with status 126.');
  assert.equal(words({ code: 143 }, 20.1), 'Stopped by the host after 20 seconds.');
  assert.match(words({ code: 137 }, 20.6, 'dns-flush'), /nobody answered the dialog/);
  assert.equal(words({ code: 143 }, 2), 'Ended on the host by signal 15.');
  assert.equal(words({ code: 139 }, 2), 'Ended on the host by signal 11.');
  assert.match(words({ code: -1, stderr: 'The command could not be ended' }), /may still be running/);
  assert.equal(words({ code: -1, stderr: 'Command not allowed' }), 'This host does not know the command.');
  assert.deepEqual(outcome({ ok: false, code: -1, stderr: 'Unauthorized (control not granted)' }), {
    state: 'refused',
    words: 'Not allowed: the host has not granted control.',
    stdout: '',
    stderr: '',
  });
});

test('results of any form give bounded texts', () => {
  for (const value of HOSTILE) {
    for (const message of [
      { ok: value },
      { ok: false, code: value },
      { ok: false, code: 127, stderr: value, stdout: value },
    ]) {
      const { state, words, stdout, stderr } = outcome(message);
      assert.ok(['ok', 'failed', 'refused'].includes(state));
      assert.ok(words.length > 0 && words.length < 300 && stdout.length < 17000 && stderr.length < 17000, words);
    }
  }
  // Everything that a host reports of one output is kept.
  const longest = `${'\u{1F600}'.repeat(8192)}\n…(truncated)…`;
  assert.equal(outcome({ ok: true, code: 0, stdout: longest }).stdout, longest);
});

test('several commands run at once, and answers find theirs', (t) => {
  t.mock.timers.enable({ apis: ['setTimeout', 'Date'], now: at });
  const sent = [];
  const runs = new CommandRuns(
    (message) => sent.push(message),
    () => {},
  );
  const answer = (id, more = {}) =>
    runs.receive({ type: 'command_result', id, title: id, ok: true, code: 0, stdout: '', stderr: '', ...more });
  assert.equal(runs.run(command('open-terminal')), true);
  assert.equal(runs.run(command('open-terminal')), false);
  assert.equal(runs.run(command('reveal-downloads')), true);
  assert.deepEqual(sent, [
    { type: 'exec_command', id: 'open-terminal' },
    { type: 'exec_command', id: 'reveal-downloads' },
  ]);
  for (const id of ['dns-flush', 'x', undefined, null, {}]) answer(id);
  assert.deepEqual(
    runs.runs.map(({ state }) => state),
    ['running', 'running'],
  );
  answer('open-terminal', { stdout: 'opened' });
  assert.deepEqual(
    runs.runs.map(({ state, stdout }) => [state, stdout]),
    [
      ['running', ''],
      ['ok', 'opened'],
    ],
  );
  answer('open-terminal', { stdout: 'again' });
  assert.equal(runs.last('open-terminal').stdout, 'opened');
});

test('a command without an answer, with a late one, and of a lost connection', (t) => {
  t.mock.timers.enable({ apis: ['setTimeout', 'Date'], now: at });
  let open = true;
  const runs = new CommandRuns(
    () => open,
    () => {},
  );
  const states = () => runs.runs.map(({ state }) => state);
  runs.run(command('dns-flush'));
  t.mock.timers.tick(29999);
  assert.deepEqual(states(), ['running']);
  t.mock.timers.tick(1);
  assert.deepEqual(states(), ['silent']);
  // Another one is possible; answers come in the order of the requests.
  runs.run(command('dns-flush'));
  runs.receive({ type: 'command_result', id: 'dns-flush', ok: true, code: 0 });
  assert.deepEqual(states(), ['running', 'ok']);
  runs.lose();
  assert.deepEqual(states(), ['lost', 'ok']);
  runs.receive({ type: 'command_result', id: 'dns-flush', ok: true, code: 0 });
  assert.deepEqual(states(), ['lost', 'ok']);
  runs.run(command('dns-flush'));
  t.mock.timers.tick(30000);
  runs.lose();
  runs.receive({ type: 'command_result', id: 'dns-flush', ok: true, code: 0 });
  assert.deepEqual(states(), ['lost', 'lost', 'ok']);
  open = false;
  assert.equal(runs.run(command('dns-flush')), false);
  assert.equal(runs.runs.length, 3);
});

test('keeps the latest fifty runs', () => {
  const runs = new CommandRuns(
    () => true,
    () => {},
  );
  runs.run(command('dns-flush'));
  for (let i = 0; i < 60; ++i) {
    runs.run(command('open-terminal'));
    runs.receive({ type: 'command_result', id: 'open-terminal', ok: true, code: 0 });
  }
  assert.equal(runs.runs.length, 50);
  assert.equal(runs.last('dns-flush').state, 'running');
  runs.lose();
});
