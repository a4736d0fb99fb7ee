import assert from 'node:assert/strict';
import { test } from 'node:test';
import { withSession } from './lib/session.mjs';
import { BareControl, colours, near, received, receivedRates, rgb, shows } from './lib/viewer.mjs';
import { median, timed, until } from './lib/wait.mjs';

test('aViewerOnAnotherMachineSeesTheScreenAndControlsIt', async (t) => {
  await withSession(t, { far: true }, async (session) => {
    await session.screen.paint('#3070b0');
    const page = await session.bare();
    await shows(page, '#3070b0');
    const viewer = await new BareControl(page).open();
    await viewer.takeControl(await session.host.pin());
    await viewer.ask({ type: 'mouseMove', x: 0.5, y: 0.5 }, 'ptr');
    assert.deepEqual(await session.screen.pointer(), { x: 640, y: 360 });
  });
});

test('aThinLinkStillShowsChangesSoon', async (t) => {
  await withSession(t, { far: true, screen: '1920x1080' }, async (session) => {
    await session.far.shape({ rate: '1mbit' });
    await session.screen.paint('#101010');
    const page = await session.bare();
    await shows(page, '#101010');
    session.keep(session.screen.start('xterm', ['-geometry', '100x30+0+0', '-e', 'sh', '-c', 'while :; do date; sleep 0.2; done']));
    const times = [];
    for (const colour of ['#a02020', '#20a020', '#2020a0', '#a0a020']) {
      await session.screen.paint(colour);
      times.push((await timed(async () => {
        await until(async () => {
          const seen = await colours(page, [[0.9, 0.9]]);
          return near(seen[0], rgb(colour), 24);
        }, { what: colour });
      })).ms);
    }
    t.diagnostic(`changes seen after ${times.join(', ')} ms`);
    assert.ok(median(times) < 3000, `${times.join(', ')} ms`);
  });
});

// The first frame is sent at the rate that the offer's hints name; the congestion control finds out the link's
// capacity.
for (const megabits of [1, 2]) {
  test(`theFullRateOfTheStartGivesWayToALinkOf${megabits}Megabits`, async (t) => {
    await withSession(t, { far: true }, async (session) => {
      await session.far.shape({ rate: `${megabits}mbit` });
      session.keep(session.screen.scrollingText());
      const page = await session.bare();
      await until(async () => (await received(page))?.frames > 3, { what: 'frames' });
      let rates = null;
      await until(async () => {
        rates = await receivedRates(page, 2000);
        return rates.loss < 0.1 && rates.kbps < megabits * 1000 && rates.kbps > megabits * 250 && rates.fps > 2;
      }, { what: 'a stream that fits' }).catch((error) => {
        throw new Error(`${error.message}; received is ${JSON.stringify(rates)}`);
      });
      t.diagnostic(`${rates.kbps.toFixed(0)} kbit/s, ${rates.fps.toFixed(1)} fps, ${(rates.loss * 100).toFixed(1)} % lost`);
    });
  });
}

test('aGoodLinkIsUsedFromTheFirstSecond', async (t) => {
  await withSession(t, { host: { env: { PREFERRED_CODEC: 'vp8', MAX_KBPS: '6000' } } }, async (session) => {
    session.keep(session.screen.scrollingText());
    await session.screen.run('xdotool', ['search', '--sync', '--onlyvisible', '--class', 'xterm']);
    // Each page has a connection of its own. A busy machine spoils the first second of some, not of all.
    const seen = [];
    for (let attempt = 0; attempt < 4 && !seen.some((kbps) => kbps > 1500); attempt++) {
      const page = await session.bare();
      await until(() => page.evaluate(() => bare.firstFrameAt), { what: 'a frame' });
      seen.push((await receivedRates(page, 1000)).kbps);
      t.diagnostic(`${seen.at(-1).toFixed(0)} kbit/s in the first second`);
      await page.close();
    }
    assert.ok(Math.max(...seen) > 1500, `${seen.join(', ')} kbit/s`);
  });
});

test('theViewerIsAskedForNoPlayoutDelay', async (t) => {
  await withSession(t, {}, async (session) => {
    const page = await session.bare();
    await until(() => page.evaluate(() => bare.firstFrameAt), { what: 'a frame' });
    const [offer, answer] = await page.evaluate(() => [bare.offers[0], bare.pc.localDescription.sdp]);
    for (const text of [offer.sdp ?? offer, answer]) assert.match(text, /^a=extmap:\d+ http:\/\/www\.webrtc\.org\/experiments\/rtp-hdrext\/playout-delay\r?$/m);
  });
});
