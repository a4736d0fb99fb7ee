// The chooser among the host's displays.

import { byId, make, show } from '../../shell/dom.js';

const MAX_DISPLAYS = 32;

export class DisplaysView {
  constructor(onChoice) {
    byId('display').addEventListener('change', (event) => onChoice(Number(event.target.value)));
  }

  // "display_info": shown only when there is something to choose.
  receive({ count, current }) {
    const displays = Number.isInteger(count) ? Math.min(Math.max(count, 0), MAX_DISPLAYS) : 0;
    const options = Array.from({ length: displays }, (_, index) => {
      const option = make('option', '', `Display ${index + 1}`);
      option.value = String(index);
      return option;
    });
    byId('display').replaceChildren(...options);
    byId('display').value = String(current);
    show(byId('display-field'), displays > 1);
  }

  reset() {
    show(byId('display-field'), false);
  }
}
