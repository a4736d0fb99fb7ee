// The picture's size on the page, and fingers and the pointer on it.
import assert from 'node:assert/strict';
import { until } from '../../e2e/lib/wait.mjs';
import { forget, inControl, pairTests, pointOnImage, receivedMessages, settled, untilReceived } from './setup.mjs';

const { pairTest, sendFromHost } = pairTests();

// The fake host's screen is 640 by 360 and shows a white area with this pixel in its top right corner.
const CORNER = { x: 399, y: 86 };

async function withCdp({ viewer }, body) {
  const cdp = await viewer.context().newCDPSession(viewer);
  try {
    await body(cdp);
  } finally {
    await cdp.send('Emulation.clearDeviceMetricsOverride');
    await cdp.detach();
  }
}

// That corner on the viewer's screen, in device pixels of the window; null while it is not in sight.
async function cornerSeen({ host, viewer }, cdp) {
  const { data } = await cdp.send('Page.captureScreenshot');
  const [box, ratio] = await viewer.evaluate(() => [document.getElementById('stage').getBoundingClientRect().toJSON(), devicePixelRatio]);
  return host.evaluate(async ([data, box, ratio]) => {
    const bytes = Uint8Array.from(atob(data), (each) => each.charCodeAt(0));
    const bitmap = await createImageBitmap(new Blob([bytes]));
    const canvas = new OffscreenCanvas(bitmap.width, bitmap.height);
    const context = canvas.getContext('2d');
    context.drawImage(bitmap, 0, 0);
    const { data: pixels, width } = context.getImageData(0, 0, bitmap.width, bitmap.height);
    const isLight = (x, y) => pixels[(y * width + x) * 4] > 150;
    // Without the frame of the stage and the marks at its edges.
    const border = 10 * ratio;
    const [left, top] = [Math.ceil(box.left * ratio) + border, Math.ceil(box.top * ratio) + border];
    const [right, bottom] = [Math.floor(box.right * ratio) - border, Math.floor(box.bottom * ratio) - border];
    for (let y = top; y < bottom; ++y) {
      for (let x = right; x > left; --x) {
        // A line of light pixels across and down: not a letter.
        if ([0, 4, 8, 12].every((step) => isLight(x - step, y) && isLight(x, y + step))) return { x, y };
      }
    }
    return null;
  }, [data, box, ratio]);
}

// The pixel of the host's screen that is named when the pointer goes to a device pixel of the window.
async function pixelBelow(both, cdp, { x, y }, ratio) {
  await forget(both);
  await cdp.send('Input.dispatchMouseEvent', { type: 'mouseMoved', x: (x + 0.5) / ratio, y: (y + 0.5) / ratio });
  const move = (await untilReceived(both.host, 'mouseMove')).at(-1);
  return { x: Math.floor(move.x * 640), y: Math.floor(move.y * 360) };
}

pairTest('the pointer is on the pixel that is seen, in every size', {}, async (both) => {
  await inControl(both);
  await withCdp(both, async (cdp) => {
    for (const [ratio, width, height] of [[1, 520, 420], [2, 420, 420]]) {
      await cdp.send('Emulation.setDeviceMetricsOverride', { width, height, deviceScaleFactor: ratio, mobile: false });
      assert.deepEqual(await both.viewer.evaluate(() => [devicePixelRatio, innerWidth]), [ratio, width]);
      // Fit, 1:1, larger, and that moved.
      for (const [key, size] of [['Digit0', null], ['Backspace', 1], ['Equal', 1.25], ['ArrowRight', 1.25]]) {
        await both.viewer.keyboard.press(`Control+Alt+Shift+${key}`);
        if (key === 'ArrowRight') await both.viewer.keyboard.press('Control+Alt+Shift+ArrowUp');
        const seen = await until(() => cornerSeen(both, cdp), { what: `the corner at ${ratio} after ${key}` });
        const below = await pixelBelow(both, cdp, seen, ratio);
        // The codec blurs the edge.
        const off = Math.max(Math.abs(below.x - CORNER.x), Math.abs(below.y - CORNER.y));
        assert.ok(off <= 1, `${JSON.stringify(below)} at ratio ${ratio} after ${key}`);
        if (!size) continue;
        const next = await pixelBelow(both, cdp, { x: seen.x - 100 * size, y: seen.y + 50 * size }, ratio);
        assert.deepEqual(next, { x: below.x - 100, y: below.y + 50 }, `at ratio ${ratio} after ${key}`);
      }
    }
  });
});

const rectOf = ({ viewer }) => viewer.evaluate(() => document.getElementById('screen').getBoundingClientRect().toJSON());
const menu = async ({ viewer }, text) => {
  await viewer.click('#view-button');
  await viewer.click(`.menu-item:has-text("${text}")`);
};

