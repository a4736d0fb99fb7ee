// Every codec starts, follows its bit rate and gives way to the next within one session.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { withSession } from './lib/session.mjs';
import { BareControl, received, receivedRates, shows } from './lib/viewer.mjs';
import { until } from './lib/wait.mjs';

async function codecInUse(page, wanted) {
  let last = null;
  await until(async () => {
    last = await received(page);
    return last?.codec === wanted;
  }, { what: wanted }).catch((error) => {
    throw new Error(`${error.message}; received is ${JSON.stringify(last)}`);
  });
}

test('theViewerSwitchesBetweenAllCodecs', async (t) => {
  await withSession(t, {}, async (session) => {
    const page = await session.bare();
    await session.screen.paint('#303030');
    await shows(page, '#303030');
    await codecInUse(page, 'H264');
    const viewer = await new BareControl(page).open();
    const turns = [['vp8', 'VP8'], ['VP9', 'VP9'], ['av1', 'AV1'], ['h264', 'H264'], ['av01', 'AV1'], ['vp8', 'VP8'], ['h264', 'H264'],
      ['vp9', 'VP9'], ['auto', 'H264']];
    for (const [index, [codec, name]] of turns.entries()) {
      await viewer.send({ type: 'codec', codec });
      await codecInUse(page, name);
      const colour = `#${['c04040', '40c040', '4040c0', 'c0c040'][index % 4]}`;
      await session.screen.paint(colour);
      await shows(page, colour);
    }
    assert.equal((await received(page)).width, 1280);
  });
});

for (const codec of ['h264', 'vp8', 'vp9', 'av1']) {
  test(`${codec}FollowsTheBitRateAndKeepsTheSize`, async (t) => {
    await withSession(t, { host: { env: { PREFERRED_CODEC: codec } } }, async (session) => {
      const page = await session.bare();
      const viewer = await new BareControl(page).open();
      session.keep(session.screen.newText());
      await codecInUse(page, codec.toUpperCase());
      for (const kbps of [2000, 400, 2000]) {
        await viewer.send({ type: 'video_params', maxBitrateKbps: kbps, fps: 30 });
        let rates = null;
        await until(async () => {
          rates = await receivedRates(page, 1500);
          return rates.kbps <= kbps * 1.2 && rates.kbps >= kbps * 0.5 && rates.fps > kbps / 250;
        }, { what: `${kbps} kbit/s` }).catch((error) => {
          throw new Error(`${error.message}; received is ${JSON.stringify(rates)}`);
        });
        t.diagnostic(`${kbps} kbit/s: ${rates.kbps.toFixed(0)} kbit/s, ${rates.fps.toFixed(1)} fps, quantizer ${rates.quantizer.toFixed(0)}`);
        assert.equal(rates.width, 1280);
        assert.equal(rates.height, 720);
      }
    });
  });
}

test('aProfileChosenByTheViewerStillGivesVideo', async (t) => {
  await withSession(t, {}, async (session) => {
    const page = await session.bare();
    const viewer = await new BareControl(page).open();
    for (const [index, profile] of ['baseline31', 'main31', 'high42', '42e01f', 'nothing hexadecimal'].entries()) {
      await viewer.send({ type: 'codec', codec: 'h264', profile });
      await viewer.send({ type: 'codec', codec: 'h264' });
      const colour = `#${['a02020', '20a020', '2020a0', 'a0a020', '20a0a0'][index]}`;
      await session.screen.paint(colour);
      await shows(page, colour);
    }
  });
});
