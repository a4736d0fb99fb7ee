// The chooser among qualities.

import { DEFAULT_PRESET } from './request.js';
import { byId, make } from '../shell/dom.js';

// [preset of the host, what people read]
const CHOICES = [
  [DEFAULT_PRESET, 'Original size'],
  ['max', '2160p · 20 Mbit/s'],
  ['ultra', '1440p · 12 Mbit/s'],
  ['high', '1080p · 6 Mbit/s'],
  ['medium', '720p · 3 Mbit/s'],
  ['low', '540p · 1.2 Mbit/s'],
  ['low_stable', '720p · 1 Mbit/s, steady'],
];

export class QualityView {
  constructor(onChoice) {
    const select = byId('quality');
    select.replaceChildren(
      ...CHOICES.map(([preset, text]) => {
        const option = make('option', '', text);
        option.value = preset;
        return option;
      }),
    );
    select.value = DEFAULT_PRESET;
    select.addEventListener('change', () => onChoice(select.value));
  }

  // Without a channel to the host no quality can be requested.
  setReady(ready) {
    byId('quality').disabled = !ready;
  }
}