pairTest('a picture larger than the stage follows the mouse, and its size is remembered', { firefox: true }, async (both) => {
  await both.viewer.setViewportSize({ width: 500, height: 400 });
  await menu(both, 'Actual size');
  const before = await rectOf(both);
  assert.equal(before.width, 640);
  // Watching, it is dragged, and the wheel moves it.
  await both.viewer.mouse.move(250, 150);
  await both.viewer.mouse.down();
  await both.viewer.mouse.move(210, 140);
  await both.viewer.mouse.up();
  const dragged = await rectOf(both);
  assert.deepEqual([dragged.left - before.left, dragged.top - before.top], [-40, -10]);
  await both.viewer.mouse.wheel(-20, 0);
  await until(async () => (await rectOf(both)).left === dragged.left + 20, { what: 'the wheel' });
  // With Ctrl, and by pinching on a touch pad, it zooms around the pointer.
  await both.viewer.keyboard.down('Control');
  await both.viewer.mouse.wheel(0, -100);
  await until(async () => (await rectOf(both)).width > 700, { what: 'the larger picture' });
  await both.viewer.keyboard.up('Control');
  await menu(both, 'Actual size');
  await inControl(both);
  await forget(both);
  // In control the wheel is the host's, and the picture moves while the pointer is near an edge, the pointer's place
  // with it.
  await both.viewer.mouse.move(250, 150);
  await both.viewer.mouse.wheel(0, 30);
  await untilReceived(both.host, 'wheel');
  const { left } = await rectOf(both);
  await both.viewer.mouse.move(495, 150);
  await until(async () => (await rectOf(both)).right === 500, { what: 'the right edge' });
  await until(async () => Math.abs((await receivedMessages(both.host, 'mouseMove')).at(-1).x - 635 / 640) < 0.003, { what: 'the place there' });
  assert.ok((await rectOf(both)).left < left);
  await both.viewer.reload();
  await until(async () => (await rectOf(both)).width === 640, { what: 'the size after a reload' });
  await menu(both, 'Fit');
  await until(async () => (await rectOf(both)).width === 500, { what: 'the whole picture' });
});

pairTest('one pixel of the host stays one when the video is reduced', {}, async (both) => {
  await sendFromHost(both, { type: 'host_stats', capture: 'screen', displayIndex: 0, lastCaptureNs: 1, width: 1280, height: 720 });
  await both.viewer.keyboard.press('Control+Alt+Shift+Backspace');
  await until(async () => (await rectOf(both)).width === 1280, { what: 'the size of the screen' });
  await both.viewer.keyboard.press('Control+Alt+Shift+Digit0');
});

// A finger's way, as the browser of a tablet reports it: places as fractions of the picture. The fingers have a clock of
// their own, since the machine may be slow: wait(ms) advances it.
async function touching(both, body) {
  await withCdp(both, async (cdp) => {
    await cdp.send('Emulation.setTouchEmulationEnabled', { enabled: true, maxTouchPoints: 3 });
    let timestamp = Date.now() / 1000;
    const send = async (type, places) => {
      timestamp += 0.02;
      const touchPoints = await Promise.all(places.map(async ([x, y], id) => ({ ...await pointOnImage(both.viewer, x, y), id })));
      await cdp.send('Input.dispatchTouchEvent', { type, touchPoints, timestamp });
    };
    await body({
      down: (...places) => send('touchStart', places),
      move: (...places) => send('touchMove', places),
      up: () => send('touchEnd', []),
      wait: (ms) => (timestamp += ms / 1000),
    });
    await cdp.send('Emulation.setTouchEmulationEnabled', { enabled: false });
  });
}

// Buttons that went down and up, and where.
const buttons = ({ host }) => host.evaluate(() => globalThis.host.messages.map(({ message }) => message)
  .filter(({ type }) => type === 'mouseDown' || type === 'mouseUp')
  .map(({ type, button, x, y }) => `${type} ${button} ${x.toFixed(2)} ${y.toFixed(2)}`));
const clicked = (button, ...places) => places.flatMap((place) => [`mouseDown ${button} ${place}`, `mouseUp ${button} ${place}`]);

pairTest('fingers click, drag and scroll on the host', {}, async (both) => {
  await inControl(both);
  await touching(both, async (finger) => {
    const expect = async (wanted, what) => {
      await until(async () => (await buttons(both)).length >= wanted.length, { what });
      await settled(both);
      assert.deepEqual(await buttons(both), wanted, what);
      await forget(both);
    };
    await finger.down([0.25, 0.5]);
    await finger.up();
    await finger.down([0.255, 0.5]);
    await finger.up();
    await expect(clicked(0, '0.25 0.50', '0.25 0.50'), 'two taps');

    await finger.down([0.5, 0.5], [0.6, 0.5]);
    await finger.up();
    await expect(clicked(2, '0.50 0.50'), 'two fingers');

    await finger.down([0.4, 0.4]);
    await until(() => both.viewer.isVisible('.touch-ring.closed'), { what: 'the ring to close' });
    finger.wait(600);
    await finger.up();
    await expect(clicked(2, '0.40 0.40'), 'a long press');
    assert.ok(await both.viewer.isHidden('.touch-ring'));

    await finger.down([0.2, 0.2]);
    finger.wait(100);
    await finger.move([0.3, 0.2]);
    await untilReceived(both.host, 'mouseDown');
    await finger.move([0.6, 0.7]);
    await finger.up();
    await expect(['mouseDown 0 0.20 0.20', 'mouseUp 0 0.60 0.70'], 'a drag');

    await finger.down([0.4, 0.5], [0.6, 0.5]);
    await finger.move([0.4, 0.4], [0.6, 0.4]);
    await finger.move([0.4, 0.3], [0.6, 0.3]);
    await finger.up();
    const height = (await rectOf(both)).height;
    await until(async () => Math.abs((await receivedMessages(both.host, 'wheel')).reduce((sum, { dy }) => sum + dy, 0) - 0.2 * height) < 3,
      { what: 'the wheel' });
    assert.deepEqual(await buttons(both), []);
  });
});

