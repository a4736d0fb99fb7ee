// The quality of the picture: by itself as the link and the processors allow, or as the viewer chose.

import { Automatic } from './automatic.js';
import { QualityView } from './chooser.js';
import { commonCodecs } from './codecs.js';
import { AUTOMATIC, QualityRequest } from './request.js';

// A codec that the host does not change to is asked for again, a few times in a connection.
const ASK_AGAIN_MS = 10000;
const MAX_ASKED = 3;

export class PictureQuality {
  #app;
  #request;
  #automatic = new Automatic();
  #view;
  // The viewer's own choice, or AUTOMATIC.
  #codec = AUTOMATIC;
  #stats = {};
  #figures = null;
  #offer = '';
  #codecs = [];
  #asked = 0;
  #askedAt = -Infinity;

  constructor(app) {
    this.#app = app;
    this.#request = new QualityRequest((message) => app.send(message));
    this.#view = new QualityView({
      automatic: () => this.#chooseAutomatic(),
      preset: (preset) => this.#choosePreset(preset),
      codec: (codec) => this.#chooseCodec(codec),
    });
    app.on('message', (message) => {
      if (message.type !== 'host_stats') return;
      this.#stats = message;
      this.#request.receive(message);
    });
    app.on('ready', (ready) => {
      this.#request.reset();
      this.#stats = {};
      this.#asked = 0;
      this.#askedAt = -Infinity;
      this.#view.setReady(ready);
    });
    app.on('figures', (figures) => this.#everySecond(figures));
    this.#refresh();
  }

  #everySecond(figures) {
    this.#figures = figures;
    if (figures && this.#app.ready) {
      this.#readOffer();
      const { link, sys } = this.#stats;
      const choice = this.#automatic.observe(
        {
          ...figures,
          codec: figures.codec.toLowerCase(),
          estimateKbps: link?.estimateKbps,
          encodeMs: link?.encodeMs,
          hostPct: sys?.cpuPct,
        },
        performance.now(),
      );
      this.#request.setLevel(choice.level);
      const codec = this.#codec === AUTOMATIC ? choice.codec : this.#codec;
      const inUse = figures.codec.toLowerCase();
      // A still screen sends no frame that would show the change.
      if (codec && inUse && codec !== inUse && figures.fps > 0) this.#askForCodec(codec);
    }
    this.#refresh();
  }

  #readOffer() {
    const sdp = this.#app.pc?.remoteDescription?.sdp ?? '';
    if (sdp === this.#offer) return;
    this.#offer = sdp;
    this.#codecs = commonCodecs(sdp, globalThis.RTCRtpReceiver?.getCapabilities?.('video') ?? null);
    this.#automatic.setCodecs(this.#codecs);
  }

  #askForCodec(codec) {
    const now = performance.now();
    if (this.#asked >= MAX_ASKED || now - this.#askedAt < ASK_AGAIN_MS) return;
    this.#asked += 1;
    this.#askedAt = now;
    this.#app.send({ type: 'codec', codec });
  }

  #chooseAutomatic() {
    if (this.#codec !== AUTOMATIC) {
      this.#codec = AUTOMATIC;
      this.#automatic = new Automatic();
      this.#automatic.setCodecs(this.#codecs);
      this.#app.send({ type: 'codec', codec: 'auto' });
    }
    if (this.#request.preset !== AUTOMATIC) this.#choosePreset(AUTOMATIC);
    this.#chosen();
  }

  #choosePreset(preset) {
    this.#request.choose(preset);
    this.#chosen();
  }

  #chooseCodec(codec) {
    this.#codec = codec;
    this.#asked = 0;
    this.#askedAt = -Infinity;
    this.#askForCodec(codec);
    this.#chosen();
  }

  #chosen() {
    this.#refresh();
    this.#app.returnToScreen();
  }

  #refresh() {
    const { level, why } = this.#automatic.choice;
    const { link } = this.#stats;
    this.#view.show({
      preset: this.#request.preset,
      codec: this.#codec,
      codecs: this.#codecs,
      inUse: this.#figures?.codec.toLowerCase() ?? '',
      level,
      why,
      estimateKbps: link?.estimateKbps > 0 ? link.estimateKbps : null,
    });
  }
}
