// The button that records the session, and what tells of a recording: a mark over the picture, lines in the chat for
// the person who is helped, and notices about its end. The recording itself is loaded when it is first needed.

import { byId, make, show } from '../../shell/dom.js';
import { icon } from '../../shell/icons.js';
import { bytesText, durationText } from '../statistics/units.js';
import { recordingName, recordingType } from './formats.js';

// A recording waits this long for a host that is away.
const LONGEST_ABSENCE_MS = 60000;
// The end of a recording is told as soon as the room can be reached.
const TELL_AGAIN_MS = 2000;

const STARTED = 'The recording of this session has started.';
const CONTINUES = 'This session is still being recorded.';
const ENDED = 'The recording of this session has ended.';

const NOT_TOLD = 'Not recording: the person at the host could not be told about it, because the room cannot be reached. Try again in a moment.';

// Why a recording ended by itself.
const REASONS = {
  absent: 'The recording ended because the host was away for a minute.',
  untold: 'The recording ended because the person at the host could not be told that it continues.',
  limit: 'The recording ended because this browser keeps it in memory, at most 1 GB.',
  slow: 'The recording ended because the disk is too slow.',
  recorder: 'The recording ended because the browser stopped it.',
  superseded: 'The recording ended because another viewer has taken over this room.',
};

export class RecordButton {
  #app;
  #video;
  #button = byId('record-button');
  #type = recordingType((type) => globalThis.MediaRecorder?.isTypeSupported(type) ?? false);
  #recording = null;
  #file = null;
  #busy = false;
  #track = null;
  #mark = null;
  #ticker = 0;
  #absence = 0;
  #telling = 0;
  #rebuilt = false;

