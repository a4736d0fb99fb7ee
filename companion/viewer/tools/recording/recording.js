// One recording: from a track to a file.

import { makeFeed } from './feed.js';
import { recordingRate } from './formats.js';
import { WebmCompleter } from './webm.js';

// The recorder hands over its bytes this often.
const SLICE_MS = 1000;
// A picture that can be jumped to, at least this often.
const KEY_FRAME_MS = 10000;
// Bytes that may wait for a slow disk.
const MAX_WAITING = 64 * 1024 * 1024;

export class Recording {
  #file;
  #feed;
  #recorder;
  #completer = new WebmCompleter();
  #work = Promise.resolve();
  #waiting = 0;
  #on;
  #startedAt = 0;
  #end = null;
  bytes = 0;

  // video: the page's element; file: see files.js; on.stopped(reason): the recording ends by itself, for "limit",
  // "slow", "recorder" or an error of the file. Throws when the browser cannot record.
  constructor({ video, type, file, on }) {
    this.#file = file;
    this.#on = on;
    this.#feed = makeFeed(video);
    const stream = new MediaStream([this.#feed.track]);
    try {
      this.#recorder = new MediaRecorder(stream, {
        mimeType: type,
        videoBitsPerSecond: recordingRate(video.videoWidth || 1920, video.videoHeight || 1080),
        videoKeyFrameIntervalDuration: KEY_FRAME_MS,
      });
    } catch (error) {
      this.#feed.stop();
      throw error;
    }
  }

  get seconds() {
    return this.#startedAt ? ((this.#end?.at ?? performance.now()) - this.#startedAt) / 1000 : 0;
  }

  start() {
    this.#recorder.addEventListener('dataavailable', ({ data }) => this.#received(data));
    this.#recorder.addEventListener('error', () => this.#on.stopped('recorder'));
    this.#recorder.start(SLICE_MS);
    this.#startedAt = performance.now();
  }

  // Goes on with another track.
  setSource(track) {
    this.#feed.setSource(track);
  }

  // Completes the file. Resolves to {file}: what is to be saved by the viewer, null when it is on the disk already; and
  // rejects when the file could not be written.
  stop() {
    this.#end ??= { at: performance.now(), done: this.#finish() };
    return this.#end.done;
  }

  // Ends without a file.
  discard() {
    this.#feed.stop();
    if (this.#recorder.state !== 'inactive') this.#recorder.stop();
    return this.#file.discard();
  }

  async #finish() {
    const stopped = new Promise((resolve) => this.#recorder.addEventListener('stop', resolve, { once: true }));
    const running = this.#recorder.state !== 'inactive';
    const { seconds } = this;
    if (running) this.#recorder.stop();
    if (running) await stopped;
    this.#feed.stop();
    await this.#work;
    const parts = this.#completer.finish(seconds);
    if (parts) await this.#file.append(parts.end);
    if (parts) this.bytes += parts.end.length;
    return { file: await this.#file.finish(parts?.start ?? null) };
  }

  #received(data) {
    if (data.size === 0) return;
    this.#waiting += data.size;
    this.bytes += data.size;
    this.#work = this.#work.then(async () => {
      const bytes = this.#completer.take(new Uint8Array(await data.arrayBuffer()));
      if (bytes.length > 0) await this.#file.append(bytes);
      this.#waiting -= data.size;
    });
    this.#work.catch((error) => this.#on.stopped(error));
    if (this.#waiting > MAX_WAITING) this.#on.stopped('slow');
    else if (this.bytes > this.#file.limit) this.#on.stopped('limit');
  }
}
