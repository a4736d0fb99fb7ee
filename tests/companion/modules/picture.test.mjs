// Where the picture is on the page, and what fingers on it mean: functions that need no page.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { Gestures } from '../../../companion/viewer/control/gestures.js';
import {
  FIT, centreAround, edgeSpeed, fitScale, imageSize, isSize, limitedSize, nextSize, panned, place,
  screenSize,
} from '../../../companion/viewer/picture/layout.js';

const stage = { left: 0, top: 45, width: 1000, height: 600 };
const middle = { x: 0.5, y: 0.5 };
const image = { width: 2000, height: 1000 };

test('fits the whole picture in the middle', () => {
  assert.deepEqual(place(stage, image, 1, FIT, middle), { left: 0, top: 50, width: 1000, height: 500 });
  assert.deepEqual(place(stage, { width: 300, height: 600 }, 2, FIT, middle), { left: 350, top: 0, width: 300, height: 600 });
  assert.equal(fitScale(stage, image, 2), 1);
});

test('one pixel of the host is one of the screen, on whole pixels', () => {
  assert.deepEqual(place(stage, image, 1, 1, middle), { left: -500, top: -200, width: 2000, height: 1000 });
  assert.deepEqual(place(stage, image, 2, 1, middle), { left: 0, top: 50, width: 1000, height: 500 });
  for (const ratio of [1, 1.25, 1.5, 2, 3]) {
    for (const at of [{ x: 0.377, y: 0.619 }, middle]) {
      const odd = { left: 0.4, top: 45.3, width: 999, height: 601 };
      const rect = place(odd, { width: 1999, height: 1001 }, ratio, 1, at);
      for (const [start, offset] of [[odd.left, rect.left], [odd.top, rect.top]]) {
        const device = (start + offset) * ratio;
        assert.ok(Math.abs(device - Math.round(device)) < 1e-6, `${device} at ${ratio}`);
      }
      assert.ok(Math.abs(rect.width * ratio - 1999) < 1e-9);
    }
  }
});

test('shows no more beside the picture than it must', () => {
  const at = (centre) => place(stage, image, 1, 1, centre);
  assert.equal(at({ x: -3, y: 0 }).left, 0);
  assert.equal(at({ x: 1, y: 1 }).left, -1000);
  assert.equal(at({ x: 1, y: 1 }).top, -400);
  assert.deepEqual(place(stage, { width: 200, height: 100 }, 1, 1, { x: 1, y: 1 }), { left: 400, top: 250, width: 200, height: 100 });
});

test('moves the picture to its edges and leaves the rest', () => {
  const rect = place(stage, image, 1, 1, middle);
  assert.deepEqual(panned(stage, rect, middle, 100, -50), { centre: { x: 0.45, y: 0.55 }, rest: { dx: 0, dy: 0 } });
  const far = panned(stage, rect, middle, 700, -250);
  assert.deepEqual(far.rest, { dx: 200, dy: -50 });
  assert.equal(place(stage, image, 1, 1, far.centre).left, 0);
  // Movement after that counts at once.
  assert.deepEqual(panned(stage, rect, { x: -5, y: 9 }, -100, 100).rest, { dx: 0, dy: 0 });
  assert.deepEqual(panned(stage, { width: 500, height: 300 }, middle, 10, 20).rest, { dx: 10, dy: 20 });
});

test('zooms around a place, which stays where it is', () => {
  for (const size of [0.5, 0.8, 1, 3]) {
    const rect = place(stage, image, 1, size, middle);
    const [x, y] = [420, 310];
    const fraction = [(x - rect.left) / rect.width, (y - rect.top) / rect.height];
    const after = place(stage, image, 1, size * 1.5, centreAround(stage, rect, 1.5, x, y));
    if (after.width < stage.width || after.height < stage.height) continue;
    assert.ok(Math.abs(after.left + fraction[0] * after.width - x) <= 1, `${size}`);
    assert.ok(Math.abs(after.top + fraction[1] * after.height - y) <= 1, `${size}`);
  }
});

