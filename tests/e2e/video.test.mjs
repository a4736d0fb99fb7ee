import assert from 'node:assert/strict';
import { test } from 'node:test';
import { withSession } from './lib/session.mjs';
import { colours, connected, framesShown, near, shows } from './lib/viewer.mjs';
import { soonest, timed, until } from './lib/wait.mjs';

const bars = [[0, 0, 255], [0, 255, 255], [0, 255, 0], [255, 255, 0], [255, 0, 0], [255, 0, 255]];

test('showsTheColourBarsWhileSharingIsOff', async (t) => {
  const want = { autoShare: false, host: { env: { SHARE_IDLE_VIDEO: '1', FPS: '30' } } };
  await withSession(t, want, async (session) => {
    const page = await session.bare();
    await connected(page);
    // Below the moving box, in the middle of each bar.
    const places = bars.map((_, index) => [(index + 0.5) / 6.01, 0.6]);
    let seen;
    await until(async () => {
      seen = await colours(page, places);
      return seen?.every((colour, index) => near(colour, bars[index], 16));
    }, { what: 'six bars' }).catch((error) => assert.fail(`${error.message}: ${JSON.stringify(seen)}`));

    const before = await framesShown(page);
    await until(async () => (await framesShown(page)) >= before + 30, { what: '30 more frames' });

    // The box is black and moves: over a second it is seen at different places of its row.
    const columns = Array.from({ length: 64 }, (_, index) => [(index + 0.5) / 64, 60 / 720]);
    const boxAt = async () => (await colours(page, columns)).findIndex((colour) => near(colour, [0, 0, 0], 60));
    const first = await until(async () => { const at = await boxAt(); return at >= 0 && { at }; }, { what: 'the box' });
    await until(async () => { const at = await boxAt(); return at >= 0 && at !== first.at; }, { what: 'the box to move' });
  });
});

test('sendsNoFramesWhileSharingIsOffWithoutIdleVideo', async (t) => {
  const want = { autoShare: false, host: { env: { SHARE_IDLE_VIDEO: 'true' } } };
  await withSession(t, want, async (session) => {
    const page = await session.bare();
    await connected(page);
    const shown = await page.evaluate(() => new Promise((resolve) => {
      const start = performance.now();
      const check = () => (bare.frames > 0 || performance.now() - start > 2000 ? resolve(bare.frames) : setTimeout(check, 50));
      check();
    }));
    assert.equal(shown, 0);
  });
});

test('showsTheScreenWithinFiveSecondsOfTheStart', async (t) => {
  const ms = await soonest(5000, () => withSession(t, { hostNow: false }, async (session) => {
    await session.screen.paint('#2060c0');
    // The page waits in the room for a host that comes later.
    const page = await session.bare();
    const start = await timed(async () => {
      await session.startHost();
      await shows(page, '#2060c0');
    });
    t.diagnostic(`video ${start.ms} ms after the start of the host`);

    const change = await soonest(2000, async (round) => {
      const colour = ['#c04020', '#20c040', '#4020c0', '#c0c020'][round];
      return (await timed(async () => {
        await session.screen.paint(colour);
        await shows(page, colour);
      })).ms;
    });
    t.diagnostic(`change on the screen seen after ${change} ms`);
    assert.ok(change < 2000, `${change} ms`);
    return start.ms;
  }));
  assert.ok(ms < 5000, `${ms} ms`);
});

test('showsAStillScreenAtOnceToAViewerThatJoinsLater', async (t) => {
  await withSession(t, {}, async (session) => {
    await session.screen.paint('#30a050');
    const first = await session.bare();
    await shows(first, '#30a050');
    await first.close();
    const ms = await soonest(1500, async () => {
      const page = await session.bare();
      const seen = await timed(() => shows(page, '#30a050'));
      t.diagnostic(`still screen seen ${seen.ms} ms after the page was loaded`);
      await page.close();
      return seen.ms;
    });
    assert.ok(ms < 1500, `${ms} ms`);
  });
});

test('theCompanionsPageShowsTheScreen', async (t) => {
  await withSession(t, {}, async (session) => {
    await session.screen.paint('#a0a020');
    const page = await session.viewer();
    await connected(page);
    await shows(page, '#a0a020');
    assert.deepEqual(page.said.filter((line) => /^(error|warning)/.test(line)), []);
  });
});

test('theCompanionsPageSaysSoWhenThereIsNoScreenToRecord', async (t) => {
  await withSession(t, { screen: null, host: { env: { DISPLAY: ':64999' } } }, async (session) => {
    const page = await session.viewer();
    await connected(page);
    await until(() => page.isVisible('text=cannot record its screen'), { what: 'the card' });
  });
});

for (const codec of ['h264', 'vp8', 'vp9', 'av1']) {
  test(`showsTheScreensColoursWith_${codec}`, async (t) => {
    await withSession(t, { host: { env: { PREFERRED_CODEC: codec } } }, async (session) => {
      await session.screen.paint('#00ff00');
      const page = await session.bare();
      for (const colour of ['#00ff00', '#ff0000', '#0000ff', '#808080']) {
        await session.screen.paint(colour);
        await shows(page, colour);
      }
      const used = await page.evaluate(async () => {
        const stats = [...(await bare.pc.getStats()).values()];
        const video = stats.find((each) => each.type === 'inbound-rtp' && each.kind === 'video' && each.framesDecoded > 0);
        return stats.find((each) => each.id === video.codecId).mimeType.toLowerCase();
      });
      assert.equal(used, `video/${codec}`);
    });
  });
}
