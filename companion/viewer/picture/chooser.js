// The menu of the picture's quality, and what is used in words.

import { byId } from '../shell/dom.js';
import { icon } from '../shell/icons.js';
import { Menu } from '../shell/menu.js';
import { CODEC_NAMES } from './codecs.js';
import { rateText } from './figures.js';
import { AUTOMATIC } from './request.js';

// [preset of the host, what people read]
const PRESETS = [
  ['native', 'Original size'],
  ['max', '2160p · 20 Mbit/s'],
  ['ultra', '1440p · 12 Mbit/s'],
  ['high', '1080p · 6 Mbit/s'],
  ['medium', '720p · 3 Mbit/s'],
  ['low', '540p · 1.2 Mbit/s'],
  ['low_stable', '720p · 1 Mbit/s, steady'],
];

const SIZES = { full: 'original size', calm: 'original size, 30 frames a second', small: 'smaller picture' };

// What is used and why, such as "AV1 · original size — the link carries 1.8 Mbit/s". Pure.
export function qualityText({ preset, codec, inUse, level, why, estimateKbps }) {
  const size = preset === AUTOMATIC ? SIZES[level] : (PRESETS.find(([each]) => each === preset)?.[1] ?? preset);
  const used = [CODEC_NAMES[inUse], size].filter(Boolean).join(' · ');
  if (preset !== AUTOMATIC && codec !== AUTOMATIC) return `${used} — as you chose`;
  return `${used} — ${reasonText(why, estimateKbps)}`;
}

function reasonText(why, estimateKbps) {
  const carries = Number.isFinite(estimateKbps) ? `the link carries ${rateText(estimateKbps)}` : 'the host does not tell what the link carries';
  if (why === 'hostBusy') return `${carries}, and the host’s processor is busy`;
  if (why === 'viewerBusy') return `${carries}, and this computer cannot show more`;
  return carries;
}

export class QualityView {
  #button = byId('quality');
  #label = byId('quality-label');
  #state = null;
  #on;

  // on.automatic(), on.preset(preset), on.codec(codec): the viewer's choice.
  constructor(on) {
    this.#on = on;
    this.#button.append(icon('down'));
    new Menu(this.#button, 'Quality of the picture', () => this.#entries());
  }

  // Without a channel to the host no quality can be requested.
  setReady(ready) {
    this.#button.disabled = !ready;
  }

  // {preset, codec (AUTOMATIC or the viewer's choice), codecs (to choose from), inUse, level, why, estimateKbps}
  show(state) {
    this.#state = state;
    const { preset, codec } = state;
    const name = PRESETS.find(([each]) => each === preset)?.[1];
    const label = [name, CODEC_NAMES[codec]].filter(Boolean).join(' · ') || 'Automatic';
    if (this.#label.textContent !== label) this.#label.textContent = label;
    const title = `Quality: ${qualityText(state)}`;
    if (this.#button.title === title) return;
    this.#button.title = title;
    this.#button.setAttribute('aria-label', `Quality: ${label}. ${qualityText(state)}`);
  }

  #entries() {
    const { preset, codec, codecs } = this.#state;
    const automatic = preset === AUTOMATIC && codec === AUTOMATIC;
    return [
      { text: 'Automatic', checked: automatic, run: () => this.#on.automatic() },
      { heading: qualityText(this.#state) },
      { divider: true },
      { heading: 'Size' },
      ...PRESETS.map(([value, text]) => ({ text, checked: preset === value, run: () => this.#on.preset(value) })),
      { divider: true },
      { heading: 'Codec' },
      ...codecs.map((value) => ({ text: CODEC_NAMES[value], checked: codec === value, run: () => this.#on.codec(value) })),
    ];
  }
}
