// What a long session must not do: grow. The series are a quarter as long as with VANTORA_SOAK.
import assert from 'node:assert/strict';
import { readdir, readFile } from 'node:fs/promises';
import { test } from 'node:test';
import { withSession } from './lib/session.mjs';
import { BareControl, shows } from './lib/viewer.mjs';
import { until } from './lib/wait.mjs';

const soak = Boolean(process.env.VANTORA_SOAK);
const reoffers = soak ? 200 : 50;
const rebuilds = soak ? 50 : 12;

async function holdings({ pid }) {
  const [threads, files, status] = await Promise.all([
    readdir(`/proc/${pid}/task`), readdir(`/proc/${pid}/fd`), readFile(`/proc/${pid}/status`, 'utf8')]);
  return { threads: threads.length, files: files.length, megabytes: Number(status.match(/VmRSS:\s+(\d+)/)[1]) / 1024 };
}

/// The session at work, with everything that this takes: the page shows an image that was just painted.
async function atWork(session, page, colour) {
  await session.screen.paint(colour);
  await shows(page, colour);
}

/// Its usage after freed memory was returned to the system, which takes the host two seconds.
async function settled(host) {
  const end = performance.now() + 3000;
  await until(() => performance.now() > end, { what: 'the time to pass' });
  return holdings(host.child);
}

function noMoreThan(before) {
  // The encoder's threads and buffers come and go: what counts is that nothing adds up.
  return (held) => held.threads <= before.threads + 8 && held.files <= before.files + 8 && held.megabytes <= before.megabytes + 5;
}

test('nothingGrowsOverManyReoffers', async (t) => {
  await withSession(t, {}, async (session) => {
    const page = await session.bare();
    await new BareControl(page).open();
    const reoffer = async (times) => {
      for (let i = 0; i < times; i++) {
        const count = await page.evaluate(() => {
          // The room passes on only a few requests by "renegotiate" a second.
          bare.send({ type: 'codec', codec: 'auto' });
          return bare.offers.length;
        });
        await until(() => page.evaluate((count) => bare.offers.length > count && bare.pc.signalingState === 'stable', count),
          { what: 'the next offer' });
      }
    };
    await reoffer(5);
    await atWork(session, page, '#a05050');
    const held = [await settled(session.host)];
    // A leak adds up in every series; memory that was allocated once on a busy machine does not.
    for (const colour of ['#50a050', '#5050a0', '#a050a0']) {
      await reoffer(reoffers);
      await atWork(session, page, colour);
      held.push(await settled(session.host));
      if (noMoreThan(held.at(-2))(held.at(-1))) break;
    }
    t.diagnostic(`${JSON.stringify(held)} after 5 and after each ${reoffers} more`);
    assert.ok(noMoreThan(held.at(-2))(held.at(-1)), JSON.stringify(held));
  });
});

test('nothingGrowsOverManyRebuilds', async (t) => {
  await withSession(t, { host: { env: { CONTROL_TOKEN: '123456' } } }, async (session) => {
    const page = await session.bare();
    await new BareControl(page).open();
    const rebuild = async (times) => {
      for (let i = 0; i < times; i++) {
        await page.reload();
        await new BareControl(page).open();
      }
    };
    await rebuild(5);
    const rebuilt = () => session.host.log.filter((line) => line.endsWith('rebuilding peer')).length;
    const first = rebuilt();
    // One connection holds a few megabytes more than the next, at random: three of them, or fewer when one of them
    // already holds no more than `before`.
    const sample = async (before) => {
      const samples = [];
      for (const colour of ['#a05050', '#50a050', '#5050a0']) {
        await rebuild(1);
        await atWork(session, page, colour);
        samples.push(await settled(session.host));
        if (before && noMoreThan(before)(samples.at(-1))) return samples.at(-1);
      }
      const figures = (key) => samples.map((held) => held[key]);
      return { threads: Math.max(...figures('threads')), files: Math.max(...figures('files')), megabytes: Math.min(...figures('megabytes')) };
    };
    const held = [await sample()];
    // As above: room that was made once is not left behind by every rebuild.
    for (let series = 0; series < 3; series++) {
      await rebuild(rebuilds);
      held.push(await sample(held.at(-1)));
      if (noMoreThan(held.at(-2))(held.at(-1))) break;
    }
    t.diagnostic(`${JSON.stringify(held)} after ${first} rebuilds and after each ${rebuilds} more`);
    assert.ok(noMoreThan(held.at(-2))(held.at(-1)), JSON.stringify(held));
    assert.ok(rebuilt() >= first + rebuilds, `${rebuilt()} rebuilds`);
  });
});
