// One video track for a recorder, whatever happens to the received one: a connection that is built again has another
// track, and a still screen sends no frames.

const FRAME_MS = 1000 / 30;
// The newest frame is repeated after this time, so that the file goes on while nothing moves.
const REPEAT_MS = 1000;

export function makeFeed(video) {
  const direct = ['MediaStreamTrackProcessor', 'MediaStreamTrackGenerator', 'VideoFrame'].every((name) => name in window);
  return direct ? new FrameFeed(video) : new CanvasFeed(video);
}

// Passes the frames themselves on, also while the page is hidden.
class FrameFeed {
  track = new MediaStreamTrackGenerator({ kind: 'video' });
  #writer = this.track.writable.getWriter();
  #newest = null;
  #waiting = 0;
  #writtenAt = -Infinity;
  #source = null;
  #repeat;

  constructor(video) {
    this.#writer.closed.catch(() => {});
    if (video.readyState >= HTMLMediaElement.HAVE_CURRENT_DATA) this.#take(new VideoFrame(video, { timestamp: 0 }));
    this.#repeat = setInterval(() => {
      if (performance.now() - this.#writtenAt >= REPEAT_MS) this.#write();
    }, REPEAT_MS / 4);
  }

  // Goes on with another track; the feed takes a copy.
  setSource(track) {
    this.#source?.stop();
    const copy = track.clone();
    this.#source = copy;
    const reader = new MediaStreamTrackProcessor({ track: copy }).readable.getReader();
    const pump = async () => {
      for (;;) {
        const { value, done } = await reader.read();
        if (done) return;
        if (copy === this.#source) this.#take(value);
        else value.close();
      }
    };
    pump().catch(() => {});
  }

  stop() {
    clearInterval(this.#repeat);
    clearTimeout(this.#waiting);
    this.#source?.stop();
    this.#source = null;
    this.#newest?.close();
    this.#newest = null;
    this.track.stop();
  }

  // Faster frames than are recorded replace each other.
  #take(frame) {
    this.#newest?.close();
    this.#newest = frame;
    if (this.#waiting) return;
    const due = this.#writtenAt + FRAME_MS - performance.now();
    if (due <= 0) this.#write();
    else this.#waiting = setTimeout(() => this.#write(), due);
  }

  // The time of a frame is when it is recorded: each track counts its own time.
  #write() {
    clearTimeout(this.#waiting);
    this.#waiting = 0;
    if (!this.#newest || this.#writer.desiredSize === null || this.#writer.desiredSize <= 0) return;
    this.#writtenAt = performance.now();
    const frame = new VideoFrame(this.#newest, { timestamp: Math.round(this.#writtenAt * 1000) });
    this.#writer.write(frame).catch(() => frame.close());
  }
}

// For browsers without access to frames: draws what the page shows. Slow while the page is hidden.
class CanvasFeed {
  #video;
  #canvas = document.createElement('canvas');
  #context = this.#canvas.getContext('2d', { alpha: false });
  #drawnAt = -Infinity;
  #callback = 0;
  #repeat;

  constructor(video) {
    this.#video = video;
    this.#draw();
    this.track = this.#canvas.captureStream(1000 / FRAME_MS).getVideoTracks()[0];
    const drawNext = () => {
      this.#draw();
      this.#callback = video.requestVideoFrameCallback(drawNext);
    };
    const reports = 'requestVideoFrameCallback' in video;
    if (reports) this.#callback = video.requestVideoFrameCallback(drawNext);
    const longest = reports ? REPEAT_MS : FRAME_MS;
    this.#repeat = setInterval(() => {
      if (performance.now() - this.#drawnAt >= longest) this.#draw();
    }, reports ? REPEAT_MS / 4 : FRAME_MS);
  }

  // The page's own element shows the new track already.
  setSource() {}

  stop() {
    clearInterval(this.#repeat);
    this.#video.cancelVideoFrameCallback?.(this.#callback);
    this.track.stop();
  }

  #draw() {
    const { videoWidth: width, videoHeight: height } = this.#video;
    if (!width || !height) return;
    this.#drawnAt = performance.now();
    if (this.#canvas.width !== width || this.#canvas.height !== height) Object.assign(this.#canvas, { width, height });
    this.#context.drawImage(this.#video, 0, 0);
  }
}
