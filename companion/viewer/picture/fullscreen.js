// Full screen, with the system's own key combinations where the browser passes them on.

import { byId } from '../shell/dom.js';

export function initFullscreen(onChange) {
  const button = byId('fullscreen-button');
  if (!document.fullscreenEnabled) {
    button.hidden = true;
    return;
  }
  button.addEventListener('click', async () => {
    if (document.fullscreenElement) {
      await document.exitFullscreen();
      return;
    }
    await document.documentElement.requestFullscreen({ navigationUI: 'hide' });
    // Escape, Alt+Tab and the like then reach the host; holding Escape still leaves full screen.
    await navigator.keyboard?.lock?.().catch(() => {});
  });
  revealByTouch();
  document.addEventListener('fullscreenchange', () => {
    const full = Boolean(document.fullscreenElement);
    if (!full) navigator.keyboard?.unlock?.();
    document.body.classList.toggle('fullscreen', full);
    button.setAttribute('aria-pressed', String(full));
    button.setAttribute('aria-label', full ? 'Leave full screen' : 'Full screen');
    button.title = full ? 'Leave full screen' : 'Full screen';
    // The tool bar stays where the keyboard focus is.
    if (full) byId('stage').focus({ preventScroll: true });
    onChange(full);
  });
}

// The tool bar and the tools come when the mouse points at their grips; fingers point at nothing, they tap.
function revealByTouch() {
  const edges = [byId('bar'), byId('rail')];
  document.addEventListener('pointerdown', ({ pointerType, target }) => {
    for (const edge of edges) edge.classList.toggle('shown', pointerType === 'touch' && edge.contains(target));
  });
}