test('keeps sizes within their limits', () => {
  assert.equal(limitedSize(0.505, 0.5), FIT);
  assert.equal(limitedSize(0.1, 0.5), FIT);
  assert.equal(limitedSize(0.7, 2), 1);
  assert.equal(limitedSize(100, 0.5), 8);
  assert.equal(nextSize(0.5, 0.5, 1), 0.67);
  assert.equal(nextSize(0.67, 0.6, -1), FIT);
  assert.equal(nextSize(1, 2, -1), 1, 'not smaller than both');
  assert.equal(nextSize(8, 0.5, 1), 8);
  for (const size of [FIT, 0.5, 8]) assert.ok(isSize(size), `${size}`);
  for (const size of ['1', 0, -1, 9, NaN, {}, true]) assert.ok(!isSize(size), `${size}`);
});

test('moves faster the nearer the pointer is to the edge', () => {
  assert.equal(edgeSpeed(500, 1000), 0);
  assert.ok(edgeSpeed(0, 1000) > edgeSpeed(20, 1000) && edgeSpeed(20, 1000) > 0);
  assert.equal(edgeSpeed(1000, 1000), -edgeSpeed(0, 1000));
});

test('believes the size that the host states only for the same screen', () => {
  const video = { width: 960, height: 540 };
  assert.deepEqual(imageSize(video, { width: 1920, height: 1080, display: 0 }), { width: 1920, height: 1080 });
  assert.deepEqual(imageSize(video, { width: 1920, height: 1200, display: 0 }), video);
  assert.deepEqual(imageSize(video, { width: 640, height: 360, display: 0, exact: false }), video);
  assert.deepEqual(imageSize(video, { width: 640, height: 360, display: 0, exact: true }), { width: 640, height: 360 });
  assert.deepEqual(imageSize(video, null), video);
  assert.equal(imageSize({ width: 0, height: 0 }, { width: 1920, height: 1080, display: 0 }), null);
});

test('keeps the size of a screen that is sent in another', () => {
  const stats = (preset, width, height, displayIndex = 0) => ({ preset, width, height, displayIndex });
  const full = screenSize(stats('native', 1920, 1080), null);
  assert.deepEqual(full, { width: 1920, height: 1080, display: 0, exact: true });
  assert.equal(screenSize(stats('medium', 1280, 720), full), full);
  // The screen itself has changed, or it is another one.
  assert.equal(screenSize(stats('native', 1280, 720), full).width, 1280);
  assert.equal(screenSize(stats('medium', 1280, 800), full).width, 1280);
  assert.equal(screenSize(stats('medium', 1280, 720, 1), full).width, 1280);
  assert.equal(screenSize(stats('max', 3840, 2160), full), full);
  for (const [width, height] of [[undefined, undefined], ['1920', 1080], [1e9, 5e8], [0, 0]]) {
    assert.equal(screenSize(stats('native', width, height), full), full);
  }
});

// A machine with a clock of its own; `did` are the calls, in short.
function fingers(t) {
  t.mock.timers.enable({ apis: ['setTimeout'] });
  const did = [];
  let ring = null;
  const round = (value) => Math.round(value * 100) / 100;
  const tell = (name) => (gesture) => did.push([name, ...Object.values(gesture).map(round)].join(' '));
  const names = ['tap', 'longPress', 'dragStart', 'drag', 'dragEnd', 'scroll', 'pinch'];
  const machine = new Gestures({ ...Object.fromEntries(names.map((name) => [name, tell(name)])), ring: (at) => (ring = at) });
  let now = 1000;
  return {
    did: (...wanted) => assert.deepEqual(did.splice(0), wanted),
    ring: () => ring,
    // In steps, since a timer may start another one.
    wait: (ms) => {
      for (let end = now + ms; now < end; now += 10) t.mock.timers.tick(10);
    },
    down: (id, x, y) => machine.down(id, x, y, now),
    move: (id, x, y) => machine.move(id, x, y, now),
    up: (id, x, y, at = now) => machine.up(id, x, y, at),
    now: () => now,
    cancel: () => machine.cancel(),
  };
}

test('a tap is a click, and two are at the same place', (t) => {
  const f = fingers(t);
  const tap = (x, y) => {
    f.down(1, x, y);
    f.wait(40);
    f.move(1, x + 3, y);
    f.up(1, x + 3, y);
  };
  tap(100, 100);
  f.did('tap 100 100 1 1');
  f.wait(150);
  tap(112, 90);
  f.did('tap 100 100 1 2');
  f.wait(100);
  tap(112, 90);
  f.did('tap 112 90 1 1');
  f.wait(1000);
  tap(112, 90);
  f.did('tap 112 90 1 1');
  f.wait(100);
  tap(200, 90);
  f.did('tap 200 90 1 1');
});

