// The figures in the tool bar: what matters most comes first, since the end is cut where there is no room.

import { byId, show } from '../shell/dom.js';

export class FiguresView {
  #roundTrip = null;

  // Figures of stats.js, or null while nothing is connected.
  show(figures) {
    const parts = [];
    if (figures && this.#roundTrip !== null) parts.push(`${this.#roundTrip} ms round trip`);
    if (figures?.fps != null) parts.push(`${Math.round(figures.fps)} fps`);
    if (figures?.kbps != null) parts.push(rateText(figures.kbps));
    if (figures?.codec) parts.push(figures.codec);
    if (figures?.width) parts.push(`${figures.width} × ${figures.height}`);
    const text = parts.join(' · ');
    byId('figures').textContent = text;
    byId('figures').setAttribute('aria-label', `Statistics of the stream: ${text}`);
    show(byId('figures'), parts.length > 0);
    if (!figures) this.#roundTrip = null;
  }

  roundTrip(ms) {
    this.#roundTrip = Math.round(ms);
  }
}

export function rateText(kbps) {
  return kbps >= 1000 ? `${(kbps / 1000).toFixed(1)} Mbit/s` : `${Math.round(kbps)} kbit/s`;
}
