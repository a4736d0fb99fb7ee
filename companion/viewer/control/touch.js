// Fingers on the picture: what they do on the host, and to the picture.

import { byId, make, show } from '../shell/dom.js';
import { Gestures } from './gestures.js';

const BUTTON_OF_FINGERS = [0, 0, 2, 1];

export class TouchInput {
  #gestures;

  // `pointer`: a PointerForwarder, `view`: the picture's PictureView. A viewer who is not in control moves the picture.
  constructor(element, { pointer, view, isActive }) {
    const ring = make('div', 'touch-ring');
    ring.hidden = true;
    byId('marks').before(ring);
    const inControl = (act, otherwise = () => {}) => (gesture) => (isActive() ? act(gesture) : otherwise(gesture));
    let dragged = null;
    const panBy = ({ x, y }) => {
      if (dragged) view.panBy(x - dragged.x, y - dragged.y);
      dragged = { x, y };
    };
    this.#gestures = new Gestures({
      tap: inControl(
        ({ x, y, fingers }) => pointer.click(x, y, BUTTON_OF_FINGERS[fingers] ?? 0),
        ({ x, y, count }) => count === 2 && view.toggle(x, y),
      ),
      ring: (at) => {
        show(ring, Boolean(at) && isActive());
        ring.classList.toggle('closed', Boolean(at?.closed));
        if (!at) return;
        if (at.closed && isActive()) navigator.vibrate?.(10);
        const box = element.getBoundingClientRect();
        ring.style.left = `${at.x - box.left}px`;
        ring.style.top = `${at.y - box.top}px`;
      },
      longPress: inControl(({ x, y }) => pointer.click(x, y, 2)),
      dragStart: inControl(({ x, y }) => pointer.press(x, y), (at) => (dragged = at)),
      drag: inControl(({ x, y }) => pointer.dragTo(x, y), panBy),
      dragEnd: (at) => {
        dragged = null;
        pointer.release(at.x, at.y);
      },
      scroll: ({ x, y, dx, dy }) => {
        // What the picture cannot move is left to the host.
        const rest = view.panBy(dx, dy);
        if (isActive()) pointer.scroll(x, y, -rest.dx, -rest.dy);
      },
      pinch: ({ x, y, dx, dy, factor }) => {
        view.panBy(dx, dy);
        view.zoomBy(factor, x, y);
      },
    });
    // Fingers that rest would open the browser's menu.
    element.addEventListener('contextmenu', (event) => event.pointerType === 'touch' && event.preventDefault());
    for (const handle of ['down', 'move', 'up', 'cancel']) {
      element.addEventListener(`pointer${handle}`, ({ pointerType, pointerId, clientX, clientY, timeStamp }) => {
        if (pointerType === 'touch') this.#gestures[handle](pointerId, clientX, clientY, timeStamp);
      });
    }
  }

  cancel() {
    this.#gestures.cancel();
  }
}
