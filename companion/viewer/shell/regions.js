// F6 moves the keyboard focus from one part of the page to the next: picture, tool bar, tools, panel.

import { byId } from './dom.js';

const REGIONS = ['stage', 'bar', 'rail', 'dock'];
const FOCUSABLE = 'button:enabled, input:enabled, select:enabled, textarea:enabled, a[href], [tabindex="0"]';

export function focusNextRegion() {
  const current = REGIONS.findIndex((id) => byId(id).contains(document.activeElement));
  for (let step = 1; step <= REGIONS.length; step++) {
    const region = byId(REGIONS[(current + step + REGIONS.length) % REGIONS.length]);
    const target = region.id === 'stage' ? region : preferred(region);
    if (!target || !region.checkVisibility()) continue;
    target.focus();
    return;
  }
}

export function initRegions() {
  document.addEventListener('keydown', (event) => {
    if (event.key !== 'F6' || event.defaultPrevented || event.ctrlKey || event.altKey || event.metaKey) return;
    event.preventDefault();
    focusNextRegion();
  });
}

// The tool bar begins with control, which is what a viewer who leaves the picture mostly wants.
function preferred(region) {
  const all = [...region.querySelectorAll(FOCUSABLE)].filter((element) => element.checkVisibility());
  return all.find((element) => element.id === 'control-button') ?? all.find((element) => element.id !== 'dock-resizer') ?? null;
}
