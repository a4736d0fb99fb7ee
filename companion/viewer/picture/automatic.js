// Decides by measured figures which codec and which load suit a session. Pure: no page, no clock.

import { Evidence, Patience } from './evidence.js';

// On full pages of text AV1 is much sharper than H.264 over links of 1 and 2 Mbit/s. From 3 Mbit/s on it is still
// sharper while H.264 is there sooner, and it takes half as much again of the host's processor (bench/session/thin.mjs).
const THIN_KBPS = 2500;
const WIDE_KBPS = 4500;
// A rate that is not used says nothing: the estimate grows with what is sent.
const USED_SHARE = 0.5;
const USED_FOR_MS = 10000;
// A second with this much is no good picture, whatever the estimate says.
const MANY_FREEZES = 3;
const FREEZE_WINDOW_MS = 10000;
const MUCH_LOSS_PCT = 2;
// The host's processor, in percent of all of it.
const BUSY_PCT = 90;
const ROOM_PCT = 70;
// A host that needs longer for a frame shows fewer than 22 a second.
const SLOW_ENCODE_MS = 45;
// The share of the time that decoding takes.
const VIEWER_BUSY = 0.8;
const VIEWER_EASY = 0.35;
// Below this rate the time for a frame says little about the load.
const FEWEST_FRAMES = 3;
// A gap in the figures, such as a new connection, begins anew.
const LONGEST_GAP_MS = 5000;

// From what takes least of the processors to what takes least of the link.
const LIGHT_CODECS = ['h264', 'vp8'];
const DENSE_CODECS = ['av1', 'vp9'];

// What a host is asked for, from the most to the least: "full": the display's own size at 60 frames a second, "calm":
// at 30, "small": a smaller picture.
export const LEVELS = ['full', 'calm', 'small'];

