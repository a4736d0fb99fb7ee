// A screen full of small text with a square that changes colour, and the time when a page shows that.
import { join } from 'node:path';
import { build } from './paths.mjs';
import { until } from './wait.mjs';

/// Covers the session's screen with text.
export async function openTextPage(session) {
  const child = session.screen.start(join(build, 'tests/text_page'), [], { input: 'pipe' });
  session.keep(child);
  await child.line(/^shown /);
  return new TextPage(child, session.screen);
}

class TextPage {
  constructor(child, screen) {
    this.child = child;
    // The middle of the square at the top right.
    this.place = [1 - 32 / screen.width, 32 / screen.height];
    this.white = false;
  }

  /// Carries out a command ("scroll", "still", "page N"); resolves to the time (ms since 1970) when it was done.
  async tell(command) {
    const after = this.child.lines.length;
    this.child.process.stdin.write(`${command}\n`);
    const line = await this.child.line(new RegExp(`^${command} ([\\d.]+)$`), { after });
    return Number(line[1]);
  }

  /// Makes the page record at every frame whether the square is white.
  async watch(page) {
    await page.evaluate(([x, y]) => {
      const video = document.getElementById('video');
      const context = new OffscreenCanvas(1, 1).getContext('2d', { willReadFrequently: true });
      window.square = { white: null, since: 0 };
      const sample = () => {
        context.drawImage(video, x * video.videoWidth, y * video.videoHeight, 1, 1, 0, 0, 1, 1);
        const white = context.getImageData(0, 0, 1, 1).data[0] > 128;
        if (white !== square.white) window.square = { white, since: performance.timeOrigin + performance.now() };
        video.requestVideoFrameCallback(sample);
      };
      video.requestVideoFrameCallback(sample);
    }, this.place);
  }

  /// Turns the square's colour; resolves to the time (ms since 1970) when it was done.
  turn() {
    this.white = !this.white;
    return this.tell('flip');
  }

  /// Turns the square's colour; resolves to the milliseconds until `page` (see watch) showed it, or to `longest` when it
  /// did not within so many.
  async flip(page, longest) {
    const changed = await this.turn();
    const seen = await until(async () => {
      const square = await page.evaluate(() => window.square);
      if (square.white === this.white && square.since >= changed) return square.since;
      return performance.timeOrigin + performance.now() - changed > longest && Infinity;
    }, { deadline: longest + 10000, what: 'the square' });
    return Math.min(seen - changed, longest);
  }
}
