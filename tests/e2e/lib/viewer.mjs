// What a test does with a viewer's page: the companion's own, and the plain one of page/bare.html.
import { until } from './wait.mjs';

/// Opens the companion's viewer page for a room. `prepare`, if any, gets the page before it is loaded.
export async function openViewer(browser, server, room, prepare = undefined) {
  const page = await browser.page();
  await prepare?.(page);
  await page.goto(`${server.address}/?room=${encodeURIComponent(room)}`);
  return page;
}

/// Opens the plain viewer, which comes from a server of its own (`pages`).
export async function openBare(browser, pages, server, room) {
  const page = await browser.page();
  await page.goto(`${pages.address}/bare.html?room=${encodeURIComponent(room)}&server=${encodeURIComponent(server.signalUrl)}`);
  return page;
}

/// Waits until the page says that it is connected.
export async function connected(page, { deadline } = {}) {
  await until(() => page.evaluate(() => document.body.dataset.connection === 'connected'), {
    deadline,
    what: `the page to connect (${page.said.slice(-5).join(' | ')})`,
  });
}

/// Colours of the video image at normalised places: [[x, y], ...] to [[red, green, blue], ...]; null before any frame.
export function colours(page, places) {
  return page.evaluate((places) => {
    const video = [...document.querySelectorAll('video')].find((each) => each.videoWidth > 0 && each.readyState >= 2);
    if (!video) return null;
    const canvas = new OffscreenCanvas(video.videoWidth, video.videoHeight);
    const context = canvas.getContext('2d', { willReadFrequently: true });
    context.drawImage(video, 0, 0);
    return places.map(([x, y]) => {
      const at = [Math.min(x * canvas.width, canvas.width - 1), Math.min(y * canvas.height, canvas.height - 1)];
      return [...context.getImageData(Math.floor(at[0]), Math.floor(at[1]), 1, 1).data.slice(0, 3)];
    });
  }, places);
}

/// Position on the companion's page of a normalised place of the video image.
export function placeOnPage(page, x, y) {
  return page.evaluate(([x, y]) => {
    const video = document.getElementById('screen');
    const box = video.getBoundingClientRect();
    const scale = Math.min(box.width / video.videoWidth, box.height / video.videoHeight);
    const [width, height] = [video.videoWidth * scale, video.videoHeight * scale];
    return { x: box.left + (box.width - width) / 2 + x * width, y: box.top + (box.height - height) / 2 + y * height };
  }, [x, y]);
}

/// "#rrggbb" to [red, green, blue].
export function rgb(hex) {
  return [1, 3, 5].map((at) => Number.parseInt(hex.slice(at, at + 2), 16));
}

export function near(colour, wanted, tolerance = 16) {
  return colour.every((value, index) => Math.abs(value - wanted[index]) <= tolerance);
}

/// Waits until the video image shows a colour at a place.
export async function shows(page, hex, { place = [0.5, 0.5], deadline } = {}) {
  let seen = null;
  await until(
    async () => {
      seen = await colours(page, [place]);
      return seen && near(seen[0], rgb(hex));
    },
    { deadline, what: `${hex} in the image` },
  ).catch((error) => {
    throw new Error(`${error.message}; it shows ${JSON.stringify(seen)}`);
  });
}

/// Frames the page's video element has shown so far. Firefox counts those of a stream only in a property of its own.
export function framesShown(page) {
  return page.evaluate(() => Math.max(0, ...[...document.querySelectorAll('video')].map((each) =>
    each.mozPaintedFrames ?? each.getVideoPlaybackQuality().totalVideoFrames)));
}

/// What the plain viewer receives as video so far, by its browser's own statistics: {at (ms), width, height, frames
/// decoded, bytes, codec ("VP8"), keyFrames, freezes, packets, lost}; null before any frame.
export function received(page) {
  return page.evaluate(async () => {
    const entries = [...(await bare.pc.getStats()).values()];
    const streams = entries.filter((each) => each.type === 'inbound-rtp' && each.kind === 'video' && each.framesDecoded > 0);
    const stream = streams.sort((a, b) => b.framesDecoded - a.framesDecoded)[0];
    if (!stream) return null;
    const codec = entries.find((each) => each.id === stream.codecId)?.mimeType.split('/')[1];
    return { at: performance.now(), width: stream.frameWidth, height: stream.frameHeight, frames: stream.framesDecoded,
      bytes: stream.bytesReceived, codec, keyFrames: stream.keyFramesDecoded, freezes: stream.freezeCount,
      quantizers: stream.qpSum, packets: stream.packetsReceived, lost: stream.packetsLost };
  });
}

/// Frames a second, kbit/s, the mean quantizer of a frame and the share of lost packets that arrive over `ms`
/// milliseconds.
export async function receivedRates(page, ms) {
  const before = await received(page);
  const end = performance.now() + ms;
  await until(() => performance.now() > end, { deadline: ms + 5000, what: 'the time to pass' });
  const after = await received(page);
  const seconds = (after.at - before.at) / 1000;
  const [lost, packets, frames] = ['lost', 'packets', 'frames'].map((each) => after[each] - before[each]);
  return { ...after, loss: lost / Math.max(lost + packets, 1), fps: frames / seconds, kbps: ((after.bytes - before.bytes) * 8) / 1000 / seconds,
    quantizer: (after.quantizers - before.quantizers) / Math.max(frames, 1) };
}

/// The plain viewer's side of the control channels.
export class BareControl {
  constructor(page) {
    this.page = page;
  }

  /// Waits until both channels are open.
  async open({ deadline } = {}) {
    await until(
      () => this.page.evaluate(() => ['control', 'control_reliable'].every((label) => bare.channels[label]?.readyState === 'open')),
      { deadline, what: 'both control channels' },
    );
    return this;
  }

  send(message, label = 'control_reliable') {
    return this.page.evaluate(([message, label]) => bare.send(message, label), [message, label]);
  }

  /// Messages of one type received so far, oldest first, each as {label, message}.
  received(type) {
    return this.page.evaluate((type) => bare.messages.filter(({ message }) => message.type === type), type);
  }

  /// Sends a message and waits for the next one of a type; resolves to that message.
  async ask(message, type, { label, deadline } = {}) {
    const before = (await this.received(type)).length;
    await this.send(message, label);
    const messages = await until(async () => {
      const all = await this.received(type);
      return all.length > before && all;
    }, { deadline, what: `"${type}" in answer to ${JSON.stringify(message)}` });
    return messages[before].message;
  }

  /// Waits until everything sent so far on the reliable channel was handled by the host.
  async settled() {
    const t0 = Math.floor(Math.random() * 1e9);
    await this.send({ type: 'ping', t0 });
    await until(async () => (await this.received('pong')).some(({ message }) => message.t0 === t0), { what: 'the pong' });
  }

  /// Gives the PIN and switches control on.
  async takeControl(pin) {
    const auth = await this.ask({ type: 'auth', token: pin }, 'auth');
    if (!auth.ok) throw new Error('the PIN was refused');
    const state = await this.ask({ type: 'control', enable: true }, 'control_state');
    if (!state.enabled) throw new Error('control was refused');
  }
}