export class Automatic {
  #codecs = [];
  #codec = null;
  #level = 0;
  // Why the level is not the first.
  #loadedBy = 'hostBusy';
  #why = 'unknown';
  #at = -Infinity;
  #usedAt = -Infinity;
  #freezes = [];
  #evidence = {
    thin: new Evidence(5),
    wide: new Evidence(15),
    hostBusy: new Evidence(6),
    hostRoom: new Evidence(5),
    viewerBusy: new Evidence(6),
    relaxed: new Evidence(45),
  };
  #codecPatience = new Patience(30000, 300000);
  #levelPatience = new Patience(20000, 300000);

  // codecs: what both ends can do, such as ["h264", "av1"], in any order.
  setCodecs(codecs) {
    this.#codecs = codecs;
    if (!codecs.includes(this.#codec)) this.#codec = null;
  }

  // {codec (null: whatever the host sends), level (of LEVELS), why}. why: "link", "thin", "hostBusy", "viewerBusy", or
  // "unknown" while the host does not tell what the link carries.
  get choice() {
    return { codec: this.#codec, level: LEVELS[this.#level], why: this.#why };
  }

  // Once a second. Each figure may be null: estimateKbps (what the link carries), kbps, hostPct (processor of the host),
  // encodeMs, decodeMs (for a frame), fps, freezes (so far), lossPct, codec (in use). `now` in ms.
  // Returns the choice.
  observe(figures, now) {
    if (now - this.#at > LONGEST_GAP_MS) this.#forget();
    this.#at = now;
    this.#note(figures, now);
    this.#decideCodec(figures.codec, now);
    this.#decideLevel(now);
    this.#why = this.#reason(figures);
    return this.choice;
  }

  #forget() {
    for (const each of Object.values(this.#evidence)) each.forget();
    this.#freezes = [];
    this.#usedAt = -Infinity;
  }

  #note({ estimateKbps, kbps, hostPct, encodeMs, decodeMs, fps, freezes, lossPct }, now) {
    const { thin, wide, hostBusy, hostRoom, viewerBusy, relaxed } = this.#evidence;
    const estimate = known(estimateKbps);
    if (estimate !== null && known(kbps) !== null && kbps > USED_SHARE * estimate) this.#usedAt = now;
    const used = now - this.#usedAt < USED_FOR_MS;
    const stuck = this.#countFreezes(known(freezes), now) >= MANY_FREEZES && (known(lossPct) ?? 0) >= MUCH_LOSS_PCT;
    thin.note(estimate === null ? null : estimate < THIN_KBPS && used, stuck ? 2 : 1);
    wide.note(estimate === null ? null : estimate >= WIDE_KBPS && !stuck);

    const slow = known(encodeMs) === null ? null : encodeMs > SLOW_ENCODE_MS;
    const full = known(hostPct) === null ? null : hostPct >= BUSY_PCT;
    hostBusy.note(slow === null && full === null ? null : slow || full);
    hostRoom.note(known(hostPct) === null ? null : hostPct < ROOM_PCT && !slow);

    const moving = known(decodeMs) !== null && known(fps) !== null && fps >= FEWEST_FRAMES;
    const load = moving ? (decodeMs * fps) / 1000 : null;
    viewerBusy.note(load === null ? null : load > VIEWER_BUSY);
    // Fewer pixels take less: there must be room for the larger picture.
    const easy = this.#level === LEVELS.indexOf('small') ? VIEWER_EASY / 3 : VIEWER_EASY;
    relaxed.note(load === null ? null : load < easy && (known(hostPct) ?? 0) < ROOM_PCT);
  }

  // Freezes within the last seconds. Pauses of a still screen count as freezes in some browsers, so they alone prove
  // nothing.
  #countFreezes(total, now) {
    if (total === null) return 0;
    this.#freezes.push({ total, now });
    while (now - this.#freezes[0].now > FREEZE_WINDOW_MS) this.#freezes.shift();
    return Math.max(0, total - this.#freezes[0].total);
  }

  #decideCodec(current, now) {
    const { thin, wide, hostBusy, hostRoom, viewerBusy } = this.#evidence;
    const light = LIGHT_CODECS.find((codec) => this.#codecs.includes(codec));
    const dense = DENSE_CODECS.find((codec) => this.#codecs.includes(codec));
    const isDense = DENSE_CODECS.includes(current);
    let wanted = current;
    if (isDense && (hostBusy.proven || viewerBusy.proven)) wanted = light;
    else if (!isDense && thin.proven && hostRoom.proven && !viewerBusy.proven) wanted = dense;
    else if (isDense && wide.proven) wanted = light;
    if (!wanted || wanted === current || wanted === this.#codec || !this.#codecPatience.allows(now)) return;
    this.#codec = wanted;
    this.#codecPatience.changed(now);
    this.#forget();
  }

  #decideLevel(now) {
    const { hostBusy, viewerBusy, relaxed } = this.#evidence;
    if (!this.#levelPatience.allows(now)) return;
    const small = LEVELS.indexOf('small');
    // A smaller picture makes text unreadable: only a viewer that cannot keep up otherwise gets one.
    const byViewer = viewerBusy.proven && this.#level < small;
    if (byViewer || (hostBusy.proven && this.#level === 0)) {
      this.#level += 1;
      this.#loadedBy = byViewer ? 'viewerBusy' : 'hostBusy';
    } else if (relaxed.proven && this.#level > 0) {
      this.#level -= 1;
    } else {
      return;
    }
    this.#levelPatience.changed(now);
    this.#forget();
  }

  #reason({ estimateKbps, codec }) {
    const { thin, hostBusy, viewerBusy } = this.#evidence;
    if (this.#level > 0) return this.#loadedBy;
    if (viewerBusy.proven) return 'viewerBusy';
    if (hostBusy.proven) return 'hostBusy';
    if (known(estimateKbps) === null) return 'unknown';
    return thin.proven || (DENSE_CODECS.includes(codec) && estimateKbps < WIDE_KBPS) ? 'thin' : 'link';
  }
}

function known(value) {
  return Number.isFinite(value) && value >= 0 ? value : null;
}
