// Records what a page shows, frame by frame, at little cost: the decoder's planes are read, nothing is converted. Times
// are in ms since 1970.

/// Runs in the page: installs `window.log`. [x, y]: the pixel to watch.
function install([x, y]) {
  const video = document.getElementById('video');
  const now = () => performance.timeOrigin + performance.now();
  const pixel = new Uint8Array(64);
  const kept = {};
  let comparing = false;

  /// The brightness plane of the image that is shown.
  const luma = async () => {
    const frame = new VideoFrame(video);
    const { visibleRect, colorSpace } = frame;
    const data = new Uint8Array(frame.allocationSize());
    try {
      const [{ offset, stride }] = await frame.copyTo(data);
      return { data, offset, stride, width: visibleRect.width, fullRange: colorSpace.fullRange };
    } finally {
      frame.close();
    }
  };

  const psnr = ({ data, offset, stride, width, fullRange }, reference) => {
    // As a display shows it: what overshoots black or white is cut off.
    const shown = Float32Array.from({ length: 256 }, (_, value) =>
      (fullRange ? value : Math.min(255, Math.max(0, ((value - 16) * 255) / 219))));
    let sum = 0;
    for (const [index, row] of reference.rows.entries()) {
      const [start, truth] = [offset + row * stride, index * width];
      for (let column = 0; column < width; column++) sum += (shown[data[start + column]] - reference.luma[truth + column]) ** 2;
    }
    const mean = sum / (reference.rows.length * width);
    return mean === 0 ? 99 : Math.min(99, 10 * Math.log10((255 * 255) / mean));
  };

  const decoded = ({ rows, luma }) => ({ rows, luma: Uint8Array.from(atob(luma), (each) => each.charCodeAt(0)) });

  const log = (window.log = {
    frames: [],
    seen: { white: null, since: 0 },
    waiting: [],
    /// While there is a reference, the PSNR of the frames shown is kept in `sharpness` as [time, dB].
    reference: null,
    sharpness: [],
    take: () => log.frames.splice(0),
    /// What the receiver has told of single frames (see budget.mjs), each once.
    timings: new Set(),
    /// Resolves to the first frame that showed the colour at `since` or later, or to null after `limit` ms.
    change(white, since, limit) {
      const first = log.frames.find((frame) => frame.white === white && frame.at >= since);
      if (first) return first;
      return new Promise((resolve) => {
        const timer = setTimeout(() => resolve(null), Math.max(0, since + limit - now()));
        log.waiting.push({ white, since, resolve: (frame) => (clearTimeout(timer), resolve(frame)) });
      });
    },
    follow(reference) {
      log.sharpness = [];
      log.reference = reference && decoded(reference);
    },
    async keep(name) {
      kept[name] = await luma();
    },
    compare: (name, reference) => psnr(kept[name], decoded(reference)),
  });

  // The sender marks a frame five times a second.
  setInterval(async () => {
    for (const receiver of bare.pc.getReceivers()) {
      for (const { googTimingFrameInfo } of (await receiver.getStats()).values()) {
        if (googTimingFrameInfo) log.timings.add(googTimingFrameInfo);
      }
    }
  }, 150);

  const onFrame = (_, metadata) => {
    const at = now();
    video.requestVideoFrameCallback(onFrame);
    const image = new VideoFrame(video);
    const entry = { at, count: metadata.presentedFrames, rtp: metadata.rtpTimestamp,
      received: metadata.receiveTime && performance.timeOrigin + metadata.receiveTime,
      decodeMs: metadata.processingDuration && metadata.processingDuration * 1000,
      presented: performance.timeOrigin + metadata.presentationTime };
    image.copyTo(pixel, { rect: { x: x & ~1, y: y & ~1, width: 2, height: 2 } }).then(([{ offset }]) => {
      entry.white = pixel[offset] > 128;
      log.frames.push(entry);
      const found = log.waiting.filter((each) => each.white === entry.white && at >= each.since);
      log.waiting = log.waiting.filter((each) => !found.includes(each));
      for (const each of found) each.resolve(entry);
    }).catch((error) => console.error(String(error))).finally(() => image.close());
    if (!log.reference || comparing) return;
    comparing = true;
    luma().then((image) => log.reference && log.sharpness.push([at, psnr(image, log.reference)])).catch(() => {}).finally(() => {
      comparing = false;
    });
  };
  video.requestVideoFrameCallback(onFrame);
}

/// What is compared of a luma image (see luma.mjs): every seventh row, without those of the square at the top.
export function reference(luma, width) {
  const rows = [];
  for (let row = 70; row < luma.length / width; row += 7) rows.push(row);
  return { rows, luma: Buffer.concat(rows.map((row) => luma.subarray(row * width, (row + 1) * width))).toString('base64') };
}

/// The frames that a page with the element "video" shows.
export class FrameLog {
  /// `place`: the pixel to watch for black and white, as fractions of the image.
  static async start(page, place, screen) {
    await page.evaluate(install, [place[0] * screen.width, place[1] * screen.height].map(Math.floor));
    return new FrameLog(page);
  }

  constructor(page) {
    this.page = page;
  }

  /// The frames since the last call, each as {at, count, rtp, received, decodeMs, presented, white}.
  take() {
    return this.page.evaluate(() => log.take());
  }

  /// What the receiver has told of single frames since the last call, each as text (see budget.mjs).
  async takeTimings() {
    return this.page.evaluate(() => {
      const all = [...log.timings];
      log.timings.clear();
      return all;
    });
  }

  /// The first frame that showed the square white or black at `since` or later; null if none did within `limit` ms.
  change(white, since, limit) {
    return this.page.evaluate(([white, since, limit]) => log.change(white, since, limit), [white, since, limit]);
  }

  /// Records the PSNR of the frames to come, compared with `truth` (see reference()), or stops that.
  follow(truth) {
    return this.page.evaluate((truth) => log.follow(truth), truth);
  }

  /// [time, dB] of the frames compared so far.
  sharpness() {
    return this.page.evaluate(() => log.sharpness);
  }

  /// Keeps the image that is shown at this moment, to be compared when the truth is known.
  keep(name) {
    return this.page.evaluate((name) => log.keep(name), name);
  }

  /// PSNR of a kept image's brightness in dB, 99 at most.
  compare(name, truth) {
    return this.page.evaluate(([name, truth]) => log.compare(name, truth), [name, truth]);
  }
}
