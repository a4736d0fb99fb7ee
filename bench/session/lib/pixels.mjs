// What the page shows, and when.

/// What a terminal runs to invert its colours with every key it receives.
export const flipping = 'stty raw -echo; i=0; while read -rn1; do i=$((1-i)); [ $i = 1 ] && printf "\\033[?5h" || printf "\\033[?5l"; done';

/// Milliseconds from sending a key to the first frame in the page that shows the terminal inverted.
function keyToPixel(page, key, place) {
  return page.evaluate(([code, x, y]) => new Promise((resolve, reject) => {
    const video = document.getElementById('video');
    const canvas = new OffscreenCanvas(8, 8);
    const context = canvas.getContext('2d', { willReadFrequently: true });
    const brightness = () => {
      context.drawImage(video, x, y, 8, 8, 0, 0, 8, 8);
      return context.getImageData(4, 4, 1, 1).data[0];
    };
    const before = brightness() > 128;
    const start = performance.now();
    const onFrame = () => {
      if ((brightness() > 128) !== before) resolve(performance.now() - start);
      else if (performance.now() - start > 3000) reject(new Error('the picture did not change'));
      else video.requestVideoFrameCallback(onFrame);
    };
    video.requestVideoFrameCallback(onFrame);
    bare.send({ type: 'keyDown', code, mods: {} });
    bare.send({ type: 'keyUp', code, mods: {} });
  }), [key, ...place]);
}

/// The times of forty keys; `place`: a pixel of the terminal.
export async function keysToPixels(page, place) {
  const times = [];
  for (let round = 0; round < 41; round++) {
    times.push(await keyToPixel(page, 'Space', place));
    // A different pause each time, so that keys are spread over the phases of periodic work.
    await new Promise((resolve) => setTimeout(resolve, 130 + 37 * (round % 7)));
  }
  return times.slice(1);
}

/// Frames a second that the page shows during `action`, and what that resolves to.
export async function shownRate(page, action) {
  const counted = () => page.evaluate(() => ({ frames: bare.frames, at: performance.now() }));
  const before = await counted();
  const value = await action();
  const after = await counted();
  return { rate: ((after.frames - before.frames) / (after.at - before.at)) * 1000, value };
}
