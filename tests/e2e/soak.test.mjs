// A long day of a session in little time: the page is reloaded, files arrive, presets change, people chat, the room
// server is restarted, over and over. Nothing may add up, and nothing may become slower. Ten minutes with VANTORA_SOAK
// (VANTORA_SOAK_MINUTES for another number), else a few rounds, in which only what a leak would raise at once is checked.
import assert from 'node:assert/strict';
import { appendFile, readdir, rm } from 'node:fs/promises';
import { join } from 'node:path';
import { test } from 'node:test';
import { sendFile } from './lib/files.mjs';
import { cpuSeconds, family, memory } from './lib/processes.mjs';
import { withSession } from './lib/session.mjs';
import { openTextPage } from './lib/text-page.mjs';
import { BareControl } from './lib/viewer.mjs';
import { median, until } from './lib/wait.mjs';

const minutes = process.env.VANTORA_SOAK ? Number(process.env.VANTORA_SOAK_MINUTES ?? 10) : 0;
const shortRounds = 3;
const flips = 10;
const fileBytes = 2 << 20;
const presets = ['low', 'high', 'medium'];

async function pass(ms) {
  const end = performance.now() + ms;
  await until(() => performance.now() > end, { deadline: ms + 5000, what: 'the time to pass' });
}

/// What the host's processes hold after freed memory was returned to the system, which takes them two seconds.
async function settled(pids) {
  await pass(2500);
  const count = async (folder) => (await Promise.all(pids.map((pid) => readdir(`/proc/${pid}/${folder}`)))).flat().length;
  return { threads: await count('task'), files: await count('fd'), megabytes: (await memory(pids)).rss };
}

/// The median of the slopes between all pairs of values: single outliers do not matter.
function slope(values) {
  const slopes = values.flatMap((value, index) => values.slice(index + 1).map((later, step) => (later - value) / (step + 1)));
  return slopes.length > 0 ? median(slopes) : 0;
}

/// What is done in a round; `done` counts it.
function activities(session, page, text, done) {
  const viewer = new BareControl(page);
  const count = (what, number = 1) => (done[what] = (done[what] ?? 0) + number);
  return {
    async reload() {
      await page.reload();
      await viewer.open();
      await viewer.takeControl('123456');
      await text.watch(page);
      count('reloads');
    },
    async file() {
      const name = `file${done.files ?? 0}.bin`;
      const { saved } = await sendFile(page, { id: name, name, size: fileBytes });
      assert.equal(saved.size, fileBytes);
      await rm(join(session.host.home, 'Downloads', name));
      count('files');
    },
    async presets() {
      for (const preset of presets) {
        await viewer.send({ type: 'quality', preset });
        await viewer.settled();
        count('presets');
      }
    },
    async chat() {
      const line = `line ${done['chat lines'] ?? 0}`;
      await page.evaluate((text) => bare.signal({ type: 'chat_send', text }), line);
      await until(() => page.evaluate((text) => bare.signals.some((each) => each.type === 'chat_broadcast' && each.text === text), line),
        { what: 'the chat line' });
      count('chat lines');
    },
    async roomServer() {
      const from = session.host.child.lines.length;
      const before = await page.evaluate(() => bare.asked);
      await session.restartRoomServer();
      await until(() => page.evaluate((before) => bare.asked > before && bare.socketIsOpen(), before), { what: 'the page in the new room' });
      await session.host.line(/^\[sdp\] prefer/, { after: from });
      await until(() => page.evaluate(() => bare.pc.signalingState === 'stable' && bare.pc.connectionState === 'connected'), { what: 'the connection' });
      count('restarts of the room server');
    },
    async scroll() {
      await text.tell('scroll');
      await pass(700);
      await text.tell('still');
      count('scrolls');
    },
  };
}

test('aLongSessionNeitherGrowsNorSlowsDown', async (t) => {
  await withSession(t, { host: { env: { CONTROL_TOKEN: '123456' } } }, async (session) => {
    const text = await openTextPage(session);
    const page = await session.bare();
    await new BareControl(page).open();
    await text.watch(page);
    const pids = await family(session.host.child.pid);
    const done = {};
    const todo = activities(session, page, text, done);
    const [held, latencies] = [[], []];
    const start = performance.now();
    const over = () => (minutes > 0 ? performance.now() - start > minutes * 60000 : held.length >= shortRounds);
    for (let round = 0; !over(); round++) {
      await todo.reload();
      await todo.file();
      await todo.presets();
      await todo.chat();
      await todo.scroll();
      // What comes after a restart of the room server takes longest.
      if (minutes === 0 || round % 2 === 0) await todo.roomServer();
      held.push(await settled(pids));
      const times = [];
      for (let flip = 0; flip < (minutes > 0 ? flips : 1); flip++) {
        times.push(await text.flip(page, 5000));
        await pass(40 + 37 * (flip % 7));
      }
      latencies.push(times);
    }
    assert.deepEqual(await family(session.host.child.pid), pids, 'the same processes as at the start');

    // The first rounds allocate once what all others use again.
    const later = held.slice(minutes > 0 ? Math.ceil(held.length / 5) : 1);
    const growth = Object.fromEntries(Object.keys(held[0]).map((key) => [key, slope(later.map((each) => each[key])) * (later.length - 1)]));
    const third = Math.ceil(latencies.length / 3);
    const [first, last] = [latencies.slice(0, third), latencies.slice(-third)].map((rounds) => median(rounds.flat()));
    const lines = [
      `${held.length} rounds in ${((performance.now() - start) / 60000).toFixed(1)} minutes: ` +
        Object.entries(done).map(([what, number]) => `${number} ${what}`).join(', '),
      ...Object.keys(growth).map((key) => `${key}: ${held[0][key].toFixed(0)} after the first round, ` +
        `${held.at(-1)[key].toFixed(0)} in the end, trend ${growth[key].toFixed(2)}`),
      `change to image, median: ${first.toFixed(1)} ms in the first third, ${last.toFixed(1)} ms in the last one, of ${third * latencies[0].length} each`,
      `processor time of the host: ${(await cpuSeconds(pids)).toFixed(0)} s`,
    ];
    for (const line of lines) t.diagnostic(line);
    if (process.env.VANTORA_RESULTS) await appendFile(join(process.env.VANTORA_RESULTS, 'soak.txt'), `${lines.join('\n')}\n`);

    const all = JSON.stringify(held);
    if (minutes === 0) {
      const [before, after] = [held[0], held.at(-1)];
      assert.ok(after.threads <= before.threads + 8, all);
      assert.ok(after.files <= before.files + 8, all);
      assert.ok(after.megabytes <= before.megabytes + 30, all);
      return;
    }
    assert.ok(growth.threads <= 2, all);
    assert.ok(growth.files <= 2, all);
    assert.ok(growth.megabytes <= 5, all);
    // The clocks of host and page differ by fractions of a millisecond.
    assert.ok(last <= first * 1.1 + 0.5, `${first} ms, then ${last} ms`);
  });
});
