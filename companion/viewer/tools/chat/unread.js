// The number of unread lines on the chat's button, and the sound of a new line, which is off at first.

export class Unread {
  #dock;
  #settings;
  #count = 0;
  #audio = null;

  constructor({ chat, dock, settings }) {
    this.#dock = dock;
    this.#settings = settings;
    chat.onLine((line) => {
      if (line.own || (dock.openPanel === 'chat' && !document.hidden)) return;
      this.#set(this.#count + 1);
      if (line.fromHost) this.#sound();
    });
    document.addEventListener('visibilitychange', () => this.seen());
  }

  // The chat is in front of the viewer.
  seen() {
    if (this.#dock.openPanel === 'chat' && !document.hidden) this.#set(0);
  }

  #set(count) {
    this.#count = count;
    this.#dock.setBadge('chat', count, `${count} new`);
  }

  // Two short tones, made here: the page has no sound files.
  #sound() {
    if (!this.#settings.get('chat.sound', false)) return;
    this.#audio ??= new AudioContext();
    const start = this.#audio.currentTime;
    for (const [at, frequency] of [[0, 660], [0.12, 880]]) {
      const tone = this.#audio.createOscillator();
      const volume = this.#audio.createGain();
      tone.frequency.value = frequency;
      volume.gain.setValueAtTime(0.12, start + at);
      volume.gain.exponentialRampToValueAtTime(0.001, start + at + 0.11);
      tone.connect(volume).connect(this.#audio.destination);
      tone.start(start + at);
      tone.stop(start + at + 0.12);
    }
  }
}