  constructor(app, video) {
    this.#app = app;
    this.#video = video;
    show(this.#button, Boolean(this.#type));
    this.#button.addEventListener('click', () => (this.#recording ? this.#stop('') : this.#start()));
    video.addEventListener('resize', () => this.#refresh());
    app.on('track', (track) => {
      this.#track = track;
      this.#recording?.setSource(track);
    });
    app.on('replaced', () => {
      this.#rebuilt = true;
    });
    app.on('connection', (connection) => this.#connectionChanged(connection));
    window.addEventListener('beforeunload', (event) => this.#recording && event.preventDefault());
    this.#refresh();
  }

  async #start() {
    if (this.#busy) return;
    this.#busy = true;
    this.#refresh();
    let file = null;
    let recording = null;
    try {
      // The viewer's click permits the dialog for a few seconds only, so it comes first.
      const handle = await this.#choose();
      const [{ Recording }, { DiskFile, KeptFile }] = await Promise.all([import('./recording.js'), import('./files.js')]);
      file = handle ? await DiskFile.open(handle) : new KeptFile(this.#suggestedName(), this.#type);
      recording = new Recording({
        video: this.#video, type: this.#type, file, on: { stopped: (reason) => this.#stop(reason) },
      });
      if (!this.#app.chat.say(STARTED)) {
        await recording.discard();
        this.#tell(NOT_TOLD);
        return;
      }
      this.#recording = recording;
      this.#file = file;
      clearTimeout(this.#telling);
      this.#rebuilt = false;
      if (this.#track) recording.setSource(this.#track);
      recording.start();
      this.#app.notices.remove('recording');
      this.#showMark();
    } catch (error) {
      // The dialog was dismissed.
      if (error.name === 'AbortError' && !file) return;
      if (this.#recording) this.#tellTheEnd();
      this.#recording = null;
      this.#hideMark();
      await (recording ?? file)?.discard().catch(() => {});
      this.#tell(`Not recording. ${errorText(error)}`);
    } finally {
      this.#busy = false;
      this.#refresh();
    }
  }

  // The file that the viewer chose; null where pages may not write files.
  async #choose() {
    if (!('showSaveFilePicker' in window)) return null;
    try {
      return await window.showSaveFilePicker({
        suggestedName: this.#suggestedName(),
        types: [{ description: 'Video', accept: { 'video/webm': ['.webm'] } }],
      });
    } catch (error) {
      // A page inside another one may not open the dialog, but may save a download.
      if (error.name === 'SecurityError') return null;
      throw error;
    }
  }

  #suggestedName() {
    return recordingName(byId('host-name').textContent || this.#app.room || '', new Date());
  }

  // reason: a key of REASONS, an error of the file, or empty when the viewer ends it.
  async #stop(reason) {
    const recording = this.#recording;
    if (!recording) return;
    const file = this.#file;
    this.#recording = null;
    this.#busy = true;
    this.#hideMark();
    this.#refresh();
    this.#tellTheEnd();
    const why = typeof reason === 'string' ? (REASONS[reason] ?? '') : `The recording ended. ${errorText(reason)}`;
    try {
      const { file: kept } = await recording.stop();
      if (kept) (await import('./files.js')).save(kept, file.name);
      const what = `${file.name}, ${durationText(recording.seconds)}, ${bytesText(recording.bytes)}`;
      this.#tell([why, kept ? `Saved among your downloads: ${what}.` : `Saved: ${what}.`].filter(Boolean).join(' '));
    } catch (error) {
      await file.discard().catch(() => {});
      this.#tell(`The recording is lost. ${errorText(error)}`);
    } finally {
      this.#busy = false;
      this.#refresh();
    }
  }

  #connectionChanged({ state, detail }) {
    if (state === 'connected') {
      clearTimeout(this.#absence);
      this.#absence = 0;
      // After a new beginning the host's chat may be empty, or another person may be there.
      if (this.#rebuilt && this.#recording && !this.#app.chat.say(CONTINUES)) this.#stop('untold');
      this.#rebuilt = false;
    } else if (detail === 'superseded') {
      this.#stop('superseded');
    } else if (this.#recording) {
      this.#absence ||= setTimeout(() => {
        this.#absence = 0;
        this.#stop('absent');
      }, LONGEST_ABSENCE_MS);
    }
    this.#refresh();
  }

  #tell(text) {
    this.#app.notices.remove('recording');
    this.#app.notices.show('recording', text, { lasting: true });
  }

  #tellTheEnd() {
    if (!this.#app.chat.say(ENDED)) this.#telling = setTimeout(() => this.#tellTheEnd(), TELL_AGAIN_MS);
  }

  #showMark() {
    const time = make('span', 'mark-time');
    time.setAttribute('role', 'timer');
    time.setAttribute('aria-label', 'Length and size of the recording');
    this.#mark = make('p', 'mark recording-mark');
    const dot = make('span', 'recording-dot');
    dot.setAttribute('aria-hidden', 'true');
    this.#mark.append(dot, make('span', '', 'Recording'), time);
    byId('marks').append(this.#mark);
    const tick = () => {
      if (this.#recording) time.textContent = `${durationText(this.#recording.seconds)} · ${bytesText(this.#recording.bytes)}`;
    };
    tick();
    this.#ticker = setInterval(tick, 1000);
  }

  #hideMark() {
    clearInterval(this.#ticker);
    clearTimeout(this.#absence);
    this.#absence = 0;
    this.#mark?.remove();
    this.#mark = null;
  }

  #refresh() {
    const on = Boolean(this.#recording);
    const seen = this.#app.connection.state === 'connected' && this.#video.videoWidth > 0;
    const text = on ? 'Stop the recording' : seen ? 'Record the session' : 'Record the session: not before there is a picture';
    this.#button.disabled = this.#busy || (!on && !seen);
    this.#button.classList.toggle('recording', on);
    this.#button.replaceChildren(icon(on ? 'stop' : 'record'));
    this.#button.setAttribute('aria-label', text);
    this.#button.title = text;
  }
}

function errorText(error) {
  switch (error?.name) {
    case 'QuotaExceededError':
      return 'The disk is full.';
    case 'NotAllowedError':
    case 'NoModificationAllowedError':
      return 'The browser may not write the file.';
    case 'NotFoundError':
      return 'The file is gone.';
    default:
      return `The browser said: ${String(error?.message ?? error).slice(0, 200)}`;
  }
}