test('a finger that rests is a long press once the ring has closed', (t) => {
  const f = fingers(t);
  f.down(1, 50, 60);
  f.wait(190);
  assert.ok(!f.ring());
  f.wait(20);
  assert.ok(f.ring());
  f.wait(200);
  assert.ok(!f.ring().closed);
  f.up(1, 50, 60);
  f.did('tap 50 60 1 1');
  assert.ok(!f.ring());
  f.down(1, 50, 60);
  f.wait(600);
  f.did();
  assert.ok(f.ring().closed);
  f.up(1, 52, 60);
  f.did('longPress 50 60');
  // Lifted before, though it is known later: a tap.
  f.down(1, 50, 60);
  const early = f.now() + 300;
  f.wait(700);
  f.up(1, 50, 60, early);
  f.did('tap 50 60 1 1');
  // Moved away, it is nothing.
  f.down(1, 50, 60);
  f.wait(600);
  f.move(1, 90, 60);
  assert.ok(!f.ring());
  f.up(1, 90, 60);
  f.did();
});

test('a drag begins where the finger came down', (t) => {
  const f = fingers(t);
  f.down(1, 10, 10);
  f.wait(30);
  f.move(1, 40, 10);
  f.move(1, 50, 10);
  f.did();
  f.wait(60);
  f.did('dragStart 10 10', 'drag 50 10');
  f.wait(600);
  f.move(1, 60, 20);
  f.up(1, 61, 20);
  f.did('drag 60 20', 'dragEnd 61 20');
  assert.ok(!f.ring());
  f.down(1, 10, 10);
  f.wait(20);
  f.up(1, 80, 10);
  f.did('dragStart 10 10', 'drag 80 10', 'dragEnd 80 10');
  // Another finger, or the system, ends it where it is.
  f.down(1, 10, 10);
  f.wait(100);
  f.move(1, 50, 10);
  f.down(2, 90, 10);
  f.move(1, 70, 10);
  f.up(2, 90, 10);
  f.up(1, 70, 10);
  f.did('dragStart 10 10', 'drag 50 10', 'dragEnd 50 10');
  f.down(1, 10, 10);
  f.wait(100);
  f.move(1, 50, 10);
  f.cancel();
  f.move(1, 70, 10);
  f.did('dragStart 10 10', 'drag 50 10', 'dragEnd 50 10');
});

test('two fingers tap, scroll or pinch, and one of these only', (t) => {
  const f = fingers(t);
  f.down(1, 100, 100);
  f.down(2, 200, 100);
  f.wait(100);
  f.up(1, 100, 100);
  f.up(2, 200, 100);
  f.did('tap 100 100 2 1');
  f.down(1, 100, 100);
  f.down(2, 200, 100);
  f.down(3, 300, 100);
  f.up(1, 100, 100);
  f.up(2, 200, 100);
  f.up(3, 300, 100);
  f.did('tap 100 100 3 1');
  // Together: travel of the middle, also what was needed to tell.
  f.down(1, 100, 100);
  f.down(2, 200, 100);
  f.move(1, 100, 90);
  f.move(2, 200, 90);
  f.did();
  f.move(1, 100, 70);
  f.did('scroll 150 80 0 -20');
  f.move(2, 200, 70);
  f.did('scroll 150 70 0 -10');
  f.move(2, 300, 70);
  f.did('scroll 200 70 50 0');
  f.up(1, 100, 70);
  f.move(2, 400, 400);
  f.up(2, 400, 400);
  f.did();
  f.down(1, 100, 100);
  f.down(2, 200, 100);
  f.move(2, 220, 100);
  f.did('pinch 160 100 10 0 1.2');
  f.move(2, 340, 100);
  f.did('pinch 220 100 60 0 2');
  f.up(1, 100, 100);
  f.up(2, 340, 100);
  f.did();
  // Two fingers that rest too long are no tap.
  f.down(1, 100, 100);
  f.down(2, 200, 100);
  f.wait(700);
  f.up(1, 100, 100);
  f.up(2, 200, 100);
  f.did();
  assert.ok(!f.ring());
});