pairTest('fingers zoom and move the picture', {}, async (both) => {
  const widthOf = async () => (await pointOnImage(both.viewer, 1, 0)).x - (await pointOnImage(both.viewer, 0, 0)).x;
  // Watching, two taps make it larger, a finger moves it, and two taps more show all of it.
  await touching(both, async (finger) => {
    // The tools are larger for fingers.
    const width = await widthOf();
    const tapTwice = async () => {
      for (const _ of [1, 2]) {
        await finger.down([0.5, 0.4]);
        await finger.up();
      }
      finger.wait(1000);
    };
    await tapTwice();
    await until(async () => (await widthOf()) > width * 1.9, { what: 'the larger picture' });
    const { left } = await rectOf(both);
    await finger.down([0.5, 0.4]);
    finger.wait(100);
    await finger.move([0.45, 0.4]);
    await until(async () => (await rectOf(both)).left < left, { what: 'the moved picture' });
    await finger.up();
    finger.wait(1000);
    await tapTwice();
    await until(async () => Math.abs((await widthOf()) - width) < 1, { what: 'the whole picture' });
    assert.deepEqual(await buttons(both), []);
  });
  await inControl(both);
  await touching(both, async (finger) => {
    const width = await widthOf();
    await finger.down([0.4, 0.5], [0.6, 0.5]);
    await finger.move([0.3, 0.5], [0.7, 0.5]);
    await until(async () => Math.abs((await widthOf()) / width - 2) < 0.02, { what: 'the larger picture' });
    await finger.up();
    await forget(both);
    // Moved to its edge; the rest of the way scrolls on the host.
    const { left } = await rectOf(both);
    await finger.down([0.4, 0.5], [0.5, 0.5]);
    await finger.move([0.45, 0.5], [0.55, 0.5]);
    await until(async () => (await rectOf(both)).left > left, { what: 'the moved picture' });
    assert.deepEqual(await receivedMessages(both.host, 'wheel'), []);
    await finger.up();
    // Where the finger is stays exact.
    await finger.down([0.5, 0.5]);
    await finger.up();
    await until(async () => (await buttons(both)).length === 2, { what: 'the click' });
    assert.deepEqual(await buttons(both), clicked(0, '0.50 0.50'));
  });
  await both.viewer.keyboard.press('Control+Alt+Shift+Digit0');
});

pairTest('in full screen a tap or the mouse at its grip brings the tool bar', {}, async (both) => {
  const { viewer } = both;
  const inSight = (id) => viewer.evaluate((id) => {
    const box = document.getElementById(id).getBoundingClientRect();
    return box.top >= 0 && box.right <= innerWidth;
  }, id);
  await viewer.click('#fullscreen-button');
  await until(() => viewer.evaluate(() => document.body.classList.contains('fullscreen')), { what: 'full screen' });
  await viewer.mouse.move(640, 360);
  await until(async () => !(await inSight('bar')) && !(await inSight('rail')), { what: 'the picture alone' });
  await viewer.mouse.move(640, 3);
  await until(() => inSight('bar'), { what: 'the tool bar' });
  await viewer.mouse.move(640, 360);
  await until(async () => !(await inSight('bar')), { what: 'the end of the tool bar' });
  await withCdp(both, async (cdp) => {
    await cdp.send('Emulation.setTouchEmulationEnabled', { enabled: true });
    const tap = async (x, y) => {
      await cdp.send('Input.dispatchTouchEvent', { type: 'touchStart', touchPoints: [{ x, y }] });
      await cdp.send('Input.dispatchTouchEvent', { type: 'touchEnd', touchPoints: [] });
    };
    for (const [id, ...grip] of [['bar', 640, 10], ['rail', 1270, 360]]) {
      await tap(...grip);
      await until(() => inSight(id), { what: id });
      await tap(300, 360);
      await until(async () => !(await inSight(id)), { what: `the end of ${id}` });
    }
    await cdp.send('Emulation.setTouchEmulationEnabled', { enabled: false });
  });
  await viewer.evaluate(() => document.exitFullscreen());
});
